// Parents of 60,000 functions, and virtual functions at one address: four times the functions may
// cost about four times the work.
#include "function_record.h"
#include "snapshot.h"
#include "virtual_functions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

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

double processorTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Processor time of this thread for one snapshot and a parent for each function; the least of
/// several rounds, since other work only adds.
double costOf(HostInput (*make)(std::uint32_t), std::uint32_t functions) {
  double least = 0;
  for (int round = 0; round < 4; ++round) {
    HostInput input = make(functions);
    const double begin = processorTime();
    const auto snapshot = Snapshot::Make(std::move(input));
    std::size_t parents = 0;
    for (std::size_t at = 0; at < snapshot->Size(); ++at) {
      if (snapshot->MakeDevice(at)->GetParent() != nullptr) ++parents;
    }
    const double cost = processorTime() - begin;
    EXPECT_LE(parents, functions);
    least = round == 0 ? cost : std::min(least, cost);
  }
  return least;
}

/// Processor time for half as many physical functions as functions, which all claim one address,
/// where all other functions are.
double costOfClaims(std::uint32_t functions) {
  constexpr std::uint16_t kNoId = 0xffff;
  double least = 0;
  for (int round = 0; round < 4; ++round) {
    const std::vector<HostCtl::PhysicalFunction> physicals(functions / 2,
                                                           {{}, 0x8086, {1, 1, 1, 0x154c}});
    std::vector<FunctionRecord> records(functions / 2);
    std::vector<std::size_t> candidates;
    for (FunctionRecord& record : records) {
      record.address = addressOf(1);
      record.config.vendorId = record.config.deviceId = kNoId;
      candidates.push_back(candidates.size());
    }
    const double begin = processorTime();
    HostCtl::IdentifyVirtualFunctions(physicals, candidates, records);
    const double cost = processorTime() - begin;
    for (const FunctionRecord& record : records) EXPECT_EQ(record.config.deviceId, 0x154c);
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

TEST(Scale, VirtualFunctionsGrowWithTheFunctions) {
  constexpr std::uint32_t kFewClaims = 1'000;
  EXPECT_LT(costOfClaims(4 * kFewClaims) / costOfClaims(kFewClaims), 9);
}

TEST(Scale, SixtyThousandFunctionsHaveTheirParents) {
  const auto byBuses = Snapshot::Make(bridgesOnly(kMany));
  EXPECT_EQ(byBuses->Parent(0), Snapshot::kNone);
  EXPECT_EQ(byBuses->Parent(kMany - 1), 0U);
  const auto byName = Snapshot::Make(chain(kMany));
  EXPECT_EQ(byName->Parent(0), Snapshot::kNone);
  EXPECT_EQ(byName->Parent(kMany - 1), kMany - 2);
  const auto bySegment = Snapshot::Make(segmentsOnly(kMany));
  EXPECT_EQ(bySegment->Parent(kMany - 1), Snapshot::kNone);
}

}  // namespace
}  // namespace qarctltest
