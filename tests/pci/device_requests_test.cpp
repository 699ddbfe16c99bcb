// Requests for devices, bridges and switches over a scripted host: which functions each class
// lists, their paths and properties, and what a get request returns for ids of other kinds.
// Requests go through the C interface to the built library, which takes its host from the test; a
// test may put other functions in the machine's place, or have calls fail, before its first
// request.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::CimType;
using cimom::Instance;
using cimom::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr char kDevice[] = "Zelmar_PCIDevice";
constexpr char kBridge[] = "Zelmar_PCIBridge";
constexpr char kSwitch[] = "Zelmar_PCIeSwitch";

class DeviceRequests : public RequestTest {
 protected:
  Outcome enumerate(const char* className, cimom::PropertyList properties = std::nullopt) {
    return send({Operation::kEnumInstances, className, pathOf(className), {}, properties});
  }
  Outcome enumerateNames(const char* className) {
    return send({Operation::kEnumInstanceNames, className, pathOf(className)});
  }
  Outcome get(const char* className, const std::string& id) {
    return send({Operation::kGetInstance, className, byDeviceId(className, id)});
  }
  Outcome getLogged(const char* className, const std::string& id) {
    return sendLogged({Operation::kGetInstance, className, byDeviceId(className, id)});
  }
  Instance only(const Outcome& outcome) {
    EXPECT_EQ(outcome.status, CMPI_RC_OK) << outcome.message;
    EXPECT_THAT(outcome.instances, SizeIs(1));
    return outcome.instances.empty() ? Instance{} : outcome.instances.front();
  }
  scripted::Function& function(const std::string& address) {
    for (scripted::Function& candidate : host().functions) {
      if (candidate.address == address) return candidate;
    }
    throw std::out_of_range(address);
  }
};

std::vector<std::string> typedProperties(const Instance& instance, std::size_t from) {
  std::vector<std::string> result;
  for (std::size_t at = from; at < instance.properties.size(); ++at) {
    const auto& [name, value] = instance.properties[at];
    result.push_back(std::string(cimom::typeName(value.type)) + (value.isArray ? "[] " : " ") +
                     name);
  }
  return result;
}

constexpr std::size_t kKeys = 4;

TEST_F(DeviceRequests, AreEnumeratedInTheHostsOrderWithoutBridgesAndSwitchPorts) {
  EXPECT_THAT(enumerate(kDevice).events, ElementsAre("[Zelmar_PCIDevice:X]", "[Zelmar_PCIDevice:N]",
                                                     "[Zelmar_PCIDevice:D]", "done"));
  EXPECT_THAT(
      enumerateNames(kDevice).events,
      ElementsAre("Zelmar_PCIDevice:X", "Zelmar_PCIDevice:N", "Zelmar_PCIDevice:D", "done"));
}

TEST_F(DeviceRequests, BridgesWithPortsAreEnumerated) {
  EXPECT_THAT(enumerate(kBridge).events, ElementsAre("[Zelmar_PCIBridge:B]", "[Zelmar_PCIBridge:O]",
                                                     "[Zelmar_PCIBridge:R]", "done"));
  EXPECT_THAT(
      enumerateNames(kBridge).events,
      ElementsAre("Zelmar_PCIBridge:B", "Zelmar_PCIBridge:O", "Zelmar_PCIBridge:R", "done"));
}

TEST_F(DeviceRequests, SwitchesAreTheirUpstreamPorts) {
  EXPECT_THAT(enumerate(kSwitch).events, ElementsAre("[Zelmar_PCIeSwitch:U]", "done"));
  EXPECT_THAT(enumerateNames(kSwitch).events, ElementsAre("Zelmar_PCIeSwitch:U", "done"));
}

TEST_F(DeviceRequests, AnEmptyHostEnumeratesNothing) {
  host().functions.clear();
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    EXPECT_THAT(enumerate(className).events, ElementsAre("done"));
    EXPECT_THAT(enumerateNames(className).events, ElementsAre("done"));
  }
}

