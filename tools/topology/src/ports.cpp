#include <topology/ports.h>

#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace pcicim {
namespace {

constexpr std::string_view kPortClass = "Zelmar_PCIPort";

struct NamedSide {
  std::string_view suffix;
  Port::Side side;
};

constexpr std::array kSides{
    NamedSide{"-ep", Port::Side::kEndpoint}, NamedSide{"-up", Port::Side::kUpstream},
    NamedSide{"-pri", Port::Side::kNear}, NamedSide{"-sec", Port::Side::kFar}};

std::optional<unsigned> number(const Record& record, std::string_view name) {
  const std::string_view digits = record.text(name);
  unsigned value = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

std::optional<Port> portOf(const Record& record) {
  const std::string_view name = record.text("DeviceID");
  for (const NamedSide& named : kSides) {
    if (name.size() <= named.suffix.size() || !name.ends_with(named.suffix)) continue;
    return Port{.side = named.side,
                .function = std::string(name.substr(0, name.size() - named.suffix.size())),
                .type = portTypeName(number(record, "PortType").value_or(0)),
                .bus = number(record, "BusNumber")};
  }
  return std::nullopt;
}

}  // namespace

std::string portTypeName(unsigned portType) {
  switch (portType) {
    case 1:
      return "PCI-X";
    case 150:
      return "PCI";
    case 152:
      return "PCIe";
    default:
      return "Unknown";
  }
}

PortListing readPorts(TopologySource& source) {
  PortListing listing;
  source.instances(kPortClass, {"DeviceID", "PortType", "BusNumber", "SystemName"},
                   [&listing](const Record& record) {
                     if (auto port = portOf(record)) listing.ports.push_back(*std::move(port));
                     if (listing.systemName.empty()) listing.systemName = record.text("SystemName");
                   });
  return listing;
}

}  // namespace pcicim
