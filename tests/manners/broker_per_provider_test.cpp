// Object managers that hand each provider a broker of its own.
#include "manners_test.h"

#include <map>
#include <thread>

namespace manners {
namespace {

using requests::Outcome;
using requests::ProviderLibrary;
using requests::Request;
using test_support::DecoratedBroker;

/// How often each function was called.
std::map<std::string, std::size_t> countsOf(const DecoratedBroker& broker) {
  std::map<std::string, std::size_t> counts;
  for (const auto& call : broker.calls()) ++counts[call.function];
  return counts;
}

class BrokerPerProvider : public MannersTest {
 protected:
  BrokerPerProvider() {
    for (const auto& instance : scripted::knownInstances()) {
      brokers[instance.className] = std::make_unique<DecoratedBroker>(manager.broker());
    }
    // Every provider is there before the first request, made by its own broker.
    for (const auto& [className, broker] : brokers) {
      library->send(
          {requests::Operation::kEnumInstanceNames, className, requests::pathOf(className)},
          broker.get());
      if (library->symbol(className + "_Create_AssociationMI") != nullptr) {
        library->send(
            {requests::Operation::kReferenceNames, className, scripted::portPath("B-pri")},
            broker.get());
      }
    }
    clear();
  }

  void clear() {
    for (const auto& [className, broker] : brokers) broker->clear();
  }

  Outcome send(const Request& request) {
    return library->send(request, brokers.at(request.className).get());
  }

  std::map<std::string, std::unique_ptr<DecoratedBroker>> brokers;
  std::unique_ptr<ProviderLibrary> library =
      std::make_unique<ProviderLibrary>(PROVIDER_LIBRARY, manager.broker());
};

TEST_F(BrokerPerProvider, EachRequestUsesItsProvidersOwn) {
  for (const Request& request : everyRequest()) {
    clear();
    send(request);
    for (const auto& [className, broker] : brokers) {
      EXPECT_EQ(broker->calls().empty(), className != request.className)
          << className << " in " << scripted::nameOf(request);
    }
  }
}

TEST_F(BrokerPerProvider, TheAnswersAreThoseOfOneForAll) {
  std::vector<Exchange> actual;
  for (const Request& request : everyRequest()) actual.push_back({request, send(request)});
  // The next life of the library has the manager's broker for all.
  library.reset();
  EXPECT_EQ(differences(exchange(everyRequest()), actual), "");
}

TEST_F(BrokerPerProvider, UpcallsGoToTheOwnOne) {
  const Request request{requests::Operation::kAssociators, "Zelmar_PCIHostedCollection",
                        scripted::groupPath("Zelmar:bus-0")};
  ASSERT_EQ(send(request).instances.size(), 1U);
  EXPECT_EQ(brokers.at(request.className)->count("broker.enumerateInstances"), 1U);
}

TEST_F(BrokerPerProvider, ThreadsDoNotMixThem) {
  constexpr int kThreads = 8;
  const std::vector<Request> all = everyRequest();
  for (const Request& request : all) send(request);
  std::map<std::string, std::map<std::string, std::size_t>> once;
  for (const auto& [className, broker] : brokers) once[className] = countsOf(*broker);
  clear();
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      for (std::size_t at = 0; at < all.size(); ++at) {
        send(all[(at + number * all.size() / kThreads) % all.size()]);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& [className, broker] : brokers) {
    auto expected = once[className];
    for (auto& [function, count] : expected) count *= kThreads;
    EXPECT_EQ(countsOf(*broker), expected) << className;
  }
}

}  // namespace
}  // namespace manners
