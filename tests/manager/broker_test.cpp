// The broker's objects through their C tables, and how long they live.
//
// A reference in a path is held by all objects that have the path, or a copy of it: how many there
// are is the use count of that reference, which a Witness shows.
#include <broker/broker.h>
#include <broker/request_scope.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace cimom {
namespace {

/// A path of class Thing that tells how many objects have it.
class Witness {
 public:
  /// The path; the caller's copy counts too.
  ObjectPath takePath() { return std::move(path_); }
  long holders() const { return seen_.use_count(); }

 private:
  static ObjectPath makePath() {
    ObjectPath path{"", "root/cimv2", "Thing", {{"Name", Value::text("one")}}};
    path.keys.push_back({"Next", Value::reference({"", "root/cimv2", "Thing", {}})});
    return path;
  }
  ObjectPath path_ = makePath();
  std::weak_ptr<const ObjectPath> seen_ =
      std::get<std::shared_ptr<const ObjectPath>>(path_.findKey("Next")->elements.at(0));
};

std::string textOf(const CMPIString* string) {
  return string != nullptr ? string->ft->getCharPtr(string, nullptr) : "(null)";
}

const CMPIValue* chars(const char* text) {
  return reinterpret_cast<const CMPIValue*>(text);
}

CMPIValue uint16Value(CMPIUint16 number) {
  CMPIValue value{};
  value.uint16 = number;
  return value;
}

class BrokerTest : public testing::Test {
 protected:
  CMPIObjectPath* newPath(const char* className = "Thing") {
    return record->eft->newObjectPath(record, "root/cimv2", className, &status);
  }
  CMPIInstance* newInstance() { return record->eft->newInstance(record, newPath(), &status); }

  ClassRepository repository = ClassRepository::parse(R"(
    class Thing { [Key] string Name; uint16 Size; uint16 Sizes[]; datetime Made; Thing REF Next; };
    class Part : Thing { };
    class Holder { [Key] string Name; };
  )");
  Broker broker{repository, nullptr};
  const CMPIBroker* record = broker.record();
  CMPIStatus status{CMPI_RC_ERR_FAILED, nullptr};
};

using BrokerLifeTest = BrokerTest;

/// Returns an instance as a provider of devices does: a path, its keys read back and set, texts,
/// numbers and an array.
void returnDevice(const CMPIBroker& broker, const CMPIResult* result, const std::string& id) {
  CMPIObjectPath* path =
      broker.eft->newObjectPath(&broker, "root/cimv2", "Zelmar_PCIDevice", nullptr);
  path->ft->addKey(path, "SystemCreationClassName", chars("OMC_UnitaryComputerSystem"), CMPI_chars);
  path->ft->addKey(path, "SystemName", chars("hosta01"), CMPI_chars);
  path->ft->addKey(path, "CreationClassName", chars("Zelmar_PCIDevice"), CMPI_chars);
  path->ft->addKey(path, "DeviceID", chars(id.c_str()), CMPI_chars);
  CMPIInstance* device = broker.eft->newInstance(&broker, path, nullptr);
  for (CMPICount i = 0; i < path->ft->getKeyCount(path, nullptr); ++i) {
    CMPIString* name = nullptr;
    const CMPIData key = path->ft->getKeyAt(path, i, &name, nullptr);
    device->ft->setProperty(device, textOf(name).c_str(), &key.value, key.type);
  }
  const std::string elementName = "A maker's controller of a bus with a long name, " + id;
  device->ft->setProperty(device, "ElementName", chars(elementName.c_str()), CMPI_chars);
  CMPIValue value{};
  value.array = broker.eft->newArray(&broker, 2, CMPI_uint16, nullptr);
  device->ft->setProperty(device, "Capabilities", &value, CMPI_ARRAY | CMPI_uint16);
  value = uint16Value(7);
  for (const char* name : {"PCIDeviceID", "VendorID", "SubsystemID", "SubsystemVendorID",
                           "EnabledState", "RequestedState", "HealthState", "PrimaryStatus"}) {
    device->ft->setProperty(device, name, &value, CMPI_uint16);
  }
  value = {};
  device->ft->setProperty(device, "BusNumber", &value, CMPI_uint8);
  result->ft->returnInstance(result, device);
}

TEST_F(BrokerLifeTest, TheEndOfARequestReleasesWhatWasMadeInIt) {
  Witness witness;
  {
    RequestScope request;
    CMPIObjectPath* path = request.newPath(witness.takePath());
    EXPECT_EQ(witness.holders(), 1);
    path->ft->release(path);
    EXPECT_EQ(witness.holders(), 1) << "an object of the request is the request's to release";
    record->eft->newInstance(record, path, &status);
    EXPECT_GT(witness.holders(), 1);
  }
  EXPECT_EQ(witness.holders(), 0);
}

TEST_F(BrokerLifeTest, ACloneLivesUntilItsOwnRelease) {
  Witness witness;
  CMPIObjectPath* clone = nullptr;
  {
    RequestScope request;
    CMPIObjectPath* path = request.newPath(witness.takePath());
    clone = path->ft->clone(path, &status);
    EXPECT_EQ(status.rc, CMPI_RC_OK);
    EXPECT_EQ(witness.holders(), 2);
  }
  ASSERT_EQ(witness.holders(), 1);
  EXPECT_EQ(textOf(clone->ft->getClassName(clone, nullptr)), "Thing");
  EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_OK);
  EXPECT_EQ(witness.holders(), 0);
}

