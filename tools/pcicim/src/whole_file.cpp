#include "whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <system_error>

namespace pcicim {
namespace {

constexpr mode_t kModeBits = 07777;
/// As many as the kernel follows.
constexpr int kMostLinks = 40;
constexpr int kMostNames = 1000;

/// The name with the directory in front, up to and with the last slash; empty without one.
std::string directoryOf(const std::string& name) {
  return name.substr(0, name.rfind('/') + 1);
}

/// Where the link at that name leads to; empty where there is no link.
std::string linkAt(const std::string& name) {
  std::array<char, PATH_MAX> text{};
  const ssize_t length = readlink(name.c_str(), text.data(), text.size());
  return length > 0 ? std::string(text.data(), static_cast<std::size_t>(length)) : std::string();
}

/// The name behind all links, also where nothing is there yet; as it stands after too many.
std::string behindLinks(std::string name) {
  for (int i = 0; i < kMostLinks; ++i) {
    const std::string link = linkAt(name);
    if (link.empty()) break;
    name.erase(link.front() == '/' ? 0 : directoryOf(name).size());
    name += link;
  }
  return name;
}

}  // namespace

WholeFile::WholeFile(const std::string& name) : name_(name), target_(behindLinks(name)) {
  struct stat there {};
  if (stat(target_.c_str(), &there) != 0) {
    if (errno != ENOENT) fail(errno);
    openBeside(0666, false);
  } else if (S_ISDIR(there.st_mode)) {
    fail(EISDIR);
  } else if (!S_ISREG(there.st_mode)) {
    openInPlace();
  } else {
    // A directory that can be written to is no leave to replace what is protected in it.
    if (faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) != 0) fail(errno);
    openBeside(0600, true);
    takeOver(there.st_uid, there.st_gid, there.st_mode);
  }
}

WholeFile::~WholeFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void WholeFile::fail(int error) const {
  throw std::system_error(error, std::generic_category(), "cannot write " + name_);
}

void WholeFile::openInPlace() {
  descriptor_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor_ < 0) fail(errno);
}

/// A mode of 0600 keeps what replaces a private file private from the beginning.
void WholeFile::openBeside(int mode, bool isThere) {
  // A name that ends in a slash, or is empty, is that of no file.
  if (!isThere && (target_.empty() || target_.back() == '/')) {
    fail(target_.empty() ? ENOENT : EISDIR);
  }
  const std::string start = directoryOf(target_) + ".pcicim-" + std::to_string(getpid()) + '-';
  for (int i = 0; i < kMostNames; ++i) {
    const std::string name = start + std::to_string(i) + ".tmp";
    descriptor_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor_ >= 0) {
      temporary_ = name;
      return;
    }
    if (errno != EEXIST) break;
  }
  fail(errno);
}

void WholeFile::takeOver(unsigned owner, unsigned group, unsigned mode) {
  // Only root gives files away; for others the file becomes their own, as with any editor.
  if (fchown(descriptor_, owner, group) != 0 &&
      fchown(descriptor_, static_cast<uid_t>(-1), group) != 0) {
    mode &= ~static_cast<unsigned>(S_ISUID | S_ISGID);
  }
  if (fchmod(descriptor_, mode & kModeBits) != 0) {
    const int error = errno;
    unlink(temporary_.c_str());
    ::close(descriptor_);
    fail(error);
  }
}

void WholeFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
}

void WholeFile::close() {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (::close(descriptor) != 0) fail(errno);
}

void WholeFile::keep() {
  // What is no regular file cannot be brought to a disk.
  if (!temporary_.empty() && fsync(descriptor_) != 0) fail(errno);
  close();
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(errno);
  temporary_.clear();
}

void writeWholeFile(const std::string& name, std::string_view content) {
  WholeFile file(name);
  file.write(content);
  file.keep();
}

}  // namespace pcicim
