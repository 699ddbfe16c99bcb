// A provider process lives for months and unloads idle libraries every few minutes.
#include "life_test.h"

#include <filesystem>
#include <fstream>

#include <malloc.h>

namespace manners {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Sanitizers have an allocator and mappings of their own, and take far longer.
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
constexpr char kLargeMachine[] = SAMPLES_DIRECTORY "/q35-pcie-switches.txt";
constexpr char kSmallMachine[] = SAMPLES_DIRECTORY "/i440fx-conventional.txt";
constexpr int kRounds = kSanitized ? 50 : 1000;
// What the allocator has at hand varies by less; the least leak of a round is 32 bytes.
constexpr std::size_t kAllowedBytes = 16 * 1024;

std::size_t entriesOf(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// What the process holds.
struct Holdings {
  std::size_t heapBytes;
  std::size_t openFiles;
  std::size_t threads;
  std::size_t mappedLibraryParts;
};

std::size_t countMappedLibraryParts() {
  std::ifstream maps("/proc/self/maps");
  std::size_t count = 0;
  for (std::string line; std::getline(maps, line);) {
    if (line.find(".so") != std::string::npos) ++count;
  }
  return count;
}

Holdings holdings() {
  const struct mallinfo2 heap = mallinfo2();
  return {heap.uordblks + heap.hblkhd, entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"),
          countMappedLibraryParts()};
}

class Rounds : public LifeTest {
 protected:
  /// Loads, asks every class once through each of its records, cleans some of them up, unloads.
  void round(int number) {
    // A large machine and all its names take far longer than the rest: a few rounds have them.
    const bool isLarge = number % 10 == 0;
    setenv("QARCTL_PCI_DUMP", isLarge ? kLargeMachine : kSmallMachine, 1);
    const auto listing =
        isLarge ? requests::Operation::kEnumInstances : requests::Operation::kEnumInstanceNames;
    const auto navigation =
        isLarge ? requests::Operation::kAssociators : requests::Operation::kAssociatorNames;
    open();
    for (const std::string& className : instanceClasses()) {
      CMPIInstanceMI* record = library->instanceMI(className);
      sendTo(record, listingOf(className, listing));
      if (number % 2 == 0) cleanUp(record);
    }
    for (const std::string& className : associationClasses()) {
      CMPIInstanceMI* instance = library->instanceMI(className);
      CMPIAssociationMI* association = library->associationMI(className);
      sendTo(instance, listingOf(className, listing));
      sendTo(association, navigationOf(className, navigation));
      if (number % 3 != 0) cleanUp(instance);
      if (number % 3 != 1) cleanUp(association);
    }
    close();
  }

  void rounds(int count) {
    for (int number = 0; number < count; ++number) round(number);
  }
};

TEST_F(Rounds, LeaveNothingBehind) {
  // The factories' lines would fill the log.
  testing::internal::CaptureStderr();
  rounds(20);
  const Holdings before = holdings();
  rounds(kRounds);
  const Holdings after = holdings();
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(after.openFiles, before.openFiles);
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.mappedLibraryParts, before.mappedLibraryParts);
  if (kSanitized) return;
  EXPECT_LE(after.heapBytes, before.heapBytes + kAllowedBytes);
}

}  // namespace
}  // namespace manners
