#include "binding_test.h"

#include <zelcppc/CmpiResult.h>

namespace zelInt {
namespace {

using test_support::DecoratedBroker;
using test_support::Manners;
using testing::ElementsAre;

static_assert(noexcept(std::declval<CmpiResult&>().returnDone()));
static_assert(
    noexcept(std::declval<CmpiResult&>().returnData(std::declval<const CmpiInstance&>())));
static_assert(
    noexcept(std::declval<CmpiResult&>().returnData(std::declval<const CmpiObjectPath&>())));

class ResultTest : public BindingTest {
 protected:
  explicit ResultTest(Manners manners = {}) : BindingTest(manners) {}

  void expectAllIsHandedOver() {
    result.returnData(CmpiInstance(thingPath()));
    result.returnData(thingPath());
    result.returnDone();
    EXPECT_EQ(watched.count("result.returnInstance"), 1U);
    EXPECT_EQ(watched.count("result.returnObjectPath"), 1U);
    EXPECT_EQ(watched.count("result.returnDone"), 1U);
  }

  cimom::RequestAnswers answers;
  CmpiResult result{watched.decorate(request.newResult(answers))};
};

TEST_F(ResultTest, HandsInstancesPathsAndDoneOver) {
  result.returnData(CmpiInstance(thingPath()));
  result.returnData(thingPath("Part"));
  result.returnDone();
  ASSERT_EQ(answers.instances.size(), 1U);
  EXPECT_EQ(answers.instances[0].properties.size(), 2U);
  ASSERT_EQ(answers.paths.size(), 1U);
  EXPECT_EQ(answers.paths[0].className, "Part");
  EXPECT_EQ(answers.doneCount, 1U);
}

TEST_F(ResultTest, WhatWasHandedOverIsNotChangedAfterwards) {
  CmpiInstance instance(thingPath());
  result.returnData(instance);
  instance.setProperty("Note", CmpiData("too late"));
  EXPECT_EQ(answers.instances.at(0).findProperty("Note"), nullptr);
}

TEST_F(ResultTest, NothingIsThrownWhateverTheBrokerAnswers) {
  for (const char* function :
       {"result.returnInstance", "result.returnObjectPath", "result.returnDone"}) {
    watched.failCall(function, 0, CMPI_RC_ERR_INVALID_HANDLE, "refused");
  }
  expectAllIsHandedOver();
}

TEST_F(ResultTest, WhatTheBrokerThrowsEndsHere) {
  for (const char* function :
       {"result.returnInstance", "result.returnObjectPath", "result.returnDone"}) {
    watched.throwFromCall(function, 0, "not now");
  }
  expectAllIsHandedOver();
}

TEST_F(ResultTest, WhatIsMissingIsNotHandedOver) {
  result.returnData(CmpiInstance(static_cast<const CMPIInstance*>(nullptr)));
  result.returnData(CmpiObjectPath(static_cast<const CMPIObjectPath*>(nullptr)));
  EXPECT_THAT(watched.callTexts("result.returnInstance"), testing::IsEmpty());
  EXPECT_THAT(watched.callTexts("result.returnObjectPath"), testing::IsEmpty());
  const CMPIResultFT empty{};
  const CMPIResult withoutTable{nullptr, nullptr};
  const CMPIResult withoutFunctions{nullptr, &empty};
  for (const CMPIResult* lacking :
       {static_cast<const CMPIResult*>(nullptr), &withoutTable, &withoutFunctions}) {
    CmpiResult nowhere(lacking);
    nowhere.returnData(CmpiInstance(thingPath()));
    nowhere.returnData(thingPath());
    nowhere.returnDone();
  }
}

/// An object manager that takes one instance and one done for a get request.
class NarrowResultTest : public ResultTest {
 protected:
  NarrowResultTest() : ResultTest(oneOfEach()) {}
  static Manners oneOfEach() {
    Manners manners;
    manners.mostAnswersPerResult = 1;
    manners.mostDonesPerResult = 1;
    return manners;
  }
};

TEST_F(NarrowResultTest, WhatWasDeliveredStands) {
  CmpiObjectPath second("root/cimv2", "Thing");
  second.setKey("Name", CmpiData("two"));
  result.returnData(CmpiInstance(thingPath()));
  result.returnData(CmpiInstance(second));
  result.returnDone();
  result.returnDone();
  ASSERT_EQ(answers.instances.size(), 1U);
  EXPECT_EQ(cimom::toText(answers.instances[0].findProperty("Name")->elements.front()), "one");
  EXPECT_EQ(answers.doneCount, 1U);
}

// Statuses

using StatusTest = BindingTest;

TEST_F(StatusTest, CarriesCodeAndText) {
  EXPECT_EQ(CmpiStatus(CMPI_RC_ERR_NOT_FOUND).rc(), CMPI_RC_ERR_NOT_FOUND);
  EXPECT_STREQ(CmpiStatus(CMPI_RC_ERR_NOT_FOUND).msg(), "");
  EXPECT_STREQ(CmpiStatus(CMPI_RC_ERR_FAILED, "why").msg(), "why");
}

TEST_F(StatusTest, OutlivesTheRequestThatItCameFrom) {
  std::optional<CmpiStatus> kept;
  {
    const cimom::RequestScope inside;
    const CMPIBroker* broker = watched.record();
    kept.emplace(CMPIStatus{CMPI_RC_ERR_FAILED,
                            broker->eft->newString(broker, "text of the request", nullptr)});
  }
  const CmpiStatus copy = *kept;
  kept.reset();
  EXPECT_STREQ(copy.msg(), "text of the request");
}

TEST_F(StatusTest, BecomesAStringOfTheCurrentBroker) {
  const CMPIStatus status = CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "no such thing").toCmpi();
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_STREQ(CmpiString(status.msg).charPtr(), "no such thing");
  EXPECT_THAT(watched.callTexts("broker.newString"),
              ElementsAre("broker.newString(no such thing)"));
}

TEST_F(StatusTest, WithoutTextNoStringIsMade) {
  EXPECT_EQ(CmpiStatus(CMPI_RC_ERR_NOT_FOUND).toCmpi().msg, nullptr);
  EXPECT_EQ(watched.count("broker.newString"), 0U);
}

TEST_F(StatusTest, TheCodeStaysWhereTheTextCannotBeMade) {
  watched.failCall("broker.newString", 0, CMPI_RC_ERR_FAILED);
  const CMPIStatus status = CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "no such thing").toCmpi();
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(status.msg, nullptr);
}

