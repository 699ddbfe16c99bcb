// Object managers close idle provider libraries: then nothing of this project stays in the process,
// or an upgrade would show only in the next one.
#include "life_test.h"

#include <barrier>
#include <fstream>
#include <optional>
#include <set>
#include <string_view>
#include <thread>

namespace manners {
namespace {

using requests::Operation;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::string_view kWatched[] = {"libpciprovider.so", "libhostsystemprovider.so",
                                         "libzelcppc.so", "libqarctl.so", "libpci.so"};

/// Those of the watched libraries that are mapped.
std::set<std::string> mappedLibraries() {
  std::ifstream maps("/proc/self/maps");
  std::set<std::string> mapped;
  for (std::string line; std::getline(maps, line);) {
    for (const std::string_view name : kWatched) {
      if (line.find(name) != std::string::npos) mapped.emplace(name);
    }
  }
  return mapped;
}

/// Every class through each of its records, names from the list of names among the answers, and a
/// request that fails through an exception.
template <class Library>
void askAll(Library& library) {
  for (const std::string& className : instanceClasses()) {
    EXPECT_EQ(library.send(listingOf(className)).status, CMPI_RC_OK) << className;
  }
  for (const std::string& className : associationClasses()) {
    EXPECT_EQ(library.send(listingOf(className)).status, CMPI_RC_OK) << className;
    EXPECT_EQ(library.send(navigationOf(className)).status, CMPI_RC_OK) << className;
  }
  EXPECT_NE(library.send(listingOf("Zelmar_PCIPort", Operation::kGetInstance)).status, CMPI_RC_OK);
}

class Unload : public LifeTest {};

TEST_F(Unload, OfOneProviderTakesAlongWhatTheOtherDoesNotUse) {
  open();
  askAll(*library);
  ASSERT_THAT(mappedLibraries(), SizeIs(std::size(kWatched)));
  library.reset();
  EXPECT_THAT(mappedLibraries(), ElementsAre("libhostsystemprovider.so", "libzelcppc.so"));
}

/// The object manager's threads outlive the libraries that they called.
TEST(UnloadAll, LeavesNothingAtAll) {
  setenv("QARCTL_PCI_DUMP", SAMPLES_DIRECTORY "/q35-pcie-switches.txt", 1);
  ASSERT_THAT(mappedLibraries(), IsEmpty());
  std::barrier<> step(2);
  std::optional<requests::ProviderUnderTest> provider;
  constexpr int kLives = 2;
  std::thread worker([&] {
    for (int life = 0; life < kLives; ++life) {
      step.arrive_and_wait();
      askAll(*provider);
      step.arrive_and_wait();
    }
    step.arrive_and_wait();
  });
  for (int life = 0; life < kLives; ++life) {
    provider.emplace(PROVIDER_LIBRARY);
    step.arrive_and_wait();
    step.arrive_and_wait();
    EXPECT_THAT(mappedLibraries(), SizeIs(std::size(kWatched)));
    provider.reset();
    EXPECT_THAT(mappedLibraries(), IsEmpty());
  }
  step.arrive_and_wait();
  worker.join();
}

}  // namespace
}  // namespace manners
