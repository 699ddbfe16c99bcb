#include "name_list.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>

extern "C" {
#include <pci/pci.h>
}

namespace HostCtl {

namespace {

/// Needs no memory of its own, which may be what is short.
class ListError : public std::exception {};

// The library's own handler ends the process. Throwing leaves an access that can only be freed;
// when memory is short in the middle of the list, its open file is lost.
__attribute__((noreturn)) void ThrowListError(char*, ...) {
  throw ListError();
}
void IgnoreMessage(char*, ...) {}

struct FreeAccess {
  void operator()(pci_access* access) const { pci_cleanup(access); }
};
using Access = std::unique_ptr<pci_access, FreeAccess>;

// More than libpci takes for an access.
constexpr std::size_t kAccessBytes = 64 * std::size_t{1024};

/// The list as one access holds it; null when there is none or it cannot be read.
Access ReadList() {
  try {
    // Without memory for an access libpci ends the process: no handler is set yet.
    ::operator delete(::operator new(kAccessBytes));
    Access access(pci_alloc());
    access->error = ThrowListError;
    access->warning = IgnoreMessage;
    access->debug = IgnoreMessage;
    if (pci_load_name_list(access.get()) != 0) return access;
  } catch (const std::exception&) {
  }
  return nullptr;
}

constexpr char kVendorLabel[] = "Vendor";
constexpr char kDeviceLabel[] = "Device";

/// Short enough to need no memory.
std::string Number(const char* label, std::uint16_t id) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%s %04x", label, static_cast<unsigned>(id));
  return buffer;
}

/// The list behind one lock, with a cache of the names asked for.
class NameList {
 public:
  const std::string* Vendor(std::uint16_t vendor) {
    return Cached(vendors_, vendor, {PCI_LOOKUP_VENDOR, vendor, 0, kVendorLabel, vendor});
  }

  const std::string* Device(std::uint16_t vendor, std::uint16_t device) {
    const auto key = (static_cast<std::uint32_t>(vendor) << 16U) | device;
    return Cached(devices_, key, {PCI_LOOKUP_DEVICE, vendor, device, kDeviceLabel, device});
  }

  void TryAgain() {
    const std::lock_guard<std::mutex> lock(mutex_);
    failures_ = 0;
    toSkip_ = 0;
  }

  static NameList& Instance() {
    static NameList list;
    return list;
  }

 private:
  struct Question {
    int what;
    int vendor;
    int device;
    const char* label;
    std::uint16_t id;
  };

  const std::string* Cached(std::map<std::uint32_t, std::string>& names, std::uint32_t key,
                            const Question& question) {
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
      const auto found = names.find(key);
      if (found != names.end()) return &found->second;
      if (IsRead()) return &names.emplace(key, LookUp(question)).first->second;
    } catch (const ListError&) {
      access_.reset();
    } catch (const std::bad_alloc&) {
    }
    return nullptr;
  }

  /// After the first failures in a row twice as many questions go by each time until the next
  /// attempt: a list that stays damaged must not be read for every function of a large host.
  bool IsRead() {
    if (access_ != nullptr) return true;
    if (toSkip_ > 0) {
      --toSkip_;
      return false;
    }
    access_ = ReadList();
    if (access_ != nullptr) return true;
    toSkip_ = (1U << failures_) / kPatience;
    if (toSkip_ < kMostSkipped) ++failures_;
    return false;
  }

  std::string LookUp(const Question& question) {
    // The list alone: the hardware database of udev repeats it and is never freed by libpci.
    const int flags = question.what | PCI_LOOKUP_NO_NUMBERS | PCI_LOOKUP_NO_HWDB;
    char buffer[1024];
    const char* name = pci_lookup_name(access_.get(), buffer, sizeof buffer, flags, question.vendor,
                                       question.device);
    return name != nullptr ? name : Number(question.label, question.id);
  }

  static constexpr unsigned kPatience = 16;
  static constexpr unsigned kMostSkipped = 1024;

  std::mutex mutex_;
  Access access_;
  unsigned failures_ = 0;
  unsigned toSkip_ = 0;
  std::map<std::uint32_t, std::string> vendors_;
  std::map<std::uint32_t, std::string> devices_;
};

}  // namespace

const std::string* FindVendorName(std::uint16_t vendor) {
  return NameList::Instance().Vendor(vendor);
}

const std::string* FindDeviceName(std::uint16_t vendor, std::uint16_t device) {
  return NameList::Instance().Device(vendor, device);
}

std::string VendorNumber(std::uint16_t vendor) {
  return Number(kVendorLabel, vendor);
}

std::string DeviceNumber(std::uint16_t device) {
  return Number(kDeviceLabel, device);
}

void TryNameListAgain() {
  NameList::Instance().TryAgain();
}

}  // namespace HostCtl
