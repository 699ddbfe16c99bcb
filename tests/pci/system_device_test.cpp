// Requests to the association of the host system with its plain devices and ports.
#include "association_fixture.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::Instance;
using cimom::ObjectPath;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

const Names kPlainDevices{"X", "N", "D"};

Names systemDeviceEnds() {
  return each(std::string(kSystemBrief) + ",Zelmar_PCIDevice:", kPlainDevices);
}
Names systemPortEnds() {
  return each(std::string(kSystemBrief) + ",Zelmar_PCIPort:", machinePorts());
}

TEST_F(AssociationRequests, TheSystemHoldsPlainDevicesAndThenPorts) {
  expectListings(kSystemDevice, systemDeviceEnds() + systemPortEnds());
}

TEST_F(AssociationRequests, TheSystemsPathHasItsTwoKeys) {
  const Instance pair = enumerate(kSystemDevice).instances.at(0);
  const ObjectPath& system = endOf(pair.path, "GroupComponent");
  EXPECT_EQ(cimom::toText(system), cimom::toText(systemPath()));
}

TEST_F(AssociationRequests, AnyPortOrDeviceLeadsToTheSystem) {
  for (const ObjectPath& source : {portPath("D-ep"), portPath("unknown"), devicePath("D"),
                                   devicePath("unknown"), portPath(""), pathOf("Zelmar_PCIPort")}) {
    expectAssociators(kSystemDevice, source, {kSystemBrief}, kDone);
    expectAssociatorNames(kSystemDevice, source, {kSystemBrief}, kDone);
  }
}

TEST_F(AssociationRequests, TheSystemLeadsToPortsAndThenDevices) {
  const Names ports = each("Zelmar_PCIPort:", machinePorts());
  const Names devices = each("Zelmar_PCIDevice:", kPlainDevices);
  const auto narrowed = [&](Operation operation, const char* resultClass) {
    return ask(kSystemDevice, operation, systemPath(), {"", resultClass, "", ""}).answers();
  };
  expectAssociators(kSystemDevice, systemPath(), ports + devices, kDone);
  expectAssociatorNames(kSystemDevice, systemPath(), ports + devices, kDone);
  for (const char* portClass : {"Zelmar_PCIPort", "zelmar_pciport", "ZELMAR_PCIPORT"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, portClass), bracketed(ports));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, portClass), ports);
  }
  for (const char* deviceClass : {"Zelmar_PCIDevice", "zelmar_pcidevice"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, deviceClass), bracketed(devices));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, deviceClass), devices);
  }
  for (const char* other : {"Zelmar_PCIBridge", "CIM_LogicalDevice", "Zelmar_PCIPortX"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, other), bracketed(ports + devices));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, other), ports + devices);
  }
}

TEST_F(AssociationRequests, TheKeysOfTheSystemDoNotCount) {
  const ObjectPath other = pathOf("OMC_UnitaryComputerSystem", {{"Name", "another"}});
  EXPECT_EQ(associators(kSystemDevice, other).events,
            associators(kSystemDevice, systemPath()).events);
  EXPECT_EQ(references(kHostedCollection, other).events,
            references(kHostedCollection, systemPath()).events);
  EXPECT_EQ(references(kSystemDevice, pathOf("OMC_UnitaryComputerSystem")).events,
            references(kSystemDevice, systemPath()).events);
}

TEST_F(AssociationRequests, ReferencesOfOnePartAreThoseOfAllOfItsClass) {
  for (const char* id : {"D", "unknown", ""}) {
    expectReferences(kSystemDevice, devicePath(id), systemDeviceEnds(), kDone);
    expectReferences(kSystemDevice, portPath(id), systemPortEnds(), kDone);
  }
  expectReferences(kSystemDevice, systemPath(), systemDeviceEnds() + systemPortEnds(), kDone);
}

TEST_F(AssociationRequests, EachPartOfTheSystemCanBeFetched) {
  const Outcome all = enumerateNames(kSystemDevice);
  for (const ObjectPath& path : all.paths) {
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events, ElementsAreArray(bracketed({briefOf(path)}) + kDone));
  }
}

