#pragma once

#include <qarctl/PciDevice.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The process-wide snapshot of the host's PCI topology. It is read from host control once, when
/// the first provider is constructed, and never changes afterwards: every function here but
/// LoadCache is a pure read, safe on any number of threads, and what it returns belongs to the
/// cache and lives as long as the library is loaded.
namespace pciprovider {

using HostCtl::Hardware::PciDevice;

/// One port, derived from a PCI function.
struct PortEntry {
  /// Device to which the port is counted: its own, but for a switch's downstream port the switch.
  std::string ownerAddress;
  /// Device address and suffix; unique as long as device addresses are.
  std::string portName;
  /// For a bridge's two ports the other one's name; empty for every other port.
  std::string peerPortName;
  /// The function from which the port was made.
  std::string deviceAddress;
  /// The function's own bus, also for a bridge's secondary port.
  std::uint8_t busNumber = 0;
  /// The function; owned by the cache.
  const PciDevice* device = nullptr;
};

/// Hashes addresses and port names: they are short, and come from the host, not from clients. The
/// standard hash takes several times as long.
struct TextHash {
  using is_transparent = void;

  std::size_t operator()(std::string_view text) const {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::uint64_t hash = text.size();
    if (text.size() < kWord) {
      for (const char byte : text) hash = Mixed(hash, static_cast<unsigned char>(byte));
      return static_cast<std::size_t>(hash);
    }
    std::size_t at = 0;
    for (; at + kWord < text.size(); at += kWord) hash = Mixed(hash, Word(text.data() + at));
    return static_cast<std::size_t>(Mixed(hash, Word(text.data() + text.size() - kWord)));
  }

 private:
  static std::uint64_t Word(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }

  static std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
    constexpr std::uint64_t kOddFactor = 0x9e3779b97f4a7c15;
    hash = (hash ^ word) * kOddFactor;
    return hash ^ hash >> 32U;
  }
};

/// A look-up by a text that never has to become a string.
template <class Key, class Value>
using TextIndex = std::unordered_map<Key, Value, TextHash, std::equal_to<>>;

using DeviceVector = std::vector<std::unique_ptr<PciDevice>>;
using DeviceIndex = TextIndex<std::string, DeviceVector::const_iterator>;
using PortVector = std::vector<PortEntry>;
using PortPointers = std::vector<const PortEntry*>;
using PortBuckets = std::unordered_map<std::string, PortPointers>;

/// Builds the snapshot on the first call of the process; callers that arrive meanwhile wait.
/// Returns pthread_once's code. A failure to learn the system's name passes out of it, and the next
/// call starts anew (glibc's pthread_once counts no call that throws); any other failure is logged
/// and leaves the snapshot as far as it got, for good.
int LoadCache();

/// Every function that the host reported, in its order.
const DeviceVector& GetDevicesCache();
/// Every port, in device order; a bridge's primary before its secondary.
const PortVector& GetPortsCache();
/// By bridge address, the ports counted to the bridge that are not of a bridge or switch.
const PortBuckets& GetBridgePortsCache();
/// By switch upstream port address, the same for switches.
const PortBuckets& GetSwitchPortsCache();
/// The primary port of each bridge.
const PortPointers& GetBridgesCache();
/// The port of each switch upstream port.
const PortPointers& GetSwitchCache();
/// Each bus number that a port carries, ascending.
const std::vector<std::uint8_t>& GetBusNumbers();
/// The host system's name in lower case.
const char* PciGetSystemName();
/// All port names, in byte order.
const std::set<std::string>& GetPortNames();

/// Finds a device by its address; false leaves `position` as it was.
bool LookupDevice(std::string_view address, DeviceIndex::const_iterator& position);
/// Finds a port's device by the port's name; false leaves `device` as it was.
bool LookupPort(std::string_view name, const PciDevice*& device);
/// The port of that name, or an entry whose texts are all empty.
const PortEntry& LookupPortEntry(std::string_view name);
/// The last port made from the device of that address, or the empty entry.
const PortEntry& LookupPortByDeviceEntry(std::string_view address) noexcept;
/// The ports under a bridge; an empty list when there are none.
const PortPointers& LookupBridgePorts(const std::string& address);
/// The ports under a switch; an empty list when there are none.
const PortPointers& LookupSwitchPorts(const std::string& address);
/// Replaces `devices` by the device of every port on the bus, repeats included; false leaves it.
bool FindPortsInGroup(std::uint8_t bus, std::vector<const PciDevice*>& devices);
/// Whether FindPortsInGroup finds something.
bool IsInGroups(std::uint8_t bus);
/// Of the ports counted to the device `name`, the first on the lowest bus, or the empty entry.
const PortEntry& FindConnectedPort(std::string_view name);

/// Appends the entry's address to the bucket of `key`.
void AddToMap(const std::string& key, const PortEntry& entry, PortBuckets& map);

}  // namespace pciprovider
