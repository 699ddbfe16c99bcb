#include "name_list.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

extern "C" {
#include <pci/pci.h>
}

namespace HostCtl {

namespace {

// The library's own handler ends the process; throwing leaves it without harm, since it is not
// asked again afterwards.
__attribute__((noreturn)) void ThrowListError(char*, ...) {
  throw std::runtime_error("PCI id list");
}
void IgnoreMessage(char*, ...) {}

/// The list behind one lock: libpci loads it on the first question and keeps a cache of its own.
class NameList {
 public:
  std::string Vendor(std::uint16_t vendor) {
    return Cached(vendors_, vendor, PCI_LOOKUP_VENDOR, vendor, 0, "Vendor", vendor);
  }

  std::string Device(std::uint16_t vendor, std::uint16_t device) {
    const auto key = (static_cast<std::uint32_t>(vendor) << 16U) | device;
    return Cached(devices_, key, PCI_LOOKUP_DEVICE, vendor, device, "Device", device);
  }

  NameList(const NameList&) = delete;
  NameList& operator=(const NameList&) = delete;

  static NameList& Instance() {
    static NameList list;
    return list;
  }

 private:
  NameList() : access_(pci_alloc()) {
    access_->error = ThrowListError;
    access_->warning = IgnoreMessage;
    access_->debug = IgnoreMessage;
  }
  ~NameList() { pci_cleanup(access_); }

  std::string Cached(std::map<std::uint32_t, std::string>& names, std::uint32_t key, int what,
                     int vendor, int device, const char* label, std::uint16_t id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = names.find(key);
    if (found != names.end()) return found->second;
    return names.emplace(key, LookUp(what, vendor, device, label, id)).first->second;
  }

  std::string LookUp(int what, int vendor, int device, const char* label, std::uint16_t id) {
    char buffer[1024];
    if (usable_) {
      try {
        // The list alone: the hardware database of udev repeats it and is never freed by libpci.
        const int flags = what | PCI_LOOKUP_NO_NUMBERS | PCI_LOOKUP_NO_HWDB;
        const char* name = pci_lookup_name(access_, buffer, sizeof buffer, flags, vendor, device);
        if (name != nullptr) return name;
      } catch (const std::exception&) {
        usable_ = false;
      }
    }
    std::snprintf(buffer, sizeof buffer, "%s %04x", label, static_cast<unsigned>(id));
    return buffer;
  }

  std::mutex mutex_;
  pci_access* access_;
  bool usable_ = true;
  std::map<std::uint32_t, std::string> vendors_;
  std::map<std::uint32_t, std::string> devices_;
};

}  // namespace

std::string LookUpVendorName(std::uint16_t vendor) {
  return NameList::Instance().Vendor(vendor);
}

std::string LookUpDeviceName(std::uint16_t vendor, std::uint16_t device) {
  return NameList::Instance().Device(vendor, device);
}

}  // namespace HostCtl
