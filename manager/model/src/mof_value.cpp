#include <model/mof_value.h>

namespace cimom {

std::string_view MofValue::text() const noexcept {
  return elements.empty() ? std::string_view() : std::string_view(elements.front().text);
}

bool MofValue::isTrue() const noexcept {
  return !isArray && !elements.empty() && elements.front().kind == Kind::kBoolean &&
         elements.front().text == "true";
}

const MofValue* findQualifier(const QualifierMap& qualifiers, std::string_view name) {
  const auto found = qualifiers.find(name);
  return found == qualifiers.end() ? nullptr : &found->second;
}

}  // namespace cimom
