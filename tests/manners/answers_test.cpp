// What clients get, whatever the object manager's manners.
#include "manner_list.h"
#include "manners_test.h"

#include <algorithm>
#include <set>

namespace manners {
namespace {

using requests::Operation;
using requests::Outcome;
using requests::Request;
using test_support::DecoratedBroker;
using test_support::Manners;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

class SameAnswers : public MannersTest, public testing::WithParamInterface<NamedManners> {};

TEST_P(SameAnswers, AreGivenTo) {
  DecoratedBroker broker(manager.broker(), GetParam().manners);
  std::vector<Request> all = everyRequest();
  for (const auto& list : {std::vector<std::string>{"ElementName", "BusNumber"},
                           std::vector<std::string>{}, std::vector<std::string>{"Caption"}}) {
    for (Request& request : everyRequestFor(list)) all.push_back(std::move(request));
  }
  EXPECT_EQ(differences(exchange(all), exchange(all, &broker)), "");
}

INSTANTIATE_TEST_SUITE_P(ManagersWhere, SameAnswers, testing::ValuesIn(harmlessManners()),
                         [](const auto& testInfo) { return testInfo.param.name; });

/// The requests above are worth their number only when no operation of a class is without any.
TEST_F(MannersTest, EveryOperationAnswersSomething) {
  std::set<std::string> silent;
  std::set<std::string> answering;
  for (const Exchange& exchange : exchange(everyRequest())) {
    const std::string operation =
        exchange.request.className + " " + requests::nameOf(exchange.request.operation);
    (exchange.outcome.answers().empty() ? silent : answering).insert(operation);
  }
  for (const std::string& operation : answering) silent.erase(operation);
  // No connection of this machine can be listed or referred to; the one it has is a counterpart.
  EXPECT_THAT(silent, UnorderedElementsAreArray({"Zelmar_PCIDeviceConnection enumInstanceNames",
                                                 "Zelmar_PCIDeviceConnection enumInstances",
                                                 "Zelmar_PCIDeviceConnection referenceNames",
                                                 "Zelmar_PCIDeviceConnection references"}));
}

class OneAnswerPerGet : public MannersTest {
 protected:
  static std::vector<Request> gets() {
    std::vector<Request> all = everyRequest();
    std::erase_if(
        all, [](const Request& request) { return request.operation != Operation::kGetInstance; });
    return all;
  }

  /// The exchange as it is when the result takes no second answer.
  static Exchange withFirstAnswerOnly(Exchange exchange) {
    Outcome& outcome = exchange.outcome;
    if (outcome.instances.size() < 2) return exchange;
    outcome.instances.resize(1);
    outcome.events.erase(outcome.events.begin() + 1, outcome.events.end() - 1);
    return exchange;
  }

  static std::vector<std::string> namesOfCut(const std::vector<Exchange>& exchanges) {
    std::vector<std::string> names;
    for (const Exchange& exchange : exchanges) {
      if (exchange.outcome.instances.size() > 1)
        names.push_back(scripted::nameOf(exchange.request));
    }
    return names;
  }
};

TEST_F(OneAnswerPerGet, LeavesTheFirstOfABridgesPortsAndTheStatus) {
  std::vector<Exchange> expected = exchange(gets());
  EXPECT_THAT(namesOfCut(expected), ElementsAre("Zelmar_PCIPort getInstance Zelmar_PCIPort:B-sec"));
  std::transform(expected.begin(), expected.end(), expected.begin(), withFirstAnswerOnly);
  DecoratedBroker broker(manager.broker(), {.mostAnswersPerResult = 1});
  EXPECT_EQ(differences(expected, exchange(gets(), &broker)), "");
}

TEST_F(OneAnswerPerGet, StillHearsOfTheSecond) {
  DecoratedBroker broker(manager.broker(), {.mostAnswersPerResult = 1});
  const Outcome outcome =
      exchange({{Operation::kGetInstance, "Zelmar_PCIPort", scripted::portPath("B-sec")}}, &broker)
          .front()
          .outcome;
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_EQ(outcome.message, "");
  EXPECT_THAT(outcome.events, ElementsAre("[Zelmar_PCIPort:B-pri]", "done"));
  EXPECT_EQ(broker.count("result.returnInstance"), 2U);
}

class DonesRefused : public MannersTest {
 protected:
  Outcome referencesOfAGroup(DecoratedBroker& broker, const std::string& id = "Zelmar:bus-0") {
    return exchange(
               {{Operation::kReferences, "Zelmar_PCIHostedCollection", scripted::groupPath(id)}},
               &broker)
        .front()
        .outcome;
  }
};

TEST_F(DonesRefused, TheSecondOfReferencesIsOfNoConsequence) {
  DecoratedBroker broker(manager.broker(), {.mostDonesPerResult = 1});
  const Outcome outcome = referencesOfAGroup(broker);
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_EQ(outcome.instances.size(), 1U);
  EXPECT_EQ(broker.count("result.returnDone"), 2U);
  EXPECT_EQ(outcome.donesTaken, 1U);
}

TEST_F(DonesRefused, BothOfAnEmptyAnswerAreOfNoConsequence) {
  DecoratedBroker broker(manager.broker(), {.takesEmptyDone = false});
  const Outcome outcome = referencesOfAGroup(broker, "Zelmar:bus-77");
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.instances, IsEmpty());
  EXPECT_EQ(broker.count("result.returnDone"), 2U);
  EXPECT_EQ(outcome.donesTaken, 0U);
}

class UseOfABroker : public MannersTest {
 protected:
  std::vector<Exchange> exchangeAll(DecoratedBroker& broker) {
    std::vector<Request> all = everyRequest();
    for (Request& request : everyRequestFor(std::vector<std::string>{"ElementName"})) {
      all.push_back(std::move(request));
    }
    return exchange(all, &broker);
  }

