// Inventories of 65,536 functions: what they cost in memory for each function, whatever the size
// of configuration space in the text.
#include "heap_count.h"
#include "streamed_host.h"

#include <PciTopologyCache.h>
#include <gtest/gtest.h>
#include <qarctl/HostFactory.h>

#include <syslog.h>

namespace qarctltest {
namespace {

constexpr unsigned kFunctions = 65'536;

class LargeInventory : public testing::TestWithParam<std::size_t> {
 protected:
  // The build traces each port.
  LargeInventory() { setlogmask(LOG_MASK(LOG_ERR) | LOG_MASK(LOG_WARNING)); }

  static std::size_t perFunction(std::size_t bytes) { return bytes / kFunctions; }
};

TEST_P(LargeInventory, TakesLittleMemoryInHostControl) {
  const StreamedHost host(kFunctions, GetParam());
  const std::size_t before = heapcount::Held();
  const auto devices = HostCtl::Host::GetHardwareInfo()->GetPciInfo()->GetPciDevices();
  EXPECT_EQ(devices.size(), kFunctions);
  EXPECT_EQ(devices.back()->GetAddress(), "0000:ff:1f.7");
  EXPECT_EQ(devices.back()->GetParent()->GetAddress(), "0000:00:00.0");
  EXPECT_LE(perFunction(heapcount::Held() - before), 250U);
}

TEST_P(LargeInventory, TakesLittleMemoryInBothLibraries) {
  ASSERT_TRUE(pciprovider::GetDevicesCache().empty()) << "a process reads its host once";
  const StreamedHost host(kFunctions, GetParam());
  const std::size_t before = heapcount::Held();
  heapcount::ForgetPeak();
  pciprovider::LoadCache();
  EXPECT_EQ(pciprovider::GetDevicesCache().size(), kFunctions);
  EXPECT_LE(perFunction(heapcount::Held() - before), 900U);
  EXPECT_LE(perFunction(heapcount::Peak() - before), 1536U);
}

INSTANTIATE_TEST_SUITE_P(BytesOfConfigurationSpace, LargeInventory, testing::Values(64, 256, 4096));

}  // namespace
}  // namespace qarctltest
