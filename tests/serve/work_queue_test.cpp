#include "work_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cimom {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// Work that notes when it begins and ends when the test says.
class Gate {
 public:
  WorkQueue::Work work(const std::string& name) {
    return [this, name] {
      std::unique_lock lock(mutex_);
      begun_.push_back(name);
      changed_.notify_all();
      changed_.wait(lock, [this] { return permits_ > 0; });
      --permits_;
    };
  }
  void letGo(unsigned count) {
    const std::lock_guard lock(mutex_);
    permits_ += count;
    changed_.notify_all();
  }
  std::vector<std::string> waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(100), [&] { return begun_.size() >= count; });
    return begun_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> begun_;
  unsigned permits_ = 0;
};

class WorkQueueTest : public testing::Test {
 protected:
  ~WorkQueueTest() override { gate.letGo(1000); }

  bool offer(WorkQueue& queue, const WorkQueue::Client& client, const std::string& name) {
    return queue.offer(client, gate.work(name));
  }

  const WorkQueue::Client a = boost::asio::ip::make_address("127.0.0.1");
  const WorkQueue::Client b = boost::asio::ip::make_address("127.0.0.2");
  const WorkQueue::Client c = boost::asio::ip::make_address("127.0.0.3");
  Gate gate;
};

TEST_F(WorkQueueTest, OneClientTakesThreeQuartersOfTheWaitingPlaces) {
  WorkQueue queue(1, 4);
  ASSERT_TRUE(offer(queue, a, "a0"));
  gate.waitFor(1);
  EXPECT_TRUE(offer(queue, a, "a1"));
  EXPECT_TRUE(offer(queue, a, "a2"));
  EXPECT_TRUE(offer(queue, a, "a3"));
  EXPECT_FALSE(offer(queue, a, "a4"));
  EXPECT_TRUE(offer(queue, b, "b1"));
  EXPECT_FALSE(offer(queue, c, "c1"));
  gate.letGo(1000);
}

TEST_F(WorkQueueTest, AFewPlacesAreNotDivided) {
  WorkQueue queue(1, 1);
  ASSERT_TRUE(offer(queue, a, "a0"));
  gate.waitFor(1);
  EXPECT_TRUE(offer(queue, a, "a1"));
  EXPECT_FALSE(offer(queue, b, "b1"));
  gate.letGo(1000);
}

TEST_F(WorkQueueTest, TheOldestOfTheClientWithTheLeastRunningIsNext) {
  WorkQueue queue(2, 8);
  ASSERT_TRUE(offer(queue, a, "a0"));
  gate.waitFor(1);
  ASSERT_TRUE(offer(queue, a, "a1"));
  gate.waitFor(2);
  for (const auto* name : {"a2", "a3"}) ASSERT_TRUE(offer(queue, a, name));
  for (const auto* name : {"b1", "b2"}) ASSERT_TRUE(offer(queue, b, name));
  std::vector<std::string> begun;
  for (std::size_t i = 3; i <= 6; ++i) {
    gate.letGo(1);
    begun = gate.waitFor(i);
  }
  begun.erase(begun.begin(), begun.begin() + 2);
  // Which of two running ones ends is left open; b has none running at first.
  ASSERT_EQ(begun.size(), 4U);
  EXPECT_EQ(begun.front(), "b1");
  EXPECT_THAT(begun, testing::UnorderedElementsAre("a2", "a3", "b1", "b2"));
  EXPECT_LT(std::ranges::find(begun, "a2"), std::ranges::find(begun, "a3"));
  gate.letGo(1000);
}

/// Work that ends when it must give way, or once `isOver` is set.
class Yielding {
 public:
  WorkQueue::Work work(WorkQueue& queue) {
    return [this, &queue] {
      ++begun_;
      while (!isOver_) {
        if (queue.mustGiveWay()) {
          ++gaveWay_;
          return;
        }
        std::this_thread::sleep_for(milliseconds(1));
      }
    };
  }
  void waitForBegun(int count) const {
    while (begun_ < count) std::this_thread::sleep_for(milliseconds(1));
  }
  int gaveWay() const { return gaveWay_; }
  void end() { isOver_ = true; }

 private:
  std::atomic<int> begun_ = 0;
  std::atomic<int> gaveWay_ = 0;
  std::atomic<bool> isOver_ = false;
};

TEST_F(WorkQueueTest, OneOfTheClientWithMostGivesWay) {
  Yielding ofA;
  Yielding ofB;
  WorkQueue queue(3, 8, milliseconds(0));
  for (int i = 1; i <= 2; ++i) {
    ASSERT_TRUE(queue.offer(a, ofA.work(queue)));
    ofA.waitForBegun(i);
  }
  ASSERT_TRUE(queue.offer(b, ofB.work(queue)));
  ofB.waitForBegun(1);
  ASSERT_TRUE(offer(queue, c, "c"));
  EXPECT_THAT(gate.waitFor(1), ElementsAre("c"));
  EXPECT_EQ(ofA.gaveWay(), 1);
  EXPECT_EQ(ofB.gaveWay(), 0);
  ofA.end();
  ofB.end();
  gate.letGo(1000);
}

TEST_F(WorkQueueTest, NoneGivesWayToItsOwnClientNorToOneThatHasAsMuch) {
  Yielding ofA;
  Yielding ofB;
  WorkQueue queue(2, 8, milliseconds(0));
  ASSERT_TRUE(queue.offer(a, ofA.work(queue)));
  ofA.waitForBegun(1);
  ASSERT_TRUE(queue.offer(b, ofB.work(queue)));
  ofB.waitForBegun(1);
  ASSERT_TRUE(offer(queue, a, "a"));
  ASSERT_TRUE(offer(queue, b, "b"));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(ofA.gaveWay() + ofB.gaveWay(), 0);
  ofA.end();
  ofB.end();
  gate.letGo(1000);
}

TEST_F(WorkQueueTest, OneGivesWayToItsOwnClientThatHasWaitedLong) {
  Yielding ofA;
  WorkQueue queue(2, 8, milliseconds(0), milliseconds(1));
  for (int i = 1; i <= 2; ++i) {
    ASSERT_TRUE(queue.offer(a, ofA.work(queue)));
    ofA.waitForBegun(i);
  }
  ASSERT_TRUE(offer(queue, a, "a"));
  EXPECT_THAT(gate.waitFor(1), ElementsAre("a"));
  EXPECT_EQ(ofA.gaveWay(), 1);
  ofA.end();
  gate.letGo(1000);
}

TEST_F(WorkQueueTest, NobodyGivesWayAtOnce) {
  Yielding ofA;
  WorkQueue queue(1, 8, std::chrono::hours(1));
  ASSERT_TRUE(queue.offer(a, ofA.work(queue)));
  ofA.waitForBegun(1);
  ASSERT_TRUE(offer(queue, b, "b"));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(ofA.gaveWay(), 0);
  ofA.end();
  gate.letGo(1000);
}

}  // namespace
}  // namespace cimom
