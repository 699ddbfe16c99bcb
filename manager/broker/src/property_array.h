#pragma once

#include <model/operations.h>

#include <string>
#include <vector>

namespace cimom {

/// The C form of a property list: pointers into the list, closed by a null; a null pointer where
/// there is no list. The list outlives it. For one thread.
class PropertyArray {
 public:
  explicit PropertyArray(const PropertyList& properties) {
    if (!properties) return;
    for (const std::string& name : *properties) names_.push_back(name.c_str());
    names_.push_back(nullptr);
  }
  const char** get() { return names_.empty() ? nullptr : names_.data(); }

 private:
  std::vector<const char*> names_;
};

}  // namespace cimom
