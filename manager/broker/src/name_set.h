#pragma once

#include <model/names.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace cimom {

/// The same for names that are the same in CIM.
struct NameHash {
  // Setting one bit makes lower case of ASCII letters; what else it makes equal is told apart when
  // names are compared.
  std::size_t operator()(std::string_view name) const noexcept {
    std::size_t value = 14695981039346656037U;
    for (const char c : name) {
      value = (value ^ (static_cast<unsigned char>(c) | 0x20U)) * 1099511628211U;
    }
    return value;
  }
};

struct NameEqual {
  bool operator()(std::string_view left, std::string_view right) const noexcept {
    return sameName(left, right);
  }
};

/// Names in any case, such as those of a property list. Any number of threads may read it.
class NameSet {
 public:
  explicit NameSet(std::vector<std::string> names) : names_(std::move(names)) {
    for (const std::string& name : names_) set_.insert(name);
  }
  NameSet(const NameSet&) = delete;
  NameSet& operator=(const NameSet&) = delete;

  bool holds(std::string_view name) const { return set_.contains(name); }
  /// As they were given.
  const std::vector<std::string>& names() const noexcept { return names_; }

 private:
  std::vector<std::string> names_;
  /// Refers to names_.
  std::unordered_set<std::string_view, NameHash, NameEqual> set_;
};

}  // namespace cimom
