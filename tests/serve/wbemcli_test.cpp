// Compares what another project's client reads from `pcicim serve` with what `pcicim` prints
// itself: each question is asked of both, and the command's JSON is put in the client's words. The
// hosts are this one, saved machines, and a provider of odd values for names and texts that are
// hard to carry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <sstream>
#include <string>
#include <vector>

#include "odd/odd_values.h"
#include "wbemcli.h"

namespace servetest {
namespace {

using clitest::Arguments;
using clitest::Outcome;
using testing::HasSubstr;

constexpr char kHostName[] = "made.example";

const std::vector<std::string>& classNames() {
  static const std::vector<std::string> kNames{
      "Zelmar_PCIDevice",           "Zelmar_PCIBridge",
      "Zelmar_PCIeSwitch",          "Zelmar_PCIPort",
      "Zelmar_PCIPortGroup",        "Zelmar_PCISystemDevice",
      "Zelmar_PCIControlledBy",     "Zelmar_PCIDeviceConnection",
      "Zelmar_PCIHostedCollection", "Zelmar_PCIMemberOfCollection"};
  return kNames;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

int count(const std::string& text, const std::string& what) {
  int found = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
    ++found;
  }
  return found;
}

/// A served host, empty for the live one, and the same host behind pcicim's own commands.
class Wbemcli : public testing::Test {
 protected:
  explicit Wbemcli(Arguments host) : host_(std::move(host)), server_(host_) {}

  /// Where the client's own URL is prefixed to answers, and where the server's path is.
  std::string local() const { return objectAt(server_.authority(), ""); }
  static std::string far() { return objectAt(kHostName, ""); }

  std::string ask(const std::string& operation, const std::string& object,
                  const Arguments& options = {}, const Arguments& words = {}) const {
    const Outcome outcome = runWbemcli(operation, options, "http://" + local() + object, words);
    EXPECT_EQ(outcome.status, 0) << operation << ' ' << object << ": " << outcome.err;
    return outcome.out;
  }
  std::string failure(const std::string& operation, const std::string& object,
                      const std::string& nameSpace = "root/cimv2") const {
    const std::string place = objectAt(server_.authority(), object, nameSpace);
    const Outcome outcome = runWbemcli(operation, {}, "http://" + place);
    EXPECT_NE(outcome.status, 0) << operation << ' ' << place << ": " << outcome.out;
    return outcome.err;
  }
  Json pcicim(const Arguments& question) const { return askPcicim(host_, question); }

  /// Each path of the class as pcicim writes and reads it.
  std::vector<std::string> pathTexts(const std::string& className) const {
    Arguments words = host_;
    words.insert(words.end(), {"enum", className, "--names"});
    return linesOf(clitest::runPcicim(words).out);
  }

  /// Each path of the class as the client needs it to name the instance.
  std::vector<std::string> objects(const std::string& className) const {
    std::vector<std::string> names;
    for (const Json& path : pcicim({"enum", className, "--names"})) {
      names.push_back(clientPath(path));
    }
    return names;
  }

  void compareEnumerations(const std::string& className) const {
    const Json paths = pcicim({"enum", className, "--names"});
    EXPECT_EQ(ask("ein", className), clientPaths(paths, local()));
    EXPECT_EQ(ask("ei", className, {"-nl"}),
              clientInstances(pcicim({"enum", className}), paths, local()));
  }

  /// The paths that the command answers, as the client writes those that a server hands it.
  std::string paths(const Arguments& question) const {
    return clientPaths(pcicim(question), far());
  }

  /// All four questions about an object, with the same filters put in both clients' words.
  void compareAssociations(const std::string& object, const Arguments& client = {},
                           const Arguments& own = {}) const {
    compareLinked({"ain", "associator-names"}, {"ai", "associators"}, object, client, own);
  }
  void compareReferences(const std::string& object, const Arguments& client = {},
                         const Arguments& own = {}) const {
    compareLinked({"rin", "reference-names"}, {"ri", "references"}, object, client, own);
  }

