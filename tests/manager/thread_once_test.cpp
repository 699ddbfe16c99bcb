#include <broker/broker.h>
#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace cimom {
namespace {

/// An init function takes no argument: what it needs is here. Each test runs in a process of its
/// own, and sets it up anew where it does not.
struct Once {
  const CMPIBrokerExtFT* table = nullptr;
  int outer = 0;
  int inner = 0;
  std::atomic<int> outerRuns = 0;
  std::atomic<int> innerRuns = 0;
  std::atomic<bool> outerBegan = false;
  std::atomic<bool> outerEnded = false;
  std::atomic<bool> otherArrived = false;
};
Once* once = nullptr;

void waitFor(const std::atomic<bool>& flag) {
  while (!flag) std::this_thread::yield();
}

void countInner() {
  ++once->innerRuns;
}

void useAnother() {
  ++once->outerRuns;
  once->table->threadOnce(&once->inner, countInner);
}

/// Ends some time after the other thread came, so that one which does not wait is seen.
void holdUpTheOther() {
  ++once->outerRuns;
  once->outerBegan = true;
  waitFor(once->otherArrived);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  once->outerEnded = true;
}

/// Ends only after another thread has gone through another control word.
void waitForTheOther() {
  once->outerBegan = true;
  waitFor(once->otherArrived);
}

class ThreadOnceTest : public testing::Test {
 protected:
  ThreadOnceTest() {
    state.table = broker.record()->xft;
    once = &state;
  }
  ~ThreadOnceTest() override { once = nullptr; }

  ClassRepository repository = ClassRepository::parse("class Thing { };");
  Broker broker{repository, nullptr};
  Once state;
};

TEST_F(ThreadOnceTest, RunsTheInitOfAControlWordOnce) {
  EXPECT_EQ(state.table->threadOnce(&state.inner, countInner), 0);
  EXPECT_EQ(state.table->threadOnce(&state.inner, countInner), 0);
  EXPECT_EQ(state.innerRuns, 1);
}

TEST_F(ThreadOnceTest, AnInitMayUseAnotherControlWord) {
  EXPECT_EQ(state.table->threadOnce(&state.outer, useAnother), 0);
  EXPECT_EQ(state.outerRuns, 1);
  EXPECT_EQ(state.innerRuns, 1);
}

TEST_F(ThreadOnceTest, OneThreadRunsTheInitAndTheOtherWaitsForItsEnd) {
  std::thread first([&] { state.table->threadOnce(&state.outer, holdUpTheOther); });
  waitFor(state.outerBegan);
  std::thread second([&] {
    state.otherArrived = true;
    state.table->threadOnce(&state.outer, holdUpTheOther);
    EXPECT_TRUE(state.outerEnded);
  });
  second.join();
  first.join();
  EXPECT_EQ(state.outerRuns, 1);
}

TEST_F(ThreadOnceTest, NoControlWordWaitsForTheInitOfAnother) {
  std::thread first([&] { state.table->threadOnce(&state.outer, waitForTheOther); });
  waitFor(state.outerBegan);
  EXPECT_EQ(state.table->threadOnce(&state.inner, countInner), 0);
  EXPECT_EQ(state.innerRuns, 1);
  state.otherArrived = true;
  first.join();
}

TEST_F(ThreadOnceTest, ReportsWhatIsMissing) {
  EXPECT_EQ(state.table->threadOnce(nullptr, countInner), EINVAL);
  EXPECT_EQ(state.table->threadOnce(&state.inner, nullptr), EINVAL);
  EXPECT_EQ(state.innerRuns, 0);
}

}  // namespace
}  // namespace cimom
