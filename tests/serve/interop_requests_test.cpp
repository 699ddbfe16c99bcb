// What the manager says of itself, asked through the service beside a scripted main namespace, with
// the classes of the shipped schema.
#include <cim_xml/cim_xml_service.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <interop/interop_operations.h>
#include <mof/class_repository.h>

#include "cim_request.h"
#include "scripted_upcalls.h"

namespace servetest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kInvalidNamespace = 3;
constexpr int kInvalidClass = 5;
constexpr int kNotFound = 6;

const cimom::ObjectManagerFacts kFacts{
    .systemName = "made.example", .version = "9.8.7", .nameSpaces = {"root/cimv2", "interop"}};

cimom::ObjectPath classPath(const std::string& name) {
  return {"", "", name, {}};
}

class InteropRequests : public testing::Test {
 protected:
  CimResponse ask(const CimRequest& request) const {
    const cimom::CimXmlReply reply = service.answer(request.headers(), request.body());
    EXPECT_EQ(reply.status, 200) << reply.text;
    return CimResponse(reply.text);
  }
  static CimRequest in(const std::string& operation, const std::string& className = "",
                       const std::string& nameSpace = "interop") {
    CimRequest request(operation);
    request.nameSpace(nameSpace);
    if (!className.empty()) request.className("ClassName", className);
    return request;
  }
  /// The values of a property over all instances.
  std::vector<std::string> values(const std::string& className, const std::string& property) const {
    return ask(in("EnumerateInstances", className))
        .select("//INSTANCE/*[@NAME='" + property + "']//VALUE");
  }
  /// The first name of an enumeration, as it came.
  std::string firstName(const std::string& className) const {
    const std::string text = ask(in("EnumerateInstanceNames", className)).text();
    const std::size_t start = text.find("<INSTANCENAME ");
    const std::string end = "</INSTANCENAME>";
    return text.substr(start, text.find(end, start) + end.size() - start);
  }

  cimom::ClassRepository repository = cimom::ClassRepository::loadDirectory(STANDARD_SCHEMA);
  test_support::ScriptedUpcalls host;
  cimom::InteropOperations interop{repository, kFacts};
  cimom::CimXmlService service{
      repository,
      host,
      {.hostName = "made.example", .further = {{"interop", "root/interop", &interop}}}};
};

TEST_F(InteropRequests, EveryNamespaceIsNamed) {
  EXPECT_THAT(values("CIM_Namespace", "Name"), ElementsAre("root/cimv2", "interop"));
  EXPECT_THAT(values("CIM_Namespace", "ObjectManagerName"),
              ElementsAre("pcicim@made.example", "pcicim@made.example"));
}

TEST_F(InteropRequests, TheObjectManagerHasNameVersionAndStatus) {
  EXPECT_THAT(values("CIM_ObjectManager", "Name"), ElementsAre("pcicim@made.example"));
  EXPECT_THAT(values("CIM_ObjectManager", "ElementName"), ElementsAre("pcicim"));
  EXPECT_THAT(values("CIM_ObjectManager", "Description"), ElementsAre(HasSubstr("9.8.7")));
  EXPECT_THAT(values("CIM_ObjectManager", "OperationalStatus"), ElementsAre("2"));
  EXPECT_THAT(values("CIM_ObjectManager", "Started"), ElementsAre("TRUE"));
  EXPECT_THAT(values("CIM_ObjectManager", "SystemName"), ElementsAre("made.example"));
}

TEST_F(InteropRequests, TheProtocolIsToldByItsSuperclassToo) {
  constexpr const char* kClass = "CIM_ObjectManagerCommunicationMechanism";
  EXPECT_THAT(values(kClass, "CommunicationMechanism"), ElementsAre("2"));
  EXPECT_THAT(values(kClass, "AuthenticationMechanismsSupported"), ElementsAre("2"));
  cimom::ObjectManagerFacts asking = kFacts;
  asking.asksForPasswords = true;
  cimom::InteropOperations other(repository, asking);
  const cimom::CimXmlService withPasswords{
      repository,
      host,
      {.hostName = "made.example", .further = {{"interop", "root/interop", &other}}}};
  const CimRequest request = in("EnumerateInstances", kClass);
  const CimResponse answer(withPasswords.answer(request.headers(), request.body()).text);
  EXPECT_THAT(answer.select("//*[@NAME='AuthenticationMechanismsSupported']//VALUE"),
              ElementsAre("3"));
}

TEST_F(InteropRequests, EveryPropertyIsOneOfItsClassOfTheSameType) {
  for (const cimom::Instance& instance :
       interop.enumerateInstances(classPath("CIM_ManagedElement"))) {
    EXPECT_EQ(instance.path.keys.size(), repository.keys(instance.path.className).size());
    for (const auto& [name, value] : instance.properties) {
      const auto* declared = repository.findProperty(instance.path.className, name);
      ASSERT_NE(declared, nullptr) << name;
      EXPECT_EQ(declared->type, value.type) << name;
      EXPECT_EQ(declared->isArray, value.isArray) << name;
    }
  }
}

