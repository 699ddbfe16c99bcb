// Eight threads on every request: the same answers as one, and no race.
#include "scripted_machine.h"

#include <barrier>
#include <thread>

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;

ObjectPath port(const std::string& id) {
  return byDeviceId("Zelmar_PCIPort", id);
}
ObjectPath group(const std::string& id) {
  return pathOf("Zelmar_PCIPortGroup", {{"InstanceID", id}});
}

std::vector<Request> allRequests() {
  std::vector<Request> all;
  const auto listings = [&](const std::string& className, const ObjectPath& instance) {
    all.push_back({Operation::kEnumInstances, className, pathOf(className)});
    all.push_back({Operation::kEnumInstanceNames, className, pathOf(className)});
    all.push_back({Operation::kGetInstance, className, instance});
  };
  const auto navigation = [&](const std::string& className, const ObjectPath& source) {
    for (const Operation operation : associationOperations()) {
      all.push_back({operation, className, source});
    }
  };
  const ObjectPath system = pathOf("OMC_UnitaryComputerSystem", {{"Name", "hosta01"}});
  listings("Zelmar_PCIDevice", byDeviceId("Zelmar_PCIDevice", "D"));
  listings("Zelmar_PCIBridge", byDeviceId("Zelmar_PCIBridge", "B"));
  listings("Zelmar_PCIeSwitch", byDeviceId("Zelmar_PCIeSwitch", "U"));
  listings("Zelmar_PCIPort", port("B-sec"));
  listings("Zelmar_PCIPortGroup", group("x-0"));
  listings("Zelmar_PCISystemDevice", pairOf("Zelmar_PCISystemDevice", "GroupComponent", system,
                                            "PartComponent", port("D-ep")));
  listings("Zelmar_PCIDeviceConnection", pairOf("Zelmar_PCIDeviceConnection", "Antecedent",
                                                port("D-ep"), "Dependent", port("P-ep")));
  listings("Zelmar_PCIControlledBy",
           pairOf("Zelmar_PCIControlledBy", "Antecedent", system, "Dependent", port("P-ep")));
  listings("Zelmar_PCIHostedCollection",
           pairOf("Zelmar_PCIHostedCollection", "Antecedent", system, "Dependent", group("x-1")));
  listings("Zelmar_PCIMemberOfCollection", pairOf("Zelmar_PCIMemberOfCollection", "Collection",
                                                  group("x-0"), "Member", port("B-pri")));
  navigation("Zelmar_PCISystemDevice", system);
  navigation("Zelmar_PCISystemDevice", port("D-ep"));
  navigation("Zelmar_PCIDeviceConnection", port("K-ep"));
  navigation("Zelmar_PCIControlledBy", port("B-sec"));
  navigation("Zelmar_PCIControlledBy", byDeviceId("Zelmar_PCIBridge", "B"));
  navigation("Zelmar_PCIHostedCollection", group("x-2"));
  navigation("Zelmar_PCIHostedCollection", system);
  navigation("Zelmar_PCIMemberOfCollection", port("O-pri"));
  navigation("Zelmar_PCIMemberOfCollection", group("x-0"));
  return all;
}

class Threads : public RequestTest {};

TEST_F(Threads, EightOnEveryRequestGetTheSameAnswers) {
  constexpr int kThreads = 8;
  const std::vector<Request> all = allRequests();
  std::vector<Outcome> expected;
  for (const Request& request : all) expected.push_back(send(request));
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      start.arrive_and_wait();
      for (std::size_t at = 0; at < all.size(); ++at) {
        // Each thread starts elsewhere, so that different requests meet.
        const std::size_t index = (at + number * all.size() / kThreads) % all.size();
        const Outcome outcome = send(all[index]);
        EXPECT_EQ(outcome.events, expected[index].events);
        EXPECT_EQ(outcome.status, expected[index].status);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Outcome& outcome : expected) EXPECT_FALSE(outcome.answers().empty());
}

}  // namespace
