#pragma once

#include <model/names.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text_hash.h"

namespace cimom {

/// The same for names that are the same in CIM.
struct NameHash {
  // Setting one bit makes lower case of ASCII letters; what else it makes equal is told apart when
  // names are compared.
  std::size_t operator()(std::string_view name) const noexcept {
    return hashText(name, 0x2020202020202020);
  }
};

/// Where names are in a list, by their hash: each at its place or behind it.
class NamePlaces {
 public:
  /// For a list of so many.
  explicit NamePlaces(std::size_t count) : places_(std::bit_ceil(2 * count + 1)) {}

  /// The name at `index` of the list, which does not hold it yet.
  void add(std::string_view name, std::size_t index) {
    std::size_t place = NameHash()(name) & mask();
    while (places_[place] != 0) place = (place + 1) & mask();
    places_[place] = static_cast<std::uint32_t>(index + 1);
  }

  /// The first index among those of names with that hash of which `isIt` is true; `none` without
  /// one.
  static constexpr std::size_t none = static_cast<std::size_t>(-1);
  template <class IsIt>
  std::size_t find(std::string_view name, IsIt isIt) const {
    std::size_t place = NameHash()(name) & mask();
    for (; places_[place] != 0; place = (place + 1) & mask()) {
      const std::size_t index = places_[place] - 1;
      if (isIt(index)) return index;
    }
    return none;
  }

 private:
  std::size_t mask() const noexcept { return places_.size() - 1; }

  /// Counted from 1; 0 is free. A power of two of them, at most half taken.
  std::vector<std::uint32_t> places_;
};

/// Names in any case, such as those of a property list. Any number of threads may read it.
class NameSet {
 public:
  explicit NameSet(std::vector<std::string> names)
      : names_(std::move(names)), places_(names_.size()) {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (!holds(names_[i])) places_.add(names_[i], i);
    }
  }
  NameSet(const NameSet&) = delete;
  NameSet& operator=(const NameSet&) = delete;

  bool holds(std::string_view name) const {
    const auto isIt = [&](std::size_t index) { return sameName(names_[index], name); };
    return places_.find(name, isIt) != NamePlaces::none;
  }
  /// As they were given.
  const std::vector<std::string>& names() const noexcept { return names_; }

 private:
  std::vector<std::string> names_;
  NamePlaces places_;
};

}  // namespace cimom
