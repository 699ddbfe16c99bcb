// The out-of-line parts of the interfaces: one home for their tables and type records, so that
// exceptions and casts work across libraries.
#include <qarctl/HardwareInfo.h>
#include <qarctl/HostCtlException.h>
#include <qarctl/PciDevice.h>
#include <qarctl/PciInfo.h>

#include <utility>

namespace HostCtl::Lib {

HostCtlException::HostCtlException(std::string message) : message_(std::move(message)) {}
HostCtlException::HostCtlException(const HostCtlException&) = default;
HostCtlException& HostCtlException::operator=(const HostCtlException&) = default;
HostCtlException::~HostCtlException() = default;
const char* HostCtlException::what() const noexcept {
  return message_.c_str();
}

}  // namespace HostCtl::Lib

namespace HostCtl::Hardware {

PciDeviceBase::~PciDeviceBase() = default;
PciDevice::~PciDevice() = default;
PciInfo::~PciInfo() = default;
HardwareInfo::~HardwareInfo() = default;

}  // namespace HostCtl::Hardware
