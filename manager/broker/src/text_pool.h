#pragma once

#include <cmpi/cmpi.h>

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "shared_text.h"
#include "text_hash.h"

namespace cimom {

/// Lets the objects of a request share texts that come again and again, such as names of keys and
/// of the host, and the strings through which a provider reads them. It remembers the latest of
/// those with the same hash. For one thread.
class TextPool {
 public:
  SharedText get(std::string_view text) {
    if (text.empty()) return {};
    if (text.size() > kLongest) return SharedText(text);
    Slot& slot = slotOf(text);
    if (slot.text.view() != text) slot = {SharedText(text), nullptr};
    return slot.text;
  }

  /// The string of the request with that very text; where it is not remembered, the one that
  /// `make` returns for the text.
  template <class Make>
  CMPIString* string(SharedText text, Make make) {
    if (text.view().empty() || text.view().size() > kLongest) return make(std::move(text));
    Slot& slot = slotOf(text.view());
    if (slot.text.view() != text.view()) slot = {text, nullptr};
    if (slot.string == nullptr) slot.string = make(std::move(text));
    return slot.string;
  }

  /// Forgets the strings, which are about to end, but not the texts.
  void forgetStrings() noexcept {
    for (Slot& slot : slots_) slot.string = nullptr;
  }

  /// Forgets all of them.
  void clear() noexcept {
    if (std::exchange(isUsed_, false)) slots_.fill({});
  }

 private:
  struct Slot {
    SharedText text;
    CMPIString* string = nullptr;
  };

  static constexpr std::size_t kSlots = 128;
  /// Longer ones are seldom the same.
  static constexpr std::size_t kLongest = 40;

  Slot& slotOf(std::string_view text) {
    isUsed_ = true;
    return slots_[hashText(text) % kSlots];
  }

  std::array<Slot, kSlots> slots_;
  bool isUsed_ = false;
};

}  // namespace cimom
