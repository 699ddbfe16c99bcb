#pragma once

#include "foreign_text.h"
#include "function_record.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace HostCtl {

/// Vendor and device as the line of a function carries them.
struct LineIds {
  std::uint16_t vendor = 0;
  std::uint16_t device = 0;
};

/// One function of a saved inventory, as its lines describe it.
struct SavedFunction {
  FunctionAddress address;
  std::optional<LineIds> ids;
  std::optional<std::int32_t> slot;
  ConfigSpace config;
};

/// Reads the text of a saved inventory, which comes in pieces of any size, line by line, and hands
/// over each function once its text is complete. Nothing is kept but the function being read.
///
/// What a damaged text keeps and loses, with the reasons, is in docs/saved-inventories.md:
/// - A function's own line begins it; the next one, or the end, ends it. Without its first two
///   bytes, the vendor, it is dropped.
/// - A row of bytes belongs to the function above it when it follows on the row before it, or when
///   as many lines as there are rows in between were there and could not be read.
/// - A row that leaves a gap and is directly below another row belongs to the function too, if
///   the offsets of all rows from it on ascend until the next function's own line or the end. If
///   they fall back, another function's own line may have been lost in the gap: the rows behind the
///   gap count as lines that could not be read.
/// - A row whose offset falls back behind what was taken is another function's whose own line is
///   lost: it and all that follows is dropped, until the next function's own line.
/// - Of a row that is cut or printed over, the bytes before the damage count.
/// - A text slot behind a skipped line or a gap may be another function's and is dropped.
/// - Marks of quoted mail or spaces in front of the first function's own line are taken off every
///   line that has them; of the others none but a function's own line is read.
/// - Of a line the first kMostLineBytes count.
class InventoryReader {
 public:
  static constexpr std::size_t kMostLineBytes = 4096;
  static constexpr std::size_t kBytesPerRow = 16;

  using Sink = std::function<void(const SavedFunction&)>;

  /// `name` is the inventory's name in messages.
  InventoryReader(std::string name, Sink sink);

  /// The next piece of the text. Throws HostCtl::Lib::HostCtlException when it goes on without
  /// any function for longer than an inventory can, or with more functions than a host can have.
  void Take(std::string_view piece);
  /// Behind the last piece: reports damaged lines. Throws HostCtl::Lib::HostCtlException when there
  /// was text, but no function.
  void Finish();

 private:
  void KeepPart(std::string_view part);
  void CheckProgress() const;

  void ReadLine(std::string_view line);
  bool TakeMarkOff(std::string_view& line);
  bool ReadFunctionLine(std::string_view line);
  bool ReadRow(std::string_view line);
  bool ReadText(std::string_view line);

  void TakeRow(std::string_view text, std::size_t offset);
  void DropHold();
  void TakeBytes(std::string_view text, std::size_t offset);
  void CloseFunction();
  void Skip(const char* why);
  void CountSkipped();
  void NoteDamage(std::size_t lineNumber, const char* what);
  void ReportDamage() const;
  [[noreturn]] void Fail(const std::string& what) const;

  std::string name_;
  Sink sink_;
  ForeignText foreign_;
  /// The line of which the end is still to come.
  std::string part_;
  std::size_t bytesTaken_ = 0;
  std::size_t functions_ = 0;
  /// Bytes taken up to the end of the last function.
  std::size_t lastFunctionEnd_ = 0;
  /// What is in front of every line; unknown before the first function's own line.
  std::optional<std::string> mark_;

  /// The function being read, when `open_`, and the number of its line.
  bool open_ = false;
  std::size_t functionLine_ = 0;
  SavedFunction function_;
  /// Where its next row belongs, and how many lines were skipped since the last one taken.
  std::size_t nextOffset_ = 0;
  std::size_t skippedLines_ = 0;
  /// The last row, whatever became of it: the number of its line, and the offset behind it.
  std::size_t lastRowLine_ = 0;
  std::size_t lastRowEnd_ = 0;

  /// Rows behind a gap, which are the function's if offsets go on ascending.
  struct Hold {
    std::size_t offset = 0;
    /// Where the row belonged that is missing.
    std::size_t nextOffset = 0;
    /// Lines since the gap, and those of them that count as damaged only if the rows are dropped.
    std::size_t lines = 0;
    std::size_t undamagedRows = 0;
  };
  std::optional<Hold> hold_;

  std::size_t lineNumber_ = 0;
  std::size_t firstDamagedLine_ = 0;
  std::size_t lastDamagedLine_ = 0;
  std::string firstDamage_;
  std::size_t damagedLines_ = 0;
};

}  // namespace HostCtl
