#include "decorated_broker.h"

#include <broker/broker.h>
#include <broker/request_scope.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test_support {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kSchema[] = R"(
  class Thing { [Key] string Name; [Key] uint16 Number; string Note; uint8 Sizes[]; };
)";

class DecoratedBrokerTest : public testing::Test {
 protected:
  DecoratedBroker& decorate(Manners manners = {}) {
    decorated_ = std::make_unique<DecoratedBroker>(inner_.record(), manners);
    broker = decorated_->record();
    return *decorated_;
  }

  CMPIObjectPath* newPath() { return broker->eft->newObjectPath(broker, "root", "Thing", &status); }
  CMPIObjectPath* namedPath() {
    CMPIObjectPath* path = newPath();
    path->ft->addKey(path, "Name", reinterpret_cast<const CMPIValue*>("one"), CMPI_chars);
    return path;
  }
  CMPIInstance* newInstance() { return broker->eft->newInstance(broker, namedPath(), &status); }
  CMPICount propertyCount(const CMPIInstance* instance) {
    return instance->ft->getPropertyCount(instance, nullptr);
  }
  CMPIrc filter(const CMPIInstance* instance, const char* property, const char** keys) {
    const char* names[] = {property, nullptr};
    return instance->ft->setPropertyFilter(instance, names, keys).rc;
  }

  const CMPIBroker* broker = nullptr;
  CMPIStatus status{CMPI_RC_OK, nullptr};
  cimom::RequestAnswers answers;

 private:
  cimom::ClassRepository repository_ = cimom::ClassRepository::parse(kSchema);
  cimom::Broker inner_{repository_, nullptr};
  std::unique_ptr<DecoratedBroker> decorated_;

 protected:
  cimom::RequestScope scope;
};

TEST_F(DecoratedBrokerTest, RecordsEachCallInOrder) {
  DecoratedBroker& watched = decorate();
  CMPIObjectPath* path = namedPath();
  CMPIValue number{};
  number.uint16 = 7;
  path->ft->addKey(path, "Number", &number, CMPI_uint16);
  CMPIString* text = path->ft->toString(path, nullptr);
  EXPECT_STREQ(text->ft->getCharPtr(text, nullptr), R"(root:Thing.Name="one",Number=7)");
  EXPECT_THAT(
      watched.callTexts(),
      ElementsAre("broker.newObjectPath(root, Thing)", R"(objectPath.addKey(Name, "one"))",
                  "objectPath.addKey(Number, 7)", "objectPath.toString()", "string.getCharPtr()"));
  EXPECT_EQ(watched.calls()[1].object, path);
  watched.clear();
  EXPECT_THAT(watched.calls(), IsEmpty());
}

TEST_F(DecoratedBrokerTest, SeesObjectsThatComeOutOfOthers) {
  DecoratedBroker& watched = decorate();
  const CMPIInstance* instance = newInstance();
  CMPIString* name = nullptr;
  const CMPIData data = instance->ft->getPropertyAt(instance, 0, &name, nullptr);
  watched.clear();
  name->ft->getCharPtr(name, nullptr);
  data.value.string->ft->getCharPtr(data.value.string, nullptr);
  const CMPIObjectPath* path = instance->ft->getObjectPath(instance, nullptr);
  CMPIObjectPath* clone = path->ft->clone(path, nullptr);
  clone->ft->release(clone);
  EXPECT_THAT(watched.callTexts(),
              ElementsAre("string.getCharPtr()", "string.getCharPtr()", "instance.getObjectPath()",
                          "objectPath.clone()", "objectPath.release()"));
}

TEST_F(DecoratedBrokerTest, ListsAndMissingOnesAreTold) {
  DecoratedBroker& watched = decorate();
  const CMPIInstance* instance = newInstance();
  const char* keys[] = {"Name", "Number", nullptr};
  filter(instance, "Note", keys);
  filter(instance, "Note", nullptr);
  EXPECT_THAT(watched.callTexts("instance.setPropertyFilter"),
              ElementsAre("instance.setPropertyFilter([Note], [Name, Number])",
                          "instance.setPropertyFilter([Note], null)"));
}

TEST_F(DecoratedBrokerTest, TheBrokerStillKnowsTheKindOfDecoratedObjects) {
  decorate();
  const CMPIInstance* instance = newInstance();
  const CMPIString* type = broker->eft->getType(broker, instance, &status);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_STREQ(type->ft->getCharPtr(type, nullptr), "CMPIInstance");
}

