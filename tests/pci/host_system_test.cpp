// The host's computer system, which another provider serves: what its clients hear where the object
// manager does not give it.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <decorated_broker.h>

#include <ostream>
#include <thread>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using test_support::DecoratedBroker;
using test_support::Manners;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPrefix[] = "no OMC_UnitaryComputerSystem could be fetched: ";

/// The requests that need the system from the object manager.
const Request kSystemOfADevice{Operation::kAssociators, "Zelmar_PCISystemDevice", devicePath("D")};
const Request kSystemOfAPort{Operation::kAssociators, "Zelmar_PCISystemDevice", portPath("D-ep")};
const Request kSystemOfAGroup{Operation::kAssociators, "Zelmar_PCIHostedCollection",
                              groupPath("Zelmar:bus-0")};
const Request kSystemNameOfAGroup{Operation::kAssociatorNames, "Zelmar_PCIHostedCollection",
                                  groupPath("Zelmar:bus-0")};

const std::vector<Request>& requestsForTheSystem() {
  static const std::vector<Request> all{kSystemOfADevice, kSystemOfAPort, kSystemOfAGroup,
                                        kSystemNameOfAGroup};
  return all;
}

/// How an object manager ends the upcall.
struct Ending {
  const char* name;
  void (*apply)(DecoratedBroker& broker);
  CMPIrc code;
  const char* reason;
};

void PrintTo(const Ending& ending, std::ostream* out) {
  *out << ending.name;
}

class MissingSystem : public RequestTest {
 protected:
  std::vector<std::string> errors() {
    std::vector<std::string> texts;
    for (const LogLine& line : logLines()) {
      if (line.priority == LOG_ERR) texts.push_back(line.text);
    }
    return texts;
  }

  void expectFailure(const Outcome& outcome, CMPIrc code, const std::string& reason) {
    EXPECT_EQ(outcome.status, code);
    EXPECT_EQ(outcome.message, kPrefix + reason);
    // Whatever leaves the operation leaves it at once.
    EXPECT_THAT(outcome.events, IsEmpty());
  }
};

class MissingSystemEnding : public MissingSystem, public testing::WithParamInterface<Ending> {};

TEST_P(MissingSystemEnding, IsToldToEachClientAndOnceToTheLog) {
  DecoratedBroker broker(provider.manager().broker());
  GetParam().apply(broker);
  for (int round = 0; round < 2; ++round) {
    for (const Request& request : requestsForTheSystem()) {
      expectFailure(provider.send(request, &broker), GetParam().code, GetParam().reason);
    }
  }
  EXPECT_THAT(errors(), ElementsAre(std::string(kPrefix) + GetParam().reason));
}

void failUpcalls(DecoratedBroker& broker, CMPIrc code, const char* text) {
  broker.failCall("broker.enumerateInstances", 0, code, text);
  broker.failCall("broker.enumerateInstanceNames", 0, code, text);
}

const Ending kEndings[] = {
    {"WithoutProvider",
     [](DecoratedBroker& broker) {
       broker.failCall("enumeration.getNext", 0, CMPI_RC_ERR_NO_MORE_ELEMENTS, "getNext failed");
     },
     CMPI_RC_ERR_NO_MORE_ELEMENTS, "getNext failed"},
    {"WithoutProviderAndText",
     [](DecoratedBroker& broker) {
       broker.failCall("enumeration.getNext", 0, CMPI_RC_ERR_NOT_SUPPORTED);
     },
     CMPI_RC_ERR_NOT_SUPPORTED, "getNext failed"},
    {"WithoutClass",
     [](DecoratedBroker& broker) {
       failUpcalls(broker, CMPI_RC_ERR_INVALID_CLASS, "OMC_UnitaryComputerSystem");
     },
     CMPI_RC_ERR_INVALID_CLASS, "OMC_UnitaryComputerSystem"},
    {"ByThrowing",
     [](DecoratedBroker& broker) {
       broker.throwFromCall("enumeration.getNext", 0, "thrown by the broker");
     },
     CMPI_RC_ERR_FAILED, "thrown by the broker"}};

INSTANTIATE_TEST_SUITE_P(Ends, MissingSystemEnding, testing::ValuesIn(kEndings),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(MissingSystem, IsAnElementOfNoType) {
  DecoratedBroker broker(provider.manager().broker());
  broker.failCall("enumeration.getNext", 0, CMPI_RC_OK);
  expectFailure(
      provider.send(kSystemOfADevice, &broker), CMPI_RC_ERR_TYPE_MISMATCH,
      "a value of type instance was expected, but the type is null and the state is null");
  expectFailure(
      provider.send(kSystemNameOfAGroup, &broker), CMPI_RC_ERR_TYPE_MISMATCH,
      "a value of type reference was expected, but the type is null and the state is null");
}

TEST_F(MissingSystem, IsAnElementWithoutAPointer) {
  DecoratedBroker broker(provider.manager().broker(), {.elementsAreMissing = true});
  expectFailure(provider.send(kSystemOfAPort, &broker), CMPI_RC_ERR_TYPE_MISMATCH,
                "a value of type instance was expected, but the pointer is null");
  expectFailure(provider.send(kSystemNameOfAGroup, &broker), CMPI_RC_ERR_TYPE_MISMATCH,
                "a value of type reference was expected, but the pointer is null");
}

TEST_F(MissingSystem, IsLoggedOnceByAllThreads) {
  DecoratedBroker broker(provider.manager().broker());
  failUpcalls(broker, CMPI_RC_ERR_INVALID_CLASS, "unknown");
  std::vector<std::thread> threads;
  // The providers are there before the threads.
  provider.send({Operation::kEnumInstanceNames, "Zelmar_PCISystemDevice", pathOf("")}, &broker);
  provider.send({Operation::kEnumInstanceNames, "Zelmar_PCIHostedCollection", pathOf("")}, &broker);
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (const Request& request : requestsForTheSystem()) provider.send(request, &broker);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(errors(), ElementsAre(std::string(kPrefix) + "unknown"));
}

/// What the object manager says is as little ours as what a client sends.
TEST_F(MissingSystem, IsOneShortLineInTheLog) {
  DecoratedBroker broker(provider.manager().broker());
  const std::string reason = "first\nsecond" + std::string(4000, 'x');
  failUpcalls(broker, CMPI_RC_ERR_FAILED, reason.c_str());
  expectFailure(provider.send(kSystemOfADevice, &broker), CMPI_RC_ERR_FAILED, reason);
  const auto lines = errors();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], testing::StartsWith(kPrefix + std::string("first\\x0asecondxxx")));
  EXPECT_LE(lines[0].size(), 1024U);
}

/// The data that a real object manager hands over: good, and marked as null.
TEST_F(MissingSystem, IsNotOneThatIsMarkedAsNull) {
  DecoratedBroker broker(provider.manager().broker(), {.marksDataNull = true});
  for (const Request& request : requestsForTheSystem()) {
    const Outcome outcome = provider.send(request, &broker);
    EXPECT_EQ(outcome.status, CMPI_RC_OK) << outcome.message;
    EXPECT_EQ(outcome.answers().size(), 1U);
  }
  EXPECT_THAT(errors(), IsEmpty());
}

}  // namespace
