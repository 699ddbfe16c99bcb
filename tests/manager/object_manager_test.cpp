// The object manager over a provider library whose answers say what it was asked; see
// scripted/scripted_provider.cpp.
#include <broker/object_manager.h>
#include <broker/request_scope.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <model/cim_error.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cimom {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr char kClasses[] = R"(
  class Test_Thing { [Key] string Name; string Note; uint16 Size; };
  class Test_SmallThing : Test_Thing { };
  class Test_UnservedThing : Test_Thing { };
  class Test_Refused { [Key] string Name; };
  class Test_Stepwise { [Key] string Name; string Note; uint16 Size; };
  class Test_Empty { [Key] string Name; };
  [Association] class Test_AnyLink { [Key] string Name; string Note; uint16 Size; };
  [Association] class Test_Link : Test_AnyLink { };
  [Association] class Test_NarrowLink : Test_Link { };
  [Association] class Test_OtherLink { [Key] string Name; string Note; uint16 Size; };
)";

ObjectPath thing(const std::string& name, const std::string& className = "Test_Thing") {
  return {"", "", className, {{"Name", Value::text(name)}}};
}

/// Class and name of each.
Texts textsOf(const std::vector<ObjectPath>& paths) {
  Texts texts;
  for (const ObjectPath& path : paths) {
    texts.push_back(path.className + ":" + toText(path.findKey("Name")->elements.at(0)));
  }
  return texts;
}

std::string noteOf(const Instance& instance) {
  const Value* note = instance.findProperty("Note");
  return note != nullptr ? toText(note->elements.at(0)) : "(no note)";
}

/// Class and note of each.
Texts notesOf(const std::vector<Instance>& instances) {
  Texts texts;
  for (const Instance& instance : instances) {
    texts.push_back(instance.path.className + ": " + noteOf(instance));
  }
  return texts;
}

Texts propertyNames(const Instance& instance) {
  Texts names;
  for (const NamedValue& property : instance.properties) names.push_back(property.name);
  return names;
}

template <class Request>
std::string failureOf(Request request) {
  try {
    request();
  } catch (const CimError& error) {
    return error.what();
  }
  return "no error";
}

class ObjectManagerTest : public testing::Test {
 protected:
  ObjectManagerTest() { manager.loadProvider(SCRIPTED_PROVIDER); }

  ObjectManager manager{std::make_shared<const ClassRepository>(ClassRepository::parse(kClasses))};
};

TEST_F(ObjectManagerTest, ServesTheClassesForWhichALibraryExportsAFactory) {
  EXPECT_THAT(manager.servedClasses(),
              ElementsAre("Test_Empty", "Test_Link", "Test_NarrowLink", "Test_OtherLink",
                          "Test_Refused", "Test_SmallThing", "Test_Stepwise", "Test_Thing"));
}

TEST_F(ObjectManagerTest, SaysWhichLibraryCannotBeLoaded) {
  EXPECT_THAT(failureOf([&] { manager.loadProvider("no_such_library.so"); }),
              HasSubstr("cannot open provider library no_such_library.so"));
  ObjectManager stranger(
      std::make_shared<const ClassRepository>(ClassRepository::parse("class Stranger { };")));
  EXPECT_EQ(failureOf([&] { stranger.loadProvider(SCRIPTED_PROVIDER); }),
            std::string("CIM_ERR_FAILED: ") + SCRIPTED_PROVIDER +
                " holds no provider of a class of the schema");
}

TEST_F(ObjectManagerTest, AsksTheProvidersOfAClassAndOfItsSubclasses) {
  EXPECT_THAT(textsOf(manager.enumerateInstanceNames({"", "", "Test_Thing", {}})),
              ElementsAre("Test_SmallThing:one", "Test_Thing:one"));
  EXPECT_THAT(notesOf(manager.enumerateInstances({"", "", "test_thing", {}})),
              ElementsAre("Test_SmallThing: all", "Test_Thing: all"));
  EXPECT_THAT(textsOf(manager.enumerateInstanceNames({"", "", "Test_SmallThing", {}})),
              ElementsAre("Test_SmallThing:one"));
}

