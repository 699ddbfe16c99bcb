// A provider's life from the factory to the last cleanup: it is made once for its class, counted by
// factory calls, kept when it asks to stay, and destroyed with its last user or its holder. The
// fixture counts what happens to the providers that a test's factory calls make.
#include "binding_test.h"

#include <zelcppc/CmpiProviderBase.h>
#include <zelcppc/ProviderFactory.h>

#include <functional>
#include <memory>
#include <stdexcept>

namespace zelInt {
namespace {

using test_support::DecoratedBroker;

/// What happened to the providers of a test, and what they should do.
struct Life {
  int made = 0;
  int initialized = 0;
  int destroyed = 0;
  bool constructorThrows = false;
  bool initializeThrows = false;
  CmpiStatus initializeAnswer{CMPI_RC_OK};
  std::function<CmpiStatus(CmpiContext&, bool)> cleanup;
  std::function<bool()> isUnloadable = [] { return true; };
  const CMPIBroker* brokerAtEnd = nullptr;
};

Life* life = nullptr;

class LivingProvider : public virtual CmpiInstanceMI, public virtual CmpiAssociationMI {
 public:
  LivingProvider(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context),
        CmpiInstanceMI(broker, context),
        CmpiAssociationMI(broker, context) {
    ++life->made;
    if (life->constructorThrows) throw std::runtime_error("no provider today");
  }
  ~LivingProvider() override {
    ++life->destroyed;
    life->brokerAtEnd = CmpiBroker::currentOrNull();
  }
  CmpiStatus initialize(const CmpiContext&) override {
    ++life->initialized;
    if (life->initializeThrows) throw std::runtime_error("cannot begin");
    return life->initializeAnswer;
  }
  CmpiStatus cleanup(CmpiContext& context, bool terminating) override {
    return life->cleanup ? life->cleanup(context, terminating)
                         : CmpiBaseMI::cleanup(context, terminating);
  }
  bool isUnloadable() const override { return life->isUnloadable(); }
};

class LifecycleTest : public BindingTest {
 protected:
  LifecycleTest() { life = &records; }
  ~LifecycleTest() override {
    holder.reset();
    life = nullptr;
  }

  CMPIInstanceMI* makeInstanceMI() {
    return createMI<LivingProvider>(instanceRecord, instanceTable, *holder, watched.record(),
                                    context, [&] { ++announced; });
  }
  CMPIAssociationMI* makeAssociationMI() {
    return createMI<LivingProvider>(associationRecord, associationTable, *holder, watched.record(),
                                    context, announceNothing);
  }
  template <class Record>
  CMPIStatus cleanup(Record* record, bool terminating = true) {
    return record->ft->cleanup(record, context, terminating ? 1 : 0);
  }

