// Requests for ports and port groups over a scripted host: which ports a function has, their paths
// and properties, the groups of the buses, and ids that name none. Requests go through the C
// interface to the built library, which takes its host from the test; a test may put other
// functions in the machine's place before its first request.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <algorithm>
#include <stdexcept>

namespace {

using namespace requests;
using namespace scripted;
using cimom::CimType;
using cimom::Instance;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kPort[] = "Zelmar_PCIPort";
constexpr char kGroup[] = "Zelmar_PCIPortGroup";

class PortRequests : public RequestTest {
 protected:
  Outcome enumerate(const char* className, cimom::PropertyList properties = std::nullopt) {
    return send({Operation::kEnumInstances, className, pathOf(className), {}, properties});
  }
  Outcome enumerateNames(const char* className) {
    return send({Operation::kEnumInstanceNames, className, pathOf(className)});
  }
  Outcome get(const std::string& id, cimom::PropertyList properties = std::nullopt) {
    return send({Operation::kGetInstance, kPort, portPath(id), {}, properties});
  }
  Outcome getGroup(const std::string& id, cimom::PropertyList properties = std::nullopt) {
    return send({Operation::kGetInstance, kGroup, groupPath(id), {}, properties});
  }
};

/// Property of each instance, in order.
std::vector<std::string> column(const Outcome& outcome, const std::string& property) {
  std::vector<std::string> result;
  for (const Instance& instance : outcome.instances) result.push_back(textOf(instance, property));
  return result;
}

std::vector<std::string> types(const Instance& instance) {
  std::vector<std::string> result;
  for (const auto& property : instance.properties) {
    result.push_back(std::string(cimom::typeName(property.value.type)) + " " + property.name);
  }
  return result;
}

TEST_F(PortRequests, EveryPortIsEnumeratedOnceInItsOrder) {
  EXPECT_THAT(enumerate(kPort).events,
              ElementsAreArray(each("[Zelmar_PCIPort:", machinePorts(), "]") +
                               std::vector<std::string>{"done"}));
  EXPECT_THAT(
      enumerateNames(kPort).events,
      ElementsAreArray(each("Zelmar_PCIPort:", machinePorts()) + std::vector<std::string>{"done"}));
}

TEST_F(PortRequests, PathsCarryTheirKeysInOrder) {
  const auto path = enumerateNames(kPort).paths.at(0);
  EXPECT_EQ(path.nameSpace, "root/cimv2");
  ASSERT_THAT(keyNames(path), ElementsAre("SystemName", "CreationClassName",
                                          "SystemCreationClassName", "DeviceID"));
  EXPECT_EQ(toText(path.keys[0].value.elements[0]), "hosta01");
  EXPECT_EQ(toText(path.keys[1].value.elements[0]), kPort);
  EXPECT_EQ(toText(path.keys[2].value.elements[0]), "OMC_UnitaryComputerSystem");
  EXPECT_EQ(toText(path.keys[3].value.elements[0]), "B-pri");
}

TEST_F(PortRequests, APortHasItsPropertiesInOrderAndType) {
  EXPECT_THAT(
      types(get("D-ep").instances.at(0)),
      ElementsAre("string SystemName", "string CreationClassName", "string SystemCreationClassName",
                  "string DeviceID", "uint16 PortType", "string ElementName",
                  "string ControllerDeviceID", "uint8 BusNumber", "uint8 DeviceNumber",
                  "uint8 FunctionNumber", "uint16 PCIDeviceID", "uint16 VendorID",
                  "uint8 RevisionID", "uint8 ClassCode", "uint8 SubClassCode"));
}

TEST_F(PortRequests, EveryPortHasItsKind) {
  EXPECT_THAT(column(enumerate(kPort), "PortType"),
              ElementsAre("150", "150", "150", "152", "152", "150", "1", "0", "152", "152", "152",
                          "152", "152"));
}

TEST_F(PortRequests, AnEndpointWithBothCapabilitiesIsOfPciExpress) {
  host().functions = {{.address = "D", .pcieType = 0, .pciX = true}};
  EXPECT_EQ(textOf(get("D-ep").instances.at(0), "PortType"), "152");
}

TEST_F(PortRequests, TheControllerOfADownstreamPortIsTheFunctionAbove) {
  EXPECT_THAT(column(enumerate(kPort), "ControllerDeviceID"),
              ElementsAre("B", "B", "O", "O", "R", "R", "X", "N", "U", "U", "U", "B", "D"));
}

TEST_F(PortRequests, OnlyABridgesSecondaryPortCarriesTheBusBehindIt) {
  EXPECT_THAT(column(enumerate(kPort), "BusNumber"),
              ElementsAre("0", "1", "0", "8", "0", "9", "0", "0", "1", "2", "2", "1", "3"));
}

TEST_F(PortRequests, APortCarriesWhatThePlatformSaysOfItsFunction) {
  host().functions[5].number = 4;
  const Instance port = get("N-ep").instances.at(0);
  EXPECT_EQ(textOf(port, "ElementName"), "Acme Widget");
  EXPECT_EQ(textOf(port, "DeviceNumber"), "3");
  EXPECT_EQ(textOf(port, "FunctionNumber"), "4");
  EXPECT_EQ(textOf(port, "PCIDeviceID"), std::to_string(0x202));
  EXPECT_EQ(textOf(port, "VendorID"), std::to_string(0x101));
  EXPECT_EQ(textOf(port, "RevisionID"), "5");
  EXPECT_EQ(textOf(port, "ClassCode"), "12");
  EXPECT_EQ(textOf(port, "SubClassCode"), "3");
}

TEST_F(PortRequests, EmptyNamesLeaveASingleBlank) {
  host().functions[5].vendorName = "";
  host().functions[5].deviceName = "";
  EXPECT_EQ(textOf(get("N-ep").instances.at(0), "ElementName"), " ");
}

TEST_F(PortRequests, ThePlatformIsAskedInOneOrder) {
  get("D-ep");
  std::vector<std::string> calls;
  host().onCall = [&](const std::string& call) { calls.push_back(call); };
  get("D-ep");
  // The function is classed, the endpoint's maker asks for its kind, then come the properties.
  const auto maker = std::find(calls.begin(), calls.end(), "GetAddress");
  EXPECT_THAT(std::vector<std::string>(maker, calls.end()),
              ElementsAre("GetAddress", "GetBusNumber", "GetClassCode", "GetDeviceName",
                          "GetVendorName", "GetDeviceNumber", "GetFunctionNumber", "GetDeviceId",
                          "GetVendorId", "GetRevisionId"));
}

TEST_F(PortRequests, EitherPortOfABridgeIsAnsweredWithBoth) {
  for (const char* id : {"B-pri", "B-sec"}) {
    const Outcome outcome = get(id);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events,
                ElementsAre("[Zelmar_PCIPort:B-pri]", "[Zelmar_PCIPort:B-sec]", "done"));
  }
}

