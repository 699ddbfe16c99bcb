// Object managers call the factories of different classes at the same moment.
#include "life_test.h"

#include <algorithm>
#include <barrier>
#include <thread>

namespace manners {
namespace {

using requests::Request;
using requests::sendTo;
using test_support::DecoratedBroker;

class FirstBuild : public LifeTest {
 protected:
  /// Calls the factories of a class one after the other, as object managers do, and uses what they
  /// give at once.
  std::vector<Exchange> meet(const std::string& className, DecoratedBroker& broker) {
    const Request listing = listingOf(className);
    const auto meetInstances = [&]() -> Exchange {
      CMPIInstanceMI* record = library->instanceMI(className, broker.record());
      return {listing, sendTo(record, listing, &broker)};
    };
    if (!isAssociation(className)) return {meetInstances()};
    const Request navigation = navigationOf(className);
    const auto meetAssociations = [&]() -> Exchange {
      CMPIAssociationMI* record = library->associationMI(className, broker.record());
      return {navigation, sendTo(record, navigation, &broker)};
    };
    // Half of the associations meet their association factory first.
    if (className.size() % 2 == 0) return {meetAssociations(), meetInstances()};
    return {meetInstances(), meetAssociations()};
  }

  static bool isAssociation(const std::string& className) {
    const auto& all = associationClasses();
    return std::find(all.begin(), all.end(), className) != all.end();
  }

  static std::vector<std::string> allClasses() {
    std::vector<std::string> all = instanceClasses();
    all.insert(all.end(), associationClasses().begin(), associationClasses().end());
    return all;
  }
};

TEST_F(FirstBuild, IsOneForAllFactoriesAtTheSameMoment) {
  const std::vector<std::string> classes = allClasses();
  open();
  std::vector<std::vector<Exchange>> expected;
  DecoratedBroker plain(manager.broker());
  for (const std::string& className : classes) expected.push_back(meet(className, plain));
  close();
  for (int life = 0; life < 5; ++life) {
    open();
    std::vector<std::unique_ptr<DecoratedBroker>> brokers;
    std::vector<std::vector<Exchange>> actual(classes.size());
    std::vector<std::thread> threads;
    std::barrier start(static_cast<std::ptrdiff_t>(classes.size()));
    for (std::size_t index = 0; index < classes.size(); ++index) {
      brokers.push_back(std::make_unique<DecoratedBroker>(manager.broker()));
      threads.emplace_back([&, index, broker = brokers.back().get()] {
        start.arrive_and_wait();
        actual[index] = meet(classes[index], *broker);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t index = 0; index < classes.size(); ++index) {
      EXPECT_EQ(differences(expected[index], actual[index]), "");
    }
    close();
  }
  for (const std::vector<Exchange>& exchanges : expected) {
    EXPECT_TRUE(std::any_of(exchanges.begin(), exchanges.end(), [](const Exchange& exchange) {
      return !exchange.outcome.answers().empty();
    })) << exchanges.front().request.className;
  }
}

}  // namespace
}  // namespace manners