TEST_F(AssociationRequests, APartOfTheSystemIsFoundWhateverTheCaseAndOrderOfItsKeys) {
  for (const ObjectPath& known :
       {fullDevicePath("Zelmar_PCIDevice", "D"),
        endOf(enumerateNames(kSystemDevice).paths.back(), "PartComponent")}) {
    ObjectPath part = known;
    for (auto& key : part.keys) {
      std::transform(key.name.begin(), key.name.end(), key.name.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    }
    std::reverse(part.keys.begin(), part.keys.end());
    const Outcome outcome =
        get(pairOf(kSystemDevice, "GroupComponent", systemPath(), "PartComponent", part));
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(
        outcome.events,
        ElementsAreArray(bracketed(pairs(kSystemDevice, {kSystemBrief + (',' + briefOf(known))})) +
                         kDone));
  }
}

TEST_F(AssociationRequests, APartWithoutAnIdOrWithOneOfAnotherTypeIsNotFound) {
  const ObjectPath known = fullDevicePath("Zelmar_PCIDevice", "D");
  ObjectPath without = known;
  std::erase_if(without.keys, [](const auto& key) { return key.name == "DeviceID"; });
  ObjectPath number = without;
  number.keys.push_back({"DeviceID", cimom::Value::number(cimom::CimType::kUint16, 7)});
  for (const ObjectPath& part : {without, number}) {
    const Outcome outcome =
        get(pairOf(kSystemDevice, "GroupComponent", systemPath(), "PartComponent", part));
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << briefOf(part);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(AssociationRequests, WhatIsNoPartOfTheSystemIsNotFound) {
  const auto pairWith = [](const ObjectPath& system, const ObjectPath& part) {
    return pairOf(kSystemDevice, "GroupComponent", system, "PartComponent", part);
  };
  ObjectPath otherHost = systemPath();
  otherHost.keys[1].value = cimom::Value::text("another");
  const ObjectPath known = fullDevicePath("Zelmar_PCIDevice", "D");
  ASSERT_THAT(get(pairWith(systemPath(), known)).answers(), SizeIs(1));
  for (const ObjectPath& path :
       {pairWith(otherHost, known), pairWith(systemPath(), fullDevicePath("Zelmar_PCIBridge", "B")),
        pairWith(systemPath(), fullDevicePath("Zelmar_PCIDevice", "B")),
        pairWith(systemPath(), fullDevicePath("Zelmar_PCIDevice", "P")),
        pairWith(systemPath(), fullDevicePath("Zelmar_PCIeSwitch", "U")),
        pairWith(systemPath(), devicePath("D")), pairWith(known, known)}) {
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << briefOf(path);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(AssociationRequests, AnEmptyHostHasNoPart) {
  host().functions.clear();
  EXPECT_EQ(get(pairOf(kSystemDevice, "GroupComponent", systemPath(), "PartComponent",
                       fullDevicePath("Zelmar_PCIDevice", "D")))
                .status,
            CMPI_RC_ERR_NOT_FOUND);
}

/// Makes the n-th call of one name fail from now on; counts from 1.
void failCall(const std::string& name, int failing) {
  host().onCall = [name, failing, count = 0](const std::string& call) mutable {
    if (call == name && ++count == failing) throw HostCtl::Lib::HostCtlException("broken host");
  };
}

constexpr char kReferenceFailure[] =
    "enumInstance request to retrieve PCI references failed,error broken host";

TEST_F(AssociationRequests, AFailureEndsTheNamesOfTheSystemsPartsOk) {
  startLog();
  failCall("GetAddress", 2);
  const Outcome outcome = enumerateNames(kSystemDevice);
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events,
              ElementsAreArray(pairs(kSystemDevice, {systemDeviceEnds()[0]}) + kDone));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, AFailureEndsTheReferenceNamesOfTheSystemOk) {
  startLog();
  failCall("GetAddress", 2);
  const Outcome outcome = referenceNames(kSystemDevice, systemPath());
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.answers(), SizeIs(1));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, AFailureFailsTheOtherListingsOfTheSystem) {
  startLog();
  const std::vector<std::pair<Operation, ObjectPath>> requests = {
      {Operation::kEnumInstances, pathOf(kSystemDevice)},
      {Operation::kReferences, systemPath()},
      {Operation::kReferences, devicePath("D")},
      {Operation::kReferenceNames, devicePath("D")},
      {Operation::kAssociators, systemPath()},
      {Operation::kAssociatorNames, systemPath()}};
  for (const auto& [operation, path] : requests) {
    failCall("GetAddress", 2);
    const Outcome outcome = ask(kSystemDevice, operation, path);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED) << nameOf(operation);
    EXPECT_EQ(outcome.message, "broken host");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AFailureWhileAPartIsFetchedIsNotFound) {
  startLog();
  failCall("GetAddress", 1);
  const Outcome outcome = get(pairOf(kSystemDevice, "GroupComponent", systemPath(), "PartComponent",
                                     fullDevicePath("Zelmar_PCIDevice", "D")));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, OnlyHostControlFailuresAreCaught) {
  startLog();
  host().onCall = [](const std::string& call) {
    if (call == "GetAddress") throw std::runtime_error("other");
  };
  const Outcome outcome = enumerateNames(kSystemDevice);
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(outcome.message, "other");
}

}  // namespace