 private:
  /// A question in the client's word and in pcicim's.
  struct Question {
    const char* client;
    const char* own;
  };

  void compareLinked(const Question& names, const Question& instances, const std::string& object,
                     const Arguments& client, const Arguments& own) const {
    const auto answerTo = [&](const Question& question) {
      Arguments words{question.own, object};
      words.insert(words.end(), own.begin(), own.end());
      return pcicim(words);
    };
    Arguments lines = client;
    lines.insert(lines.begin(), "-nl");
    const Json paths = answerTo(names);
    EXPECT_EQ(ask(names.client, object, client), clientPaths(paths, far())) << object;
    const Json linked = answerTo(instances);
    EXPECT_EQ(ask(instances.client, object, lines),
              clientInstances(linked, pathsOf(linked, paths), far()))
        << object;
  }

  Arguments host_;
  ServedProcess server_;
};

Arguments hostArguments(const std::string& inventory) {
  Arguments arguments{"--host-name", kHostName};
  if (!inventory.empty()) {
    arguments.insert(arguments.end(), {"--inventory", clitest::sample(inventory).string()});
  }
  return arguments;
}

class WbemcliOnHosts : public Wbemcli, public testing::WithParamInterface<const char*> {
 protected:
  WbemcliOnHosts() : Wbemcli(hostArguments(GetParam())) {}
};

INSTANTIATE_TEST_SUITE_P(Hosts, WbemcliOnHosts,
                         testing::Values("", "q35-pcie-switches.txt", "i440fx-conventional.txt"),
                         [](const auto& tested) -> std::string {
                           const std::string file = tested.param;
                           return file.empty() ? "live" : file.substr(0, file.find('-'));
                         });

TEST_P(WbemcliOnHosts, EnumeratesEveryClass) {
  for (const std::string& name : classNames()) {
    SCOPED_TRACE(name);
    compareEnumerations(name);
  }
  EXPECT_THAT(ask("ein", "OMC_UnitaryComputerSystem"), HasSubstr(kHostName));
}

TEST_P(WbemcliOnHosts, SuperclassesAnswerTheInstancesOfTheirSubclasses) {
  for (const char* name :
       {"CIM_PCIDevice", "CIM_PCIController", "CIM_PCIBridge", "CIM_LogicalDevice",
        "CIM_LogicalPortGroup", "CIM_ManagedElement", "CIM_Dependency", "cim_pciport"}) {
    SCOPED_TRACE(name);
    compareEnumerations(name);
  }
}

TEST_P(WbemcliOnHosts, GetsEachInstanceByItsName) {
  for (const char* className : {"Zelmar_PCIDevice", "Zelmar_PCIPort", "Zelmar_PCIPortGroup",
                                "Zelmar_PCIControlledBy", "Zelmar_PCIMemberOfCollection"}) {
    const Json paths = pcicim({"enum", className, "--names"});
    const std::vector<std::string> texts = pathTexts(className);
    ASSERT_EQ(texts.size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); i += 3) {
      EXPECT_EQ(ask("gi", clientPath(paths.at(i)), {"-nl"}),
                clientInstances(pcicim({"get", texts[i]}), Json::array({paths.at(i)}), local()));
    }
  }
}

TEST_P(WbemcliOnHosts, PropertyListsNarrowEveryAnswer) {
  const std::vector<std::string> list{"ElementName", "BusNumber"};
  const Arguments words{"ElementName,BusNumber,NoSuchProperty"};
  const Json paths = pcicim({"enum", "Zelmar_PCIPort", "--names"});
  const Json ports = pcicim({"enum", "Zelmar_PCIPort"});
  EXPECT_EQ(ask("ei", "Zelmar_PCIPort", {"-nl"}, words),
            clientInstances(ports, paths, local(), list));
  const std::string object = objects("Zelmar_PCIPort").front();
  const Json names = pcicim({"associator-names", object});
  const Json associated = pcicim({"associators", object});
  EXPECT_EQ(ask("ai", object, {"-nl"}, words),
            clientInstances(associated, pathsOf(associated, names), far(), list));
}

TEST_P(WbemcliOnHosts, FollowsAssociationsFromEveryKindOfObject) {
  for (const char* className : {"Zelmar_PCIDevice", "Zelmar_PCIBridge", "Zelmar_PCIeSwitch",
                                "Zelmar_PCIPort", "Zelmar_PCIPortGroup"}) {
    const std::vector<std::string> all = objects(className);
    if (all.empty()) continue;
    compareAssociations(all.back());
    compareReferences(all.back());
  }
}

TEST_P(WbemcliOnHosts, FiltersNarrowAssociations) {
  const std::string port = objects("Zelmar_PCIPort").front();
  compareAssociations(port, {"-ac", "Zelmar_PCIControlledBy"},
                      {"--assoc-class", "Zelmar_PCIControlledBy"});
  compareReferences(port, {"-arc", "Zelmar_PCISystemDevice"},
                    {"--result-class", "Zelmar_PCISystemDevice"});
}

TEST_P(WbemcliOnHosts, FiltersThatProvidersIgnoreAreNarrowedByTheCommandAlone) {
  const std::string port = objects("Zelmar_PCIPort").front();
  const auto expectWithin = [](const std::string& whole, const std::string& narrowed) {
    EXPECT_NE(narrowed, "");
    EXPECT_THAT(whole, testing::HasSubstr(narrowed));
  };
  expectWithin(ask("ain", port, {"-ac", "CIM_MemberOfCollection", "-ar", "Member"}),
               paths({"associator-names", port, "--assoc-class", "CIM_MemberOfCollection", "--role",
                      "Member"}));
  expectWithin(ask("ain", port, {"-arc", "Zelmar_PCIDevice", "-arr", "Antecedent"}),
               paths({"associator-names", port, "--result-class", "Zelmar_PCIDevice",
                      "--result-role", "Antecedent"}));
  expectWithin(ask("rin", port, {"-ar", "Dependent"}),
               paths({"reference-names", port, "--role", "Dependent"}));
  EXPECT_EQ(paths({"associator-names", port, "--role", "Collection"}), "");
}

class WbemcliOnClasses : public Wbemcli {
 protected:
  WbemcliOnClasses() : Wbemcli(hostArguments("q35-pcie-switches.txt")) {}