TEST_F(DeviceRequests, PathsCarryTheFourKeysInOrder) {
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    const auto path = enumerateNames(className).paths.at(0);
    EXPECT_EQ(path.nameSpace, "root/cimv2");
    EXPECT_THAT(keyNames(path), ElementsAre("SystemCreationClassName", "SystemName",
                                            "CreationClassName", "DeviceID"));
    for (const auto& key : path.keys) EXPECT_EQ(key.value.type, CimType::kString);
    EXPECT_EQ(toText(path.findKey("SystemCreationClassName")->elements[0]),
              "OMC_UnitaryComputerSystem");
    EXPECT_EQ(toText(path.findKey("SystemName")->elements[0]), "hosta01");
    EXPECT_EQ(toText(path.findKey("CreationClassName")->elements[0]), className);
  }
}

TEST_F(DeviceRequests, ADeviceHasItsPropertiesInOrderAndType) {
  function("D").slot = 7;
  EXPECT_THAT(
      typedProperties(only(get(kDevice, "D")), kKeys),
      ElementsAre("uint8 BusNumber", "uint8 DeviceNumber", "uint8 FunctionNumber",
                  "string ElementName", "uint16 PrimaryStatus", "uint16 HealthState",
                  "uint16 EnabledState", "uint16 RequestedState", "uint16[] Capabilities",
                  "uint8 ClassCode", "uint16 SubsystemID", "uint16 SubsystemVendorID",
                  "uint16 PCIDeviceID", "uint16 VendorID", "uint8 RevisionID", "uint8 SubClassCode",
                  "uint16 SegmentNumber", "string ParentDeviceID", "uint8 PhysicalSlot"));
}

TEST_F(DeviceRequests, ADeviceCarriesWhatThePlatformSays) {
  scripted::Function& device = function("N");
  device.segment = 0x1234;
  device.number = 2;
  device.parent = "B";
  const Instance instance = only(get(kDevice, "N"));
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"BusNumber", "0"},       {"DeviceNumber", "3"},
      {"FunctionNumber", "2"},  {"ElementName", "Acme Widget #3"},
      {"PrimaryStatus", "0"},   {"HealthState", "0"},
      {"EnabledState", "0"},    {"RequestedState", "0"},
      {"ClassCode", "12"},      {"SubsystemID", std::to_string(0x404)},
      {"VendorID", "257"},      {"SubsystemVendorID", std::to_string(0x303)},
      {"RevisionID", "5"},      {"PCIDeviceID", std::to_string(0x202)},
      {"SubClassCode", "3"},    {"SegmentNumber", std::to_string(0x1234)},
      {"ParentDeviceID", "B"},  {"PhysicalSlot", "(unset)"},
      {"DeviceID", "N"},        {"CreationClassName", kDevice},
      {"SystemName", "hosta01"}};
  for (const auto& [name, text] : expected) EXPECT_EQ(textOf(instance, name), text) << name;
}

TEST_F(DeviceRequests, EmptyNamesLeaveTheBlanksStanding) {
  function("N").vendorName = "";
  function("N").deviceName = "";
  EXPECT_EQ(textOf(only(get(kDevice, "N")), "ElementName"), "  #3");
}

TEST_F(DeviceRequests, ADeviceWithoutParentNamesAnEmptyOne) {
  const Instance instance = only(get(kDevice, "N"));
  EXPECT_EQ(textOf(instance, "ParentDeviceID"), "");
  EXPECT_NE(instance.findProperty("ParentDeviceID"), nullptr);
}

TEST_F(DeviceRequests, ASlotNumberKeepsItsLowEightBits) {
  function("N").slot = 260;
  EXPECT_EQ(textOf(only(get(kDevice, "N")), "PhysicalSlot"), "4");
}

