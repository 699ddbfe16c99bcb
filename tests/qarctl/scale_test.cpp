// Parents of 60,000 functions: four times the functions may cost about four times the work.
#include "function_record.h"
#include "snapshot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <utility>

namespace qarctltest {
namespace {

using HostCtl::FunctionAddress;
using HostCtl::FunctionRecord;
using HostCtl::HostInput;
using HostCtl::Snapshot;

constexpr std::uint32_t kFew = 15'000;
constexpr std::uint32_t kMany = 60'000;

FunctionRecord bridgeAt(const FunctionAddress& address, std::uint8_t secondary,
                        std::uint8_t subordinate) {
  FunctionRecord record;
  record.address = address;
  record.config.secondaryBus = secondary;
  record.config.subordinateBus = subordinate;
  return record;
}

FunctionAddress addressOf(std::uint32_t number) {
  return {number >> 16U, static_cast<std::uint8_t>(number >> 8U),
          static_cast<std::uint8_t>(number >> 3U & 0x1fU), static_cast<std::uint8_t>(number & 7U)};
}

/// One segment in which every function is a bridge that claims every bus.
HostInput bridgesOnly(std::uint32_t functions) {
  HostInput input;
  for (std::uint32_t at = 0; at < functions; ++at) {
    input.functions.push_back(bridgeAt(addressOf(at), 1, 255));
  }
  return input;
}

/// As many segments as functions, each a bridge of its own.
HostInput segmentsOnly(std::uint32_t functions) {
  HostInput input;
  for (std::uint32_t at = 0; at < functions; ++at) {
    input.functions.push_back(bridgeAt({at, 0, 0, 0}, 1, 255));
  }
  return input;
}

/// A live host in which every function names the one before it as its parent.
HostInput chain(std::uint32_t functions) {
  HostInput input = bridgesOnly(functions);
  input.parentsKnown = true;
  for (std::uint32_t at = 1; at < functions; ++at) {
    input.functions[at].parentAddress = addressOf(at - 1);
  }
  return input;
}

/// Processor time of this thread for one snapshot and a parent for each function; the least of
/// several rounds, since other work only adds.
double costOf(HostInput (*make)(std::uint32_t), std::uint32_t functions) {
  double least = 0;
  for (int round = 0; round < 4; ++round) {
    HostInput input = make(functions);
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    const auto snapshot = std::make_shared<Snapshot>(std::move(input));
    std::size_t parents = 0;
    for (std::size_t at = 0; at < snapshot->Size(); ++at) {
      if (snapshot->MakeDevice(at)->GetParent() != nullptr) ++parents;
    }
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    EXPECT_LE(parents, functions);
    const double cost = static_cast<double>(end.tv_sec - begin.tv_sec) +
                        static_cast<double>(end.tv_nsec - begin.tv_nsec) * 1e-9;
    least = round == 0 ? cost : std::min(least, cost);
  }
  return least;
}

void expectLinear(HostInput (*make)(std::uint32_t)) {
  EXPECT_LT(costOf(make, kMany) / costOf(make, kFew), 9);
}

TEST(Scale, ParentsByBusesGrowWithTheFunctions) {
  expectLinear(bridgesOnly);
}

TEST(Scale, ParentsByBusesGrowWithTheSegments) {
  expectLinear(segmentsOnly);
}

TEST(Scale, ParentsByNameGrowWithTheFunctions) {
  expectLinear(chain);
}

TEST(Scale, SixtyThousandFunctionsHaveTheirParents) {
  const auto byBuses = std::make_shared<Snapshot>(bridgesOnly(kMany));
  EXPECT_EQ(byBuses->Parent(0), Snapshot::kNone);
  EXPECT_EQ(byBuses->Parent(kMany - 1), 0U);
  const auto byName = std::make_shared<Snapshot>(chain(kMany));
  EXPECT_EQ(byName->Parent(0), Snapshot::kNone);
  EXPECT_EQ(byName->Parent(kMany - 1), kMany - 2);
  const auto bySegment = std::make_shared<Snapshot>(segmentsOnly(kMany));
  EXPECT_EQ(bySegment->Parent(kMany - 1), Snapshot::kNone);
}

}  // namespace
}  // namespace qarctltest
