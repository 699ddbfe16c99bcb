#include "function_filter.h"

#include <charconv>
#include <string>
#include <unordered_map>

namespace pcicim {
namespace {

/// Reads a part that may be any; false when it is neither that nor a number up to `most`.
template <typename Number>
bool readPart(std::string_view text, Number most, std::optional<Number>& part) {
  if (text.empty() || text == "*") {
    return true;
  }
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, 16);
  if (error != std::errc() || stop != end || number > most) {
    return false;
  }
  part = number;
  return true;
}

/// Cuts the part behind the last separator off, if there is one.
std::optional<std::string_view> cutLast(std::string_view& text, char separator) {
  const std::size_t at = text.rfind(separator);
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view last = text.substr(at + 1);
  text = text.substr(0, at);
  return last;
}

template <typename Number>
bool isOrAny(const std::optional<Number>& wanted, Number number) {
  return !wanted || *wanted == number;
}

/// For each function the one that it names as parent; itself without one.
std::vector<std::size_t> parentsOf(const std::vector<Function>& functions) {
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t i = 0; i < functions.size(); ++i) {
    places.try_emplace(functions[i].address, i);
  }
  std::vector<std::size_t> parents;
  for (std::size_t i = 0; i < functions.size(); ++i) {
    const auto found = places.find(functions[i].parent);
    parents.push_back(found == places.end() ? i : found->second);
  }
  return parents;
}

}  // namespace

bool AddressFilter::matches(const Address& address) const {
  return isOrAny(segment, address.segment) && isOrAny(bus, address.bus) &&
         isOrAny(device, address.device) && isOrAny(function, address.function);
}

std::optional<AddressFilter> parseAddressFilter(std::string_view text) {
  constexpr std::uint64_t kMostSegment = 0xffffffff;
  constexpr unsigned kMostBus = 0xff;
  constexpr unsigned kMostDevice = 0x1f;
  constexpr unsigned kMostFunction = 7;
  const std::string_view function = cutLast(text, '.').value_or("");
  std::string_view bus;
  std::string_view segment;
  std::string_view device = text;
  if (const auto last = cutLast(text, ':')) {
    device = *last;
    const auto middle = cutLast(text, ':');
    bus = middle.value_or(text);
    segment = middle ? text : "";
  }
  AddressFilter filter;
  const bool isRead = readPart(segment, kMostSegment, filter.segment) &&
                      readPart(bus, kMostBus, filter.bus) &&
                      readPart(device, kMostDevice, filter.device) &&
                      readPart(function, kMostFunction, filter.function);
  return isRead ? std::optional(filter) : std::nullopt;
}

std::optional<IdFilter> parseIdFilter(std::string_view text) {
  constexpr unsigned kMost = 0xffff;
  IdFilter filter;
  const auto device = cutLast(text, ':');
  const bool isRead =
      device && readPart(text, kMost, filter.vendor) && readPart(*device, kMost, filter.device);
  return isRead ? std::optional(filter) : std::nullopt;
}

std::vector<Function> branchesOf(const std::vector<Function>& functions,
                                 const std::vector<bool>& isMeant) {
  const std::vector<std::size_t> parents = parentsOf(functions);
  std::vector<bool> leads = isMeant;
  std::vector<bool> isBehind = isMeant;
  // Parents may form a circle: a climb ends where one has been before.
  std::vector<std::size_t> passedFrom(functions.size(), functions.size());
  for (std::size_t i = 0; i < functions.size(); ++i) {
    std::vector<std::size_t> way;
    std::size_t at = i;
    for (; passedFrom[at] != i && !isBehind[at]; at = parents[at]) {
      passedFrom[at] = i;
      way.push_back(at);
    }
    for (const std::size_t below : isBehind[at] ? way : std::vector<std::size_t>()) {
      isBehind[below] = true;
    }
    for (at = i; isMeant[i] && (at == i || !leads[at]); at = parents[at]) {
      leads[at] = true;
      if (parents[at] == at) break;
    }
  }
  std::vector<Function> kept;
  for (std::size_t i = 0; i < functions.size(); ++i) {
    if (leads[i] || isBehind[i]) {
      kept.push_back(functions[i]);
    }
  }
  return kept;
}

}  // namespace pcicim
