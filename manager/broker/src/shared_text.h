#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace cimom {

/// An immutable text of any bytes that all its copies share; the empty one needs no memory. Copies
/// may live in different threads.
class SharedText {
 public:
  SharedText() noexcept = default;
  explicit SharedText(std::string_view text);
  SharedText(const SharedText& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) block_->holders.fetch_add(1, std::memory_order_relaxed);
  }
  SharedText(SharedText&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  SharedText& operator=(SharedText other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~SharedText() {
    if (block_ != nullptr) letGo();
  }

  std::string_view view() const noexcept {
    return block_ != nullptr ? std::string_view(block_->characters(), block_->length)
                             : std::string_view();
  }
  std::string string() const { return std::string(view()); }
  /// Writes another text over this one and all its copies; false, and nothing is written, where the
  /// length differs or there are not exactly so many of them, this one included.
  bool overwrite(std::string_view text, std::uint32_t copies) noexcept {
    if (block_ == nullptr || block_->length != text.size()) return false;
    if (block_->holders.load(std::memory_order_acquire) != copies) return false;
    text.copy(block_->characters(), text.size());
    return true;
  }

  /// Ends with a null; lives as long as a copy of the text.
  char* characters() const noexcept {
    return block_ != nullptr ? block_->characters() : emptyText();
  }

 private:
  /// The characters follow it.
  struct Block {
    std::size_t length;
    std::atomic<std::uint32_t> holders;
    char* characters() noexcept { return reinterpret_cast<char*>(this + 1); }
  };

  static char* emptyText() noexcept;
  void letGo() noexcept;

  Block* block_ = nullptr;
};

}  // namespace cimom