TEST_F(BrokerLifeTest, TheMemoryTableFreesClonesAlone) {
  RequestScope request;
  Witness witness;
  CMPIObjectPath* path = request.newPath(witness.takePath());
  record->mft->freeObjectPath(record, path->ft->clone(path, nullptr));
  EXPECT_EQ(witness.holders(), 1);
  record->mft->freeObjectPath(record, path);
  EXPECT_EQ(witness.holders(), 1);
  record->mft->freeObjectPath(record, nullptr);
}

TEST_F(BrokerLifeTest, ACloneOfACloneIsOneToo) {
  RequestScope request;
  Witness witness;
  CMPIObjectPath* path = request.newPath(witness.takePath());
  CMPIObjectPath* clone = path->ft->clone(path, nullptr);
  CMPIObjectPath* second = clone->ft->clone(clone, nullptr);
  clone->ft->release(clone);
  EXPECT_EQ(witness.holders(), 2);
  second->ft->release(second);
  EXPECT_EQ(witness.holders(), 1);
}

TEST_F(BrokerLifeTest, AnInnerRequestEndsWithWhatWasMadeInItAlone) {
  Witness outerPath;
  Witness innerPath;
  RequestScope outer;
  CMPIObjectPath* path = outer.newPath(outerPath.takePath());
  {
    RequestScope inner;
    inner.newPath(innerPath.takePath());
    record->eft->newInstance(record, path, &status);
    EXPECT_GT(outerPath.holders(), 1);
  }
  EXPECT_EQ(innerPath.holders(), 0);
  EXPECT_EQ(outerPath.holders(), 1);
}

TEST_F(BrokerLifeTest, AfterAnInnerRequestTheOuterOneOwnsWhatIsMade) {
  Witness witness;
  {
    RequestScope outer;
    CMPIObjectPath* path = outer.newPath(witness.takePath());
    { RequestScope inner; }
    record->eft->newInstance(record, path, &status);
    { RequestScope later; }
    EXPECT_GT(witness.holders(), 1) << "it outlives another inner request";
  }
  EXPECT_EQ(witness.holders(), 0);
}

TEST_F(BrokerLifeTest, WhatIsMadeOutsideRequestsLivesUntilItsThreadEnds) {
  Witness witness;
  std::thread([&] {
    CMPIInstance* instance = nullptr;
    {
      // A clone brings the path out of its request, an instance with it belongs to the thread.
      CMPIObjectPath* clone = nullptr;
      {
        RequestScope request;
        CMPIObjectPath* path = request.newPath(witness.takePath());
        clone = path->ft->clone(path, nullptr);
      }
      instance = record->eft->newInstance(record, clone, nullptr);
      clone->ft->release(clone);
    }
    EXPECT_GT(witness.holders(), 0);
    { RequestScope request; }
    EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 2U);
  }).join();
  EXPECT_EQ(witness.holders(), 0);
}

/// What the heap holds now; the sanitizers have a heap of their own, of which nothing shows here.
std::size_t heapBytes() {
  return mallinfo2().uordblks;
}