  /// The client's text for a class: its properties' names, inherited ones first.
  std::string classText(const std::string& name) const {
    std::string properties;
    for (const auto& property : repository_.allProperties(name)) {
      properties += (properties.empty() ? "" : ",") + property.name + '=';
    }
    return local() + name + ' ' + properties + '\n';
  }

  cimom::ClassRepository repository_ = cimom::ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
};

TEST_F(WbemcliOnClasses, NamesOfAllClasses) {
  std::string expected;
  for (const std::string& name : repository_.subclasses("", true)) {
    expected += local() + name + '\n';
  }
  EXPECT_EQ(linesOf(ask("ecn", "")), linesOf(expected));
}

TEST_F(WbemcliOnClasses, EveryClassAsAWhole) {
  for (const std::string& name : repository_.classNames()) {
    EXPECT_EQ(linesOf(ask("gc", name)).front(), linesOf(classText(name)).front());
  }
}

TEST_F(WbemcliOnClasses, ClassesBelowAClass) {
  for (const char* name : {"CIM_LogicalDevice", "CIM_Dependency", "Zelmar_PCIPort"}) {
    std::vector<std::string> below;
    for (const std::string& line : linesOf(ask("ec", name))) {
      below.push_back(line.substr(local().size(), line.find(' ') - local().size()));
    }
    EXPECT_EQ(below, repository_.subclasses(name, true));
  }
}

TEST_F(WbemcliOnClasses, FailuresSayWhy) {
  const std::string port =
      ".SystemName=\"made.example\",CreationClassName=\"Zelmar_PCIPort\","
      "SystemCreationClassName=\"OMC_UnitaryComputerSystem\",DeviceID=\"9999:00:00.0-ep\"";
  EXPECT_THAT(failure("ei", "Zelmar_Nonsense"), HasSubstr("(5) CIM_ERR_INVALID_CLASS"));
  EXPECT_THAT(failure("ein", "Zelmar_PCIPort", "root/other"),
              HasSubstr("(3) CIM_ERR_INVALID_NAMESPACE"));
  EXPECT_THAT(failure("gi", "Zelmar_PCIPort" + port), HasSubstr("(6) CIM_ERR_NOT_FOUND"));
  EXPECT_THAT(failure("gc", "Zelmar_Nonsense"), HasSubstr("(6) CIM_ERR_NOT_FOUND"));
  EXPECT_THAT(failure("di", "Zelmar_PCIPort" + port), HasSubstr("(7) CIM_ERR_NOT_SUPPORTED"));
  EXPECT_THAT(failure("dc", "Zelmar_PCIPort"), HasSubstr("(7) CIM_ERR_NOT_SUPPORTED"));
}

TEST_F(WbemcliOnClasses, OnePropertyOfAnInstance) {
  const std::string object = objects("Zelmar_PCIPort").front();
  const Json port = pcicim({"get", object}).at(0);
  EXPECT_EQ(ask("gp", object, {}, {"ElementName"}),
            port.at("ElementName").get<std::string>() + '\n');
  EXPECT_EQ(ask("gp", object, {}, {"VendorID"}), port.at("VendorID").dump() + '\n');
}

class WbemcliOnOddValues : public Wbemcli {
 protected:
  WbemcliOnOddValues()
      : Wbemcli({"--host-name", kHostName, "--provider", ODD_PROVIDER, "--schema", ODD_SCHEMA}) {}

