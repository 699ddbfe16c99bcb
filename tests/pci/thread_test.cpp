// Eight threads on every request: the same answers as one, and no race.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <barrier>
#include <set>
#include <thread>

namespace {

using namespace requests;
using namespace scripted;

class Threads : public RequestTest {};

TEST_F(Threads, EightOnEveryRequestGetTheSameAnswers) {
  constexpr int kThreads = 8;
  const std::vector<Request> all = allRequests();
  std::vector<Outcome> expected;
  for (const Request& request : all) expected.push_back(send(request));
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      start.arrive_and_wait();
      for (std::size_t at = 0; at < all.size(); ++at) {
        // Each thread starts elsewhere, so that different requests meet.
        const std::size_t index = (at + number * all.size() / kThreads) % all.size();
        const Outcome outcome = send(all[index]);
        EXPECT_EQ(outcome.events, expected[index].events);
        EXPECT_EQ(outcome.status, expected[index].status);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> answeringClasses;
  for (std::size_t index = 0; index < all.size(); ++index) {
    if (!expected[index].answers().empty()) answeringClasses.insert(all[index].className);
  }
  EXPECT_EQ(answeringClasses.size(), knownInstances().size());
}

}  // namespace