TEST_F(StatusTest, TheCodeStaysWhereTheBrokerThrows) {
  watched.throwFromCall("broker.newString", 0, "no strings today");
  const CMPIStatus status = CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "no such thing").toCmpi();
  EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(status.msg, nullptr);
}

TEST_F(StatusTest, ACodeWhoseTextThrowsStays) {
  const CMPIBroker* broker = watched.record();
  CMPIString* text = broker->eft->newString(broker, "the broker's reason", nullptr);
  watched.throwFromCall("string.getCharPtr", 0, "unreadable");
  EXPECT_EQ(CmpiStatus(CMPIStatus{CMPI_RC_ERR_NOT_FOUND, text}).rc(), CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(StatusTest, ACheckThrowsAllButOk) {
  EXPECT_NO_THROW(CmpiStatus::check({CMPI_RC_OK, nullptr}, "something"));
  const CmpiStatus status = statusThrownBy([] {
    CmpiStatus::check({CMPI_RC_ERR_INVALID_QUERY, nullptr}, "something");
  });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_INVALID_QUERY);
  EXPECT_STREQ(status.msg(), "something failed");
}

TEST_F(StatusTest, ACheckKeepsTheBrokersOwnText) {
  const CMPIBroker* broker = watched.record();
  CMPIString* text = broker->eft->newString(broker, "the broker's reason", nullptr);
  EXPECT_STREQ(statusThrownBy([&] {
                 CmpiStatus::check({CMPI_RC_ERR_FAILED, text}, "something");
               }).msg(),
               "the broker's reason");
}

}  // namespace
}  // namespace zelInt
