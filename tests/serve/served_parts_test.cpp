// Pulled enumerations and the interop namespace of the served command, over HTTP.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "cim_request.h"
#include "http_client.h"
#include "made_inventory.h"
#include "served_process.h"
#include "wbemcli.h"

namespace servetest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kContext[] = "//PARAMVALUE[@NAME='EnumerationContext']/VALUE";

class ServedParts : public testing::Test {
 protected:
  CimResponse ask(const CimRequest& request) {
    const auto answer = client_.post(request);
    if (!answer || answer->status != 200) throw std::runtime_error("no answer");
    return CimResponse(answer->body);
  }

  /// What the expression selects in all parts of an answer, three objects in each.
  std::vector<std::string> pulled(const CimRequest& open, const std::string& pull,
                                  const std::string& expression) {
    CimResponse part = ask(CimRequest(open).text("MaxObjectCount", "3"));
    std::vector<std::string> all = part.select(expression);
    while (!part.select(kContext).empty()) {
      part = ask(CimRequest(pull)
                     .text("EnumerationContext", part.select(kContext).front())
                     .text("MaxObjectCount", "3"));
      for (const std::string& found : part.select(expression)) all.push_back(found);
    }
    EXPECT_EQ(part.errorCode(), 0) << part.errorText();
    return all;
  }

  /// An enumeration whole and in parts finds the same.
  void compare(const std::string& whole, const std::string& open, const std::string& pull,
               const std::string& className) {
    const std::string values = "//IRETURNVALUE//*[self::VALUE or self::KEYVALUE]";
    const auto expected = ask(CimRequest(whole).className("ClassName", className)).select(values);
    EXPECT_THAT(expected, Not(IsEmpty()));
    EXPECT_EQ(pulled(CimRequest(open).className("ClassName", className), pull, values), expected);
  }

  ServedProcess server_{{"--inventory", clitest::sample("q35-pcie-switches.txt").string(),
                         "--host-name", "made.example"}};
  HttpClient client_{server_.port()};
};

TEST_F(ServedParts, EnumerationsInPartsAreThoseInOne) {
  for (const char* name : {"Zelmar_PCIDevice", "CIM_PCIPort", "CIM_Dependency"}) {
    SCOPED_TRACE(name);
    compare("EnumerateInstances", "OpenEnumerateInstances", "PullInstancesWithPath", name);
    compare("EnumerateInstanceNames", "OpenEnumerateInstancePaths", "PullInstancePaths", name);
  }
}

TEST_F(ServedParts, AssociationsInPartsAreThoseInOne) {
  const std::string text =
      ask(CimRequest("EnumerateInstanceNames").className("ClassName", "Zelmar_PCIeSwitch")).text();
  const std::size_t start = text.find("<INSTANCENAME ");
  const std::string end = "</INSTANCENAME>";
  const std::string name = text.substr(start, text.find(end, start) + end.size() - start);
  const std::string values = "//IRETURNVALUE//*[self::VALUE or self::KEYVALUE]";
  for (const std::string kind : {"Associator", "Reference"}) {
    const auto expected = ask(CimRequest(kind + "s").xml("ObjectName", name)).select(values);
    EXPECT_THAT(expected, Not(IsEmpty()));
    EXPECT_EQ(pulled(CimRequest("Open" + kind + "Instances").xml("InstanceName", name),
                     "PullInstancesWithPath", values),
              expected);
    const auto names = ask(CimRequest(kind + "Names").xml("ObjectName", name)).select(values);
    EXPECT_EQ(pulled(CimRequest("Open" + kind + "InstancePaths").xml("InstanceName", name),
                     "PullInstancePaths", values),
              names);
  }
}

TEST_F(ServedParts, ErrorsOfTheManagerEndTheOpen) {
  constexpr int kNotSupported = 7;
  const CimResponse answer =
      ask(CimRequest("OpenEnumerateInstances").className("ClassName", "CIM_Namespace"));
  EXPECT_EQ(answer.errorCode(), kNotSupported);
}

TEST_F(ServedParts, AStopEndsWhatIsOpen) {
  for (int i = 0; i < 5; ++i) {
    ask(CimRequest("OpenEnumerateInstances").className("ClassName", "Zelmar_PCIDevice"));
  }
  server_.signal(SIGTERM);
  EXPECT_EQ(server_.waitForEnd(), 0);
}

TEST_F(ServedParts, TheServerTellsWhatItIs) {
  const auto read = [&](const std::string& className, const std::string& property) {
    return ask(CimRequest("EnumerateInstances")
                   .nameSpace("interop")
                   .className("ClassName", className))
        .select("//PROPERTY[@NAME='" + property + "']/VALUE");
  };
  EXPECT_THAT(read("CIM_Namespace", "Name"), ElementsAre("root/cimv2", "interop"));
  EXPECT_THAT(read("CIM_ObjectManager", "SystemName"), ElementsAre("made.example"));
  EXPECT_THAT(read("CIM_ObjectManager", "Description"), ElementsAre(HasSubstr("version ")));
  EXPECT_THAT(read("CIM_ObjectManagerCommunicationMechanism", "Version"), ElementsAre("1.0"));
}

TEST_F(ServedParts, WbemcliReadsTheInteropNamespaceByBothNames) {
  for (const char* name : {"interop", "root/interop"}) {
    const auto outcome = runWbemcli(
        "ei", {"-nl"}, "http://" + objectAt(server_.authority(), "CIM_ObjectManager", name));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("ElementName=\"pcicim\""));
  }
}

}  // namespace
}  // namespace servetest
