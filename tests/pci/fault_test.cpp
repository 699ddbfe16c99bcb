// Every request with every call of the broker, and of the platform, failing in turn: nothing
// crashes, nothing is made up, and the failure is reported.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <decorated_broker.h>
#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <set>
#include <stdexcept>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;
using test_support::DecoratedBroker;

/// Whether `events` is what a request that stopped early would have handed over.
bool isStartOf(const std::vector<std::string>& events, const std::vector<std::string>& whole) {
  return events.size() <= whole.size() && std::equal(events.begin(), events.end(), whole.begin());
}

class FailingBroker : public RequestTest, public testing::WithParamInterface<int> {
 protected:
  /// Calls whose failure a provider cannot report: what it handed over is out of its hands.
  static bool mayFailSilently(const std::string& function, const Request& request) {
    static const std::set<std::string> always{"result.returnInstance", "result.returnObjectPath",
                                              "result.returnDone"};
    // A source whose id cannot be read is looked at by its class.
    const bool readsIdLeniently =
        request.className == "Zelmar_PCIControlledBy" &&
        (function == "objectPath.getKey" || function == "string.getCharPtr");
    return always.count(function) != 0 || readsIdLeniently;
  }

  /// Clients hear which object their object manager does not give.
  static std::string wordsAhead(const std::string& function) {
    static const std::set<std::string> upcalls{
        "broker.enumerateInstances", "broker.enumerateInstanceNames", "enumeration.getNext"};
    return upcalls.count(function) != 0 ? "no OMC_UnitaryComputerSystem could be fetched: " : "";
  }

  void failEachCall(const Request& request) {
    provider.send(request, &broker);
    broker.clear();
    const Outcome whole = provider.send(request, &broker);
    const auto calls = broker.calls();
    ASSERT_FALSE(calls.empty());
    for (std::size_t k = 1; k <= calls.size(); ++k) {
      broker.clear();
      broker.failCall(k, CMPI_RC_ERR_ACCESS_DENIED, "broken broker");
      const Outcome outcome = provider.send(request, &broker);
      broker.failNothing();
      check(request, calls[k - 1].function, k, whole, outcome);
    }
  }

  /// The provider keeps the broker that it is made with, so all requests go through this one.
  DecoratedBroker broker{provider.manager().broker()};

  static void check(const Request& request, const std::string& function, std::size_t k,
                    const Outcome& whole, const Outcome& outcome) {
    const std::string where = nameOf(request) + ", call " + std::to_string(k) + " " + function;
    if (mayFailSilently(function, request)) return;
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_ACCESS_DENIED) << where;
    EXPECT_EQ(outcome.message, wordsAhead(function) + "broken broker") << where;
    EXPECT_TRUE(isStartOf(outcome.events, whole.events)) << where;
  }
};

TEST_P(FailingBroker, IsToldToTheClientWhicheverCallFails) {
  const ObjectPath instance = knownInstances().at(static_cast<std::size_t>(GetParam()));
  for (const Request& request : requestsOf(instance)) failEachCall(request);
}

/// Empty answers with success: the provider must not fall over null objects.
TEST_P(FailingBroker, ThatAnswersNothingIsSurvived) {
  const ObjectPath instance = knownInstances().at(static_cast<std::size_t>(GetParam()));
  for (const Request& request : requestsOf(instance)) {
    provider.send(request, &broker);
    broker.clear();
    const Outcome whole = provider.send(request, &broker);
    const std::size_t calls = broker.calls().size();
    for (std::size_t k = 1; k <= calls; ++k) {
      broker.clear();
      broker.failCall(k, CMPI_RC_OK);
      EXPECT_LE(provider.send(request, &broker).events.size(), whole.events.size() + 4)
          << nameOf(request) << ", call " << k;
      broker.failNothing();
    }
  }
}

