#pragma once

#include "scripted_host.h"

#include <PciTopologyCache.h>
#include <broker/broker.h>
#include <broker/request_scope.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>

#include <string>
#include <utility>
#include <vector>

/// What the tests of the provider's own functions share.
namespace scripted {

inline auto line(int priority, const std::string& text) {
  return testing::AllOf(testing::Field(&LogLine::priority, priority),
                        testing::Field(&LogLine::text, text));
}

/// Reads these functions into the snapshot, which a process can do once, and forgets its log lines.
inline void load(std::vector<Function> functions) {
  host().functions = std::move(functions);
  ASSERT_EQ(pciprovider::LoadCache(), 0);
  logLines().clear();
}

/// The snapshot's device of that address.
inline const pciprovider::PciDevice* device(const std::string& address) {
  pciprovider::DeviceIndex::const_iterator position;
  EXPECT_TRUE(pciprovider::LookupDevice(address, position)) << address;
  return position->second->get();
}

inline std::vector<std::string> namesOf(const pciprovider::PortPointers& ports) {
  std::vector<std::string> names;
  for (const pciprovider::PortEntry* port : ports) names.push_back(port->portName);
  return names;
}

inline std::vector<std::string> namesOf(const pciprovider::PortVector& ports) {
  std::vector<std::string> names;
  for (const pciprovider::PortEntry& port : ports) names.push_back(port.portName);
  return names;
}

/// Functions that answer a request: they run in one, and what they hand over is kept.
class AnswerTest : public testing::Test {
 protected:
  static zelInt::CmpiObjectPath pathWithId(const char* className, const std::string& id) {
    zelInt::CmpiObjectPath path("root/cimv2", className);
    path.setKey("DeviceID", zelInt::CmpiData(id.c_str()));
    return path;
  }

  static std::string idOf(const cimom::ObjectPath& path) {
    const cimom::Value* value = path.findKey("DeviceID");
    return value != nullptr ? cimom::toText(value->elements.at(0)) : "(none)";
  }

  /// Ids of the paths and of the instances handed over so far, which are then forgotten.
  std::vector<std::string> takePathIds() {
    std::vector<std::string> ids;
    for (const auto& path : std::exchange(answers.paths, {})) ids.push_back(idOf(path));
    return ids;
  }
  std::vector<std::string> takeInstanceIds() {
    std::vector<std::string> ids;
    for (const auto& instance : std::exchange(answers.instances, {})) {
      ids.push_back(idOf(instance.path));
    }
    return ids;
  }

  cimom::ClassRepository repository = cimom::ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  cimom::Broker broker{repository, nullptr};
  cimom::RequestScope request;
  zelInt::CurrentBrokerScope current{broker.record()};
  cimom::RequestAnswers answers;
  zelInt::CmpiResult result{request.newResult(answers)};
};

}  // namespace scripted
