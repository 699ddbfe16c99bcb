#include "scripted_host.h"

#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <dlfcn.h>
#include <syslog.h>
#include <unistd.h>

namespace scripted {

Host& host() {
  static Host instance;
  return instance;
}

std::vector<LogLine>& logLines() {
  static std::vector<LogLine> lines;
  return lines;
}

namespace {

using HostCtl::Hardware::PciDevice;

std::atomic<int> alive = 0;

class ScriptedDevice : public PciDevice {
 public:
  explicit ScriptedDevice(Function function) : function_(std::move(function)) { ++alive; }
  ~ScriptedDevice() override { --alive; }
  ScriptedDevice(const ScriptedDevice&) = delete;
  ScriptedDevice& operator=(const ScriptedDevice&) = delete;

  std::string GetAddress() const override {
    return host().addressNow(say("GetAddress", function_.address));
  }
  std::uint16_t GetSegmentNumber() const override {
    return say("GetSegmentNumber", function_.segment);
  }
  std::uint8_t GetBusNumber() const override { return say("GetBusNumber", function_.bus); }
  std::uint8_t GetDeviceNumber() const override { return say("GetDeviceNumber", function_.device); }
  std::uint8_t GetFunctionNumber() const override {
    return say("GetFunctionNumber", function_.number);
  }
  std::int32_t GetPhysicalSlot() const override { return say("GetPhysicalSlot", function_.slot); }
  std::uint16_t GetVendorId() const override { return say("GetVendorId", std::uint16_t{0x101}); }
  std::string GetVendorName() const override { return say("GetVendorName", function_.vendorName); }
  std::uint16_t GetDeviceId() const override { return say("GetDeviceId", std::uint16_t{0x202}); }
  std::uint16_t GetSubsystemVendorId() const override {
    return say("GetSubsystemVendorId", std::uint16_t{0x303});
  }
  std::uint16_t GetSubsystemId() const override {
    return say("GetSubsystemId", std::uint16_t{0x404});
  }
  std::string GetDeviceName() const override { return say("GetDeviceName", function_.deviceName); }
  std::uint16_t GetClassCode() const override { return say("GetClassCode", function_.classCode); }
  std::uint8_t GetRevisionId() const override { return say("GetRevisionId", std::uint8_t{5}); }
  std::uint8_t GetSecondaryBusNumber() const override {
    return say("GetSecondaryBusNumber", function_.secondaryBus);
  }
  std::vector<std::uint32_t> GetCapabilities() const override {
    return say("GetCapabilities", function_.capabilities);
  }
  bool HasCapability(std::uint8_t id) const override {
    return say("HasCapability", (id == 0x10 && function_.pcieType >= 0 && !function_.hidesPcie) ||
                                    (id == 0x07 && function_.pciX));
  }
  std::int32_t GetPcieDeviceType() const override {
    return say("GetPcieDeviceType", function_.pcieType);
  }
  std::unique_ptr<PciDevice> GetParent() const override {
    say("GetParent", 0);
    if (function_.parent.empty()) return nullptr;
    return std::make_unique<ScriptedDevice>(Function{function_.parent});
  }

 private:
  template <class Answer>
  Answer say(const char* call, Answer answer) const {
    host().onCall(call);
    if (function_.failing.count(call) != 0) {
      throw HostCtl::Lib::HostCtlException(std::string(call) + " of " + function_.address);
    }
    return answer;
  }

  Function function_;
};

class ScriptedPciInfo : public HostCtl::Hardware::PciInfo {
 public:
  ~ScriptedPciInfo() override { host().onRelease("PciInfo"); }
  std::vector<std::unique_ptr<PciDevice>> GetPciDevices() override {
    host().onCall("GetPciDevices");
    std::vector<std::unique_ptr<PciDevice>> devices;
    for (const Function& function : host().functions) {
      devices.push_back(std::make_unique<ScriptedDevice>(function));
    }
    return devices;
  }
};

class ScriptedHardware : public HostCtl::Hardware::HardwareInfo {
 public:
  ~ScriptedHardware() override { host().onRelease("HardwareInfo"); }
  std::unique_ptr<HostCtl::Hardware::PciInfo> GetPciInfo() override {
    host().onCall("GetPciInfo");
    return std::make_unique<ScriptedPciInfo>();
  }
  HostCtl::Hardware::SystemInfo GetSystemInfo() override {
    host().onCall("GetSystemInfo");
    return {"", "", host().name};
  }
};

}  // namespace

int devicesAlive() {
  return alive;
}

}  // namespace scripted

namespace HostCtl {

Host* HostFactory::GetHost() {
  static Host host;
  scripted::host().onCall("GetHost");
  return &host;
}

std::unique_ptr<Hardware::HardwareInfo> Host::GetHardwareInfo() {
  scripted::host().onCall("GetHardwareInfo");
  return std::make_unique<scripted::ScriptedHardware>();
}

}  // namespace HostCtl

// These come before the C library's, also for a provider library that the test opens.
#define VISIBLE extern "C" __attribute__((visibility("default")))

/// Every line that the provider logs ends here.
VISIBLE void syslog(int priority, const char* format, ...) {
  static std::mutex oneAtATime;
  // Longer than any line may be, so that a test sees one that is too long.
  char text[16 * 1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const std::lock_guard<std::mutex> lock(oneAtATime);
  scripted::logLines().push_back({priority, text});
}

/// Answers for the one file whose presence the build asks for; the rest goes on.
VISIBLE int access(const char* file, int mode) noexcept {
  if (std::strcmp(file, "/tmp/dump_pci") == 0) {
    return scripted::host().traceFile && mode == R_OK ? 0 : -1;
  }
  using Access = int (*)(const char*, int);
  return reinterpret_cast<Access>(dlsym(RTLD_NEXT, "access"))(file, mode);
}