  Life records;
  CMPIContext* context = request.newContext("root/cimv2", 0);
  std::unique_ptr<CmpiProviderBase> holder = std::make_unique<CmpiProviderBase>();
  CMPIInstanceMIFT instanceTable = makeInstanceTable("instanceThing");
  CMPIAssociationMIFT associationTable = makeAssociationTable("associationThing");
  CMPIInstanceMI instanceRecord{};
  CMPIAssociationMI associationRecord{};
  int announced = 0;
};

TEST_F(LifecycleTest, TheFirstFactoryMakesTheProviderAndTheOthersShareIt) {
  CMPIInstanceMI* instances = makeInstanceMI();
  CMPIAssociationMI* associations = makeAssociationMI();
  EXPECT_EQ(instances->hdl, associations->hdl);
  EXPECT_EQ(instances->hdl, holder->getBaseMI());
  EXPECT_EQ(instances->ft, &instanceTable);
  EXPECT_EQ(associations->ft, &associationTable);
  EXPECT_EQ(records.made, 1);
  EXPECT_EQ(records.initialized, 1);
  EXPECT_EQ(holder->useCount(), 2);
  EXPECT_EQ(holder->getBaseMI()->getProviderBase(), holder.get());
  EXPECT_EQ(holder->getBaseMI()->getBroker().getHandle(), watched.record());
}

TEST_F(LifecycleTest, TheSameFactoryGivesTheSameRecordAndAnnouncesEachTime) {
  EXPECT_EQ(makeInstanceMI(), makeInstanceMI());
  EXPECT_EQ(holder->useCount(), 2);
  EXPECT_EQ(announced, 2);
}

TEST_F(LifecycleTest, AThrowingConstructorLeavesNothingBehind) {
  records.constructorThrows = true;
  EXPECT_THROW(makeInstanceMI(), std::runtime_error);
  EXPECT_EQ(holder->getBaseMI(), nullptr);
  EXPECT_EQ(holder->useCount(), 0);
  EXPECT_EQ(instanceRecord.hdl, nullptr);
  EXPECT_EQ(announced, 0);
  records.constructorThrows = false;
  EXPECT_NE(makeInstanceMI()->hdl, nullptr);
}

TEST_F(LifecycleTest, AThrowingInitializeTakesTheProviderWithIt) {
  records.initializeThrows = true;
  EXPECT_THROW(makeInstanceMI(), std::runtime_error);
  EXPECT_EQ(holder->getBaseMI(), nullptr);
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, WhatInitializeAnswersIsNotAsked) {
  records.initializeAnswer = CmpiStatus(CMPI_RC_ERR_FAILED, "not ready");
  EXPECT_NE(makeInstanceMI()->hdl, nullptr);
  EXPECT_EQ(holder->useCount(), 1);
}

TEST_F(LifecycleTest, TheLastUserTakesTheProviderWithIt) {
  CMPIInstanceMI* instances = makeInstanceMI();
  CMPIAssociationMI* associations = makeAssociationMI();
  EXPECT_EQ(cleanup(instances).rc, CMPI_RC_OK);
  EXPECT_EQ(records.destroyed, 0);
  EXPECT_EQ(holder->useCount(), 1);
  EXPECT_NE(holder->getBaseMI(), nullptr);
  EXPECT_EQ(cleanup(associations).rc, CMPI_RC_OK);
  EXPECT_EQ(records.destroyed, 1);
  EXPECT_EQ(holder->useCount(), 0);
  EXPECT_EQ(holder->getBaseMI(), nullptr);
  EXPECT_EQ(associations->hdl, nullptr);
}

TEST_F(LifecycleTest, EachCallOfAFactoryIsAUser) {
  makeInstanceMI();
  CMPIInstanceMI* record = makeInstanceMI();
  cleanup(record);
  EXPECT_EQ(records.destroyed, 0);
  cleanup(record);
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, ACleanedUpRecordAnswersButDoesNothing) {
  CMPIInstanceMI* record = makeInstanceMI();
  cleanup(record);
  EXPECT_EQ(cleanup(record).rc, CMPI_RC_OK);
  EXPECT_EQ(record->ft->getInstance(record, context, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_FAILED);
  EXPECT_EQ(CmpiBaseMI::driveBaseCleanup(static_cast<CMPIInstanceMI*>(nullptr), context, 1).rc,
            CMPI_RC_OK);
  EXPECT_EQ(CmpiBaseMI::driveBaseCleanup(static_cast<CMPIAssociationMI*>(nullptr), context, 1).rc,
            CMPI_RC_OK);
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, TheNextFactoryCallMakesANewProvider) {
  cleanup(makeInstanceMI());
  CMPIInstanceMI* record = makeInstanceMI();
  EXPECT_EQ(records.made, 2);
  EXPECT_EQ(record->hdl, holder->getBaseMI());
  EXPECT_EQ(holder->useCount(), 1);
  EXPECT_EQ(record->ft->getInstance(record, context, nullptr, nullptr, nullptr).rc,
            CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(LifecycleTest, CleanupHearsContextEndAndBroker) {
  DecoratedBroker other(inner.record());
  std::vector<bool> ends;
  const CMPIContext* heard = nullptr;
  const CMPIBroker* during = nullptr;
  records.cleanup = [&](CmpiContext& ctx, bool terminating) {
    ends.push_back(terminating);
    heard = ctx.getHandle();
    during = CmpiBroker::currentOrNull();
    return CmpiStatus(CMPI_RC_OK);
  };
  makeInstanceMI();
  CMPIInstanceMI* record = makeInstanceMI();
  const CurrentBrokerScope around(other.record());
  cleanup(record, false);
  cleanup(record, true);
  EXPECT_EQ(ends, (std::vector<bool>{false, true}));
  EXPECT_EQ(heard, context);
  EXPECT_EQ(during, watched.record());
  EXPECT_EQ(records.brokerAtEnd, watched.record());
  EXPECT_EQ(CmpiBroker::currentOrNull(), other.record());
}

TEST_F(LifecycleTest, AFailedCleanupIsReportedAndTheProviderGoes) {
  records.cleanup = [](CmpiContext&, bool) {
    return CmpiStatus(CMPI_RC_ERR_ACCESS_DENIED, "cannot tidy up");
  };
  const CMPIStatus status = cleanup(makeInstanceMI());
  EXPECT_EQ(status.rc, CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(CmpiString(status.msg).charPtr(), "cannot tidy up");
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, NothingThrownInCleanupComesOut) {
  records.cleanup = [](CmpiContext&, bool) -> CmpiStatus { throw std::runtime_error("oh"); };
  const CMPIStatus status = cleanup(makeInstanceMI());
  EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
  EXPECT_STREQ(CmpiString(status.msg).charPtr(), "oh");
  records.cleanup = [](CmpiContext&, bool) -> CmpiStatus { throw 42; };
  EXPECT_EQ(cleanup(makeInstanceMI()).rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(records.destroyed, 2);
}

TEST_F(LifecycleTest, NothingThrownByTheUnloadQuestionComesOut) {
  CMPIInstanceMI* record = makeInstanceMI();
  records.isUnloadable = []() -> bool { throw std::runtime_error("who knows"); };
  const CMPIStatus status = cleanup(record, false);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
  EXPECT_STREQ(CmpiString(status.msg).charPtr(), "who knows");
}

TEST_F(LifecycleTest, AProviderThatIsBusyStaysUntilTheEnd) {
  records.isUnloadable = [] { return false; };
  CMPIInstanceMI* record = makeInstanceMI();
  EXPECT_EQ(cleanup(record, false).rc, CMPI_RC_DO_NOT_UNLOAD);
  EXPECT_EQ(holder->useCount(), 1);
  EXPECT_EQ(records.destroyed, 0);
  EXPECT_EQ(cleanup(record, true).rc, CMPI_RC_OK);
  EXPECT_EQ(records.destroyed, 1);
}

class AskToStayTest : public LifecycleTest, public testing::WithParamInterface<CMPIrc> {};

TEST_P(AskToStayTest, KeepsTheProviderUntilTheEnd) {
  records.cleanup = [](CmpiContext&, bool) { return CmpiStatus(GetParam()); };
  CMPIInstanceMI* record = makeInstanceMI();
  EXPECT_EQ(cleanup(record, false).rc, GetParam());
  EXPECT_EQ(holder->useCount(), 1);
  EXPECT_EQ(record->hdl, holder->getBaseMI());
  EXPECT_EQ(cleanup(record, true).rc, GetParam());
  EXPECT_EQ(records.destroyed, 1);
}

INSTANTIATE_TEST_SUITE_P(Codes, AskToStayTest,
                         testing::Values(CMPI_RC_DO_NOT_UNLOAD, CMPI_RC_NEVER_UNLOAD),
                         [](const auto& testInfo) {
                           return testInfo.param == CMPI_RC_NEVER_UNLOAD ? "Never" : "NotNow";
                         });

TEST_F(LifecycleTest, TheDefaultsAnswerOkAndUnloadable) {
  CMPIInstanceMI* record = makeInstanceMI();
  const CmpiBaseMI& provider = *holder->getBaseMI();
  EXPECT_TRUE(provider.CmpiBaseMI::isUnloadable());
  EXPECT_EQ(holder->getBaseMI()->CmpiBaseMI::initialize(CmpiContext(context)).rc(), CMPI_RC_OK);
  const CMPIStatus status = cleanup(record, false);
  EXPECT_EQ(status.rc, CMPI_RC_OK);
  EXPECT_EQ(status.msg, nullptr);
}

TEST_F(LifecycleTest, AHolderDestroysTheProviderThatItStillRemembers) {
  makeInstanceMI();
  makeAssociationMI();
  holder.reset();
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, AHolderWithoutAProviderDestroysNothing) {
  cleanup(makeInstanceMI());
  holder.reset();
  EXPECT_EQ(records.destroyed, 1);
}

TEST_F(LifecycleTest, AProviderWithoutAHolderStays) {
  LivingProvider provider{CmpiBroker(watched.record()), CmpiContext(context)};
  CMPIInstanceMI record{static_cast<CmpiBaseMI*>(&provider), &instanceTable};
  EXPECT_EQ(cleanup(&record).rc, CMPI_RC_OK);
  EXPECT_NE(record.hdl, nullptr);
  EXPECT_EQ(records.destroyed, 0);
}

}  // namespace
}  // namespace zelInt
