#pragma once

#include <changes/answers.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <topology/topology.h>

namespace pcicim {

/// A property that has a value.
struct Property {
  std::string name;
  /// As JSON on one line; of an array the elements in an order of their own, since the order of an
  /// array means nothing.
  std::string value;

  bool operator==(const Property&) const = default;
};

/// Properties in the order of their names.
using Properties = std::vector<Property>;

/// The value of that name, which CIM compares regardless of case; null where there is none.
const std::string* findValue(const Properties& properties, std::string_view name);

/// What a function is, wherever it sits.
struct Identity {
  std::uint64_t vendor = 0;
  std::uint64_t device = 0;
  std::uint64_t subsystemVendor = 0;
  std::uint64_t subsystem = 0;
  std::uint64_t classCode = 0;
  std::uint64_t subClass = 0;

  bool operator==(const Identity&) const = default;
  bool isBridge() const { return classCode == 6; }
};

/// A PCI function as its instance describes it.
struct ComparedFunction {
  /// Its DeviceID, and the address that it reads as; nothing when it reads as none.
  std::string id;
  std::optional<Address> address;
  /// DeviceID of the function that leads to it; empty on a root bus.
  std::string parent;
  std::string className;
  /// Without the device's number at its end.
  std::string name;
  Identity identity;
  /// Of bridges; 0 when the bridge has not been given one.
  std::optional<unsigned> secondaryBus;
  std::optional<unsigned> slot;
  /// True when an enumeration has it: host bridges, ports of switches and others are in none.
  bool isListed = true;
  /// All but those that follow from where it is, and those above that are no part of the identity.
  Properties properties;
};

/// A port; its id is that of its function, a minus sign, and a word for the side.
struct ComparedPort {
  std::string id;
  std::string name;
  std::string controller;
  Properties properties;

  std::string_view functionId() const;
  std::string_view side() const;
};

struct ComparedGroup {
  std::string id;
  std::optional<unsigned> bus;
};

/// What the answers of one host describe.
struct ComparedMachine {
  HostFacts host;
  std::vector<ComparedFunction> functions;
  std::vector<ComparedPort> ports;
  std::vector<ComparedGroup> groups;
};

/// Collects a machine out of answers.
class ComparedMachineBuilder : public AnswersSink {
 public:
  void host(const HostFacts& facts) override { machine_.host = facts; }
  bool wants(std::string_view className) const override;
  void beginClass(const std::string& className) override { className_ = className; }
  void instance(const cimom::Instance& instance) override;

  /// What came up to now; nothing is left here.
  ComparedMachine take();

 private:
  void addFunction(const cimom::Instance& instance);
  void addPort(const cimom::Instance& instance);
  void addGroup(const cimom::Instance& instance);

  ComparedMachine machine_;
  std::string className_;
};

}  // namespace pcicim
