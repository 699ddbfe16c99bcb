#include "scripted_host.h"

#include <qarctl/HostFactory.h>

#include <cstdarg>
#include <cstdio>

#include <syslog.h>

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

class ScriptedDevice : public PciDevice {
 public:
  explicit ScriptedDevice(Function function) : function_(std::move(function)) {}

  std::string GetAddress() const override { return say("GetAddress", function_.address); }
  std::uint16_t GetSegmentNumber() const override {
    return say("GetSegmentNumber", std::uint16_t{0});
  }
  std::uint8_t GetBusNumber() const override { return say("GetBusNumber", function_.bus); }
  std::uint8_t GetDeviceNumber() const override { return say("GetDeviceNumber", std::uint8_t{3}); }
  std::uint8_t GetFunctionNumber() const override {
    return say("GetFunctionNumber", std::uint8_t{0});
  }
  std::int32_t GetPhysicalSlot() const override { return say("GetPhysicalSlot", 260); }
  std::uint16_t GetVendorId() const override { return say("GetVendorId", std::uint16_t{1}); }
  std::string GetVendorName() const override { return say("GetVendorName", std::string("Acme")); }
  std::uint16_t GetDeviceId() const override { return say("GetDeviceId", std::uint16_t{2}); }
  std::uint16_t GetSubsystemVendorId() const override {
    return say("GetSubsystemVendorId", std::uint16_t{3});
  }
  std::uint16_t GetSubsystemId() const override { return say("GetSubsystemId", std::uint16_t{4}); }
  std::string GetDeviceName() const override { return say("GetDeviceName", std::string("Widget")); }
  std::uint16_t GetClassCode() const override { return say("GetClassCode", function_.classCode); }
  std::uint8_t GetRevisionId() const override { return say("GetRevisionId", std::uint8_t{5}); }
  std::uint8_t GetSecondaryBusNumber() const override {
    return say("GetSecondaryBusNumber", function_.secondaryBus);
  }
  std::vector<std::uint32_t> GetCapabilities() const override {
    return say("GetCapabilities", std::vector<std::uint32_t>{0x10006});
  }
  bool HasCapability(std::uint8_t id) const override {
    return say("HasCapability", id == 0x10 && function_.pcieType >= 0);
  }
  std::int32_t GetPcieDeviceType() const override {
    return say("GetPcieDeviceType", function_.pcieType);
  }
  std::unique_ptr<PciDevice> GetParent() const override {
    host().onCall("GetParent");
    if (function_.parent.empty()) return nullptr;
    return std::make_unique<ScriptedDevice>(Function{function_.parent});
  }

 private:
  template <class Answer>
  static Answer say(const char* call, Answer answer) {
    host().onCall(call);
    return answer;
  }

  Function function_;
};

class ScriptedPciInfo : public HostCtl::Hardware::PciInfo {
 public:
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

// Stands before the C library's: every line that the provider logs ends here.
extern "C" void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  scripted::logLines().push_back({priority, text});
}
