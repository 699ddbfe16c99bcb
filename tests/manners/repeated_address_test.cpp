// Providers of different classes that live at one address, one after the other.
#include "record_test.h"

#include <zelcppc/CmpiStatus.h>
#include <zelcppc/ProviderFactory.h>

#include <atomic>
#include <memory>
#include <new>
#include <thread>

namespace zelInt {
namespace {

/// Room for one provider.
alignas(std::max_align_t) unsigned char room[1024];
bool isRoomTaken = false;

/// What the provider in the room was asked.
int requestsSeen = 0;
int cleanupsSeen = 0;

class Lodger : public virtual CmpiInstanceMI, public virtual CmpiAssociationMI {
 public:
  Lodger(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context),
        CmpiInstanceMI(broker, context),
        CmpiAssociationMI(broker, context) {
    requestsSeen = 0;
    cleanupsSeen = 0;
  }

  static void* operator new(std::size_t size) {
    if (isRoomTaken || size > sizeof room) throw std::bad_alloc();
    isRoomTaken = true;
    return room;
  }
  static void operator delete(void* /*memory*/) { isRoomTaken = false; }

  CmpiStatus getInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                         const char**) override {
    ++requestsSeen;
    return CmpiStatus(CMPI_RC_OK);
  }
  CmpiStatus referenceNames(const CmpiContext&, CmpiResult&, const CmpiObjectPath&, const char*,
                            const char*) override {
    ++requestsSeen;
    return CmpiStatus(CMPI_RC_OK);
  }
  CmpiStatus cleanup(CmpiContext&, bool) override {
    ++cleanupsSeen;
    return CmpiStatus(CMPI_RC_OK);
  }
};

/// The holder, tables and records of one class.
struct LodgerClass {
  CmpiProviderBase holder;
  CMPIInstanceMIFT instanceTable = makeInstanceTable("instanceThing");
  CMPIAssociationMIFT associationTable = makeAssociationTable("associationThing");
  CMPIInstanceMI instances{};
  CMPIAssociationMI associations{};
};

class RepeatedAddress : public RecordTest {
 protected:
  CMPIInstanceMI* makeInstanceMI(LodgerClass& of) {
    return createMI<Lodger>(of.instances, of.instanceTable, of.holder, inner.record(), context,
                            announceNothing);
  }
  CMPIAssociationMI* makeAssociationMI(LodgerClass& of) {
    return createMI<Lodger>(of.associations, of.associationTable, of.holder, inner.record(),
                            context, announceNothing);
  }

  /// A factory of a library that shows the binding no record.
  template <class Record, class Table>
  Record* makePlainly(Record& record, const Table& table, CmpiProviderBase& holder) {
    const CmpiContext made(context);
    record.ft = &table;
    CmpiBaseMI* provider = holder.getBaseMI();
    if (provider == nullptr) {
      provider = new Lodger(CmpiBroker(inner.record()), made);
      provider->setProviderBase(&holder);
      provider->initialize(made);
      holder.setBaseMI(provider);
    }
    record.hdl = provider;
    holder.incUseCount();
    return &record;
  }

  /// The record acts on nothing, however often it is used.
  template <class Record>
  void expectStale(Record* record) {
    for (int time = 0; time < 3; ++time) {
      EXPECT_EQ(request(record), CMPI_RC_ERR_FAILED);
      EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
    }
  }