TEST_P(FailingBroker, ThatRefusesWhatIsHandedOverChangesNoStatus) {
  const ObjectPath instance = knownInstances().at(static_cast<std::size_t>(GetParam()));
  for (const Request& request : requestsOf(instance)) {
    const Outcome whole = provider.send(request, &broker);
    for (const char* function :
         {"result.returnInstance", "result.returnObjectPath", "result.returnDone"}) {
      broker.failCall(function, 0, CMPI_RC_ERR_FAILED, "no more");
    }
    EXPECT_EQ(provider.send(request, &broker).status, whole.status) << nameOf(request);
    broker.failNothing();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Classes, FailingBroker, testing::Range(0, static_cast<int>(knownInstances().size())),
    [](const auto& testInfo) {
      return knownInstances().at(static_cast<std::size_t>(testInfo.param)).className;
    });

class FailingPlatform : public RequestTest, public testing::WithParamInterface<int> {
 protected:
  /// How many platform calls the request makes, once the snapshot is there.
  int callsOf(const Request& request) {
    host().onCall = [](const std::string&) {};
    provider.send(request);
    int calls = 0;
    host().onCall = [&calls](const std::string&) { ++calls; };
    whole = provider.send(request);
    logLines().clear();
    return calls;
  }

  template <class Failure>
  Outcome sendFailing(const Request& request, int failing, const Failure& failure) {
    logLines().clear();
    host().onCall = [count = 0, failing, &failure](const std::string&) mutable {
      if (count++ == failing) throw failure;
    };
    Outcome outcome = provider.send(request);
    host().onCall = [](const std::string&) {};
    return outcome;
  }

  void expectFailed(const Outcome& outcome, const std::string& where) {
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED) << where;
    EXPECT_TRUE(isStartOf(outcome.events, whole.events)) << where;
    EXPECT_EQ(errorLines(), 0) << where;
  }

  static int errorLines() {
    return static_cast<int>(
        std::count_if(logLines().begin(), logLines().end(),
                      [](const LogLine& line) { return line.priority == LOG_ERR; }));
  }

  Outcome whole;
};

TEST_P(FailingPlatform, IsLoggedOrToldToTheClientButNotBoth) {
  const ObjectPath instance = knownInstances().at(static_cast<std::size_t>(GetParam()));
  for (const Request& request : requestsOf(instance)) {
    const int calls = callsOf(request);
    for (int failing = 0; failing < calls; ++failing) {
      const Outcome outcome =
          sendFailing(request, failing, HostCtl::Lib::HostCtlException("broken host"));
      const std::string where = nameOf(request) + ", call " + std::to_string(failing);
      if (outcome.status == CMPI_RC_ERR_FAILED) {
        EXPECT_EQ(outcome.message, "broken host") << where;
        EXPECT_EQ(errorLines(), 0) << where;
        EXPECT_TRUE(isStartOf(outcome.events, whole.events)) << where;
      } else {
        EXPECT_EQ(errorLines(), 1) << where;
        EXPECT_TRUE(outcome.status == CMPI_RC_OK || outcome.status == CMPI_RC_ERR_NOT_FOUND)
            << where;
      }
    }
  }
}

TEST_P(FailingPlatform, WithAnotherTypeFailsTheRequest) {
  const ObjectPath instance = knownInstances().at(static_cast<std::size_t>(GetParam()));
  for (const Request& request : requestsOf(instance)) {
    const int calls = callsOf(request);
    for (int failing = 0; failing < calls; ++failing) {
      const std::string where = nameOf(request) + ", call " + std::to_string(failing);
      expectFailed(sendFailing(request, failing, 7), where);
      // Of the standard's exceptions, too, none is taken for one of host control.
      const Outcome outcome = sendFailing(request, failing, std::runtime_error("other"));
      expectFailed(outcome, where);
      EXPECT_EQ(outcome.message, "other") << where;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Classes, FailingPlatform, testing::Range(0, static_cast<int>(knownInstances().size())),
    [](const auto& testInfo) {
      return knownInstances().at(static_cast<std::size_t>(testInfo.param)).className;
    });

}  // namespace