TEST_F(DeviceRequests, ASlotIsSetThoughItsLowEightBitsAreAllSet) {
  function("N").slot = 255;
  EXPECT_EQ(textOf(only(get(kDevice, "N")), "PhysicalSlot"), "255");
}

TEST_F(DeviceRequests, OtherNegativeSlotNumbersAreSlotsToo) {
  function("N").slot = -2;
  EXPECT_EQ(textOf(only(get(kDevice, "N")), "PhysicalSlot"), "254");
}

TEST_F(DeviceRequests, AFailingSlotQueryIsLoggedAndLeavesTheRest) {
  function("N").failing = {"GetPhysicalSlot"};
  const Outcome outcome = getLogged(kDevice, "N");
  const Instance instance = only(outcome);
  EXPECT_EQ(instance.findProperty("PhysicalSlot"), nullptr);
  EXPECT_EQ(textOf(instance, "ParentDeviceID"), "");
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_ERR, "Report PCI devices failed : GetPhysicalSlot of N")));
}

std::vector<std::string> capabilitiesOf(const Instance& instance) {
  std::vector<std::string> result;
  for (const auto& element : instance.findProperty("Capabilities")->elements) {
    result.push_back(cimom::toText(element));
  }
  return result;
}

TEST_F(DeviceRequests, CapabilitiesKeepTheirOrderAndLowSixteenBits) {
  function("N").capabilities = {0x10006, 2, 0xffff0003};
  EXPECT_THAT(capabilitiesOf(only(get(kDevice, "N"))), ElementsAre("6", "2", "3"));
}

TEST_F(DeviceRequests, NoCapabilitiesAreAnEmptyArray) {
  function("N").capabilities = {};
  const Instance instance = only(get(kDevice, "N"));
  const Value* value = instance.findProperty("Capabilities");
  ASSERT_NE(value, nullptr);
  EXPECT_FALSE(value->isNull);
  EXPECT_TRUE(value->isArray);
  EXPECT_THAT(value->elements, IsEmpty());
}

TEST_F(DeviceRequests, CapabilitiesPastTheTwoHundredFiftySixthOverwriteTheFirst) {
  std::vector<std::uint32_t> many;
  for (std::uint32_t value = 1000; value < 1258; ++value) many.push_back(value);
  function("N").capabilities = many;
  const auto capabilities = capabilitiesOf(only(get(kDevice, "N")));
  ASSERT_THAT(capabilities, SizeIs(258));
  EXPECT_EQ(capabilities[0], "1256");
  EXPECT_EQ(capabilities[1], "1257");
  EXPECT_EQ(capabilities[2], "1002");
  EXPECT_EQ(capabilities[255], "1255");
}

TEST_F(DeviceRequests, ThePlatformIsAskedInOneOrder) {
  send({Operation::kGetInstance, kDevice, devicePath("N")});
  std::vector<std::string> calls;
  host().onCall = [&](const std::string& call) { calls.push_back(call); };
  send({Operation::kGetInstance, kDevice, devicePath("N")});
  EXPECT_THAT(calls, ElementsAre("GetAddress", "GetVendorName", "GetDeviceName", "GetDeviceNumber",
                                 "GetParent", "GetCapabilities", "GetClassCode", "GetBusNumber",
                                 "GetDeviceNumber", "GetFunctionNumber", "GetSubsystemId",
                                 "GetSubsystemVendorId", "GetDeviceId", "GetVendorId",
                                 "GetRevisionId", "GetSegmentNumber", "GetPhysicalSlot"));
}

TEST_F(DeviceRequests, APropertyListKeepsKeysAndNarrowsTheRest) {
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    const Outcome outcome = enumerate(className, std::vector<std::string>{"VendorID", "Unheard"});
    EXPECT_THAT(propertyNames(outcome.instances.at(0)),
                ElementsAre("SystemCreationClassName", "SystemName", "CreationClassName",
                            "DeviceID", "VendorID"));
  }
}