  static std::set<std::string> usedOf(const DecoratedBroker& broker) {
    std::set<std::string> used;
    for (const auto& call : broker.calls()) used.insert(call.function);
    return used;
  }
};

/// What the provider asks of a broker: an object manager that lacks the rest serves it as well.
TEST_F(UseOfABroker, NothingElseOfABrokerIsUsed) {
  DecoratedBroker broker(manager.broker());
  exchangeAll(broker);
  EXPECT_THAT(usedOf(broker), UnorderedElementsAreArray(
                                  {"broker.classPathIsA",        "broker.enumerateInstanceNames",
                                   "broker.enumerateInstances",  "broker.newArray",
                                   "broker.newInstance",         "broker.newObjectPath",
                                   "broker.newString",           "array.setElementAt",
                                   "enumeration.getNext",        "instance.getObjectPath",
                                   "instance.getProperty",       "instance.setProperty",
                                   "instance.setPropertyFilter", "objectPath.addKey",
                                   "objectPath.getClassName",    "objectPath.getKey",
                                   "objectPath.getKeyAt",        "objectPath.getKeyCount",
                                   "objectPath.getNameSpace",    "objectPath.toString",
                                   "result.returnDone",          "result.returnInstance",
                                   "result.returnObjectPath",    "string.getCharPtr"}));
}

/// A release follows each mark before the next is set, and the answers are the same.
TEST_F(UseOfABroker, TheProjectsOwnIsAlsoAskedToEndObjectsEarly) {
  DecoratedBroker other(manager.broker());
  const std::vector<Exchange> expected = exchangeAll(other);
  DecoratedBroker own(manager.broker(), {.isEmbedded = true});
  const std::vector<Exchange> exchanges = exchangeAll(own);
  EXPECT_EQ(differences(expected, exchanges), "");
  std::set<std::string> used = usedOf(own);
  EXPECT_EQ(used.erase("memory.mark"), 1U);
  EXPECT_EQ(used.erase("memory.release"), 1U);
  EXPECT_EQ(used, usedOf(other));
  int open = 0;
  for (const auto& call : own.calls()) {
    if (call.function == "memory.mark") ++open;
    if (call.function == "memory.release") --open;
    ASSERT_TRUE(open == 0 || open == 1) << call.text();
  }
  EXPECT_EQ(open, 0);
}

TEST_F(UseOfABroker, AListingEndsOnceItsAnswerIsNotTaken) {
  const std::vector<Request> request{
      {Operation::kEnumInstances, "Zelmar_PCIDevice", requests::pathOf("Zelmar_PCIDevice")}};
  DecoratedBroker broker(manager.broker(), {.isEmbedded = true});
  const std::size_t all = exchange(request, &broker).front().outcome.instances.size();
  const std::size_t marks = broker.count("memory.mark");
  ASSERT_GT(all, 1U);
  broker.clear();
  broker.failCall("memory.mark", marks, CMPI_RC_ERR_FAILED, "not taken");
  const Outcome outcome = exchange(request, &broker).front().outcome;
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(outcome.instances.size(), all - 1);
  EXPECT_EQ(broker.count("memory.release"), marks - 1);
}

}  // namespace
}  // namespace manners
