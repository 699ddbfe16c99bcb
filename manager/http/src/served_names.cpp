#include "served_names.h"

#include <model/names.h>

#include <algorithm>
#include <boost/system/error_code.hpp>
#include <optional>
#include <utility>

#include "client_address.h"

namespace cimom {
namespace {

using Address = ServedNames::Address;

std::optional<Address> addressOf(const std::string& text) {
  boost::system::error_code error;
  const Address address = boost::asio::ip::make_address(text, error);
  if (error) return std::nullopt;
  return unmapped(address);
}

bool isPort(std::string_view text) {
  return text.size() <= 5 && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// The authority without its port and without an address's brackets; empty when it has no such
/// form.
std::string hostOf(std::string_view authority) {
  const bool isBracketed = authority.starts_with('[');
  const std::size_t end = isBracketed ? authority.find(']') : authority.find(':');
  if (isBracketed && end == std::string_view::npos) return {};
  const std::string_view host = authority.substr(isBracketed ? 1 : 0, isBracketed ? end - 1 : end);
  const std::string_view rest =
      end == std::string_view::npos ? "" : authority.substr(end + (isBracketed ? 1 : 0));
  if (!rest.empty() && (rest.front() != ':' || !isPort(rest.substr(1)))) return {};
  return std::string(host);
}

}  // namespace

ServedNames::ServedNames(std::vector<std::string> names, IsCertified isCertified)
    : isCertified_(std::move(isCertified)) {
  for (std::string& name : names) {
    if (const auto address = addressOf(name)) {
      addresses_.push_back(*address);
    } else {
      names_.push_back(std::move(name));
    }
  }
}

bool ServedNames::cover(std::string_view authority, const Address& local) const {
  std::string host = hostOf(authority);
  if (host.ends_with('.')) host.pop_back();
  if (host.empty()) return false;
  if (const auto address = addressOf(host)) {
    if (coverAddress(*address, local)) return true;
  } else if (sameName(host, "localhost") || holdsName(names_, host)) {
    return true;
  }
  return isCertified_ && isCertified_(host);
}

bool ServedNames::coverAddress(const Address& address, const Address& local) const {
  return address == unmapped(local) || address.is_loopback() ||
         std::ranges::find(addresses_, address) != addresses_.end();
}

}  // namespace cimom
