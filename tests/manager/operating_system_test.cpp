// The services of the broker's operating-system table other than threadOnce, each called as a
// provider calls it. Threads meet through flags and conditions alone, so that no result depends on
// how fast the machine is.
#include <broker/broker.h>
#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include <pthread.h>
#include <time.h>
#include <unistd.h>

namespace cimom {
namespace {

/// What threads of a test are given, and where they leave what they see.
struct Shared {
  const CMPIBrokerExtFT* table = nullptr;
  void* mutex = nullptr;
  void* condition = nullptr;
  unsigned int key = 0;
  int guarded = 0;
  bool woken = false;
  std::atomic<bool> began = false;
  std::atomic<bool> ended = false;
  std::atomic<bool> locked = false;
  std::atomic<void*> seen = nullptr;
};

constexpr int kRounds = 1000;

Shared& sharedOf(void* parameter) {
  return *static_cast<Shared*>(parameter);
}

void waitFor(const std::atomic<bool>& flag) {
  while (!flag) std::this_thread::yield();
}

/// A time that has passed for every clock.
timespec longAgo() {
  return {1, 0};
}

class OperatingSystemTableTest : public testing::Test {
 protected:
  OperatingSystemTableTest() {
    shared.table = table;
    shared.mutex = table->newMutex(0);
    shared.condition = table->newCondition(0);
  }
  ~OperatingSystemTableTest() override {
    table->destroyCondition(shared.condition);
    table->destroyMutex(shared.mutex);
  }

  void* start(void* (*run)(void*)) {
    void* thread = table->newThread(run, &shared, 0);
    EXPECT_NE(thread, nullptr);
    return thread;
  }

  void* join(void* thread) {
    void* returned = nullptr;
    EXPECT_EQ(table->joinThread(thread, &returned), 0);
    return returned;
  }

