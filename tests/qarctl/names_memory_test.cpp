// Memory that is short while the list of names is read costs the names of that moment alone; while
// the host is read it is an error like any other, or a large host would pass for one without PCI.
#include "host_fixture.h"

#include <qarctl/HostCtlException.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <map>

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <pci/pci.h>
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

namespace qarctltest {
namespace {

constexpr long kPlenty = std::numeric_limits<long>::max() / 2;
/// Bytes that the process may still take.
std::atomic<long> memoryLeft{kPlenty};

std::string& listFile() {
  static std::string file;
  return file;
}

const std::string kName = "A vendor with a name that needs memory of its own";

/// A list that takes some hundred kilobytes once it is read.
std::string largeList() {
  std::string list = "8086  " + kName + '\n';
  for (int device = 0; device < 8000; ++device) {
    char id[8];
    std::snprintf(id, sizeof id, "%04x", static_cast<unsigned>(device));
    list += '\t' + std::string(id) + "  Device with a name of usual length\n";
  }
  return list;
}

enum Ending { kNamedAtOnce = 10, kNamedLater = 11, kNeverNamed = 12, kOther = 13 };

/// Asks for a vendor's name twice in a process of its own, the first time with so much memory left.
int endingWith(long bytes, const PciDevice& device) {
  const pid_t child = fork();
  if (child == 0) {
    memoryLeft = bytes;
    const std::string first = device.GetVendorName();
    memoryLeft = kPlenty;
    const std::string second = device.GetVendorName();
    if (first != kName && first != "Vendor 8086") _exit(kOther);
    if (second != kName) _exit(kNeverNamed);
    _exit(first == kName ? kNamedAtOnce : kNamedLater);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class NamesWithLittleMemory : public HostTest {};

TEST_F(NamesWithLittleMemory, ComeWithTheNextQuestion) {
  if (kSanitized) GTEST_SKIP() << "sanitizers have an allocator of their own";
  write(folder / "pci.ids", largeList());
  listFile() = folder / "pci.ids";
  const Devices devices = readInventory({MadeFunction("00:01.0")});
  std::map<int, int> endings;
  for (long bytes = 0; bytes < 800'000; bytes += 8'000) {
    const int ending = endingWith(bytes, *devices.at(0));
    EXPECT_TRUE(ending == kNamedAtOnce || ending == kNamedLater) << ending << ' ' << bytes;
    ++endings[ending];
  }
  // Reading fails before the list is opened, at many places in it, and not at all.
  EXPECT_GT(endings[kNamedLater], 20);
  EXPECT_GT(endings[kNamedAtOnce], 5);
}

enum Reading { kRead = 20, kTold = 21, kThrewOther = 22 };

/// Reads the host in a process of its own with so much memory left.
template <class Read>
int readingWith(long bytes, const std::string& error, const Read& read) {
  const pid_t child = fork();
  if (child == 0) {
    try {
      memoryLeft = bytes;
      read();
      _exit(kRead);
    } catch (const HostCtl::Lib::HostCtlException& failure) {
      _exit(failure.what() == error ? kTold : kThrewOther);
    } catch (...) {
      _exit(kThrewOther);
    }
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class HostWithLittleMemory : public HostTest {};

TEST_F(HostWithLittleMemory, IsAnErrorThatNamesTheInventory) {
  if (kSanitized) GTEST_SKIP() << "sanitizers have an allocator of their own";
  std::string text;
  for (int function = 0; function < 1000; ++function) text += MadeFunction("00:01.0").text();
  readInventory(text);
  const std::string error =
      "cannot read PCI inventory " + std::string(getenv("QARCTL_PCI_DUMP")) + ": out of memory";
  std::map<int, int> readings;
  for (long bytes = 20'000; bytes < 800'000; bytes += 20'000) {
    const int reading = readingWith(bytes, error, [] { read(); });
    EXPECT_TRUE(reading == kRead || reading == kTold) << reading << ' ' << bytes;
    ++readings[reading];
  }
  EXPECT_GT(readings[kTold], 3);
  EXPECT_GT(readings[kRead], 3);
}

}  // namespace
}  // namespace qarctltest

extern "C" __attribute__((visibility("default"))) struct pci_access* pci_alloc(void) {
  using Alloc = struct pci_access* (*)();
  static const auto real = reinterpret_cast<Alloc>(dlsym(RTLD_NEXT, "pci_alloc"));
  struct pci_access* access = real();
  pci_set_name_list_path(access, qarctltest::listFile().data(), 0);
  return access;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  void* memory = __libc_malloc(size);
  const long taken = memory != nullptr ? static_cast<long>(malloc_usable_size(memory)) : 0;
  if ((qarctltest::memoryLeft -= taken) >= 0) return memory;
  qarctltest::memoryLeft += taken;
  __libc_free(memory);
  return nullptr;
}

__attribute__((visibility("default"))) void free(void* memory) {
  if (memory != nullptr) {
    qarctltest::memoryLeft += static_cast<long>(malloc_usable_size(memory));
  }
  __libc_free(memory);
}
}
#endif
