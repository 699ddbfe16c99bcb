// Enumerations that are taken in parts, without messages around them. Time is the test's own: it
// stands still until the test moves it. Producers wait at gates, so that a test knows how far they
// and their takers are.
#include "enumeration_contexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <model/cim_error.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace servetest {
namespace {

using cimom::CimError;
using cimom::EnumerationContext;
using cimom::EnumerationContexts;
using std::chrono::seconds;
using Subject = EnumerationContexts::Subject;

constexpr int kInvalidContext = 21;
constexpr int kInvalidTimeout = 22;
constexpr int kAbandoned = 23;
constexpr int kLimitsExceeded = 27;
constexpr int kShuttingDown = 28;

const Subject kInstances{Subject::Kind::kInstances, "root/cimv2"};
const Subject kPaths{Subject::Kind::kPaths, "root/cimv2"};

/// The status that the question ends with; 0 for none.
template <typename Ask>
int statusOf(Ask ask) {
  try {
    ask();
    return 0;
  } catch (const CimError& error) {
    return static_cast<int>(error.code());
  }
}

/// Emits "0;", "1;" and so on.
EnumerationContext::Produce counted(int count) {
  return [count](const EnumerationContext::Emit& emit) {
    for (int i = 0; i < count; ++i) emit(std::to_string(i) + ";");
  };
}

/// What a test opens once, and threads wait for.
class Gate {
 public:
  /// Who waits may go on, and end the gate, before this has returned.
  void open() {
    const auto kept = opened_;
    kept->set_value();
  }
  void wait() const { waiting_.wait(); }

 private:
  std::shared_ptr<std::promise<void>> opened_ = std::make_shared<std::promise<void>>();
  std::shared_future<void> waiting_ = opened_->get_future().share();
};

class Contexts : public testing::Test {
 protected:
  EnumerationContexts::Opened open(EnumerationContext::Produce produce, std::size_t most,
                                   std::optional<seconds> timeout = std::nullopt) {
    return contexts.open(kInstances, timeout, most, std::move(produce));
  }
  int statusOfPull(const std::string& id, const Subject& subject = kInstances) {
    return statusOf([&] { contexts.pull(id, subject, 1); });
  }
  int statusOfOpen(std::optional<seconds> timeout = std::nullopt) {
    return statusOf([&] { open(counted(3), 0, timeout); });
  }
  void advance(seconds time) { now = now.load() + time; }

