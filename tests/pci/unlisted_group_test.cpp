// A bus that has ports, but none that is found by its name: no bus number is listed for it, and
// its group is there all the same for a request that names it.
#include "machine_requests.h"
#include "scripted_machine.h"

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;
using testing::ElementsAre;

constexpr char kGroup[] = "Zelmar_PCIPortGroup";
constexpr char kHostedCollection[] = "Zelmar_PCIHostedCollection";
constexpr char kMemberOfCollection[] = "Zelmar_PCIMemberOfCollection";
constexpr char kHosted[] =
    "Zelmar_PCIHostedCollection(OMC_UnitaryComputerSystem:hosta01,"
    "Zelmar_PCIPortGroup:Zelmar:bus-2)";

class UnlistedGroup : public RequestTest {
 protected:
  UnlistedGroup() { host().functions = {{"D", 1}, {"D", 2}}; }

  Outcome ask(Operation operation, const char* className, const ObjectPath& path) {
    return send({operation, className, path});
  }

  const ObjectPath group = groupPath("Zelmar:bus-2");
};

TEST_F(UnlistedGroup, IsNotEnumerated) {
  EXPECT_THAT(ask(Operation::kEnumInstanceNames, kGroup, pathOf(kGroup)).events,
              ElementsAre("Zelmar_PCIPortGroup:Zelmar:bus-1", "done"));
  EXPECT_THAT(ask(Operation::kEnumInstances, kGroup, pathOf(kGroup)).events,
              ElementsAre("[Zelmar_PCIPortGroup:Zelmar:bus-1]", "done"));
  EXPECT_THAT(ask(Operation::kReferenceNames, kHostedCollection, systemPath()).answers(),
              ElementsAre("Zelmar_PCIHostedCollection(OMC_UnitaryComputerSystem:hosta01,"
                          "Zelmar_PCIPortGroup:Zelmar:bus-1)"));
}

TEST_F(UnlistedGroup, IsFetched) {
  const Outcome outcome = ask(Operation::kGetInstance, kGroup, group);
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIPortGroup:Zelmar:bus-2]", "done"));
}

TEST_F(UnlistedGroup, IsHosted) {
  const ObjectPath pair = pairOf(kHostedCollection, "Antecedent", systemPath(), "Dependent", group);
  EXPECT_THAT(ask(Operation::kGetInstance, kHostedCollection, pair).answers(),
              ElementsAre(std::string("[") + kHosted + "]"));
  EXPECT_THAT(ask(Operation::kReferences, kHostedCollection, group).answers(),
              ElementsAre(std::string("[") + kHosted + "]"));
  EXPECT_THAT(ask(Operation::kReferenceNames, kHostedCollection, group).answers(),
              ElementsAre(kHosted));
}

TEST_F(UnlistedGroup, LeadsToItsPort) {
  EXPECT_THAT(ask(Operation::kAssociators, kMemberOfCollection, group).answers(),
              ElementsAre("[Zelmar_PCIPort:D-ep]"));
  EXPECT_THAT(ask(Operation::kAssociatorNames, kMemberOfCollection, group).answers(),
              ElementsAre("Zelmar_PCIPort:D-ep"));
}

}  // namespace
