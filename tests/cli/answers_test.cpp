#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "run_pcicim.h"

namespace clitest {
namespace {

using nlohmann::json;

Outcome onSample(const Arguments& arguments) {
  return runOn(sample("q35-pcie-switches.txt"), arguments);
}

json answers(Arguments arguments) {
  arguments.insert(arguments.end(), {"--format", "json"});
  const Outcome outcome = onSample(arguments);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return json::parse(outcome.out);
}

struct ClassCount {
  const char* name;
  std::size_t instances;
};

class Counts : public testing::TestWithParam<ClassCount> {};

TEST_P(Counts, NamesAndInstancesOfTheSampleMachine) {
  EXPECT_EQ(answers({"enum", GetParam().name}).size(), GetParam().instances);
  EXPECT_EQ(answers({"enum", GetParam().name, "--names"}).size(), GetParam().instances);
}

INSTANTIATE_TEST_SUITE_P(
    Q35, Counts,
    testing::Values(ClassCount{"Zelmar_PCIDevice", 13}, ClassCount{"Zelmar_PCIBridge", 6},
                    ClassCount{"Zelmar_PCIeSwitch", 2}, ClassCount{"Zelmar_PCIPort", 33},
                    ClassCount{"Zelmar_PCIPortGroup", 14}, ClassCount{"Zelmar_PCISystemDevice", 46},
                    ClassCount{"Zelmar_PCIControlledBy", 33},
                    ClassCount{"Zelmar_PCIHostedCollection", 14},
                    ClassCount{"Zelmar_PCIMemberOfCollection", 45},
                    ClassCount{"Zelmar_PCIDeviceConnection", 0},
                    ClassCount{"OMC_UnitaryComputerSystem", 1}),
    [](const auto& test) { return std::string(test.param.name); });

// An enumeration of a standard class returns the instances of all classes below it.
INSTANTIATE_TEST_SUITE_P(
    StandardClassesOnQ35, Counts,
    testing::Values(ClassCount{"CIM_ManagedElement", 69}, ClassCount{"CIM_LogicalDevice", 54},
                    ClassCount{"CIM_PCIController", 21}, ClassCount{"CIM_PCIDevice", 21},
                    ClassCount{"CIM_PCIBridge", 6}, ClassCount{"CIM_PCIeSwitch", 2},
                    ClassCount{"CIM_LogicalPort", 33}, ClassCount{"CIM_PCIPort", 33},
                    ClassCount{"CIM_Collection", 14},
                    ClassCount{"CIM_SystemSpecificCollection", 14},
                    ClassCount{"CIM_LogicalPortGroup", 14}, ClassCount{"CIM_PCIPortGroup", 14},
                    ClassCount{"CIM_ComputerSystem", 1}, ClassCount{"CIM_Component", 46},
                    ClassCount{"CIM_SystemDevice", 46}, ClassCount{"CIM_Dependency", 47},
                    ClassCount{"CIM_DeviceConnection", 33}, ClassCount{"CIM_ControlledBy", 33},
                    ClassCount{"CIM_HostedDependency", 14}, ClassCount{"CIM_HostedCollection", 14},
                    ClassCount{"CIM_MemberOfCollection", 45}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Count, PrintsEveryPublishedClassWithItsInstances) {
  const Outcome outcome = onSample({"count"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("33  Zelmar_PCIPort\n"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("46  Zelmar_PCISystemDevice\n"), std::string::npos) << outcome.out;
}

TEST(Enum, SwitchesCarryTheNumberOfTheirPorts) {
  const json switches = answers({"enum", "Zelmar_PCIeSwitch"});
  ASSERT_EQ(switches.size(), 2U);
  EXPECT_EQ(switches[0].at("DeviceID"), "0000:01:00.0");
  EXPECT_EQ(switches[0].at("NumberOfPorts"), 4);
  EXPECT_EQ(switches[1].at("NumberOfPorts"), 2);
  EXPECT_TRUE(switches[0].at("Capabilities").is_array());
}

TEST(Enum, PropertyListKeepsTheKeysAndDropsTheRest) {
  const json ports = answers({"enum", "Zelmar_PCIPort", "--property", "PortType"});
  ASSERT_FALSE(ports.empty());
  EXPECT_TRUE(ports[0].contains("PortType"));
  EXPECT_TRUE(ports[0].contains("DeviceID"));
  EXPECT_FALSE(ports[0].contains("ElementName"));
}

TEST(Enum, DefaultsOfTheClassesAreNotTakenForValues) {
  for (const json& port : answers({"enum", "Zelmar_PCIPort"})) {
    for (const char* name : {"EnabledState", "RequestedState", "EnabledDefault"}) {
      EXPECT_FALSE(port.contains(name)) << port;
    }
  }
  for (const json& device : answers({"enum", "Zelmar_PCIDevice"})) {
    EXPECT_EQ(device.at("EnabledState"), 0);
    EXPECT_EQ(device.at("RequestedState"), 0);
    EXPECT_FALSE(device.contains("TransitioningToState")) << device;
  }
}

TEST(Enum, ReferencesAreObjects) {
  const json links = answers({"enum", "Zelmar_PCIControlledBy"});
  ASSERT_FALSE(links.empty());
  const json& antecedent = links[0].at("Antecedent");
  EXPECT_TRUE(antecedent.is_object()) << antecedent;
  EXPECT_EQ(antecedent.dump().find("null"), std::string::npos) << antecedent;
}

TEST(Enum, TheHostNameCanBeGiven) {
  const Outcome outcome =
      onSample({"--host-name", "Some-Host", "enum", "Zelmar_PCIeSwitch", "--format", "json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(json::parse(outcome.out)[0].at("SystemName"), "some-host");
}

TEST(Enum, OptionsAreUnderstoodBehindTheSubcommandToo) {
  const Outcome outcome = runPcicim({"enum", "Zelmar_PCIeSwitch", "--names", "--inventory",
                                     sample("q35-pcie-switches.txt").string()});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("0000:01:00.0"), std::string::npos) << outcome.out;
}

TEST(Enum, TextShowsOnePropertyPerLine) {
  const Outcome outcome = onSample({"enum", "Zelmar_PCIeSwitch"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("DeviceID                = \"0000:01:00.0\""), std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find("NumberOfPorts           = 4"), std::string::npos) << outcome.out;
}

TEST(Get, NeedsNoMoreThanTheKeyThatTheProviderReads) {
  const json port = answers({"get", "Zelmar_PCIPort.DeviceID=\"0000:02:00.0-ep\""});
  ASSERT_EQ(port.size(), 1U);
  EXPECT_EQ(port[0].at("PortType"), 152);
  EXPECT_EQ(port[0].at("ControllerDeviceID"), "0000:01:00.0");
}

TEST(Get, EveryNamePrintedIsUnderstood) {
  for (const char* name : {"Zelmar_PCIDevice", "Zelmar_PCIBridge", "Zelmar_PCIeSwitch",
                           "Zelmar_PCIPort", "Zelmar_PCIPortGroup", "Zelmar_PCIControlledBy",
                           "Zelmar_PCIMemberOfCollection", "OMC_UnitaryComputerSystem"}) {
    const Outcome names = onSample({"enum", name, "--names"});
    ASSERT_EQ(names.status, 0) << names.err;
    const std::string first = names.out.substr(0, names.out.find('\n'));
    const Outcome got = onSample({"get", first});
    EXPECT_EQ(got.status, 0) << first << '\n' << got.err;
    EXPECT_FALSE(got.out.empty()) << first;
  }
}

TEST(Get, ANamespaceInFrontIsUnderstood) {
  EXPECT_EQ(answers({"get", "root/cimv2:zelmar_pciport.deviceid=\"0000:02:00.0-ep\""}).size(), 1U);
}

TEST(Mof, InstancesAreReadBackByTheSchemaReader) {
  for (const char* name : {"Zelmar_PCIDevice", "Zelmar_PCIeSwitch", "Zelmar_PCIPort"}) {
    const Outcome outcome = onSample({"enum", name, "--format", "mof"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const TemporaryFile written(outcome.out);
    const auto repository = cimom::ClassRepository::load({SCHEMA_DIRECTORY, written.path()});
    const auto& instances = repository.instances();
    const auto mine = [name](const cimom::MofInstance& instance) {
      return cimom::sameName(instance.className, name);
    };
    EXPECT_EQ(static_cast<std::size_t>(std::count_if(instances.begin(), instances.end(), mine)),
              answers({"enum", name}).size());
  }
}

constexpr const char* kPort = "Zelmar_PCIPort.DeviceID=\"0000:02:00.0-ep\"";

TEST(Associations, NamesAndInstancesLeadFromAPortToItsDeviceAndGroup) {
  const json devices =
      answers({"associator-names", kPort, "--assoc-class", "Zelmar_PCIControlledBy"});
  EXPECT_EQ(devices.size(), 1U) << devices;
  const json groups =
      answers({"associators", kPort, "--assoc-class", "Zelmar_PCIMemberOfCollection"});
  ASSERT_EQ(groups.size(), 1U) << groups;
  EXPECT_EQ(groups[0].at("InstanceID"), "Zelmar:bus-2");
}

TEST(Associations, ReferencesNameTheAssociationsThemselves) {
  const json links =
      answers({"references", kPort, "--result-class", "Zelmar_PCIMemberOfCollection"});
  ASSERT_EQ(links.size(), 1U) << links;
  EXPECT_TRUE(links[0].at("Member").is_object());
  EXPECT_EQ(
      answers({"reference-names", kPort, "--result-class", "Zelmar_PCIMemberOfCollection"}).size(),
      1U);
}

TEST(Classes, ListsThePublishedClasses) {
  const json classes = answers({"classes"});
  const auto listed = [&classes](const char* name) {
    return std::any_of(classes.begin(), classes.end(),
                       [name](const json& entry) { return entry.at("name") == name; });
  };
  EXPECT_TRUE(listed("Zelmar_PCIDevice")) << classes;
  EXPECT_TRUE(listed("Zelmar_PCIMemberOfCollection")) << classes;
}

TEST(Classes, AreNotOfferedInMofWhichTheyAreWrittenInAlready) {
  const Outcome outcome = onSample({"classes", "--format", "mof"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("{text,json}"), std::string::npos) << outcome.err;
  EXPECT_NE(onSample({"classes", "--help"}).out.find("{text,json}"), std::string::npos);
}

}  // namespace
}  // namespace clitest