TEST_F(BrokerLifeTest, AnInstanceTakesAtMostAKibibyteAndAHalf) {
  constexpr std::size_t kInstances = 1000;
  constexpr std::size_t kMostBytes = 1536;
  const ClassRepository schema = ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  Broker manager{schema, nullptr};
  RequestAnswers answers;
  RequestScope request;
  CMPIResult* result = request.newResult(answers);
  const std::size_t before = heapBytes();
  for (std::size_t i = 0; i < kInstances; ++i) {
    returnDevice(*manager.record(), result, "0000:00:" + std::to_string(i));
    ASSERT_EQ(answers.instances.back().properties.size(), 15U);
    answers.instances.clear();
  }
  if (heapBytes() == before) GTEST_SKIP() << "this heap does not say what it holds";
  EXPECT_LT((heapBytes() - before) / kInstances, kMostBytes);
}

TEST_F(BrokerLifeTest, HoweverManyWaysAClassIsWrittenInItIsKeptOnce) {
  constexpr unsigned kWays = 512;
  constexpr std::size_t kMostBytes = 65536;
  const ClassRepository schema = ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  Broker manager{schema, nullptr};
  const auto makeOf = [&manager](const std::string& className) {
    RequestScope request;
    const CMPIBrokerEncFT& eft = *manager.record()->eft;
    const CMPIObjectPath* path =
        eft.newObjectPath(manager.record(), "root/cimv2", className.c_str(), nullptr);
    return eft.newInstance(manager.record(), path, nullptr) != nullptr;
  };
  ASSERT_TRUE(makeOf("Zelmar_PCIDevice"));
  const std::size_t before = heapBytes();
  const auto known = std::make_unique<std::string>(1024, ' ');
  if (heapBytes() == before) GTEST_SKIP() << "this heap does not say what it holds";
  for (unsigned way = 0; way < kWays; ++way) {
    std::string className = "ZELMAR_PCIDEVICE";
    for (unsigned letter = 0; letter < 9; ++letter) {
      if ((way >> letter & 1U) != 0) className[7 + letter] |= 0x20;
    }
    ASSERT_TRUE(makeOf(className)) << className;
  }
  EXPECT_LT(heapBytes() - before, kMostBytes);
}

class BrokerMarkTest : public BrokerTest {
 protected:
  const void* mark() { return record->mft->mark(record, &status); }
  CMPIrc release(const void* which) { return record->mft->release(record, which).rc; }
  CMPIInstance* newWitness(Witness& witness) {
    return record->eft->newInstance(record, request.newPath(witness.takePath()), &status);
  }

  RequestScope request;
};