TEST_F(PortRequests, AnyOtherPortIsAnsweredAlone) {
  for (const char* id : {"X-ep", "U-up", "P-ep", "D-ep"}) {
    EXPECT_THAT(get(id).events, ElementsAre(std::string("[Zelmar_PCIPort:") + id + "]", "done"));
  }
}

TEST_F(PortRequests, AnUnknownPortIsAnEmptyAnswer) {
  for (const char* id : {"D", "d-ep", "P-up", "H-ep", "nothing"}) {
    const Outcome outcome = get(id);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events, ElementsAre("done"));
  }
}

TEST_F(PortRequests, AnEmptyPortNameIsNotFoundAndNotEnded) {
  const Outcome outcome = get("");
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
}

TEST_F(PortRequests, APropertyListKeepsTheKeys) {
  const cimom::PropertyList wanted = std::vector<std::string>{"PortType"};
  for (const Outcome& outcome : {enumerate(kPort, wanted), get("B-pri", wanted)}) {
    for (const Instance& port : outcome.instances) {
      EXPECT_THAT(propertyNames(port),
                  ElementsAre("SystemName", "CreationClassName", "SystemCreationClassName",
                              "DeviceID", "PortType"));
    }
  }
}

TEST_F(PortRequests, AFailureOfThePlatformFailsTheRequest) {
  get("D-ep");
  host().onCall = [](const std::string& call) {
    if (call == "GetVendorName") throw std::runtime_error("no name");
  };
  for (const Outcome& outcome : {enumerate(kPort), get("D-ep")}) {
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(outcome.message, "no name");
    EXPECT_THAT(outcome.events, IsEmpty());
  }
  EXPECT_EQ(enumerateNames(kPort).status, CMPI_RC_OK);
}