TEST_F(InteropRequests, AnAliasNamesTheSameNamespace) {
  for (const char* name : {"root/interop", "ROOT/Interop", "Interop"}) {
    const CimResponse answer = ask(in("OpenEnumerateInstances", "CIM_Namespace", name));
    ASSERT_EQ(answer.errorCode(), 0) << name;
    const std::string context = answer.select("//PARAMVALUE/VALUE").back();
    const CimResponse pulled = ask(in("PullInstancesWithPath")
                                       .text("EnumerationContext", context)
                                       .text("MaxObjectCount", "10"));
    EXPECT_THAT(pulled.select("//INSTANCEPATH/NAMESPACEPATH//NAMESPACE/@NAME"),
                ElementsAre("interop", "interop"));
  }
}

TEST_F(InteropRequests, NamesNameTheirInstances) {
  for (const char* name :
       {"CIM_ObjectManager", "CIM_Namespace", "CIM_CIMXMLCommunicationMechanism"}) {
    const CimResponse answer =
        ask(in("GetInstance").xml("InstanceName", firstName(name)).names("PropertyList", {"Name"}));
    EXPECT_EQ(answer.errorCode(), 0) << answer.errorText();
    EXPECT_THAT(answer.select("//INSTANCE[@CLASSNAME='" + std::string(name) + "']/PROPERTY/@NAME"),
                ElementsAre("Name"));
  }
  std::string other = firstName("CIM_Namespace");
  other.replace(other.find("root/cimv2"), 10, "root/other");
  EXPECT_EQ(ask(in("GetInstance").xml("InstanceName", other)).errorCode(), kNotFound);
  EXPECT_EQ(
      ask(in("GetInstance").xml("InstanceName", instanceName("CIM_Namespace", {}))).errorCode(),
      kNotFound);
}

TEST_F(InteropRequests, NothingIsAssociated) {
  for (const char* operation : {"Associators", "AssociatorNames", "References", "ReferenceNames"}) {
    const CimResponse answer = ask(in(operation).xml("ObjectName", firstName("CIM_ObjectManager")));
    EXPECT_EQ(answer.errorCode(), 0) << operation;
    EXPECT_THAT(answer.select("//IRETURNVALUE/*"), IsEmpty());
  }
  const CimResponse opened = ask(in("OpenAssociatorInstances")
                                     .xml("InstanceName", firstName("CIM_ObjectManager"))
                                     .text("MaxObjectCount", "1"));
  EXPECT_THAT(opened.select("//PARAMVALUE[@NAME='EndOfSequence']/VALUE"), ElementsAre("TRUE"));
}

TEST_F(InteropRequests, NamespacesAreKeptApart) {
  EXPECT_THAT(ask(in("EnumerateInstances", "CIM_PCIDevice")).select("//INSTANCE"), IsEmpty());
  EXPECT_THAT(host.seen, IsEmpty());
  ask(in("EnumerateInstances", "CIM_Namespace", "root/cimv2"));
  EXPECT_THAT(host.seen, SizeIs(1));
  EXPECT_EQ(ask(in("EnumerateInstances", "CIM_Namespace", "root")).errorCode(), kInvalidNamespace);
  EXPECT_EQ(ask(in("EnumerateClassNames", "", "root/PG_InterOp")).errorCode(), kInvalidNamespace);
  // An enumeration is of the namespace where it was opened.
  const std::string context =
      ask(in("OpenEnumerateInstances", "CIM_Namespace")).select("//PARAMVALUE/VALUE").back();
  const auto pull = in("PullInstancesWithPath", "", "root/cimv2")
                        .text("EnumerationContext", context)
                        .text("MaxObjectCount", "1");
  EXPECT_EQ(ask(pull).errorCode(), 21);
}

TEST_F(InteropRequests, NoProfileIsClaimed) {
  EXPECT_EQ(ask(in("EnumerateInstances", "CIM_RegisteredProfile")).errorCode(), kInvalidClass);
}

TEST_F(InteropRequests, ASchemaWithoutTheClassesHasNoInstances) {
  const auto small = cimom::ClassRepository::parse(
      "class CIM_ObjectManager { [Key] string Name; string Caption; };");
  cimom::InteropOperations operations(small, kFacts);
  const auto instances = operations.enumerateInstances(classPath("CIM_ObjectManager"));
  ASSERT_THAT(instances, SizeIs(1));
  EXPECT_THAT(instances.front().properties, SizeIs(2));
  const auto whole = interop.enumerateInstances(classPath("CIM_Namespace"));
  EXPECT_THROW(operations.getInstance(whole.front().path, std::nullopt), cimom::CimError);
}

}  // namespace
}  // namespace servetest
