#pragma once

#include <topology/topology.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace pcicim {

/// Which functions are meant, by their address; what is not there is any.
struct AddressFilter {
  std::optional<std::uint64_t> segment;
  std::optional<unsigned> bus;
  std::optional<unsigned> device;
  std::optional<unsigned> function;

  bool matches(const Address& address) const;
};

/// Reads [[[[SEGMENT]:]BUS]:][DEVICE][.[FUNCTION]], hexadecimal, each part also "*" for any, as
/// lspci(8) does: "01:00.0", "0001:01:00.0", "01:", "00", ".0". Nothing when the text is of another
/// form. Safe from any thread, as the others here.
std::optional<AddressFilter> parseAddressFilter(std::string_view text);

/// Which functions are meant, by vendor and device; what is not there is any.
struct IdFilter {
  std::optional<unsigned> vendor;
  std::optional<unsigned> device;
};

/// Reads [VENDOR]:[DEVICE], hexadecimal, either also "*" for any; nothing for another form.
std::optional<IdFilter> parseIdFilter(std::string_view text);

/// The functions for which `isMeant` holds, with all that lead to them and all behind them.
std::vector<Function> branchesOf(const std::vector<Function>& functions,
                                 const std::vector<bool>& isMeant);

}  // namespace pcicim
