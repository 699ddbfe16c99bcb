#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace pciprovider {

/// Says of most texts that an index lacks that it lacks them. A client that looks a host's buses
/// through asks for millions of addresses that nobody has: a bit for each stays in the processor's
/// cache, where an index of tens of thousands of texts does not. Filled by one thread; afterwards
/// any number may ask.
class AbsenceFilter {
 public:
  /// Before anything is added: room for so many texts. Of those that are not there, about one in
  /// sixteen passes then.
  void MakeRoomFor(std::size_t count) {
    constexpr std::size_t kBitsPerText = 16;
    const std::size_t bits = std::bit_ceil(std::max(count * kBitsPerText, kBitsPerWord));
    words_.assign(bits / kBitsPerWord, 0);
  }

  /// Adds a text by its hash. There has to be room.
  void Add(std::size_t hash) { words_[WordOf(hash)] |= BitOf(hash); }

  /// False only for what was not added, and for everything without room.
  bool MayHold(std::size_t hash) const {
    return !words_.empty() && (words_[WordOf(hash)] & BitOf(hash)) != 0;
  }

 private:
  static constexpr std::size_t kBitsPerWord = 64;

  std::size_t WordOf(std::size_t hash) const { return hash / kBitsPerWord & (words_.size() - 1); }
  static std::uint64_t BitOf(std::size_t hash) { return std::uint64_t{1} << (hash % kBitsPerWord); }

  std::vector<std::uint64_t> words_;
};

}  // namespace pciprovider