TEST_F(ObjectManagerTest, GetInstanceAsksTheProviderOfThatClassAlone) {
  EXPECT_EQ(manager.getInstance(thing("a")).path.className, "Test_Thing");
  EXPECT_EQ(manager.getInstance(thing("a", "Test_SmallThing")).path.className, "Test_SmallThing");
  EXPECT_EQ(failureOf([&] { manager.getInstance(thing("a", "Test_UnservedThing")); }),
            "CIM_ERR_NOT_SUPPORTED: no provider serves class Test_UnservedThing");
}

TEST_F(ObjectManagerTest, ARequestWithoutANamespaceIsOneToRootCimv2) {
  EXPECT_EQ(manager.getInstance(thing("a")).path.nameSpace, "root/cimv2");
  ObjectPath path = thing("a");
  path.nameSpace = "ROOT/CIMV2";
  EXPECT_EQ(manager.getInstance(path).path.nameSpace, "ROOT/CIMV2");
}

TEST_F(ObjectManagerTest, RefusesWhatItDoesNotKnow) {
  const ObjectPath elsewhere{"", "root/elsewhere", "Test_Thing", {}};
  const ObjectPath unknown{"", "", "Test_Nothing", {}};
  const ObjectPath unserved{"", "", "Test_UnservedThing", {}};
  EXPECT_EQ(failureOf([&] { manager.enumerateInstances(elsewhere); }),
            "CIM_ERR_INVALID_NAMESPACE: root/elsewhere");
  EXPECT_EQ(failureOf([&] { manager.getInstance(elsewhere); }),
            "CIM_ERR_INVALID_NAMESPACE: root/elsewhere");
  EXPECT_EQ(failureOf([&] { manager.referenceNames(elsewhere, {}); }),
            "CIM_ERR_INVALID_NAMESPACE: root/elsewhere");
  EXPECT_EQ(failureOf([&] { manager.enumerateInstanceNames(unknown); }),
            "CIM_ERR_INVALID_CLASS: unknown class Test_Nothing");
  EXPECT_EQ(failureOf([&] { manager.associators(unknown, {}); }),
            "CIM_ERR_INVALID_CLASS: unknown class Test_Nothing");
  EXPECT_EQ(failureOf([&] { manager.enumerateInstances(unserved); }),
            "CIM_ERR_NOT_SUPPORTED: no provider serves class Test_UnservedThing");
}

TEST_F(ObjectManagerTest, NarrowsInstancesToTheListButKeepsTheirKeys) {
  EXPECT_THAT(propertyNames(manager.getInstance(thing("a"))), ElementsAre("Name", "Note", "Size"));
  EXPECT_THAT(propertyNames(manager.getInstance(thing("a"), Texts{"size", "Unknown"})),
              ElementsAre("Name", "Size"));
  EXPECT_THAT(propertyNames(manager.getInstance(thing("a"), Texts{})), ElementsAre("Name"));
  for (const Instance& each :
       manager.enumerateInstances({"", "", "Test_Thing", {}}, Texts{"Size"})) {
    EXPECT_THAT(propertyNames(each), ElementsAre("Name", "Size"));
  }
  for (const Instance& each : manager.associators(thing("a"), {}, Texts{"Note"})) {
    EXPECT_THAT(propertyNames(each), ElementsAre("Name", "Note"));
  }
  for (const Instance& each : manager.references(thing("a"), {}, Texts{"Note"})) {
    EXPECT_THAT(propertyNames(each), ElementsAre("Name", "Note"));
  }
}

TEST_F(ObjectManagerTest, ThePropertyListReachesTheProvider) {
  EXPECT_EQ(noteOf(manager.getInstance(thing("a"))), "all");
  EXPECT_EQ(noteOf(manager.getInstance(thing("a"), Texts{"Note", "Size"})), "[Note,Size]");
}

TEST_F(ObjectManagerTest, OfSeveralInstancesThatAProviderReturnsTheFirstCounts) {
  EXPECT_EQ(noteOf(manager.getInstance(thing("twice"))), "all");
}

TEST_F(ObjectManagerTest, FindInstanceReturnsNothingWhereTheProviderReturnsOkWithoutAnInstance) {
  EXPECT_EQ(manager.findInstance(thing("none")), std::nullopt);
  EXPECT_EQ(failureOf([&] { manager.getInstance(thing("none")); }),
            "CIM_ERR_NOT_FOUND: Test_Thing.Name=\"none\"");
  const auto found = manager.findInstance(thing("a"), Texts{"Size"});
  ASSERT_TRUE(found);
  EXPECT_THAT(propertyNames(*found), ElementsAre("Name", "Size"));
}