  /// Only where the client prints a reference to a carriage return as it came.
  static std::string asPrinted(std::string text) {
    for (std::size_t at = 0; (at = text.find('\r', at)) != std::string::npos;) {
      text.replace(at, 1, "&#13;");
    }
    return text;
  }
};

TEST_F(WbemcliOnOddValues, NamesAndValuesArriveAsTheyAre) {
  const Json paths = pcicim({"enum", "Odd_Thing", "--names"});
  Json things = pcicim({"enum", "Odd_Thing"});
  ASSERT_EQ(paths.size(), kOddNames.size());
  for (std::size_t i = 0; i < kOddNames.size(); ++i) {
    EXPECT_EQ(paths.at(i).at("Name").get<std::string>(), kOddNames[i]);
  }
  // pcicim's own JSON replaces what is no UTF-8; clients of the server can read it.
  things.at(0).at("Text") = kLatin1TextAsUtf8;
  EXPECT_EQ(ask("ein", "Odd_Thing"), asPrinted(clientPaths(paths, local())));
  EXPECT_EQ(ask("ei", "Odd_Thing", {"-nl"}), asPrinted(clientInstances(things, paths, local())));
}

TEST_F(WbemcliOnOddValues, ReferencesInKeysOfReferencesArrive) {
  for (const char* className : {"Odd_Link", "Odd_Remark"}) {
    const Json paths = pcicim({"enum", className, "--names"});
    EXPECT_EQ(paths.size(), kOddNames.size());
    EXPECT_EQ(ask("ein", className), asPrinted(clientPaths(paths, local())));
  }
}

TEST_F(WbemcliOnOddValues, WhatTheClientCanSayComesBack) {
  // The client's own reading of paths stops at quotes, at signs and ends of lines.
  for (const std::size_t index : {std::size_t{0}, std::size_t{5}, std::size_t{6}, std::size_t{8},
                                  std::size_t{9}, std::size_t{10}, std::size_t{11}}) {
    const std::string name = kOddNames[index];
    const std::string object = "Odd_Thing.Name=\"" + name + '"';
    EXPECT_THAT(ask("gi", object, {"-nl"}), HasSubstr("\n-Name=\"" + name + "\"\n"));
    EXPECT_EQ(count(ask("ain", object), far() + "Odd_Thing."), 2) << name;
    EXPECT_EQ(count(ask("rin", object), far() + "Odd_Link."), 2) << name;
  }
}

}  // namespace
}  // namespace servetest
