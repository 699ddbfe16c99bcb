#pragma once

#include <model/mof_value.h>

#include <string>
#include <utility>
#include <vector>

namespace cimom {

/// An instance written in MOF, such as those of provider registrations.
struct MofInstance {
  std::string className;
  /// Without its '$'; empty when the instance has none.
  std::string alias;
  std::vector<std::pair<std::string, MofValue>> properties;
};

}  // namespace cimom
