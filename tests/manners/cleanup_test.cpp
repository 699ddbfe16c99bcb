// Object managers clean up one record of two, each, none, or one too often, and close the library.
#include "life_test.h"

#include <thread>

namespace manners {
namespace {

using requests::Operation;
using requests::Outcome;
using requests::Request;
using requests::sendTo;

/// The cleanups of one class in their order: 'i' through the instance record, 'a' through the
/// association record.
class Cleanups : public LifeTest, public testing::WithParamInterface<const char*> {
 protected:
  struct Records {
    CMPIInstanceMI* instance;
    CMPIAssociationMI* association;
  };

  Records makeRecords(const std::string& className) {
    return {library->instanceMI(className), library->associationMI(className)};
  }

  static CMPIrc cleanUpOnce(const Records& records, char through) {
    return through == 'i' ? cleanUp(records.instance) : cleanUp(records.association);
  }

  /// What both records of all associations return.
  std::string answers() {
    std::string all;
    for (const std::string& className : associationClasses()) {
      const Records records = makeRecords(className);
      const Request listing = listingOf(className);
      all += textOf({listing, sendTo(records.instance, listing)}, listing.path);
      const Request navigation = navigationOf(className);
      all += textOf({navigation, sendTo(records.association, navigation)}, navigation.path);
    }
    return all;
  }

  void cleanUpAll() {
    for (const std::string& className : associationClasses()) {
      const Records records = makeRecords(className);
      for (const char* through = GetParam(); *through != '\0'; ++through) {
        EXPECT_EQ(cleanUpOnce(records, *through), CMPI_RC_OK) << className;
      }
    }
  }
};

TEST_P(Cleanups, LeaveTheLibraryToBeClosedAndOpenedAgain) {
  open();
  const std::string before = answers();
  close();
  for (int life = 0; life < 2; ++life) {
    open();
    cleanUpAll();
    close();
  }
  open();
  EXPECT_EQ(answers(), before);
  close();
}

TEST_P(Cleanups, LeaveTheFactoriesToBeCalledAgain) {
  open();
  const std::string before = answers();
  cleanUpAll();
  EXPECT_EQ(answers(), before);
  close();
}

/// After a cleanup too many the provider is gone, so requests fail until the factory makes another.
TEST_P(Cleanups, LeaveRecordsThatAnswerOrFail) {
  open();
  for (const std::string& className : associationClasses()) {
    const Records records = makeRecords(className);
    const std::string cleanups = GetParam();
    for (const char through : cleanups) cleanUpOnce(records, through);
    const CMPIrc expected = cleanups.size() < 2 ? CMPI_RC_OK : CMPI_RC_ERR_FAILED;
    EXPECT_EQ(sendTo(records.instance, listingOf(className)).status, expected) << className;
    EXPECT_EQ(sendTo(records.association, navigationOf(className)).status, expected) << className;
  }
  close();
}

INSTANTIATE_TEST_SUITE_P(Of, Cleanups,
                         testing::Values("", "i", "a", "ia", "ai", "ii", "aa", "iia", "aai", "iai",
                                         "iiaa", "aaii", "iaia"),
                         [](const auto& testInfo) {
                           const std::string through = testInfo.param;
                           return through.empty() ? std::string("None") : through;
                         });

class OneRecord : public LifeTest {};

TEST_F(OneRecord, OfAnInstanceClassMayBeCleanedUpTooOften) {
  open();
  for (const std::string& className : instanceClasses()) {
    CMPIInstanceMI* record = library->instanceMI(className);
    for (const bool terminating : {false, true, true, false}) {
      EXPECT_EQ(cleanUp(record, terminating), CMPI_RC_OK);
    }
    EXPECT_EQ(sendTo(record, listingOf(className)).status, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(library->instanceMI(className), record);
    EXPECT_EQ(sendTo(record, listingOf(className)).status, CMPI_RC_OK);
  }
  close();
}

/// Some object managers clean up one record per library: the other providers go with the library.
TEST_F(OneRecord, OfTheLibraryIsEnough) {
  open();
  for (const std::string& className : associationClasses()) {
    library->associationMI(className);
    library->instanceMI(className);
  }
  for (const std::string& className : instanceClasses()) library->instanceMI(className);
  EXPECT_EQ(cleanUp(library->instanceMI("Zelmar_PCIPort"), true), CMPI_RC_OK);
  close();
}

/// Nothing is cleaned up or closed: the providers go with the process.
TEST_F(OneRecord, MayBeInUseWhenTheProcessEnds) {
  const auto endProcess = [this] {
    open();
    for (const std::string& className : associationClasses()) {
      sendTo(library->associationMI(className), navigationOf(className));
    }
    std::exit(0);
  };
  EXPECT_EXIT(endProcess(), testing::ExitedWithCode(0), "");
}

TEST_F(OneRecord, MayBeCleanedUpOnAnotherThread) {
  open();
  CMPIAssociationMI* record = library->associationMI("Zelmar_PCIControlledBy");
  EXPECT_FALSE(sendTo(record, navigationOf("Zelmar_PCIControlledBy")).answers().empty());
  CMPIrc code = CMPI_RC_ERR_FAILED;
  std::thread([&] { code = cleanUp(record); }).join();
  EXPECT_EQ(code, CMPI_RC_OK);
  close();
}

/// A manager frees a provider's broker with the provider; the others' must do without it.
TEST_F(OneRecord, TakesItsBrokerAlong) {
  open();
  auto broker = std::make_unique<test_support::DecoratedBroker>(manager.broker());
  CMPIInstanceMI* other = library->instanceMI("Zelmar_PCIBridge");
  CMPIInstanceMI* record = library->instanceMI("Zelmar_PCIPort", broker->record());
  EXPECT_EQ(sendTo(record, listingOf("Zelmar_PCIPort"), broker.get()).instances.size(), 33U);
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  broker.reset();
  EXPECT_EQ(sendTo(other, listingOf("Zelmar_PCIBridge")).instances.size(), 6U);
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  EXPECT_EQ(sendTo(record, listingOf("Zelmar_PCIPort")).status, CMPI_RC_ERR_FAILED);
  close();
}

}  // namespace
}  // namespace manners
