#include "binding_test.h"

#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiEnumeration.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace zelInt {
namespace {

using test_support::DecoratedBroker;
using testing::ElementsAre;

/// Object managers give each provider a broker of its own: two that can be told apart.
class CurrentBrokerTest : public testing::Test {
 protected:
  /// Which broker makes a new path now.
  std::string maker() {
    first.clear();
    second.clear();
    const CmpiObjectPath path("root/cimv2", "Thing");
    return std::string(first.count("broker.newObjectPath"), 'a') +
           std::string(second.count("broker.newObjectPath"), 'b');
  }

  cimom::ClassRepository repository = cimom::ClassRepository::parse("class Thing { };");
  cimom::Broker inner{repository, nullptr};
  DecoratedBroker first{inner.record()};
  DecoratedBroker second{inner.record()};
  cimom::RequestScope request;
};

TEST_F(CurrentBrokerTest, OutsideACallTheLastOneMadeServes) {
  const CmpiBroker a(first.record());
  EXPECT_EQ(maker(), "a");
  const CmpiBroker b(second.record());
  EXPECT_EQ(maker(), "b");
  const CmpiBroker again(first.record());
  EXPECT_EQ(maker(), "a");
}

TEST_F(CurrentBrokerTest, ACopyIsNotANewOne) {
  const CmpiBroker a(first.record());
  const CmpiBroker b(second.record());
  const CmpiBroker copy = a;
  EXPECT_EQ(copy.getHandle(), first.record());
  EXPECT_EQ(maker(), "b");
}

TEST_F(CurrentBrokerTest, InACallTheCallsOwnServes) {
  const CurrentBrokerScope scope(first.record());
  const CmpiBroker b(second.record());
  EXPECT_EQ(maker(), "a");
}

TEST_F(CurrentBrokerTest, NestedCallsRestoreTheOneBefore) {
  const CmpiBroker b(second.record());
  {
    const CurrentBrokerScope outer(first.record());
    {
      const CurrentBrokerScope inside(second.record());
      EXPECT_EQ(maker(), "b");
    }
    EXPECT_EQ(maker(), "a");
  }
  EXPECT_EQ(maker(), "b");
}

TEST_F(CurrentBrokerTest, AnExceptionRestoresTheOneBefore) {
  const CurrentBrokerScope outer(first.record());
  EXPECT_THROW(
      {
        const CurrentBrokerScope inside(second.record());
        throw std::runtime_error("out of the call");
      },
      std::runtime_error);
  EXPECT_EQ(maker(), "a");
}

TEST_F(CurrentBrokerTest, EachThreadHasItsOwn) {
  const CmpiBroker b(second.record());
  const CurrentBrokerScope scope(first.record());
  const CMPIBroker* ofOther = nullptr;
  std::thread([&] { ofOther = CmpiBroker::currentOrNull(); }).join();
  EXPECT_EQ(ofOther, second.record());
  EXPECT_EQ(&CmpiBroker::current(), first.record());
}

TEST(NoBrokerTest, NewObjectsThrowBeforeAnyBrokerIsKnown) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a process of its own, where no broker was wrapped before.
  EXPECT_EXIT(
      {
        const CmpiStatus status = statusThrownBy([] { CmpiObjectPath("root/cimv2", "Thing"); });
        const bool reported = status.rc() == CMPI_RC_ERR_FAILED && *status.msg() != '\0' &&
                              CmpiBroker::currentOrNull() == nullptr &&
                              CmpiStatus(CMPI_RC_ERR_FAILED, "text").toCmpi().msg == nullptr;
        std::_Exit(reported ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

class UpcallTest : public BindingTest {
 protected:
  UpcallTest() {
    for (const char* name : {"a", "b"}) {
      const cimom::ObjectPath path{"", "root/cimv2", "Thing", {{"Name", cimom::Value::text(name)}}};
      upcalls.paths.push_back(path);
      upcalls.instances.push_back({path, path.keys});
    }
  }

  CmpiBroker broker{watched.record()};
  CmpiContext context{request.newContext("root/cimv2", 0)};
};

TEST_F(UpcallTest, EnumeratesInstances) {
  const char* properties[] = {"Name", "Note", nullptr};
  CmpiEnumeration answer = broker.enumInstances(context, thingPath(), properties);
  EXPECT_EQ(textOf(CmpiInstance(answer.getNext()).getProperty("Name")), "a");
  EXPECT_EQ(textOf(CmpiInstance(answer.getNext()).getProperty("Name")), "b");
  EXPECT_FALSE(answer.hasNext());
  broker.enumInstances(context, thingPath(), nullptr);
  EXPECT_THAT(upcalls.seen,
              ElementsAre(R"(enumerateInstances root/cimv2:Thing.Name="one",Number=7 [Name,Note])",
                          R"(enumerateInstances root/cimv2:Thing.Name="one",Number=7 all)"));
}

TEST_F(UpcallTest, EnumeratesNames) {
  CmpiEnumeration answer = broker.enumInstanceNames(context, thingPath());
  EXPECT_TRUE(answer.hasNext());
  EXPECT_EQ(textOf(CmpiObjectPath(answer.getNext()).getKey("Name")), "a");
  EXPECT_EQ(textOf(CmpiObjectPath(answer.getNext()).getKey("Name")), "b");
  EXPECT_EQ(codeThrownBy([&] { answer.getNext(); }), CMPI_RC_ERR_NO_MORE_ELEMENTS);
  EXPECT_THAT(upcalls.seen,
              ElementsAre(R"(enumerateInstanceNames root/cimv2:Thing.Name="one",Number=7)"));
}

TEST_F(UpcallTest, GoesToItsOwnBrokerNotToTheThreadsOne) {
  DecoratedBroker other(inner.record());
  const CurrentBrokerScope scope(other.record());
  broker.enumInstanceNames(context, CmpiObjectPath("root/cimv2", "Thing"));
  EXPECT_EQ(watched.count("broker.enumerateInstanceNames"), 1U);
  EXPECT_EQ(other.count("broker.enumerateInstanceNames"), 0U);
}

TEST_F(UpcallTest, ThrowsWhatTheObjectManagerReports) {
  upcalls.failure =
      std::make_exception_ptr(cimom::CimError(CMPI_RC_ERR_ACCESS_DENIED, "not for you"));
  const CmpiStatus names = statusThrownBy([&] { broker.enumInstanceNames(context, thingPath()); });
  EXPECT_EQ(names.rc(), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(names.msg(), "not for you");
  const CmpiStatus instances =
      statusThrownBy([&] { broker.enumInstances(context, thingPath(), nullptr); });
  EXPECT_EQ(instances.rc(), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(instances.msg(), "not for you");
}

}  // namespace
}  // namespace zelInt
