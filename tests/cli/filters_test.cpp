// That the filters of requests narrow, whatever the provider makes of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "run_pcicim.h"

namespace clitest {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

const std::string kPort = "Zelmar_PCIPort.DeviceID=\"0000:02:00.0-ep\"";

Outcome onSample(const Arguments& arguments) {
  return runOn(sample("q35-pcie-switches.txt"), arguments);
}

json answer(Arguments arguments) {
  arguments.insert(arguments.end(), {"--format", "json"});
  const Outcome outcome = onSample(arguments);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return json::parse(outcome.out);
}

std::vector<std::string> classesOf(const json& objects) {
  std::vector<std::string> names;
  for (const json& object : objects) names.push_back(object.at("@class"));
  return names;
}

/// The classes of what is associated with a port, as paths and as instances.
std::vector<std::string> associated(const Arguments& filters) {
  Arguments names{"associator-names", kPort};
  names.insert(names.end(), filters.begin(), filters.end());
  Arguments instances{"associators", kPort};
  instances.insert(instances.end(), filters.begin(), filters.end());
  const std::vector<std::string> classes = classesOf(answer(names));
  EXPECT_EQ(classesOf(answer(instances)), classes);
  return classes;
}

std::vector<std::string> referring(const Arguments& filters) {
  Arguments names{"reference-names", kPort};
  names.insert(names.end(), filters.begin(), filters.end());
  Arguments instances{"references", kPort};
  instances.insert(instances.end(), filters.begin(), filters.end());
  const std::vector<std::string> classes = classesOf(answer(names));
  EXPECT_EQ(classesOf(answer(instances)), classes);
  return classes;
}

TEST(Filters, ResultClassCountsWithTheClassesBelowIt) {
  EXPECT_THAT(associated({}),
              UnorderedElementsAre("Zelmar_PCIDevice", "Zelmar_PCIPort", "Zelmar_PCIPortGroup",
                                   "OMC_UnitaryComputerSystem"));
  EXPECT_THAT(associated({"--result-class", "zelmar_pciportgroup"}),
              ElementsAre("Zelmar_PCIPortGroup"));
  EXPECT_THAT(associated({"--result-class", "CIM_System"}),
              ElementsAre("OMC_UnitaryComputerSystem"));
  EXPECT_THAT(associated({"--result-class", "Zelmar_PCIeSwitch"}), IsEmpty());
}

TEST(Filters, RolesAreThoseOfTheReferences) {
  // What connects ports is shown without its references: such an object is in either role.
  EXPECT_THAT(associated({"--role", "Dependent"}),
              UnorderedElementsAre("Zelmar_PCIDevice", "Zelmar_PCIPort"));
  EXPECT_THAT(associated({"--role", "antecedent"}), ElementsAre("Zelmar_PCIPort"));
  EXPECT_THAT(associated({"--role", "Member"}), ElementsAre("Zelmar_PCIPortGroup"));
  EXPECT_THAT(associated({"--result-role", "GroupComponent"}),
              ElementsAre("OMC_UnitaryComputerSystem"));
  EXPECT_THAT(associated({"--role", "Member", "--result-role", "GroupComponent"}), IsEmpty());
  EXPECT_THAT(associated({"--role", "Collection"}), IsEmpty());
}

TEST(Filters, AssociationsCountWithThoseBelowThem) {
  EXPECT_THAT(associated({"--assoc-class", "CIM_Dependency"}),
              UnorderedElementsAre("Zelmar_PCIDevice", "Zelmar_PCIPort"));
  EXPECT_THAT(associated({"--assoc-class", "CIM_Dependency", "--result-class", "CIM_Controller"}),
              ElementsAre("Zelmar_PCIDevice"));
}

TEST(Filters, ReferencesInARoleAreOfTheObjectItself) {
  EXPECT_THAT(referring({"--role", "Dependent"}), ElementsAre("Zelmar_PCIControlledBy"));
  EXPECT_THAT(referring({"--role", "PartComponent"}), ElementsAre("Zelmar_PCISystemDevice"));
  EXPECT_THAT(referring({"--role", "Antecedent"}), IsEmpty());
  EXPECT_THAT(referring({"--result-class", "CIM_MemberOfCollection"}),
              ElementsAre("Zelmar_PCIMemberOfCollection"));
  EXPECT_THAT(referring({"--assoc-class", "CIM_MemberOfCollection"}),
              ElementsAre("Zelmar_PCIMemberOfCollection"));
}

void expectError(const Arguments& arguments, const std::string& text) {
  const Outcome outcome = onSample(arguments);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("pcicim: CIM_ERR_"));
  EXPECT_THAT(outcome.err, HasSubstr(text));
}

TEST(UnknownNames, OfClassesAreErrorsAndNameTheNearest) {
  expectError({"enum", "Zelmar_PCIBrige"},
              "unknown class Zelmar_PCIBrige (did you mean "
              "Zelmar_PCIBridge?)\n");
  expectError({"enum", "PCIPort", "--names"}, "(did you mean Zelmar_PCIPort?)\n");
  expectError({"get", "Zelmar_PCIDevise.DeviceID=\"x\""}, "(did you mean Zelmar_PCIDevice?)\n");
  for (const char* option : {"--result-class", "--assoc-class"}) {
    expectError({"associators", kPort, option, "Zelmar_PCIGroup"}, "unknown class Zelmar_PCIGroup");
    expectError({"references", kPort, option, "Nonsense"}, "unknown class Nonsense\n");
  }
}

TEST(UnknownNames, OfRolesAndPropertiesAreErrors) {
  expectError({"associators", kPort, "--role", "Membr"}, "(did you mean Member?)\n");
  expectError({"associator-names", kPort, "--result-role", "Nonsense"}, "Nonsense\n");
  expectError({"references", kPort, "--role", "Nonsense"}, "Nonsense\n");
  expectError({"enum", "Zelmar_PCIPort", "--property", "PortTyp"},
              "no property PortTyp of Zelmar_PCIPort (did you mean PortType?)\n");
  expectError({"get", kPort, "--property", "NumberOfPorts"}, "no property NumberOfPorts");
  expectError({"associators", kPort, "--property", "Nonsense"}, "no property Nonsense");
  expectError({"references", kPort, "--property", "Nonsense"}, "no property Nonsense");
}

TEST(KnownNames, OfPropertiesOfAnyClassThatAnswersAreNone) {
  const json devices = answer({"enum", "CIM_LogicalDevice", "--property", "numberofports"});
  EXPECT_EQ(std::count_if(devices.begin(), devices.end(),
                          [](const json& one) { return one.contains("NumberOfPorts"); }),
            2);
  EXPECT_THAT(associated({"--result-class", "CIM_PCIPort"}), IsSupersetOf({"Zelmar_PCIPort"}));
}

}  // namespace
}  // namespace clitest