  cimom::PullLimits limits{.contexts = 2, .readyBytes = 5, .partBytes = 100};
  std::atomic<std::chrono::steady_clock::time_point> now{};
  EnumerationContexts contexts{limits, [this] { return now.load(); }};
};

TEST_F(Contexts, AnAnswerThatFitsIsWholeAndLeavesNothingOpen) {
  for (const std::size_t most : {std::size_t{3}, std::size_t{4}}) {
    const auto [id, part] = open(counted(3), most);
    EXPECT_EQ(part.elements, "0;1;2;");
    EXPECT_EQ(part.count, 3U);
    EXPECT_TRUE(part.isLast);
    EXPECT_EQ(id, "");
  }
  // Also with nothing asked for, when there is nothing.
  EXPECT_TRUE(open(counted(0), 0).part.isLast);
}

TEST_F(Contexts, PartsFollowOneAnother) {
  const auto [id, first] = open(counted(5), 2);
  EXPECT_EQ(first.elements, "0;1;");
  EXPECT_FALSE(first.isLast);
  const auto nothing = contexts.pull(id, kInstances, 0);
  EXPECT_EQ(nothing.elements, "");
  EXPECT_FALSE(nothing.isLast);
  const auto second = contexts.pull(id, kInstances, 2);
  EXPECT_EQ(second.elements, "2;3;");
  EXPECT_FALSE(second.isLast);
  const auto last = contexts.pull(id, kInstances, 2);
  EXPECT_EQ(last.elements, "4;");
  EXPECT_TRUE(last.isLast);
  EXPECT_EQ(statusOfPull(id), kInvalidContext);
}

TEST_F(Contexts, APartEndsAtItsBytesWhateverIsAskedFor) {
  const auto [id, part] = open(counted(1000), 1000);
  EXPECT_GE(part.elements.size(), limits.partBytes);
  EXPECT_LT(part.elements.size(), limits.partBytes + 4);
  EXPECT_FALSE(part.isLast);
}

TEST_F(Contexts, NoMoreIsProducedThanTheQueueHolds) {
  std::atomic<std::size_t> produced = 0;
  const auto opened = open(
      [&](const EnumerationContext::Emit& emit) {
        for (int i = 0; i < 500; ++i) {
          emit("..");
          ++produced;
        }
      },
      1);
  std::size_t taken = opened.part.count;
  while (!contexts.pull(opened.id, kInstances, 1).isLast) {
    ++taken;
    // Two elements of two bytes wait at most.
    ASSERT_LE(produced.load(), taken + 2);
  }
}

TEST_F(Contexts, AnElementLargerThanTheQueueStillPasses) {
  const std::string large(1000, 'x');
  const auto [id, part] = open([&](const auto& emit) { emit(large); }, 1);
  EXPECT_EQ(part.elements, large);
  EXPECT_TRUE(part.isLast);
}

TEST_F(Contexts, AnErrorBeforeTheFirstElementIsTheOpenersAndAnyOtherFollowsWhatIsThere) {
  const auto failAfter = [](int count) {
    return [count](const EnumerationContext::Emit& emit) {
      counted(count)(emit);
      throw CimError(CMPI_RC_ERR_NOT_SUPPORTED, "no provider");
    };
  };
  EXPECT_EQ(statusOf([&] { open(failAfter(0), 0); }), CMPI_RC_ERR_NOT_SUPPORTED);
  const auto [id, part] = open(failAfter(2), 10);
  EXPECT_EQ(part.elements, "0;1;");
  EXPECT_FALSE(part.isLast);
  EXPECT_EQ(statusOfPull(id), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(statusOfPull(id), kInvalidContext);
}

TEST_F(Contexts, NamesAreOfOneKindOfOneNamespaceAndCannotBeGuessed) {
  const auto [id, part] = open(counted(9), 0);
  EXPECT_THAT(id, testing::MatchesRegex("[0-9a-f]{32}"));
  EXPECT_NE(id, open(counted(9), 0).id);
  EXPECT_EQ(statusOfPull(""), kInvalidContext);
  EXPECT_EQ(statusOfPull(id + "0"), kInvalidContext);
  EXPECT_EQ(statusOfPull(id, kPaths), kInvalidContext);
  EXPECT_EQ(statusOfPull(id, {Subject::Kind::kInstances, "interop"}), kInvalidContext);
  EXPECT_EQ(statusOf([&] { contexts.close(id, "interop"); }), kInvalidContext);
  // None of these took anything away.
  EXPECT_EQ(contexts.pull(id, kInstances, 1).elements, "0;");
}

TEST_F(Contexts, ClosingEndsAnEnumeration) {
  const std::string id = open(counted(9), 0).id;
  contexts.close(id, "root/cimv2");
  EXPECT_EQ(statusOfPull(id), kInvalidContext);
  EXPECT_EQ(statusOf([&] { contexts.close(id, "root/cimv2"); }), kInvalidContext);
}

TEST_F(Contexts, TimeRunsFromTheLastQuestion) {
  const std::string id = open(counted(9), 0, seconds(10)).id;
  advance(seconds(9));
  EXPECT_EQ(statusOfPull(id), 0);
  advance(seconds(9));
  EXPECT_EQ(statusOfPull(id), 0);
  advance(seconds(10));
  EXPECT_EQ(statusOfPull(id), kInvalidContext);
  const std::string usual = open(counted(9), 0).id;
  advance(limits.usualTimeout - seconds(1));
  EXPECT_EQ(statusOfPull(usual), 0);
  advance(limits.usualTimeout);
  EXPECT_EQ(statusOf([&] { contexts.close(usual, "root/cimv2"); }), kInvalidContext);
}

TEST_F(Contexts, WhatHasRunOutOfTimeLetsItsProducerGo) {
  const auto hasReturned = std::make_shared<std::atomic<bool>>(false);
  const auto produce = [hasReturned](const EnumerationContext::Emit& emit) {
    counted(100)(emit);
    *hasReturned = true;
  };
  const std::string id = open(produce, 0).id;
  EXPECT_FALSE(*hasReturned);
  advance(limits.usualTimeout);
  contexts.closeExpired();
  EXPECT_TRUE(contexts.waitForProducers(seconds(20)));
  EXPECT_TRUE(*hasReturned);
  EXPECT_EQ(statusOfPull(id), kInvalidContext);
}

TEST_F(Contexts, TheWaitForProducersHasABound) {
  Gate gate;
  open(
      [&](const EnumerationContext::Emit& emit) {
        counted(2)(emit);
        gate.wait();
      },
      0);
  contexts.shutDown();
  EXPECT_FALSE(contexts.waitForProducers(std::chrono::milliseconds(1)));
  gate.open();
  EXPECT_TRUE(contexts.waitForProducers(seconds(20)));
}

TEST_F(Contexts, TimesHaveBounds) {
  for (const auto time : {seconds(0), limits.longestTimeout + seconds(1), seconds(4294967295)}) {
    EXPECT_EQ(statusOfOpen(time), kInvalidTimeout) << time.count();
  }
  EXPECT_EQ(statusOfOpen(seconds(1)), 0);
  EXPECT_EQ(statusOfOpen(limits.longestTimeout), 0);
}

TEST_F(Contexts, OnlySoManyAreOpenAndAProducerCountsUntilItReturns) {
  Gate gate;
  const std::string waiting = open(
                                  [&](const EnumerationContext::Emit& emit) {
                                    counted(3)(emit);
                                    gate.wait();
                                  },
                                  0)
                                  .id;
  const std::string other = open(counted(3), 0).id;
  EXPECT_EQ(statusOfOpen(), kLimitsExceeded);
  contexts.close(waiting, "root/cimv2");
  const int whileItRuns = statusOfOpen();
  gate.open();
  EXPECT_TRUE(contexts.waitForProducers(seconds(20)));
  EXPECT_EQ(whileItRuns, kLimitsExceeded);
  EXPECT_EQ(statusOfOpen(), 0);
  EXPECT_EQ(statusOfOpen(), kLimitsExceeded);
  EXPECT_EQ(statusOfPull(other), 0);
}

/// A pull that is under way: it has taken an element and waits for the next one.
class PullUnderWay : public Contexts {
 protected:
  PullUnderWay() {
    // One element fits in the queue: emitting the third returns once the pull took the second.
    const std::string large(limits.readyBytes, 'x');
    id = open(
             [this, large](const EnumerationContext::Emit& emit) {
               for (int i = 0; i < 3; ++i) emit(large);
               pulling.open();
               gate.wait();
               emit("end");
             },
             1)
             .id;
    pull = std::async(std::launch::async, [this] { return contexts.pull(id, kInstances, 3); });
    pulling.wait();
  }
  /// The producer uses members.
  ~PullUnderWay() override {
    openGate();
    contexts.shutDown();
    contexts.waitForProducers(seconds(20));
  }

  void openGate() {
    if (!isOpen) gate.open();
    isOpen = true;
  }
  /// The part, or what the pull throws. One that should have ended ends with the gate's opening.
  EnumerationContexts::Part result() {
    if (pull.wait_for(seconds(20)) != std::future_status::ready) openGate();
    return pull.get();
  }

  Gate pulling;
  Gate gate;
  bool isOpen = false;
  std::string id;
  std::future<EnumerationContexts::Part> pull;
};

TEST_F(PullUnderWay, AnotherPullIsRefusedAndDoesNotDisturbIt) {
  auto other = std::async(std::launch::async, [this] { return statusOfPull(id); });
  // It does not wait for the pull that is under way.
  EXPECT_EQ(other.wait_for(seconds(20)), std::future_status::ready);
  openGate();
  EXPECT_EQ(other.get(), kInvalidContext);
  const auto part = pull.get();
  EXPECT_EQ(part.count, 3U);
  EXPECT_TRUE(part.isLast);
}

TEST_F(PullUnderWay, DoesNotRunOutOfTime) {
  advance(limits.longestTimeout);
  contexts.closeExpired();
  openGate();
  EXPECT_TRUE(pull.get().isLast);
}

TEST_F(PullUnderWay, IsAbandonedWhenTheEnumerationIsClosed) {
  contexts.close(id, "root/cimv2");
  EXPECT_EQ(statusOf([&] { result(); }), kAbandoned);
}

TEST_F(PullUnderWay, EndsWithTheServer) {
  contexts.shutDown();
  EXPECT_EQ(statusOf([&] { result(); }), kShuttingDown);
  EXPECT_EQ(statusOfPull(id), kShuttingDown);
  EXPECT_EQ(statusOfOpen(), kShuttingDown);
  EXPECT_EQ(statusOf([&] { contexts.close(id, "root/cimv2"); }), kShuttingDown);
}

}  // namespace
}  // namespace servetest
