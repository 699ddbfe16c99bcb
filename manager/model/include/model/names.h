#pragma once

#include <model/cim_type.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// Orders names as CIM compares them: ASCII letters regardless of case.
struct NameLess {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const noexcept;
};

/// True when two CIM names are the same name, ASCII letters compared regardless of case.
bool sameName(std::string_view left, std::string_view right) noexcept;

/// True when the list holds that name.
bool holdsName(const std::vector<std::string>& names, std::string_view name) noexcept;

/// The type of that name in any case; nothing for another name and for references, whose type has
/// the name of a class.
std::optional<CimType> typeNamed(std::string_view name) noexcept;

}  // namespace cimom