  ClassRepository repository = ClassRepository::parse("class Thing { };");
  Broker broker{repository, nullptr};
  const CMPIBrokerExtFT* table = broker.record()->xft;
  Shared shared;
};

TEST_F(OperatingSystemTableTest, KeepsFileNamesAsTheyAreInMemoryOfTheCallers) {
  const std::string name = "/usr/lib/any.so";
  const std::unique_ptr<char, decltype(&std::free)> resolved(table->resolveFileName(name.c_str()),
                                                             &std::free);
  ASSERT_NE(resolved, nullptr);
  EXPECT_EQ(resolved.get(), name);
  EXPECT_NE(resolved.get(), name.c_str());
  EXPECT_EQ(table->resolveFileName(nullptr), nullptr);
}

TEST_F(OperatingSystemTableTest, AThreadGetsItsParameterAndLeavesWhatItReturns) {
  void* thread = start([](void* parameter) -> void* {
    sharedOf(parameter).guarded = 7;
    return &sharedOf(parameter).guarded;
  });
  EXPECT_EQ(join(thread), &shared.guarded);
  EXPECT_EQ(shared.guarded, 7);
}

TEST_F(OperatingSystemTableTest, AThreadEndsWhereItCallsExit) {
  void* thread = start([](void* parameter) -> void* {
    sharedOf(parameter).table->exitThread(&sharedOf(parameter).guarded);
    sharedOf(parameter).ended = true;
    return nullptr;
  });
  EXPECT_EQ(join(thread), &shared.guarded);
  EXPECT_FALSE(shared.ended);
}

TEST_F(OperatingSystemTableTest, ADetachedThreadRunsWithoutBeingJoined) {
  void* thread = table->newThread(
      [](void* parameter) -> void* {
        pthread_attr_t attributes;
        int state = PTHREAD_CREATE_JOINABLE;
        waitFor(sharedOf(parameter).began);
        if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
          pthread_attr_getdetachstate(&attributes, &state);
          pthread_attr_destroy(&attributes);
        }
        sharedOf(parameter).locked = state == PTHREAD_CREATE_DETACHED;
        sharedOf(parameter).ended = true;
        return nullptr;
      },
      &shared, 1);
  ASSERT_NE(thread, nullptr);
  shared.began = true;
  waitFor(shared.ended);
  EXPECT_TRUE(shared.locked);
}

TEST_F(OperatingSystemTableTest, ACancelledThreadEndsWhereItWaits) {
  // It keeps nothing on its stack: sanitizers take what a cancellation unwinds for damage.
  void* thread = start([](void* parameter) -> void* {
    sharedOf(parameter).began = true;
    for (;;) pause();
  });
  waitFor(shared.began);
  EXPECT_EQ(table->cancelThread(thread), 0);
  EXPECT_EQ(join(thread), PTHREAD_CANCELED);
}

TEST_F(OperatingSystemTableTest, SleepsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(table->threadSleep(20), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST_F(OperatingSystemTableTest, EachThreadHasItsOwnValueOfAKey) {
  ASSERT_EQ(table->createThreadKey(&shared.key, nullptr), 0);
  EXPECT_EQ(table->getThreadSpecific(shared.key), nullptr);
  EXPECT_EQ(table->setThreadSpecific(shared.key, &shared.guarded), 0);
  void* thread = start([](void* parameter) -> void* {
    Shared& given = sharedOf(parameter);
    void* before = given.table->getThreadSpecific(given.key);
    given.table->setThreadSpecific(given.key, &given.woken);
    given.seen = given.table->getThreadSpecific(given.key);
    return before;
  });
  EXPECT_EQ(join(thread), nullptr);
  EXPECT_EQ(shared.seen, &shared.woken);
  EXPECT_EQ(table->getThreadSpecific(shared.key), &shared.guarded);
  EXPECT_EQ(table->destroyThreadKey(shared.key), 0);
  EXPECT_EQ(table->destroyThreadKey(shared.key), EINVAL);
}

TEST_F(OperatingSystemTableTest, AKeyCleansUpTheValueOfAThreadThatEnds) {
  ASSERT_EQ(table->createThreadKey(&shared.key, [](void* value) { sharedOf(value).ended = true; }),
            0);
  join(start([](void* parameter) -> void* {
    Shared& given = sharedOf(parameter);
    given.table->setThreadSpecific(given.key, parameter);
    return nullptr;
  }));
  EXPECT_TRUE(shared.ended);
  EXPECT_EQ(table->destroyThreadKey(shared.key), 0);
}

/// Takes the mutex around each step of a count that is not atomic.
void* countUnderMutex(void* parameter) {
  Shared& given = sharedOf(parameter);
  for (int round = 0; round < kRounds; ++round) {
    given.table->lockMutex(given.mutex);
    const int before = given.guarded;
    std::this_thread::yield();
    given.guarded = before + 1;
    given.table->unlockMutex(given.mutex);
  }
  return nullptr;
}

TEST_F(OperatingSystemTableTest, OneThreadAtATimeHoldsAMutex) {
  ASSERT_NE(shared.mutex, nullptr);
  void* first = start(countUnderMutex);
  void* second = start(countUnderMutex);
  join(first);
  join(second);
  EXPECT_EQ(shared.guarded, 2 * kRounds);
}

TEST_F(OperatingSystemTableTest, EachMutexIsOneOfItsOwn) {
  void* other = table->newMutex(0);
  ASSERT_NE(other, nullptr);
  ASSERT_NE(other, shared.mutex);
  table->lockMutex(shared.mutex);
  table->lockMutex(other);
  table->unlockMutex(other);
  table->unlockMutex(shared.mutex);
  table->destroyMutex(other);
}

TEST_F(OperatingSystemTableTest, DestroysNothingWhereThereIsNoObject) {
  table->destroyMutex(nullptr);
  table->destroyCondition(nullptr);
}

/// Waits under the mutex until it is woken for good, and holds the mutex again then.
void* waitToBeWoken(void* parameter) {
  Shared& given = sharedOf(parameter);
  given.table->lockMutex(given.mutex);
  given.began = true;
  int result = 0;
  while (!given.woken && result == 0) {
    result = given.table->condWait(given.condition, given.mutex);
  }
  given.ended = true;
  given.table->unlockMutex(given.mutex);
  return result == 0 ? parameter : nullptr;
}

TEST_F(OperatingSystemTableTest, ASignalWakesAThreadThatWaitsAndGivesTheMutexUpMeanwhile) {
  ASSERT_NE(shared.condition, nullptr);
  void* thread = start(waitToBeWoken);
  waitFor(shared.began);
  // The other holds the mutex from before it began until it waits.
  table->lockMutex(shared.mutex);
  EXPECT_FALSE(shared.ended);
  shared.woken = true;
  EXPECT_EQ(table->signalCondition(shared.condition), 0);
  table->unlockMutex(shared.mutex);
  EXPECT_EQ(join(thread), &shared);
  EXPECT_TRUE(shared.ended);
}

TEST_F(OperatingSystemTableTest, AWaitWithATimeEndsAtThatTime) {
  timespec time = longAgo();
  table->lockMutex(shared.mutex);
  EXPECT_EQ(table->timedCondWait(shared.condition, shared.mutex, &time), ETIMEDOUT);
  table->unlockMutex(shared.mutex);
}

/// As waitToBeWoken, with a time that is too far off to come.
void* waitWithATime(void* parameter) {
  Shared& given = sharedOf(parameter);
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  time.tv_sec += 24L * 60 * 60;
  given.table->lockMutex(given.mutex);
  given.began = true;
  int result = 0;
  while (!given.woken && result == 0) {
    result = given.table->timedCondWait(given.condition, given.mutex, &time);
  }
  given.table->unlockMutex(given.mutex);
  return result == 0 ? parameter : nullptr;
}

TEST_F(OperatingSystemTableTest, AWaitWithATimeEndsBeforeItAtASignal) {
  void* thread = start(waitWithATime);
  waitFor(shared.began);
  table->lockMutex(shared.mutex);
  shared.woken = true;
  EXPECT_EQ(table->signalCondition(shared.condition), 0);
  table->unlockMutex(shared.mutex);
  EXPECT_EQ(join(thread), &shared);
}

}  // namespace
}  // namespace cimom
