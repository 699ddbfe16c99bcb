// The listings that requests are served from, called as the provider's operations call them: what
// controls a port, which ports a bridge, switch or device has, and how the name of a group is read.
// Most tests share one machine with bridges, switches and ports on several buses, which the fixture
// reads into the snapshot; a test calls a listing and compares the ids that it hands over.
#include "unit_fixture.h"

#include <PciDevices.h>
#include <PciPortGroups.h>
#include <PciPorts.h>

#include <syslog.h>

namespace {

using namespace pciprovider;
using scripted::device;
using scripted::line;
using scripted::load;
using scripted::logLines;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using zelInt::CmpiData;
using zelInt::CmpiObjectPath;

class Listings : public scripted::AnswerTest {
 protected:
  Listings() {
    load({{"B", 0, 0x0604, 4, "", 1},
          {"B2", 0, 0x0604, 4, "", 5},
          {"C", 0, 0x0604, 4, "", 6},
          {"U", 1, 0x0604, 5, "B", 2},
          {"P", 2, 0x0604, 6, "U", 3},
          {"Q", 2, 0x0604, 6, "U", 4},
          {"V", 5, 0x0604, 5, "B2", 7},
          {"R", 7, 0x0604, 6, "V", 8},
          {"U2", 6, 0x0604, 5, "C", 9},
          {"S", 9, 0x0604, 6, "U2", 10},
          {"K", 1, 0x0604, 6, "B", 11},
          {"L", 5, 0x0604, 6, "B2", 12},
          {"M", 6, 0x0604, 6, "C", 13},
          {"D", 3, 0x0200, 0, "P"},
          {"I", 0, 0x0601}});
  }

