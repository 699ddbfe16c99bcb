#pragma once

#include <picture/layout.h>

#include <string>
#include <utility>

namespace picturetest {

inline pcicim::Function function(std::string address, std::string parent,
                                 pcicim::Function::Kind kind = pcicim::Function::Kind::kDevice) {
  pcicim::Function result;
  result.kind = kind;
  result.name = "Name of " + address;
  result.address = std::move(address);
  result.parent = std::move(parent);
  return result;
}

inline pcicim::Machine machineOf(std::vector<pcicim::Function> functions) {
  pcicim::Machine machine;
  machine.hostName = "host";
  machine.functions = std::move(functions);
  return machine;
}

/// A bridge to a bus.
inline pcicim::Function bridge(std::string address, std::string parent, unsigned bus) {
  pcicim::Function result =
      function(std::move(address), std::move(parent), pcicim::Function::Kind::kBridge);
  result.leadsToBus = true;
  result.secondaryBus = bus;
  return result;
}

}  // namespace picturetest