TEST_F(ObjectManagerTest, FindInstanceThrowsAProvidersOwnStatusAsGetInstanceDoes) {
  const struct {
    const char* name;
    const char* failure;
  } cases[] = {
      {"absent", "CIM_ERR_NOT_FOUND: it is not there"},
      {"denied", "CIM_ERR_ACCESS_DENIED: ask somebody else"},
      {"silent",
       "CIM_ERR_ACCESS_DENIED: the provider of Test_Thing returned code 2 "
       "(CIM_ERR_ACCESS_DENIED) without a text"},
  };
  for (const auto& [name, failure] : cases) {
    EXPECT_EQ(failureOf([&] { manager.findInstance(thing(name)); }), failure);
    EXPECT_EQ(failureOf([&] { manager.getInstance(thing(name)); }), failure);
  }
}

TEST_F(ObjectManagerTest, AFinderFindsWhatFindInstanceDoesQuestionByQuestion) {
  const auto finder = manager.instanceFinder("Test_Thing", "Name", Texts{"Note"});
  for (const char* name : {"none", "a", "twice", "none", "a name that is longer than those before",
                           "absent", "b", "denied", "silent", "none", "c"}) {
    std::optional<Instance> expected;
    std::optional<Instance> found;
    const std::string failure =
        failureOf([&] { expected = manager.findInstance(thing(name), Texts{"Note"}); });
    EXPECT_EQ(failureOf([&] { found = finder->find(name); }), failure) << name;
    ASSERT_EQ(found.has_value(), expected.has_value()) << name;
    if (!found) continue;
    EXPECT_EQ(textsOf({found->path}), textsOf({expected->path}));
    EXPECT_EQ(found->path.nameSpace, expected->path.nameSpace);
    EXPECT_EQ(propertyNames(*found), propertyNames(*expected));
    EXPECT_EQ(noteOf(*found), "[Note]");
  }
}

TEST_F(ObjectManagerTest, AFinderAsksInTheMidstOfOtherRequests) {
  const auto first = manager.instanceFinder("Test_Thing", "Name", std::nullopt);
  auto second = manager.instanceFinder("Test_SmallThing", "Name", std::nullopt);
  const RequestScope scope;
  EXPECT_EQ(notesOf({*first->find("a"), *second->find("b")}),
            (Texts{"Test_Thing: all", "Test_SmallThing: all"}));
  EXPECT_EQ(noteOf(manager.getInstance(thing("a"))), "all");
  second.reset();
  EXPECT_EQ(noteOf(*first->find("c")), "all");
}

TEST_F(ObjectManagerTest, AFinderHandsOverThoseOfManyThatAreThereUntilOneFails) {
  const auto finder = manager.instanceFinder("Test_Thing", "Name", std::nullopt);
  std::vector<ObjectPath> found;
  const InstanceSink sink = [&found](Instance&& instance) { found.push_back(instance.path); };
  finder->findEach({"a", "none", "b"}, sink);
  EXPECT_EQ(failureOf([&] {
              finder->findEach({"none", "c", "denied", "d"}, sink);
            }),
            "CIM_ERR_ACCESS_DENIED: ask somebody else");
  finder->findEach({}, sink);
  EXPECT_EQ(textsOf(found), (Texts{"Test_Thing:a", "Test_Thing:b", "Test_Thing:c"}));
}

TEST_F(ObjectManagerTest, AFinderLeavesThePathsThatAProviderKept) {
  const auto finder = manager.instanceFinder("Test_Thing", "Name", std::nullopt);
  EXPECT_FALSE(finder->find("keep").has_value());
  EXPECT_EQ(noteOf(*finder->find("kept")), "keep");
}

TEST_F(ObjectManagerTest, AFinderGoesOnAfterAProviderThatChangesItsPath) {
  const auto finder = manager.instanceFinder("Test_Thing", "Name", std::nullopt);
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_EQ(textsOf({finder->find("move")->path}), (Texts{"Test_Thing:away"}));
    EXPECT_EQ(textsOf({finder->find("here")->path}), (Texts{"Test_Thing:here"}));
  }
}