  static CmpiObjectPath port(const std::string& name) { return pathWithId("Zelmar_PCIPort", name); }
  static CmpiObjectPath any(const std::string& address) {
    return pathWithId("Zelmar_PCIDevice", address);
  }
};

TEST_F(Listings, ControllersAreGivenForTheirPorts) {
  ListControllers(port("B-sec"), nullptr, result);
  ASSERT_EQ(answers.instances.size(), 1U);
  const cimom::ObjectPath& path = answers.instances[0].path;
  EXPECT_EQ(path.className, "Zelmar_PCIBridge");
  EXPECT_EQ(cimom::toText(path.findKey("CreationClassName")->elements.at(0)), "Zelmar_PCIDevice");
  EXPECT_EQ(idOf(path), "B");
  EXPECT_NE(answers.instances[0].findProperty("VendorID"), nullptr);
  ListControllersRef(port("U-up"), result);
  ASSERT_EQ(answers.paths.size(), 1U);
  EXPECT_EQ(answers.paths[0].className, "Zelmar_PCIeSwitch");
  EXPECT_EQ(cimom::toText(answers.paths[0].findKey("CreationClassName")->elements.at(0)),
            "Zelmar_PCIDevice");
  ListControllersRef(port("P-ep"), result);
  EXPECT_EQ(answers.paths.at(1).className, "Zelmar_PCIDevice");
  EXPECT_EQ(idOf(answers.paths[1]), "P");
  EXPECT_EQ(answers.doneCount, 0U);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Listings, ControllersAreNarrowed) {
  const char* properties[] = {"VendorID", nullptr};
  ListControllers(port("D-ep"), properties, result);
  EXPECT_NE(answers.instances.at(0).findProperty("VendorID"), nullptr);
  EXPECT_EQ(answers.instances[0].findProperty("PCIDeviceID"), nullptr);
}

TEST_F(Listings, ControllersOfUnknownPortsAreLogged) {
  ListControllers(port("no-ep"), nullptr, result);
  ListControllersRef(port("no-up"), result);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_THAT(logLines(), ElementsAre(line(LOG_DEBUG, "ListControllers cop=no-ep not found"),
                                      line(LOG_DEBUG, "ListControllersRef cop=no-up not found")));
}

TEST_F(Listings, NothingIsGivenOrLoggedForAnEmptyId) {
  ListControllers(port(""), nullptr, result);
  ListControllersRef(port(""), result);
  ListPorts(any(""), nullptr, result);
  ListPortsRef(any(""), result);
  ListBridgePorts(any(""), nullptr, result);
  ListBridgePortsRef(any(""), result);
  ListSwitchPorts(any(""), nullptr, result);
  ListSwitchPortsRef(any(""), result);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Listings, PortsOfADeviceAreInstancesOfAllAndThePathOfTheFirst) {
  ListPorts(any("B"), nullptr, result);
  EXPECT_THAT(takeInstanceIds(), ElementsAre("B-pri", "B-sec"));
  ListPortsRef(any("B"), result);
  EXPECT_THAT(takePathIds(), ElementsAre("B-pri"));
  // A switch's first port is its own, its downstream ports count as its too.
  ListPorts(any("U"), nullptr, result);
  EXPECT_THAT(takeInstanceIds(), ElementsAre("U-up"));
  ListPorts(any("P"), nullptr, result);
  ListPortsRef(any("P"), result);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_EQ(answers.doneCount, 0U);
}

TEST_F(Listings, PortsOfBridgesMatchAnyPartOfTheAddress) {
  ListBridgePorts(any("B"), nullptr, result);
  EXPECT_THAT(takeInstanceIds(), UnorderedElementsAre("K-ep", "L-ep"));
  ListBridgePortsRef(any("2"), result);
  EXPECT_THAT(takePathIds(), ElementsAre("L-ep"));
  ListBridgePortsRef(any("B23"), result);
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(answers.doneCount, 0U);
}

TEST_F(Listings, PortsOfASwitchMatchTheWholeAddressAndLogEachSwitch) {
  ListSwitchPorts(any("U"), nullptr, result);
  EXPECT_THAT(takeInstanceIds(), ElementsAre("P-ep", "Q-ep"));
  EXPECT_THAT(logLines(),
              UnorderedElementsAre(line(LOG_CRIT, "ListSwitchPorts searching U (p:2) for U"),
                                   line(LOG_CRIT, "ListSwitchPorts searching V (p:1) for U"),
                                   line(LOG_CRIT, "ListSwitchPorts searching U2 (p:1) for U")));
  logLines().clear();
  ListSwitchPortsRef(any("nothing"), result);
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_THAT(logLines(), UnorderedElementsAre(
                              line(LOG_CRIT, "ListSwitchPortsRef searching U (p:2) for nothing"),
                              line(LOG_CRIT, "ListSwitchPortsRef searching V (p:1) for nothing"),
                              line(LOG_CRIT, "ListSwitchPortsRef searching U2 (p:1) for nothing")));
  ListSwitchPortsRef(any("V"), result);
  EXPECT_THAT(takePathIds(), ElementsAre("R-ep"));
  EXPECT_EQ(answers.doneCount, 0U);
}

TEST_F(Listings, ListedPortsAreNarrowed) {
  const char* properties[] = {"PortType", nullptr};
  ListPorts(any("D"), properties, result);
  ListBridgePorts(any("C"), properties, result);
  ListSwitchPorts(any("U2"), properties, result);
  ASSERT_EQ(answers.instances.size(), 3U);
  for (const auto& instance : answers.instances) {
    EXPECT_NE(instance.findProperty("PortType"), nullptr);
    EXPECT_EQ(instance.findProperty("VendorID"), nullptr);
  }
}

TEST_F(Listings, EachListingGivesABridgesPortsOnce) {
  PortListRef(result);
  PortListRef(result);
  std::vector<std::string> ids = takePathIds();
  EXPECT_EQ(std::count(ids.begin(), ids.end(), "B-sec"), 2);
  PortList(result, nullptr);
  ids = takeInstanceIds();
  EXPECT_EQ(std::count(ids.begin(), ids.end(), "B-sec"), 1);
}

TEST_F(Listings, ABridgeThatARequestHasGivenIsNotGivenAgain) {
  std::set<std::string> seen;
  MakePortsForDevice(device("B"), result, seen, nullptr);
  MakePortsForDevice(device("B"), result, seen, nullptr);
  MakePortsForDevice(device("D"), result, seen, nullptr);
  MakePortsForDevice(device("D"), result, seen, nullptr);
  EXPECT_THAT(takeInstanceIds(), ElementsAre("B-pri", "B-sec", "D-ep", "D-ep"));
  MakePortsForDeviceRef(device("B"), seen, result);
  EXPECT_THAT(takePathIds(), IsEmpty());
  MakePortsForDeviceRef(device("C"), seen, result);
  MakePortsForDeviceRef(device("C"), seen, result);
  EXPECT_THAT(takePathIds(), ElementsAre("C-pri", "C-sec"));
}

TEST_F(Listings, ANullDeviceHasNoPortsAndItsPathsAreLogged) {
  std::set<std::string> seen;
  MakePortsForDevice(nullptr, result, seen, nullptr);
  EXPECT_THAT(logLines(), IsEmpty());
  MakePortsForDeviceRef(nullptr, seen, result);
  EXPECT_THAT(logLines(), ElementsAre(line(LOG_CRIT, "ignoring null device")));
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
}

TEST_F(Listings, ABridgeWithoutPortsGivesNone) {
  std::set<std::string> seen;
  MakePortsForDevice(device("I"), result, seen, nullptr);
  MakePortsForDeviceRef(device("I"), seen, result);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
  EXPECT_THAT(seen, IsEmpty());
}

class LonelyDownstreamPort : public scripted::AnswerTest {};

TEST_F(LonelyDownstreamPort, HasAPathButNoInstance) {
  load({{"P", 2, 0x0604, 6}});
  std::set<std::string> seen;
  MakePortsForDevice(device("P"), result, seen, nullptr);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  MakePortsForDeviceRef(device("P"), seen, result);
  EXPECT_THAT(takePathIds(), ElementsAre("P-ep"));
}

/// The host may list a switch's downstream ports before the switch.
class DownstreamFirst : public scripted::AnswerTest {
 protected:
  DownstreamFirst() {
    load({{"P", 2, 0x0604, 6, "U"}, {"U", 1, 0x0604, 5}, {"Q", 2, 0x0604, 6, "U"}});
  }
};

TEST_F(DownstreamFirst, TheFirstPortCountedToTheSwitchIsListed) {
  ListPorts(pathWithId("Zelmar_PCIDevice", "U"), nullptr, result);
  EXPECT_THAT(takeInstanceIds(), ElementsAre("P-ep"));
  ListPortsRef(pathWithId("Zelmar_PCIDevice", "U"), result);
  EXPECT_THAT(takePathIds(), ElementsAre("P-ep"));
}

TEST_F(DownstreamFirst, TheSwitchHasAllItsPorts) {
  EXPECT_THAT(scripted::namesOf(GetSwitchCache()), ElementsAre("U-up"));
  EXPECT_THAT(scripted::namesOf(LookupSwitchPorts("U")), ElementsAre("P-ep", "Q-ep"));
  ListSwitchPortsRef(pathWithId("Zelmar_PCIeSwitch", "U"), result);
  EXPECT_THAT(takePathIds(), ElementsAre("P-ep", "Q-ep"));
}

class NamelessFunction : public scripted::AnswerTest {};

TEST_F(NamelessFunction, HasNoPortsForAnEmptyId) {
  load({{"", 1}});
  ASSERT_THAT(scripted::namesOf(GetPortsCache()), ElementsAre("-ep"));
  ListPorts(pathWithId("Zelmar_PCIDevice", ""), nullptr, result);
  ListPortsRef(pathWithId("Zelmar_PCIDevice", ""), result);
  EXPECT_THAT(takeInstanceIds(), IsEmpty());
  EXPECT_THAT(takePathIds(), IsEmpty());
}

/// Nothing was built: there is no port at all.
class Groups : public scripted::AnswerTest {
 protected:
  static CmpiObjectPath group(const char* id) {
    CmpiObjectPath path("root/cimv2", "Zelmar_PCIPortGroup");
    path.setKey("InstanceID", CmpiData(id));
    return path;
  }
};

TEST_F(Groups, ReadTheBusBehindTheFirstDash) {
  struct {
    const char* id;
    int bus;
  } const cases[] = {{"Zelmar:bus-0", 0},    {"Zelmar:bus-0300", 44}, {"x-12-7", 12},
                     {"Zelmar:bus-  9x", 9}, {"Zelmar:bus-x", 0},     {"-255", 255},
                     {"Zelmar:bus--1", 255}, {"Zelmar:bus-256", 0},   {"Zelmar:bus-", 0},
                     {"Zelmar:bus-0x10", 0}};
  for (const auto& [id, expected] : cases) {
    unsigned char bus = 77;
    EXPECT_TRUE(ParseBusID(group(id), bus)) << id;
    EXPECT_EQ(bus, expected) << id;
  }
}

TEST_F(Groups, WithoutADashHaveNoBus) {
  unsigned char bus = 77;
  EXPECT_FALSE(ParseBusID(group("Zelmar:bus_1"), bus));
  EXPECT_FALSE(ParseBusID(group(""), bus));
  EXPECT_EQ(bus, 77);
}

TEST_F(Groups, ExistByTheirPortsAlone) {
  for (unsigned bus = 0; bus < 256; ++bus) {
    EXPECT_FALSE(PortGroupExists(static_cast<unsigned char>(bus)));
  }
  load({{"B", 3, 0x0604, 4, "", 9}});
  EXPECT_TRUE(PortGroupExists(3));
  // Nothing sits behind the bridge, so its secondary bus has no group.
  EXPECT_FALSE(PortGroupExists(9));
}

TEST_F(Groups, AreNotNarrowedBeforeTheCallerDoes) {
  const char* properties[] = {"BusNumber", nullptr};
  result.returnData(MakePortGroup(4, properties));
  result.returnData(MakeFilteredPortGroup(4, properties));
  EXPECT_NE(answers.instances.at(0).findProperty("ElementName"), nullptr);
  EXPECT_EQ(answers.instances.at(1).findProperty("ElementName"), nullptr);
  EXPECT_NE(answers.instances.at(1).findProperty("BusNumber"), nullptr);
}

}  // namespace
