#pragma once

#include <model/names.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// A value written in MOF: a qualifier's parameter, a default, a property of an instance.
struct MofValue {
  enum class Kind { kNull, kBoolean, kNumber, kString, kCharacter, kAlias };
  struct Element {
    Kind kind = Kind::kNull;
    /// Strings and characters with their escapes resolved (UTF-8), whole numbers in decimal, other
    /// numbers as written, "true" or "false", the name of an alias without its '$'; empty for null.
    std::string text;
  };

  bool isArray = false;
  /// One element unless isArray.
  std::vector<Element> elements;

  /// The text of the first element; empty when there is none.
  std::string_view text() const noexcept;
  /// True for a single `true`.
  bool isTrue() const noexcept;
};

/// Qualifiers by name. A qualifier without a parameter has the value true.
using QualifierMap = std::map<std::string, MofValue, NameLess>;

/// The qualifier's value; null when it is not there. Lives as long as the map.
const MofValue* findQualifier(const QualifierMap& qualifiers, std::string_view name);

}  // namespace cimom
