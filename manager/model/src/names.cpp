#include <model/names.h>

#include <algorithm>

namespace cimom {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool NameLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::ranges::lexicographical_compare(
      left, right,
      [](char a, char b) { return static_cast<unsigned char>(a) < static_cast<unsigned char>(b); },
      lower, lower);
}

bool sameName(std::string_view left, std::string_view right) noexcept {
  if (left.size() != right.size()) return false;
  // Nearly all names come as they are declared.
  return left == right || std::ranges::equal(left, right, {}, lower, lower);
}

bool holdsName(const std::vector<std::string>& names, std::string_view name) noexcept {
  return std::ranges::any_of(
      names, [name](const std::string& candidate) { return sameName(candidate, name); });
}

std::optional<CimType> typeNamed(std::string_view name) noexcept {
  for (auto type = CimType::kBoolean; type < CimType::kReference;
       type = static_cast<CimType>(static_cast<int>(type) + 1)) {
    if (sameName(name, typeName(type))) return type;
  }
  return std::nullopt;
}

}  // namespace cimom