TEST_F(PortRequests, AnEmptyHostHasNoPortsAndNoGroups) {
  host().functions.clear();
  for (const char* className : {kPort, kGroup}) {
    EXPECT_THAT(enumerate(className).events, ElementsAre("done"));
    EXPECT_THAT(enumerateNames(className).events, ElementsAre("done"));
  }
  const Outcome outcome = getGroup("Zelmar:bus-0");
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, ElementsAre("done"));
}

TEST_F(PortRequests, EveryBusWithPortsHasAGroup) {
  const std::vector<std::string> ids{"Zelmar:bus-0", "Zelmar:bus-1", "Zelmar:bus-2",
                                     "Zelmar:bus-3"};
  EXPECT_THAT(enumerate(kGroup).events, ElementsAreArray(each("[Zelmar_PCIPortGroup:", ids, "]") +
                                                         std::vector<std::string>{"done"}));
  EXPECT_THAT(enumerateNames(kGroup).events, ElementsAreArray(each("Zelmar_PCIPortGroup:", ids) +
                                                              std::vector<std::string>{"done"}));
}

TEST_F(PortRequests, AGroupHasItsKeyAndProperties) {
  const Outcome outcome = getGroup("Zelmar:bus-0");
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIPortGroup:Zelmar:bus-0]", "done"));
  const Instance group = outcome.instances.at(0);
  EXPECT_THAT(keyNames(group.path), ElementsAre("InstanceID"));
  EXPECT_THAT(types(group),
              ElementsAre("string InstanceID", "uint8 BusNumber", "string ElementName"));
  EXPECT_EQ(textOf(group, "BusNumber"), "0");
  EXPECT_EQ(textOf(group, "ElementName"), "PCI port group with bus number 0");
}

TEST_F(PortRequests, GroupsAreNarrowedInEveryAnswer) {
  const cimom::PropertyList wanted = std::vector<std::string>{"BusNumber"};
  for (const Outcome& outcome : {enumerate(kGroup, wanted), getGroup("-2", wanted)}) {
    for (const Instance& group : outcome.instances) {
      EXPECT_THAT(propertyNames(group), ElementsAre("InstanceID", "BusNumber"));
    }
  }
}

TEST_F(PortRequests, AGroupsIdIsReadLeniently) {
  const std::vector<std::pair<std::string, std::string>> busById = {
      {"Zelmar:bus-3", "3"},
      {"x-3", "3"},
      {"-3", "3"},
      {"Zelmar:bus-", "0"},
      {"Zelmar:bus-abc", "0"},
      {"Zelmar:bus-259", "3"},
      {"Zelmar:bus- 2", "2"},
      {"Zelmar:bus-+2", "2"},
      {"Zelmar:bus--254", "2"},
      {"Zelmar:bus-2x", "2"},
      {"a-1-2", "1"},
      {"Zelmar:bus-99999999999999999999", "none"}};
  for (const auto& [id, bus] : busById) {
    const Outcome outcome = getGroup(id);
    if (bus == "none") {
      EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << id;
      continue;
    }
    ASSERT_THAT(outcome.instances, SizeIs(1)) << id;
    EXPECT_EQ(textOf(outcome.instances[0], "BusNumber"), bus) << id;
  }
}

TEST_F(PortRequests, AGroupWithoutPortsOrWithAnIllFormedIdIsNotFoundAndEnded) {
  for (const char* id : {"", "Zelmar:bus3", "Zelmar:bus-4", "Zelmar:bus--1", "Zelmar:bus-0300"}) {
    const Outcome outcome = getGroup(id);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << id;
    EXPECT_THAT(outcome.events, ElementsAre("done")) << id;
  }
}

TEST_F(PortRequests, ANumberAboveTheRangeOfBusesWraps) {
  host().functions.push_back({"W", 44});
  EXPECT_EQ(textOf(getGroup("Zelmar:bus-0300").instances.at(0), "BusNumber"), "44");
}

TEST_F(PortRequests, NumberMinusOneIsTheLastBus) {
  host().functions.push_back({"W", 255});
  EXPECT_EQ(textOf(getGroup("Zelmar:bus--1").instances.at(0), "ElementName"),
            "PCI port group with bus number 255");
}

}  // namespace
