#pragma once

#include <string>
#include <string_view>

namespace pcicim {

/// A file that appears whole or not at all: what is written goes to a temporary file beside it,
/// which takes its place with keep(). Until then, and when the object goes without keep(), a file
/// that was there before stays as it was.
///
/// Links are followed, and what they lead to is replaced. An existing file keeps its mode and,
/// where that is allowed, its owner; a new one gets what the umask leaves. What is there and is no
/// regular file (a pipe, a terminal, /dev/full) has nothing to replace and is written to directly.
///
///     WholeFile file("host.svg");
///     file.write(head);
///     file.write(body);
///     file.keep();
///
/// Each function throws std::system_error that names the file as it was given and the reason. For
/// one thread.
class WholeFile {
 public:
  /// Fails where the file could not be written by its owner's wish (a directory, a file that this
  /// user may not write to, a directory that takes no file).
  explicit WholeFile(const std::string& name);
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  void write(std::string_view bytes);

  /// Puts the file in its place, once everything is on the disk. Nothing can be written after it.
  void keep();

 private:
  [[noreturn]] void fail(int error) const;
  void openInPlace();
  void openBeside(int mode, bool isThere);
  void takeOver(unsigned owner, unsigned group, unsigned mode);
  void close();

  std::string name_;
  /// Where links lead to.
  std::string target_;
  /// Empty where the file itself is written to, and once there is nothing to remove.
  std::string temporary_;
  int descriptor_ = -1;
};

/// The same for content that is at hand as a whole.
void writeWholeFile(const std::string& name, std::string_view content);

}  // namespace pcicim