TEST_F(BrokerMarkTest, AReleaseEndsWhatWasMadeBehindItsMarkAlone) {
  Witness before;
  Witness behind;
  CMPIInstance* first = newWitness(before);
  const void* place = mark();
  ASSERT_NE(place, nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  newWitness(behind);
  EXPECT_GT(behind.holders(), 0);
  EXPECT_EQ(release(place), CMPI_RC_OK);
  EXPECT_EQ(behind.holders(), 0);
  EXPECT_GT(before.holders(), 0);
  EXPECT_EQ(textOf(first->ft->getProperty(first, "Name", nullptr).value.string), "one");
}

TEST_F(BrokerMarkTest, AReleaseEndsWhatInnerMarksLeft) {
  Witness outer;
  Witness inner;
  const void* first = mark();
  newWitness(outer);
  const void* second = mark();
  newWitness(inner);
  EXPECT_EQ(release(second), CMPI_RC_OK);
  EXPECT_EQ(inner.holders(), 0);
  EXPECT_GT(outer.holders(), 0);
  mark();
  EXPECT_EQ(release(first), CMPI_RC_OK);
  EXPECT_EQ(outer.holders(), 0);
}

TEST_F(BrokerMarkTest, AMarkOfNothingIsRefused) {
  const int nothing = 0;
  EXPECT_EQ(release(nullptr), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(release(&nothing), CMPI_RC_ERR_INVALID_HANDLE);
  const void* first = mark();
  const void* second = mark();
  {
    const RequestScope inner;
    EXPECT_EQ(release(first), CMPI_RC_ERR_INVALID_HANDLE);
  }
  EXPECT_EQ(release(first), CMPI_RC_OK);
  EXPECT_EQ(release(second), CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(release(first), CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(BrokerMarkTest, CloneAndAnswerOutliveTheRelease) {
  RequestAnswers answers;
  const CMPIResult* result = request.newResult(answers);
  const void* place = mark();
  CMPIInstance* made = newInstance();
  made->ft->setProperty(made, "Name", chars("kept"), CMPI_chars);
  CMPIInstance* clone = made->ft->clone(made, nullptr);
  result->ft->returnInstance(result, made);
  EXPECT_EQ(release(place), CMPI_RC_OK);
  EXPECT_EQ(textOf(clone->ft->getProperty(clone, "Name", nullptr).value.string), "kept");
  EXPECT_EQ(toText(answers.instances.at(0).findProperty("Name")->elements.at(0)), "kept");
  clone->ft->release(clone);
}

/// A string through which a value was read is shared by later reads of that text, as long as it is
/// there.
TEST_F(BrokerMarkTest, TextsAreReadAnewBehindARelease) {
  CMPIObjectPath* path = newPath();
  path->ft->addKey(path, "Name", chars("shared"), CMPI_chars);
  for (int i = 0; i < 3; ++i) {
    const void* place = mark();
    EXPECT_EQ(textOf(path->ft->getKey(path, "Name", nullptr).value.string), "shared");
    EXPECT_EQ(release(place), CMPI_RC_OK);
  }
  EXPECT_EQ(textOf(path->ft->getKey(path, "Name", nullptr).value.string), "shared");
}

/// Objects of all sizes, so that pieces of memory are left behind and taken again.
TEST_F(BrokerMarkTest, ManyObjectsBehindAMarkMayEndAgainAndAgain) {
  for (int round = 1; round <= 40; ++round) {
    const void* place = mark();
    for (int i = 0; i < 20 * round; ++i) {
      CMPIObjectPath* path = newPath(i % 2 == 0 ? "Thing" : "Part");
      path->ft->addKey(path, "Name", chars(std::to_string(i).c_str()), CMPI_chars);
      ASSERT_EQ(textOf(path->ft->getKey(path, "Name", nullptr).value.string), std::to_string(i));
    }
    ASSERT_EQ(release(place), CMPI_RC_OK);
  }
}

TEST_F(BrokerMarkTest, AListingOfManyInstancesTakesNoMoreMemoryThanOne) {
  class Dropping : public AnswerReceiver {
    void receive(Instance&&) override {}
    void receive(ObjectPath&&) override {}
    void receiveDone() override {}
  };
  Dropping receiver;
  const ClassRepository schema = ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  const Broker devices(schema, nullptr);
  const CMPIResult* result = request.newResult(receiver);
  const auto list = [&](int count) {
    for (int i = 0; i < count; ++i) {
      const void* place = mark();
      returnDevice(*devices.record(), result, "0000:00:00." + std::to_string(i));
      release(place);
    }
  };
  list(10);
  const std::size_t before = heapBytes();
  list(10'000);
  EXPECT_LT(heapBytes(), before + 64 * 1024);
}

class RefusingReceiver : public AnswerReceiver {
 public:
  void receive(Instance&&) override { throw std::runtime_error("full"); }
  void receive(ObjectPath&&) override { throw std::runtime_error("full"); }
  void receiveDone() override {}
};

TEST_F(BrokerMarkTest, ThereIsNoMarkOnceAnAnswerIsNotTaken) {
  RefusingReceiver receiver;
  {
    RequestScope inner;
    const CMPIResult* result = inner.newResult(receiver);
    EXPECT_NE(mark(), nullptr);
    result->ft->returnObjectPath(result, newPath());
    EXPECT_EQ(mark(), nullptr);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(textOf(status.msg), "the answer is not taken");
  }
  EXPECT_NE(mark(), nullptr) << "another request";
  const RequestScope next;
  EXPECT_NE(mark(), nullptr) << "the next request, in the memory of the one before";
}

class BrokerObjectTest : public BrokerTest {
 protected:
  RequestScope request;
};

TEST_F(BrokerObjectTest, StringsHoldACopyOfTheirText) {
  std::string text = "text";
  CMPIString* string = record->eft->newString(record, text.c_str(), &status);
  text = "else";
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_EQ(textOf(string), "text");
  CMPIString* clone = string->ft->clone(string, nullptr);
  EXPECT_NE(clone->ft->getCharPtr(clone, nullptr), string->ft->getCharPtr(string, nullptr));
  EXPECT_EQ(textOf(clone), "text");
  clone->ft->release(clone);
  EXPECT_EQ(textOf(record->eft->newString(record, nullptr, nullptr)), "");
}

TEST_F(BrokerObjectTest, ArraysHoldElementsOfTheirType) {
  CMPIArray* array = record->eft->newArray(record, 2, CMPI_uint16, &status);
  ASSERT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_EQ(array->ft->getSize(array, nullptr), 2U);
  EXPECT_EQ(array->ft->getSimpleType(array, nullptr), CMPI_uint16);
  const CMPIValue seven = uint16Value(7);
  EXPECT_EQ(array->ft->setElementAt(array, 1, &seven, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(array->ft->getElementAt(array, 0, nullptr).state, CMPI_nullValue);
  const CMPIData element = array->ft->getElementAt(array, 1, &status);
  EXPECT_EQ(element.type, CMPI_uint16);
  EXPECT_EQ(element.state, CMPI_goodValue);
  EXPECT_EQ(element.value.uint16, 7);
}

TEST_F(BrokerObjectTest, ArraysRefuseOtherTypesAndPlacesBeyondTheirEnd) {
  CMPIArray* array = record->eft->newArray(record, 2, CMPI_uint16, nullptr);
  const CMPIValue seven = uint16Value(7);
  EXPECT_EQ(array->ft->setElementAt(array, 2, &seven, CMPI_uint16).rc,
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(array->ft->setElementAt(array, 0, &seven, CMPI_uint8).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(array->ft->getElementAt(array, 2, &status).state, CMPI_nullValue | CMPI_notFound);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  for (const int type : {+CMPI_args, CMPI_ARRAY | CMPI_uint16}) {
    EXPECT_EQ(record->eft->newArray(record, 2, static_cast<CMPIType>(type), &status), nullptr);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
  }
}

TEST_F(BrokerObjectTest, PathsHoldTheirPartsAndKeysInOrder) {
  CMPIObjectPath* path = newPath("Part");
  EXPECT_EQ(path->ft->setHostname(path, "host").rc, CMPI_RC_OK);
  const CMPIValue seven = uint16Value(7);
  EXPECT_EQ(path->ft->addKey(path, "Name", chars("one"), CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(path->ft->addKey(path, "Size", &seven, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(path->ft->addKey(path, "NAME", chars("two"), CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(textOf(path->ft->toString(path, nullptr)), "root/cimv2:Part.Name=\"two\",Size=7");
  EXPECT_EQ(path->ft->getKeyCount(path, nullptr), 2U);
  CMPIString* name = nullptr;
  EXPECT_EQ(path->ft->getKeyAt(path, 1, &name, &status).value.uint16, 7);
  EXPECT_EQ(textOf(name), "Size");
  CMPIObjectPath* other = newPath("Thing");
  EXPECT_EQ(other->ft->setHostAndNameSpaceFromObjectPath(other, path).rc, CMPI_RC_OK);
  EXPECT_EQ(textOf(other->ft->getHostname(other, nullptr)), "host");
  EXPECT_NE(record->eft->classPathIsA(record, path, "thing", nullptr), 0);
  EXPECT_EQ(record->eft->classPathIsA(record, other, "Part", nullptr), 0);
}

TEST_F(BrokerObjectTest, PathsRefuseBadKeys) {
  CMPIObjectPath* path = newPath();
  EXPECT_EQ(path->ft->addKey(path, nullptr, chars("one"), CMPI_chars).rc,
            CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(path->ft->addKey(path, "Name", chars("one"), CMPI_args).rc,
            CMPI_RC_ERR_INVALID_DATA_TYPE);
  EXPECT_EQ(path->ft->getKey(path, "Name", &status).state, CMPI_nullValue | CMPI_notFound);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(textOf(status.msg), "the path has no key Name");
  path->ft->getKeyAt(path, 0, nullptr, &status);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(record->eft->newObjectPath(record, "root/cimv2", nullptr, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(BrokerObjectTest, InstancesTakeTheirKeysFromThePathAndPutThemThere) {
  CMPIObjectPath* path = newPath();
  path->ft->addKey(path, "Name", chars("one"), CMPI_chars);
  CMPIInstance* instance = record->eft->newInstance(record, path, &status);
  ASSERT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_EQ(textOf(instance->ft->getProperty(instance, "name", nullptr).value.string), "one");
  EXPECT_EQ(instance->ft->setProperty(instance, "Name", chars("two"), CMPI_chars).rc, CMPI_RC_OK);
  const CMPIObjectPath* named = instance->ft->getObjectPath(instance, nullptr);
  EXPECT_EQ(textOf(named->ft->toString(named, nullptr)), "root/cimv2:Thing.Name=\"two\"");
  EXPECT_EQ(textOf(path->ft->toString(path, nullptr)), "root/cimv2:Thing.Name=\"one\"");
}

TEST_F(BrokerObjectTest, InstancesTakeValuesOfTheDeclaredTypeAlone) {
  CMPIInstance* instance = newInstance();
  CMPIValue value = uint16Value(7);
  const auto set = [&](const char* name, CMPIType type) {
    return instance->ft->setProperty(instance, name, &value, type);
  };
  EXPECT_EQ(set("size", CMPI_uint16).rc, CMPI_RC_OK);
  const CMPIStatus mismatch = set("Size", CMPI_uint32);
  EXPECT_EQ(mismatch.rc, CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(textOf(mismatch.msg), "property Thing.Size is of type uint16");
  EXPECT_EQ(set("Sizes", CMPI_uint16).rc, CMPI_RC_ERR_TYPE_MISMATCH);
  const CMPIStatus unknown = set("Weight", CMPI_uint16);
  EXPECT_EQ(unknown.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(textOf(unknown.msg), "class Thing has no property Weight");
  EXPECT_EQ(set(nullptr, CMPI_uint16).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(instance->ft->setProperty(instance, "Made", chars("20260101"), CMPI_chars).rc,
            CMPI_RC_OK)
      << "points in time come as text";
  value.array = record->eft->newArray(record, 1, CMPI_uint16, nullptr);
  EXPECT_EQ(set("Sizes", CMPI_ARRAY | CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 3U);
}

TEST_F(BrokerObjectTest, AnInstanceKeepsTheElementsThatAnArrayHadWhenItWasSet) {
  CMPIInstance* instance = newInstance();
  CMPIArray* array = record->eft->newArray(record, 1, CMPI_uint16, nullptr);
  const auto setElement = [](CMPIArray* changed, CMPIUint16 number) {
    const CMPIValue value = uint16Value(number);
    EXPECT_EQ(changed->ft->setElementAt(changed, 0, &value, CMPI_uint16).rc, CMPI_RC_OK);
  };
  const auto sizes = [instance] {
    return instance->ft->getProperty(instance, "Sizes", nullptr).value.array;
  };
  setElement(array, 7);
  CMPIValue value{};
  value.array = array;
  instance->ft->setProperty(instance, "Sizes", &value, CMPI_ARRAY | CMPI_uint16);
  setElement(array, 8);
  EXPECT_EQ(sizes()->ft->getElementAt(sizes(), 0, nullptr).value.uint16, 7);
  setElement(sizes(), 9);
  EXPECT_EQ(sizes()->ft->getElementAt(sizes(), 0, nullptr).value.uint16, 7);
  EXPECT_EQ(array->ft->getElementAt(array, 0, nullptr).value.uint16, 8);
  CMPIArray* clone = array->ft->clone(array, nullptr);
  setElement(clone, 10);
  EXPECT_EQ(array->ft->getElementAt(array, 0, nullptr).value.uint16, 8);
  clone->ft->release(clone);
}

TEST_F(BrokerObjectTest, AnInstanceKeepsTheReferenceThatItWasGiven) {
  CMPIInstance* instance = newInstance();
  CMPIObjectPath* path = newPath("Part");
  path->ft->addKey(path, "Name", chars("one"), CMPI_chars);
  CMPIValue value{};
  value.ref = path;
  EXPECT_EQ(instance->ft->setProperty(instance, "Next", &value, CMPI_ref).rc, CMPI_RC_OK);
  path->ft->addKey(path, "Name", chars("two"), CMPI_chars);
  const CMPIData next = instance->ft->getProperty(instance, "Next", nullptr);
  ASSERT_EQ(next.type, CMPI_ref);
  next.value.ref->ft->setClassName(next.value.ref, "Thing");
  const CMPIData again = instance->ft->getProperty(instance, "Next", nullptr);
  EXPECT_EQ(textOf(again.value.ref->ft->toString(again.value.ref, nullptr)),
            "root/cimv2:Part.Name=\"one\"");
}

TEST_F(BrokerObjectTest, NamesAreReadBackInTheCaseInWhichTheyWereSet) {
  CMPIInstance* instance = newInstance();
  const CMPIValue seven = uint16Value(7);
  instance->ft->setProperty(instance, "SIZE", &seven, CMPI_uint16);
  instance->ft->setProperty(instance, "made", chars("20260101"), CMPI_chars);
  CMPIString* name = nullptr;
  instance->ft->getPropertyAt(instance, 0, &name, nullptr);
  EXPECT_EQ(textOf(name), "SIZE");
  instance->ft->getPropertyAt(instance, 1, &name, nullptr);
  EXPECT_EQ(textOf(name), "made");
}

TEST_F(BrokerObjectTest, AnInstanceTakesThePropertiesOfTheClassThatItsPathNames) {
  CMPIInstance* instance = record->eft->newInstance(record, newPath("Holder"), &status);
  ASSERT_EQ(status.rc, CMPI_RC_OK);
  const CMPIValue seven = uint16Value(7);
  EXPECT_EQ(instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16).rc,
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(instance->ft->setObjectPath(instance, newPath()).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->setObjectPath(instance, newPath("Nothing")).rc, CMPI_RC_OK);
  const CMPIStatus unknown = instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16);
  EXPECT_EQ(unknown.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(textOf(unknown.msg), "class Nothing has no property Size");
}

TEST_F(BrokerObjectTest, InstancesOfUnknownClassesAreRefused) {
  EXPECT_EQ(record->eft->newInstance(record, newPath("Nothing"), &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(textOf(status.msg), "unknown class Nothing");
  EXPECT_EQ(record->eft->newInstance(record, nullptr, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(BrokerObjectTest, APropertyFilterDropsWhatIsThereAndWhatComes) {
  CMPIInstance* instance = newInstance();
  const CMPIValue seven = uint16Value(7);
  instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16);
  const char* properties[] = {"Made", nullptr};
  const char* keys[] = {"Name", nullptr};
  EXPECT_EQ(instance->ft->setPropertyFilter(instance, properties, keys).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 0U);
  EXPECT_EQ(instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->setProperty(instance, "Name", chars("one"), CMPI_chars).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 1U);
}

TEST_F(BrokerObjectTest, APropertyFilterLeavesWhatItNames) {
  CMPIInstance* instance = newInstance();
  const CMPIValue seven = uint16Value(7);
  instance->ft->setProperty(instance, "Size", &seven, CMPI_uint16);
  instance->ft->setProperty(instance, "Made", chars("20260101"), CMPI_chars);
  const char* properties[] = {"made", nullptr};
  EXPECT_EQ(instance->ft->setPropertyFilter(instance, properties, nullptr).rc, CMPI_RC_OK);
  EXPECT_EQ(instance->ft->getPropertyCount(instance, nullptr), 1U);
  EXPECT_EQ(textOf(instance->ft->getProperty(instance, "Made", nullptr).value.string), "20260101");
}

TEST_F(BrokerObjectTest, EachInstanceHasAPropertyFilterOfItsOwn) {
  const CMPIValue seven = uint16Value(7);
  const char* none[] = {nullptr};
  const char* size[] = {"Size", nullptr};
  const char* sizeAndMade[] = {"Size", "Made", nullptr};
  const auto countWith = [&](const char** properties, const char** keys) {
    CMPIInstance* instance = newInstance();
    instance->ft->setPropertyFilter(instance, properties, keys);
    instance->ft->setProperty(instance, "size", &seven, CMPI_uint16);
    instance->ft->setProperty(instance, "Made", chars("20260101"), CMPI_chars);
    return instance->ft->getPropertyCount(instance, nullptr);
  };
  EXPECT_EQ(countWith(size, nullptr), 1U);
  EXPECT_EQ(countWith(size, none), 1U);
  EXPECT_EQ(countWith(sizeAndMade, nullptr), 2U);
  EXPECT_EQ(countWith(size, sizeAndMade), 2U);
  EXPECT_EQ(countWith(size, nullptr), 1U);
  EXPECT_EQ(countWith(none, nullptr), 0U);
  EXPECT_EQ(countWith(nullptr, none), 2U);
}

TEST_F(BrokerObjectTest, ObjectsSayWhatTheyAre) {
  CMPIString* string = record->eft->newString(record, "text", nullptr);
  EXPECT_EQ(textOf(record->eft->getType(record, string, nullptr)), "CMPIString");
  EXPECT_EQ(textOf(record->eft->getType(record, newPath(), nullptr)), "CMPIObjectPath");
  EXPECT_EQ(textOf(record->eft->getType(record, newInstance(), nullptr)), "CMPIInstance");
  EXPECT_NE(record->eft->isOfType(record, string, "CMPIString", nullptr), 0);
  EXPECT_EQ(record->eft->isOfType(record, string, "CMPIArray", nullptr), 0);
  EXPECT_EQ(record->eft->getType(record, nullptr, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(BrokerObjectTest, ResultsTakeInstancesAndPathsInTheirOrder) {
  RequestAnswers answers;
  CMPIResult* result = request.newResult(answers);
  EXPECT_EQ(result->ft->returnObjectPath(result, newPath()).rc, CMPI_RC_OK);
  CMPIValue value{};
  value.ref = newPath("Part");
  EXPECT_EQ(result->ft->returnData(result, &value, CMPI_ref).rc, CMPI_RC_OK);
  EXPECT_EQ(result->ft->returnInstance(result, newInstance()).rc, CMPI_RC_OK);
  EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_OK);
  ASSERT_EQ(answers.paths.size(), 2U);
  EXPECT_EQ(answers.paths[0].className, "Thing");
  EXPECT_EQ(answers.paths[1].className, "Part");
  EXPECT_EQ(answers.instances.size(), 1U);
  EXPECT_EQ(answers.doneCount, 1U);
  EXPECT_EQ(result->ft->returnInstance(result, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(result->ft->returnData(result, nullptr, CMPI_ref).rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(result->ft->returnData(result, &value, CMPI_uint8).rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(answers.paths.size() + answers.instances.size(), 3U);
}

/// Throws at whatever it is handed.
class FullReceiver : public AnswerReceiver {
 public:
  void receive(Instance&&) override { throw std::length_error("full"); }
  void receive(ObjectPath&&) override { throw 1; }
  void receiveDone() override { throw std::length_error("full"); }
};

TEST_F(BrokerObjectTest, WhatAReceiverThrowsReachesTheProviderAsAStatus) {
  FullReceiver receiver;
  CMPIResult* result = request.newResult(receiver);
  EXPECT_EQ(result->ft->returnInstance(result, newInstance()).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(result->ft->returnObjectPath(result, newPath()).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_ERR_FAILED);
}

TEST_F(BrokerObjectTest, AnInstanceThatWasReturnedStaysAsItIs) {
  RequestAnswers answers;
  CMPIResult* result = request.newResult(answers);
  CMPIInstance* instance = newInstance();
  for (const CMPIUint16 number : {CMPIUint16{7}, CMPIUint16{8}}) {
    const CMPIValue value = uint16Value(number);
    instance->ft->setProperty(instance, "Size", &value, CMPI_uint16);
    EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_OK);
  }
  ASSERT_EQ(answers.instances.size(), 2U);
  EXPECT_EQ(toText(answers.instances[0].findProperty("Size")->elements.at(0)), "7");
  EXPECT_EQ(toText(answers.instances[1].findProperty("Size")->elements.at(0)), "8");
}

TEST_F(BrokerObjectTest, AHandleWithoutAnObjectIsReported) {
  const CMPIObjectPath* path = newPath();
  CMPIObjectPath empty{nullptr, path->ft};
  EXPECT_EQ(path->ft->release(&empty).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(path->ft->clone(&empty, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(path->ft->setClassName(nullptr, "Thing").rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(path->ft->getKeyCount(nullptr, &status), 0U);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(BrokerObjectTest, WithoutOperationsProvidersCannotAskEachOther) {
  const CMPIContext* context = request.newContext("root/cimv2", 0);
  EXPECT_EQ(record->bft->enumerateInstances(record, context, newPath(), nullptr, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(record->bft->enumerateInstances(record, context, nullptr, nullptr, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(record->eft->newArgs(record, &status), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace
}  // namespace cimom
