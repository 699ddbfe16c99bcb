#pragma once

#include <changes/change_text.h>
#include <changes/comparison.h>
#include <changes/machine.h>
#include <model/value.h>

#include <map>
#include <string>
#include <vector>

namespace changetest {

/// A function of a made-up host, as its classes would describe it.
struct MadeFunction {
  std::string id;
  std::string parent;
  /// The last part of the class's name: Device, Bridge or eSwitch; Port for a port of a switch,
  /// which no enumeration lists.
  std::string kind = "Device";
  unsigned device = 0x1000;
  unsigned subsystem = 0;
  unsigned secondaryBus = 0;
  unsigned slot = 0;
  std::string name;
  std::vector<unsigned> capabilities;
  unsigned revision = 0;

  MadeFunction& model(unsigned number) {
    device = number;
    return *this;
  }
  MadeFunction& ofSubsystem(unsigned number) {
    subsystem = number;
    return *this;
  }
  MadeFunction& inSlot(unsigned number) {
    slot = number;
    return *this;
  }
  MadeFunction& named(const std::string& text) {
    name = text;
    return *this;
  }
};

MadeFunction endpoint(const std::string& id, const std::string& parent = "");
/// A bridge to that bus; 0 is one without a bus.
MadeFunction bridge(const std::string& id, unsigned secondaryBus, const std::string& parent = "");
/// The upstream port of a switch, and one of its downstream ports.
MadeFunction upstream(const std::string& id, const std::string& parent = "");
MadeFunction downstream(const std::string& id, const std::string& parent);

/// A made-up host: functions, their ports, and the groups of the buses that ports are on.
class MadeHost {
 public:
  MadeHost(std::initializer_list<MadeFunction> functions) : functions_(functions) {}

  MadeHost& add(MadeFunction function) {
    functions_.push_back(std::move(function));
    return *this;
  }
  MadeHost& remove(const std::string& id);
  MadeFunction& at(const std::string& id);
  /// Gives each bus below `from` to `to`, wherever it is written.
  MadeHost& renumber(const std::map<unsigned, unsigned>& buses);

  /// All instances of a class, or of pcicim::kUnlisted.
  std::vector<cimom::Instance> instances(const std::string& className) const;
  pcicim::ComparedMachine machine() const;

 private:
  std::vector<MadeFunction> functions_;
};

/// The lines that tell what changed; values have no words but 13 ("Supports PCIe").
std::vector<std::string> told(const pcicim::ComparedMachine& before,
                              const pcicim::ComparedMachine& after);
std::vector<std::string> told(const MadeHost& before, const MadeHost& after);

}  // namespace changetest
