#include "suggestion.h"

#include <algorithm>
#include <numeric>

namespace pcicim {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// How many letters have to be put in, left out, exchanged or swapped with their neighbour to make
/// one of the other.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> beforeLast(right.size() + 1);
  std::vector<std::size_t> last(right.size() + 1);
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(last.begin(), last.end(), 0U);
  for (std::size_t i = 1; i <= left.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const auto same = [&](std::size_t l, std::size_t r) {
        return lower(left[l]) == lower(right[r]);
      };
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same(i - 1, j - 1) ? 0 : 1)});
      if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last.back();
}

/// "PCIPort" for "Zelmar_PCIPort": people leave the schema's name out.
std::string_view withoutSchema(std::string_view name) {
  const std::size_t at = name.find('_');
  return at == std::string_view::npos ? name : name.substr(at + 1);
}

}  // namespace

std::string suggestion(std::string_view given, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 64;
  if (given.empty() || given.size() > kLongest) {
    return "";
  }
  const std::string* nearest = nullptr;
  // A third of the letters may be wrong.
  std::size_t least = given.size() / 3 + 1;
  for (const std::string& name : known) {
    const std::size_t far = std::min(distance(given, name), distance(given, withoutSchema(name)));
    if (far < least || (nearest == nullptr && far == least)) {
      least = far;
      nearest = &name;
    }
  }
  return nearest == nullptr ? "" : " (did you mean " + *nearest + "?)";
}

}  // namespace pcicim