TEST_F(ObjectManagerTest, AFinderIsForAClassThatIsServed) {
  const auto failureFor = [&](const std::string& className) {
    return failureOf([&] { manager.instanceFinder(className, "Name", std::nullopt); });
  };
  EXPECT_EQ(failureFor("Test_Unknown"), "CIM_ERR_INVALID_CLASS: unknown class Test_Unknown");
  EXPECT_EQ(failureFor("Test_UnservedThing"),
            "CIM_ERR_NOT_SUPPORTED: no provider serves class Test_UnservedThing");
}

TEST_F(ObjectManagerTest, SaysWhatAFactoryDidWrong) {
  EXPECT_EQ(failureOf([&] {
              manager.enumerateInstanceNames({"", "", "Test_Refused", {}});
            }),
            "CIM_ERR_ACCESS_DENIED: the factory is closed");
  EXPECT_EQ(failureOf([&] {
              manager.enumerateInstanceNames({"", "", "Test_Empty", {}});
            }),
            "CIM_ERR_FAILED: factory Test_Empty_Create_InstanceMI gave no usable record");
}

/// What became of the objects of the last listing of Test_Stepwise so far: "+" for each taken.
std::string stepsOf(ObjectManager& manager) {
  return noteOf(manager.getInstance(thing("steps", "Test_Stepwise")));
}

const ObjectPath kStepwise{"", "", "Test_Stepwise", {}};

TEST_F(ObjectManagerTest, AListingHandsEachObjectOnBeforeTheProviderReturnsTheNext) {
  Texts seen;
  EXPECT_EQ(failureOf([&] {
              manager.enumerateInstanceNames(kStepwise, [&](ObjectPath&& path) {
                seen.push_back(textsOf({path}).front() + stepsOf(manager));
              });
            }),
            "CIM_ERR_FAILED: no more steps");
  EXPECT_THAT(seen,
              ElementsAre("Test_Stepwise:one", "Test_Stepwise:two+", "Test_Stepwise:three++"));
  seen.clear();
  EXPECT_EQ(failureOf([&] {
              manager.enumerateInstances(kStepwise, Texts{"Note"}, [&](Instance&& instance) {
                EXPECT_THAT(propertyNames(instance), ElementsAre("Name", "Note"));
                seen.push_back(noteOf(instance) + stepsOf(manager));
              });
            }),
            "CIM_ERR_FAILED: no more steps");
  EXPECT_THAT(seen, ElementsAre("[Note]", "[Note]+", "[Note]++"));
}

TEST_F(ObjectManagerTest, WithoutASinkAListingThatFailsReturnsNothing) {
  EXPECT_EQ(failureOf([&] { manager.enumerateInstanceNames(kStepwise); }),
            "CIM_ERR_FAILED: no more steps");
  EXPECT_EQ(failureOf([&] { manager.enumerateInstances(kStepwise); }),
            "CIM_ERR_FAILED: no more steps");
}

TEST_F(ObjectManagerTest, WhatASinkThrowsEndsTheListingOnceTheProviderHasReturned) {
  const auto failingAtTheSecond = [](int& calls) {
    return [&calls](auto&&) {
      if (++calls == 2) throw std::length_error("the reader is full");
    };
  };
  int calls = 0;
  EXPECT_THROW(manager.enumerateInstanceNames(kStepwise, failingAtTheSecond(calls)),
               std::length_error);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(stepsOf(manager), "+--");
  calls = 0;
  EXPECT_THROW(manager.enumerateInstances(kStepwise, std::nullopt, failingAtTheSecond(calls)),
               std::length_error);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(stepsOf(manager), "+--");
}

TEST_F(ObjectManagerTest, ASinkThatThrowsKeepsFurtherProvidersFromBeingAsked) {
  int calls = 0;
  EXPECT_THROW(manager.associatorNames(thing("a"), {},
                                       [&calls](ObjectPath&&) {
                                         ++calls;
                                         throw std::length_error("the reader is full");
                                       }),
               std::length_error);
  EXPECT_EQ(calls, 1);
}

