#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace HostCtl {

/// How long reading waits for those who write a pipe, in milliseconds.
struct Patience {
  /// For a writer to open a FIFO.
  int writer = 5'000;
  /// For the next bytes, while there is a writer.
  int silence = 300'000;
};

/// A file or pipe, read once from its beginning to its end. Every failure is a
/// HostCtl::Lib::HostCtlException that names the file and the reason.
class InventoryFile {
 public:
  explicit InventoryFile(std::string path, Patience patience = {});
  ~InventoryFile();
  InventoryFile(const InventoryFile&) = delete;
  InventoryFile& operator=(const InventoryFile&) = delete;

  /// The next piece, valid until the next call; empty at the end. An end before the first byte of
  /// a FIFO counts only once a writer has had it open.
  std::string_view Next();

 private:
  static constexpr std::size_t kPieceBytes = 65536;

  bool IsFifo() const;
  /// Whether something can be read, the end included, within that many milliseconds.
  bool Await(int milliseconds) const;
  [[noreturn]] void Fail(const std::string& reason) const;

  std::string path_;
  Patience patience_;
  std::unique_ptr<char[]> piece_;
  int descriptor_;
  bool mayLackWriter_ = false;
};

}  // namespace HostCtl