TEST_F(DeviceRequests, AnEmptyPropertyListLeavesTheKeys) {
  const Outcome outcome = enumerate(kDevice, std::vector<std::string>{});
  EXPECT_THAT(outcome.instances.at(0).properties, SizeIs(4));
}

TEST_F(DeviceRequests, AnyKnownFunctionIsFetchedAsADevice) {
  for (const char* id : {"H", "B", "U", "P", "D"}) {
    const Outcome outcome = get(kDevice, id);
    EXPECT_THAT(outcome.events, ElementsAre(std::string("[Zelmar_PCIDevice:") + id + "]", "done"));
    EXPECT_EQ(textOf(only(outcome), "CreationClassName"), kDevice);
  }
}

TEST_F(DeviceRequests, AnUnknownDeviceIsAnEmptyAnswer) {
  const Outcome outcome = get(kDevice, "nothing");
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAre("done"));
}

TEST_F(DeviceRequests, IdsAreMatchedExactly) {
  EXPECT_THAT(get(kDevice, "n").events, ElementsAre("done"));
  EXPECT_THAT(get(kDevice, "N ").events, ElementsAre("done"));
}

TEST_F(DeviceRequests, AnEmptyIdIsNotFoundAndNotEnded) {
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    const Outcome outcome = get(className, "");
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(DeviceRequests, AnEmptyIdIsNotFoundThoughAFunctionHasNoAddress) {
  host().functions = {{"", 0, 0x0604}};
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    const Outcome outcome = get(className, "");
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(DeviceRequests, AFailureWhileADeviceIsFetchedEndsTheAnswerOk) {
  function("N").failing = {"GetVendorName"};
  const Outcome outcome = getLogged(kDevice, "N");
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAre("done"));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR,
                                             "enumInstance request to retrieve PCI information "
                                             "failed,error GetVendorName of N")));
}

TEST_F(DeviceRequests, AFailureWhileDevicesAreEnumeratedFailsTheRequest) {
  function("N").failing = {"GetVendorName"};
  const Outcome outcome = enumerate(kDevice);
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(outcome.message, "GetVendorName of N");
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIDevice:X]"));
}

TEST_F(DeviceRequests, ABridgeAddsItsTypeAndSecondaryBus) {
  const Instance instance = only(get(kBridge, "B"));
  EXPECT_THAT(typedProperties(instance, kKeys + 18),
              ElementsAre("uint16 BridgeType", "uint8 SecondaryBusNumber"));
  EXPECT_EQ(textOf(instance, "BridgeType"), "4");
  EXPECT_EQ(textOf(instance, "SecondaryBusNumber"), "1");
  EXPECT_EQ(textOf(instance, "CreationClassName"), kBridge);
}

TEST_F(DeviceRequests, AHostBridgeIsFetchedThoughNotEnumerated) {
  const Outcome outcome = get(kBridge, "H");
  EXPECT_EQ(textOf(only(outcome), "BridgeType"), "0");
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIBridge:H]"));
}

TEST_F(DeviceRequests, ABridgesTypeIsItsWholeSubClass) {
  host().functions = {{"Z", 0, 0x0680}};
  EXPECT_EQ(textOf(only(get(kBridge, "Z")), "BridgeType"), "128");
}

