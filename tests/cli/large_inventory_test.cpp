#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"

namespace clitest {
namespace {

TEST(LargeInventory, EveryFunctionOfSixtyThousandIsEnumerated) {
  const TemporaryFile file(machineOf(60'000));
  const Outcome outcome = runOn(
      file.path(), {"enum", "Zelmar_PCIDevice", "--property", "DeviceID", "--format", "json"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(nlohmann::json::parse(outcome.out).size(), 59'999U);
}

TEST(LargeInventory, MemoryGrowsNoFasterThanTheFunctions) {
  const TemporaryFile small(machineOf(15'000));
  const TemporaryFile large(machineOf(60'000));
  const Arguments request{"enum", "Zelmar_PCIPort", "--names"};
  const Outcome few = runOn(small.path(), request);
  const Outcome many = runOn(large.path(), request);
  ASSERT_EQ(few.status, 0) << few.err;
  ASSERT_EQ(many.status, 0) << many.err;
  EXPECT_LT(static_cast<double>(many.peakKilobytes), 4.4 * static_cast<double>(few.peakKilobytes));
}

TEST(LargeInventory, TheTreeShowsSixtyThousandFunctions) {
  const TemporaryFile file(machineOf(60'000));
  const Outcome outcome = runOn(file.path(), {"tree"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  std::size_t lines = 0;
  for (std::size_t at = outcome.out.find("- 0000:"); at != std::string::npos;
       at = outcome.out.find("- 0000:", at + 1)) {
    ++lines;
  }
  EXPECT_EQ(lines, 60'000U);
}

}  // namespace
}  // namespace clitest