TEST_F(DecoratedBrokerTest, FailsTheCallOfThatNumberOnly) {
  DecoratedBroker& watched = decorate();
  watched.failCall(2, CMPI_RC_ERR_ACCESS_DENIED, "keep out");
  EXPECT_NE(newPath(), nullptr);
  EXPECT_EQ(newPath(), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(status.msg->ft->getCharPtr(status.msg, nullptr), "keep out");
  EXPECT_NE(newPath(), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
}

TEST_F(DecoratedBrokerTest, FailsOneFunctionByNumberOrAlways) {
  DecoratedBroker& watched = decorate();
  watched.failCall("objectPath.addKey", 2, CMPI_RC_ERR_FAILED);
  watched.failCall("objectPath.getKeyCount", 0, CMPI_RC_ERR_INVALID_HANDLE);
  const CMPIObjectPath* path = namedPath();
  const auto* text = reinterpret_cast<const CMPIValue*>("two");
  EXPECT_EQ(path->ft->addKey(path, "Name", text, CMPI_chars).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(path->ft->getKeyCount(path, nullptr), 0U);
  EXPECT_EQ(path->ft->getKeyCount(path, &status), 0U);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_HANDLE);
  watched.failNothing();
  EXPECT_EQ(path->ft->getKeyCount(path, &status), 1U);
}

TEST_F(DecoratedBrokerTest, AnswersNothingWithSuccess) {
  decorate().failCall("broker.newObjectPath", 0, CMPI_RC_OK);
  status.rc = CMPI_RC_ERR_FAILED;
  EXPECT_EQ(newPath(), nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
}

TEST_F(DecoratedBrokerTest, AFailedReleaseStillReleases) {
  decorate().failCall("objectPath.release", 0, CMPI_RC_ERR_FAILED);
  const CMPIObjectPath* path = newPath();
  // The leak check tells when the clone stays.
  CMPIObjectPath* clone = path->ft->clone(path, nullptr);
  EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_ERR_FAILED);
}

TEST_F(DecoratedBrokerTest, InstancesComeWithTheirKeysOrWithout) {
  decorate();
  EXPECT_EQ(propertyCount(newInstance()), 1U);
  Manners manners;
  manners.newInstanceCopiesKeys = false;
  decorate(manners);
  const CMPIInstance* bare = newInstance();
  EXPECT_EQ(propertyCount(bare), 0U);
  bare->ft->setProperty(bare, "Note", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars);
  EXPECT_EQ(propertyCount(bare), 1U);
}

TEST_F(DecoratedBrokerTest, FiltersInEveryManner) {
  const auto left = [&](FilterManner manner) {
    Manners manners;
    manners.filter = manner;
    decorate(manners);
    const CMPIInstance* instance = newInstance();
    instance->ft->setProperty(instance, "Note", reinterpret_cast<const CMPIValue*>("x"),
                              CMPI_chars);
    EXPECT_EQ(filter(instance, "Nothing", nullptr), CMPI_RC_OK);
    return propertyCount(instance);
  };
  EXPECT_EQ(left(FilterManner::kDropUnlistedKeys), 0U);
  EXPECT_EQ(left(FilterManner::kKeepKeys), 1U);
  EXPECT_EQ(left(FilterManner::kIgnoreFilter), 2U);
}

TEST_F(DecoratedBrokerTest, AMissingKeyIsAnErrorOrAState) {
  const auto ask = [&](bool isAnError) {
    Manners manners;
    manners.missingKeyIsAnError = isAnError;
    decorate(manners);
    const CMPIObjectPath* path = newPath();
    return path->ft->getKey(path, "Name", &status).state;
  };
  EXPECT_NE(ask(true) & CMPI_notFound, 0);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_NE(ask(false) & CMPI_notFound, 0);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
}

TEST_F(DecoratedBrokerTest, AResultRefusesWhatIsTooMuch) {
  Manners manners;
  manners.mostAnswersPerResult = 1;
  manners.mostDonesPerResult = 0;
  DecoratedBroker& watched = decorate(manners);
  CMPIResult* result = watched.decorate(scope.newResult(answers));
  const CMPIInstance* instance = newInstance();
  EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_OK);
  EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(result->ft->returnObjectPath(result, newPath()).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(answers.instances.size(), 1U);
  EXPECT_EQ(answers.doneCount, 0U);
  watched.decorate(result);
  EXPECT_EQ(result->ft->returnInstance(result, instance).rc, CMPI_RC_OK);
  EXPECT_THAT(watched.callTexts("result.returnInstance"),
              Each(StartsWith(R"(result.returnInstance(root:Thing.Name="one")")));
}

TEST_F(DecoratedBrokerTest, AResultWithoutAnswersRefusesADone) {
  Manners manners;
  manners.takesEmptyDone = false;
  DecoratedBroker& watched = decorate(manners);
  CMPIResult* result = watched.decorate(scope.newResult(answers));
  EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_ERR_FAILED);
  result->ft->returnInstance(result, newInstance());
  EXPECT_EQ(result->ft->returnDone(result).rc, CMPI_RC_OK);
  EXPECT_EQ(answers.doneCount, 1U);
}

TEST_F(DecoratedBrokerTest, TablesAndSlotsCanBeMissing) {
  Manners manners;
  manners.hasMemoryTable = false;
  manners.hasOperatingSystemTable = false;
  manners.hasQualifierFunctions = false;
  decorate(manners);
  EXPECT_EQ(broker->mft, nullptr);
  EXPECT_EQ(broker->xft, nullptr);
  EXPECT_EQ(newPath()->ft->getClassQualifier, nullptr);
  EXPECT_EQ(newPath()->ft->getParameterQualifier, nullptr);
  EXPECT_NE(newPath()->ft->toString, nullptr);
}

}  // namespace
}  // namespace test_support
