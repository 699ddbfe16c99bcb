// What the binding does with records and brokers whose provider is gone.
#include "record_test.h"

#include <decorated_broker.h>
#include <zelcppc/CmpiInstanceMI.h>
#include <zelcppc/CmpiStatus.h>
#include <zelcppc/ProviderFactory.h>

#include <memory>
#include <optional>

namespace zelInt {
namespace {

using test_support::DecoratedBroker;

class PlainProvider : public virtual CmpiInstanceMI, public virtual CmpiAssociationMI {
 public:
  PlainProvider(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context),
        CmpiInstanceMI(broker, context),
        CmpiAssociationMI(broker, context) {}
};

/// The holder and the records of one class.
struct ProviderClass {
  CmpiProviderBase holder;
  CMPIInstanceMIFT instanceTable = makeInstanceTable("instanceThing");
  CMPIAssociationMIFT associationTable = makeAssociationTable("associationThing");
  CMPIInstanceMI instanceRecord{};
  CMPIAssociationMI associationRecord{};

  CMPIInstanceMI* instanceMI(const CMPIBroker* broker, const CMPIContext* context) {
    return createMI<PlainProvider>(instanceRecord, instanceTable, holder, broker, context,
                                   announceNothing);
  }
  CMPIAssociationMI* associationMI(const CMPIBroker* broker, const CMPIContext* context) {
    return createMI<PlainProvider>(associationRecord, associationTable, holder, broker, context,
                                   announceNothing);
  }
};

class GoneProvider : public RecordTest {
 protected:
  ProviderClass things;
};

TEST_F(GoneProvider, IsNotTouchedThroughTheOtherRecord) {
  CMPIInstanceMI* instances = things.instanceMI(inner.record(), context);
  CMPIAssociationMI* associations = things.associationMI(inner.record(), context);
  EXPECT_EQ(request(associations), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(cleanUp(instances), CMPI_RC_OK);
  EXPECT_EQ(cleanUp(instances), CMPI_RC_OK);
  ASSERT_EQ(things.holder.getBaseMI(), nullptr);
  EXPECT_EQ(request(associations), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(cleanUp(associations), CMPI_RC_OK);
  EXPECT_EQ(things.holder.useCount(), 0);
}

TEST_F(GoneProvider, IsReplacedForTheRecordWhoseFactoryIsCalled) {
  CMPIInstanceMI* instances = things.instanceMI(inner.record(), context);
  things.associationMI(inner.record(), context);
  cleanUp(instances);
  cleanUp(instances);
  EXPECT_EQ(request(things.associationMI(inner.record(), context)), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(request(instances), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(request(things.instanceMI(inner.record(), context)), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(things.holder.useCount(), 2);
}

TEST_F(GoneProvider, IsKnownByEachClassForItself) {
  ProviderClass others;
  CMPIInstanceMI* thing = things.instanceMI(inner.record(), context);
  CMPIInstanceMI* other = others.instanceMI(inner.record(), context);
  cleanUp(thing);
  EXPECT_EQ(request(thing), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(request(other), CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(GoneProvider, OfAHolderThatDiedIsNotTouched) {
  auto holder = std::make_unique<CmpiProviderBase>();
  CMPIInstanceMI record{};
  createMI<PlainProvider>(record, things.instanceTable, *holder, inner.record(), context,
                          announceNothing);
  holder.reset();
  EXPECT_EQ(request(&record), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(cleanUp(&record), CMPI_RC_OK);
}

/// Brokers that live as long as a test says, and the providers made with them.
class GoneBroker : public GoneProvider {
 protected:
  std::optional<DecoratedBroker> first{std::in_place, inner.record()};
  std::optional<DecoratedBroker> second{std::in_place, inner.record()};
  ProviderClass others;
};

TEST_F(GoneBroker, ServesNoLongerOutsideOfCalls) {
  CMPIInstanceMI* record = things.instanceMI(first->record(), context);
  EXPECT_EQ(CmpiBroker::currentOrNull(), first->record());
  cleanUp(record);
  first.reset();
  ASSERT_EQ(CmpiBroker::currentOrNull(), nullptr);
  try {
    const CmpiObjectPath path("root/cimv2", "Thing");
    FAIL() << "a path without a broker";
  } catch (const CmpiStatus& failure) {
    EXPECT_EQ(failure.rc(), CMPI_RC_ERR_FAILED);
  }
}

TEST_F(GoneBroker, IsFollowedByThatOfTheYoungestProvider) {
  things.instanceMI(first->record(), context);
  CMPIInstanceMI* younger = others.instanceMI(second->record(), context);
  EXPECT_EQ(CmpiBroker::currentOrNull(), second->record());
  cleanUp(younger);
  second.reset();
  EXPECT_EQ(CmpiBroker::currentOrNull(), first->record());
}

TEST_F(GoneBroker, ServesWhileOneOfItsProvidersLives) {
  CMPIInstanceMI* thing = things.instanceMI(first->record(), context);
  CMPIInstanceMI* other = others.instanceMI(first->record(), context);
  cleanUp(other);
  EXPECT_EQ(CmpiBroker::currentOrNull(), first->record());
  cleanUp(thing);
  EXPECT_EQ(CmpiBroker::currentOrNull(), nullptr);
}

TEST_F(GoneBroker, ThatWasNotTheLastChangesNothing) {
  CMPIInstanceMI* thing = things.instanceMI(first->record(), context);
  others.instanceMI(second->record(), context);
  const CmpiBroker last(inner.record());
  cleanUp(thing);
  EXPECT_EQ(CmpiBroker::currentOrNull(), inner.record());
}

}  // namespace
}  // namespace zelInt
