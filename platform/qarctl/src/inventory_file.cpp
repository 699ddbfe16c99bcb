#include "inventory_file.h"

#include <qarctl/HostCtlException.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace HostCtl {

namespace {

std::string LastError() {
  return std::generic_category().message(errno);
}

}  // namespace

// Opening a FIFO waits for a writer, perhaps for ever, unless opened without blocking.
InventoryFile::InventoryFile(std::string path, Patience patience)
    : path_(std::move(path)),
      patience_(patience),
      piece_(std::make_unique<char[]>(kPieceBytes)),
      descriptor_(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (descriptor_ < 0) Fail(LastError());
  mayLackWriter_ = IsFifo();
}

InventoryFile::~InventoryFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::string_view InventoryFile::Next() {
  for (bool waited = false;;) {
    const ssize_t count = read(descriptor_, piece_.get(), kPieceBytes);
    if (count > 0) {
      mayLackWriter_ = false;
      return {piece_.get(), static_cast<std::size_t>(count)};
    }
    if (count == 0 && !mayLackWriter_) return {};
    if (count == 0) {
      if (waited) Fail("a FIFO that nobody writes to");
      // An end is there at once when the writer is gone, and never before there has been one.
      mayLackWriter_ = !Await(patience_.writer);
      waited = true;
    } else if (errno == EAGAIN) {
      if (!Await(patience_.silence)) {
        Fail("nothing more came for " + std::to_string(patience_.silence / 1000) + " s");
      }
    } else if (errno != EINTR) {
      Fail(LastError());
    }
  }
}

bool InventoryFile::IsFifo() const {
  struct stat status {};
  return fstat(descriptor_, &status) == 0 && S_ISFIFO(status.st_mode);
}

bool InventoryFile::Await(int milliseconds) const {
  pollfd waiting{descriptor_, POLLIN, 0};
  int ready = 0;
  do {
    ready = poll(&waiting, 1, milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void InventoryFile::Fail(const std::string& reason) const {
  throw Lib::HostCtlException("cannot read PCI inventory " + path_ + ": " + reason);
}

}  // namespace HostCtl
