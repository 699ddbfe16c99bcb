#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

#include "shared_text.h"

namespace cimom {

/// Lets the objects of a request share texts that come again and again, such as names of keys and
/// of the host. It remembers the latest of those with the same hash. For one thread.
class TextPool {
 public:
  SharedText get(std::string_view text) {
    if (text.empty()) return {};
    if (text.size() > kLongest) return SharedText(text);
    SharedText& slot = slots_[std::hash<std::string_view>()(text) % kSlots];
    if (slot.view() != text) slot = SharedText(text);
    return slot;
  }

 private:
  static constexpr std::size_t kSlots = 128;
  /// Longer ones are seldom the same.
  static constexpr std::size_t kLongest = 40;

  std::array<SharedText, kSlots> slots_;
};

}  // namespace cimom