  LodgerClass old;
  LodgerClass young;
};

TEST_F(RepeatedAddress, IsNotTheOldRecordsOwn) {
  CMPIInstanceMI* through = makeInstanceMI(old);
  CMPIAssociationMI* other = makeAssociationMI(old);
  const void* address = old.holder.getBaseMI();
  cleanUp(through);
  cleanUp(through);
  CMPIInstanceMI* record = makeInstanceMI(young);
  ASSERT_EQ(record->hdl, address);
  expectStale(other);
  expectStale(through);
  EXPECT_EQ(requestsSeen, 0);
  EXPECT_EQ(cleanupsSeen, 0);
  EXPECT_EQ(young.holder.useCount(), 1);
  EXPECT_EQ(request(record), CMPI_RC_OK);
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  EXPECT_EQ(young.holder.useCount(), 0);
  EXPECT_FALSE(isRoomTaken);
}

TEST_F(RepeatedAddress, IsNotTheOldAssociationRecordsEither) {
  CMPIInstanceMI* other = makeInstanceMI(old);
  CMPIAssociationMI* through = makeAssociationMI(old);
  cleanUp(through);
  cleanUp(through);
  CMPIAssociationMI* record = makeAssociationMI(young);
  expectStale(other);
  EXPECT_EQ(request(record), CMPI_RC_OK);
  EXPECT_EQ(requestsSeen, 1);
}

TEST_F(RepeatedAddress, OfTheSameClassIsForRecordsThatWereMadeAgain) {
  CMPIInstanceMI* through = makeInstanceMI(old);
  CMPIAssociationMI* other = makeAssociationMI(old);
  const void* address = old.holder.getBaseMI();
  cleanUp(through);
  cleanUp(through);
  makeInstanceMI(old);
  ASSERT_EQ(through->hdl, address);
  expectStale(other);
  EXPECT_EQ(request(through), CMPI_RC_OK);
  makeAssociationMI(old);
  EXPECT_EQ(request(other), CMPI_RC_OK);
  EXPECT_EQ(old.holder.useCount(), 2);
}

TEST_F(RepeatedAddress, AfterTheHolderIsNotTheRecordsOwn) {
  auto holder = std::make_unique<CmpiProviderBase>();
  CMPIInstanceMI* record = makePlainly(old.instances, old.instanceTable, *holder);
  EXPECT_EQ(request(record), CMPI_RC_OK);
  holder.reset();
  EXPECT_EQ(request(record), CMPI_RC_ERR_FAILED);
  // The memory of its record may serve another library by then.
  EXPECT_EQ(request(makePlainly(old.instances, old.instanceTable, young.holder)), CMPI_RC_OK);
}

/// Factories that show no record: each record is known once it was used.
TEST_F(RepeatedAddress, IsNotForRecordsThatServedAnotherClass) {
  CMPIInstanceMI* through = makePlainly(old.instances, old.instanceTable, old.holder);
  CMPIAssociationMI* other = makePlainly(old.associations, old.associationTable, old.holder);
  EXPECT_EQ(request(other), CMPI_RC_OK);
  const void* address = old.holder.getBaseMI();
  cleanUp(through);
  cleanUp(through);
  CMPIInstanceMI* record = makePlainly(young.instances, young.instanceTable, young.holder);
  ASSERT_EQ(record->hdl, address);
  expectStale(other);
  expectStale(through);
  EXPECT_EQ(requestsSeen, 0);
  EXPECT_EQ(request(record), CMPI_RC_OK);
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  EXPECT_FALSE(isRoomTaken);
  // Both classes are there again for callers of their factories.
  EXPECT_EQ(request(makePlainly(old.associations, old.associationTable, old.holder)), CMPI_RC_OK);
}

/// An object manager may keep a copy of a record where the copy of another one was.
TEST_F(RepeatedAddress, ServesCopiesOfItsRecords) {
  CMPIInstanceMI copy = *makePlainly(old.instances, old.instanceTable, old.holder);
  EXPECT_EQ(request(&copy), CMPI_RC_OK);
  EXPECT_EQ(cleanUp(&copy), CMPI_RC_OK);
  copy = *makePlainly(young.instances, young.instanceTable, young.holder);
  EXPECT_EQ(request(&copy), CMPI_RC_OK);
  for (int number = 0; number < 100; ++number) {
    auto another = std::make_unique<CMPIInstanceMI>(copy);
    EXPECT_EQ(request(another.get()), CMPI_RC_OK);
  }
}

/// Requests of one class go on while providers of another come and go.
TEST_F(RepeatedAddress, IsTakenAndLeftWhileOthersWork) {
  class Worker : public virtual CmpiInstanceMI {
   public:
    Worker(const CmpiBroker& broker, const CmpiContext& with)
        : CmpiBaseMI(broker, with), CmpiInstanceMI(broker, with) {}
  };
  CmpiProviderBase holder;
  CMPIInstanceMI worker{};
  createMI<Worker>(worker, old.instanceTable, holder, inner.record(), context, announceNothing);
  std::atomic<bool> ends{false};
  std::vector<std::thread> threads;
  for (int number = 0; number < 3; ++number) {
    threads.emplace_back([&] {
      while (!ends) EXPECT_EQ(request(&worker), CMPI_RC_ERR_NOT_SUPPORTED);
    });
  }
  for (int round = 0; round < 500; ++round) {
    CMPIInstanceMI* record = makeInstanceMI(young);
    EXPECT_EQ(request(record), CMPI_RC_OK);
    EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  }
  ends = true;
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace zelInt