TEST_F(DeviceRequests, NoFunctionButABridgeIsFetchedAsOne) {
  for (const char* id : {"D", "N", "U", "P"}) {
    const Outcome outcome = get(kBridge, id);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << id;
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(DeviceRequests, AnUnknownBridgeOrSwitchIsAnEmptyAnswerWithoutAnEnd) {
  for (const char* className : {kBridge, kSwitch}) {
    const Outcome outcome = get(className, "nothing");
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(DeviceRequests, AFailingBridgeFailsTheRequest) {
  function("B").failing = {"GetSecondaryBusNumber"};
  EXPECT_EQ(get(kBridge, "B").status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(enumerate(kBridge).status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(enumerateNames(kBridge).status, CMPI_RC_OK);
}

TEST_F(DeviceRequests, ASwitchCountsWhatSitsDirectlyBelowIt) {
  const Outcome outcome = get(kSwitch, "U");
  const Instance instance = only(outcome);
  EXPECT_THAT(typedProperties(instance, kKeys + 18), ElementsAre("uint16 NumberOfPorts"));
  EXPECT_EQ(textOf(instance, "NumberOfPorts"), "2");
  EXPECT_EQ(textOf(instance, "CreationClassName"), kSwitch);
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIeSwitch:U]"));
}

TEST_F(DeviceRequests, ASwitchWithoutChildrenHasNoPorts) {
  host().functions = {{"U", 1, 0x0604, 5}, {"D", 1}};
  EXPECT_EQ(textOf(only(get(kSwitch, "U")), "NumberOfPorts"), "0");
}

TEST_F(DeviceRequests, ChildrenOfEveryKindCount) {
  host().functions = {{"U", 1, 0x0604, 5}, {"D", 2, 0x0200, -1, "U"}, {"I", 2, 0x0601, -1, "U"}};
  EXPECT_EQ(textOf(only(get(kSwitch, "U")), "NumberOfPorts"), "2");
}

TEST_F(DeviceRequests, AnyKnownFunctionIsFetchedAsASwitch) {
  EXPECT_EQ(textOf(only(get(kSwitch, "D")), "NumberOfPorts"), "0");
  EXPECT_EQ(textOf(only(get(kSwitch, "B")), "NumberOfPorts"), "2");
}

TEST_F(DeviceRequests, AChildWhoseParentQueryFailsIsLoggedAndNotCounted) {
  function("P").failing = {"GetParent"};
  host().functions.push_back({"Z", 2, 0x0604, -1, "U"});
  host().functions.push_back({.address = "Y", .bus = 2, .parent = "U", .failing = {"GetParent"}});
  // The build itself asks downstream ports for their parents and would stop there.
  host().functions.erase(
      std::remove_if(host().functions.begin(), host().functions.end(),
                     [](const auto& candidate) { return candidate.address == "P"; }),
      host().functions.end());
  const Outcome outcome = getLogged(kSwitch, "U");
  EXPECT_EQ(textOf(only(outcome), "NumberOfPorts"), "2");
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR,
                                             "Check Child of PCIeSwitch class failed,reporting "
                                             "false, error GetParent of Y")));
}

TEST_F(DeviceRequests, AFailureWhileASwitchIsFetchedIsAnEmptyAnswer) {
  function("U").failing = {"GetCapabilities"};
  const Outcome outcome = getLogged(kSwitch, "U");
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR,
                                             "enumInstance request to retrieve PCI information "
                                             "failed,error GetCapabilities of U")));
  EXPECT_EQ(enumerate(kSwitch).status, CMPI_RC_ERR_FAILED);
}

TEST_F(DeviceRequests, AFailureOfAnotherTypeFailsTheRequest) {
  get(kDevice, "N");
  host().onCall = [](const std::string&) { throw 7; };
  for (const char* className : {kDevice, kBridge, kSwitch}) {
    EXPECT_EQ(get(className, "B").status, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(enumerate(className).status, CMPI_RC_ERR_FAILED);
  }
}

TEST_F(DeviceRequests, AFailingSwitchTestIsLoggedAndTheFunctionCountsAsABridge) {
  function("U").failing = {"GetPcieDeviceType"};
  const Outcome outcome = getLogged(kBridge, "U");
  EXPECT_EQ(textOf(only(outcome), "BridgeType"), "4");
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR,
                                             "Check for Port on PCIeSwitch failed,reporting false, "
                                             "error GetPcieDeviceType of U")));
}

}  // namespace
