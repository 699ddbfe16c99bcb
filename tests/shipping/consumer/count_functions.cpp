#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <iostream>

/// Prints the number of the host's PCI functions.
int main() {
  try {
    const auto hardware = HostCtl::HostFactory::GetHost()->GetHardwareInfo();
    std::cout << hardware->GetPciInfo()->GetPciDevices().size() << '\n';
    return 0;
  } catch (const HostCtl::Lib::HostCtlException& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