TEST_F(ObjectManagerTest, WithoutAnAssociationClassEachAssociationProviderIsAsked) {
  EXPECT_THAT(
      textsOf(manager.associatorNames(thing("a"), {})),
      ElementsAre("Test_Link:-/-/-/-", "Test_NarrowLink:-/-/-/-", "Test_OtherLink:-/-/-/-"));
  EXPECT_THAT(textsOf(manager.referenceNames(thing("a"), {})),
              ElementsAre("Test_Link:-/-", "Test_NarrowLink:-/-", "Test_OtherLink:-/-"));
}

TEST_F(ObjectManagerTest, AnAssociationClassChoosesItsProviderAndThoseOfItsSubclasses) {
  EXPECT_THAT(
      notesOf(manager.associators(thing("a"), {"Test_AnyLink", "", "", ""})),
      ElementsAre("Test_Link: Test_AnyLink/-/-/- all", "Test_NarrowLink: Test_AnyLink/-/-/- all"));
  EXPECT_THAT(textsOf(manager.associatorNames(thing("a"), {"Test_NarrowLink", "", "", ""})),
              ElementsAre("Test_NarrowLink:Test_NarrowLink/-/-/-"));
  EXPECT_THAT(notesOf(manager.references(thing("a"), {"", "Test_OtherLink", "", ""})),
              ElementsAre("Test_OtherLink: Test_OtherLink/- all"));
  EXPECT_THAT(textsOf(manager.referenceNames(thing("a"), {"", "Test_Link", "", ""})),
              ElementsAre("Test_Link:Test_Link/-", "Test_NarrowLink:Test_Link/-"));
  EXPECT_THAT(manager.associatorNames(thing("a"), {"Test_Thing", "", "", ""}), IsEmpty());
  EXPECT_EQ(failureOf([&] {
              manager.associatorNames(thing("a"), {"Nothing", "", "", ""});
            }),
            "CIM_ERR_INVALID_CLASS: unknown class Nothing");
  EXPECT_EQ(failureOf([&] {
              manager.references(thing("a"), {"", "Nothing", "", ""});
            }),
            "CIM_ERR_INVALID_CLASS: unknown class Nothing");
}

TEST_F(ObjectManagerTest, TheOtherFiltersGoToTheProviderAsTheyAre) {
  const AssociationFilter filter{"Test_OtherLink", "Nothing", "Left", "Right"};
  EXPECT_THAT(notesOf(manager.associators(thing("a"), filter, Texts{"Note"})),
              ElementsAre("Test_OtherLink: Test_OtherLink/Nothing/Left/Right [Note]"));
  EXPECT_THAT(textsOf(manager.associatorNames(thing("a"), filter)),
              ElementsAre("Test_OtherLink:Test_OtherLink/Nothing/Left/Right"));
  EXPECT_THAT(textsOf(manager.referenceNames(thing("a"), {"", "Test_OtherLink", "Left", ""})),
              ElementsAre("Test_OtherLink:Test_OtherLink/Left"));
}

TEST_F(ObjectManagerTest, AProviderThatAsksForItselfIsStopped) {
  EXPECT_EQ(failureOf([&] { manager.getInstance(thing("again")); }),
            "CIM_ERR_FAILED: providers call each other too deeply");
  EXPECT_EQ(noteOf(manager.getInstance(thing("a"))), "all");
}

TEST_F(ObjectManagerTest, ProvidersReachEachOtherThroughTheBroker) {
  const CMPIBroker* broker = manager.broker();
  RequestScope scope;
  CMPIStatus status{CMPI_RC_ERR_FAILED, nullptr};
  CMPIEnumeration* names =
      broker->bft->enumerateInstanceNames(broker, scope.newContext("root/cimv2", 0),
                                          scope.newPath({"", "", "Test_Thing", {}}), &status);
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  int count = 0;
  for (; names->ft->hasNext(names, nullptr) != 0; ++count) {
    EXPECT_EQ(names->ft->getNext(names, nullptr).type, CMPI_ref);
  }
  EXPECT_EQ(count, 2);
  EXPECT_EQ(
      broker->bft->getInstance(broker, nullptr, scope.newPath(thing("denied")), nullptr, &status),
      nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(status.msg->ft->getCharPtr(status.msg, nullptr), "ask somebody else");
}

}  // namespace
}  // namespace cimom
