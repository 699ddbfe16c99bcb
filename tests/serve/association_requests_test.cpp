#include "service_fixture.h"

namespace servetest {
namespace {

using cimom::Instance;
using cimom::ObjectPath;
using cimom::Value;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kInvalidParameter = 4;

class AssociationRequests : public ServiceTest {
 protected:
  static CimRequest on(const std::string& operation, const std::string& object) {
    return CimRequest(operation).xml("ObjectName", object);
  }
  static std::string classObject(const std::string& name) {
    return "<CLASSNAME NAME=\"" + name + "\"/>";
  }
  static ObjectPath link(const ObjectPath& left, const ObjectPath& right) {
    return {"",
            "root/cimv2",
            "Test_ThingLink",
            {{"Left", Value::reference(left)}, {"Right", Value::reference(right)}}};
  }

  const std::string object = instanceName("Test_Thing", {{"Id", "a"}});
};

TEST_F(AssociationRequests, FiltersAndListsGoToTheProviders) {
  ask(on("Associators", object)
          .className("AssocClass", "Test_Link")
          .className("ResultClass", "Test_Thing")
          .text("Role", "Left")
          .text("ResultRole", "Right")
          .names("PropertyList", {"Note"}));
  ask(on("AssociatorNames", object).text("ResultRole", "Right"));
  ask(on("References", object).className("ResultClass", "Test_Link").text("Role", "Left"));
  ask(on("ReferenceNames", object));
  EXPECT_THAT(
      host.seen,
      ElementsAre(
          "associators root/cimv2:Test_Thing.Id=\"a\" Test_Link/Test_Thing/Left/Right [Note]",
          "associatorNames root/cimv2:Test_Thing.Id=\"a\" ///Right",
          "references root/cimv2:Test_Thing.Id=\"a\" /Test_Link/Left/ all",
          "referenceNames root/cimv2:Test_Thing.Id=\"a\" ///"));
}

TEST_F(AssociationRequests, InstancesComeWithWholePaths) {
  host.instances = {{thing("b"), {{"Id", Value::text("b")}, {"Note", Value::text("n")}}}};
  for (const char* operation : {"Associators", "References"}) {
    const CimResponse answer = ask(on(operation, object).names("PropertyList", {"Note"}));
    const std::string place = "//VALUE.OBJECTWITHPATH/INSTANCEPATH/NAMESPACEPATH";
    EXPECT_THAT(answer.select(place + "/HOST"), ElementsAre("made.example")) << operation;
    EXPECT_THAT(answer.select(place + "/LOCALNAMESPACEPATH/NAMESPACE/@NAME"),
                ElementsAre("root", "cimv2"));
    EXPECT_THAT(answer.select("//INSTANCEPATH/INSTANCENAME//KEYVALUE"), ElementsAre("b"));
    EXPECT_THAT(answer.select("//VALUE.OBJECTWITHPATH/INSTANCE/*/@NAME"), ElementsAre("Note"));
  }
}

TEST_F(AssociationRequests, NamesAreWholePaths) {
  ObjectPath elsewhere = thing("c");
  elsewhere.host = "other.example";
  elsewhere.nameSpace = "";
  host.paths = {thing("b"), elsewhere};
  for (const char* operation : {"AssociatorNames", "ReferenceNames"}) {
    const CimResponse answer = ask(on(operation, object));
    EXPECT_THAT(answer.select("//IRETURNVALUE/OBJECTPATH/INSTANCEPATH/NAMESPACEPATH/HOST"),
                ElementsAre("made.example", "other.example"));
    EXPECT_THAT(answer.select("//OBJECTPATH//NAMESPACE/@NAME"),
                ElementsAre("root", "cimv2", "root", "cimv2"));
    EXPECT_THAT(answer.select("//OBJECTPATH//KEYVALUE"), ElementsAre("b", "c"));
  }
}

TEST_F(AssociationRequests, ReferencesInKeysAndPropertiesKeepWhatIsKnownOfTheirPlace) {
  ObjectPath bare = thing("d");
  bare.nameSpace = "";
  host.instances = {{link(thing("b"), bare), {{"Left", Value::reference(thing("b"))}}}};
  const CimResponse answer = ask(on("References", object));
  EXPECT_THAT(
      answer.select("//KEYBINDING[@NAME='Left']/VALUE.REFERENCE/LOCALINSTANCEPATH//KEYVALUE"),
      ElementsAre("b"));
  EXPECT_THAT(answer.select("//KEYBINDING[@NAME='Right']/VALUE.REFERENCE/INSTANCENAME//KEYVALUE"),
              ElementsAre("d"));
  EXPECT_THAT(answer.select("//INSTANCE/PROPERTY.REFERENCE[@REFERENCECLASS='Test_Thing']"
                            "/VALUE.REFERENCE/LOCALINSTANCEPATH//KEYVALUE"),
              ElementsAre("b"));
}

TEST_F(AssociationRequests, NestedReferencesAreReadInEveryFormOfPath) {
  const std::string local =
      "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH>";
  const std::string inner = instanceName("Test_Thing", {{"Id", "x\"y\\,<&>=z"}});
  const std::string forms[] = {inner,
                               "<LOCALINSTANCEPATH>" + local + inner + "</LOCALINSTANCEPATH>",
                               "<INSTANCEPATH><NAMESPACEPATH><HOST>far</HOST>" + local +
                                   "</NAMESPACEPATH>" + inner + "</INSTANCEPATH>"};
  for (const std::string& form : forms) {
    const auto key = [&](const char* name) {
      return std::string("<KEYBINDING NAME=\"") + name + "\"><VALUE.REFERENCE>" + form +
             "</VALUE.REFERENCE></KEYBINDING>";
    };
    ask(on("ReferenceNames", "<INSTANCENAME CLASSNAME=\"Test_ThingLink\">" + key("Left") +
                                 key("Right") + "</INSTANCENAME>"));
  }
  ASSERT_EQ(host.seen.size(), 3U);
  const auto wanted = [](ObjectPath path, const std::string& nameSpace) {
    path.nameSpace = nameSpace;
    return "referenceNames " + cimom::toText(link(path, path)) + " ///";
  };
  const ObjectPath nested = thing("x\"y\\,<&>=z");
  EXPECT_EQ(host.seen[0], wanted(nested, ""));
  EXPECT_EQ(host.seen[1], wanted(nested, "root/cimv2"));
  EXPECT_EQ(host.seen[2], wanted(nested, "root/cimv2"));
}

TEST_F(AssociationRequests, EveryUnknownClassIsAWrongParameter) {
  const std::string unknown = instanceName("Test_None", {});
  for (const char* operation : {"Associators", "AssociatorNames", "References", "ReferenceNames"}) {
    EXPECT_EQ(ask(on(operation, unknown)).errorCode(), kInvalidParameter) << operation;
    EXPECT_EQ(ask(on(operation, classObject("Test_None"))).errorCode(), kInvalidParameter);
    EXPECT_EQ(ask(CimRequest(operation)).errorCode(), kInvalidParameter);
    EXPECT_EQ(ask(on(operation, object).className("ResultClass", "Test_None")).errorCode(),
              kInvalidParameter);
  }
  EXPECT_EQ(ask(on("Associators", object).className("AssocClass", "Test_None")).errorCode(),
            kInvalidParameter);
  EXPECT_EQ(ask(on("References", object).className("AssocClass", "Test_Link")).errorCode(),
            kInvalidParameter);
  EXPECT_THAT(host.seen, IsEmpty());
}

TEST_F(AssociationRequests, ClassesAreFollowedAsTheyAreDeclared) {
  const auto names = [&](const std::string& operation, const std::string& className) {
    return ask(on(operation, classObject(className))).select("//CLASSPATH/CLASSNAME/@NAME");
  };
  EXPECT_THAT(names("ReferenceNames", "Test_Counter"), ElementsAre("Test_Count", "Test_Link"));
  EXPECT_THAT(names("ReferenceNames", "Test_Special"),
              ElementsAre("Test_Count", "Test_Link", "Test_ThingLink"));
  EXPECT_THAT(names("AssociatorNames", "Test_Counter"), ElementsAre("Test_Thing", "Test_Element"));
  EXPECT_THAT(names("ReferenceNames", "Test_Link"), IsEmpty());
  EXPECT_THAT(host.seen, IsEmpty());
}

TEST_F(AssociationRequests, FiltersNarrowClassesToo) {
  const auto names = [&](const CimRequest& request) {
    return ask(request).select("//CLASSPATH/CLASSNAME/@NAME");
  };
  const CimRequest all = on("AssociatorNames", classObject("Test_Thing"));
  EXPECT_THAT(names(CimRequest(all).className("AssocClass", "Test_ThingLink")),
              ElementsAre("Test_Thing"));
  EXPECT_THAT(names(CimRequest(all).className("ResultClass", "Test_Counter")),
              ElementsAre("Test_Counter"));
  EXPECT_THAT(names(CimRequest(all).text("Role", "counted")), ElementsAre("Test_Counter"));
  EXPECT_THAT(names(CimRequest(all).text("ResultRole", "Counted")), IsEmpty());
  const CimRequest references = on("ReferenceNames", classObject("Test_Thing"));
  EXPECT_THAT(names(CimRequest(references).text("Role", "Counted")), ElementsAre("Test_Count"));
  EXPECT_THAT(names(CimRequest(references).className("ResultClass", "Test_Link")),
              ElementsAre("Test_Link", "Test_ThingLink"));
}

TEST_F(AssociationRequests, AssociatedClassesComeWhole) {
  for (const char* operation : {"Associators", "References"}) {
    const CimResponse answer = ask(on(operation, classObject("Test_Counter")));
    EXPECT_EQ(answer.select("//VALUE.OBJECTWITHPATH/CLASSPATH/CLASSNAME/@NAME"),
              answer.select("//VALUE.OBJECTWITHPATH/CLASS/@NAME"));
    EXPECT_EQ(answer.select("//VALUE.OBJECTWITHPATH").size(), 2U);
    EXPECT_THAT(answer.select("//VALUE.OBJECTWITHPATH[1]//HOST"), ElementsAre("made.example"));
  }
}

}  // namespace
}  // namespace servetest
