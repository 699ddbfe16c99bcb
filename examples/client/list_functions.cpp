// Lists the PCI functions of this host, or of a saved inventory: list_functions [INVENTORY]
#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <cstdio>
#include <cstdlib>

namespace {

/// Address, class code, name and, of a bridge, the bus behind it.
void print(const HostCtl::Hardware::PciDevice& function) {
  std::printf("%s  %04x  %s %s", function.GetAddress().c_str(), function.GetClassCode(),
              function.GetVendorName().c_str(), function.GetDeviceName().c_str());
  const unsigned bus = function.GetSecondaryBusNumber();
  if (bus != 0) std::printf(", to bus %02x", bus);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  // Host control looks for its input each time that it is asked for the functions.
  if (argc > 1) setenv("QARCTL_PCI_DUMP", argv[1], 1);
  try {
    const auto pci = HostCtl::HostFactory::GetHost()->GetHardwareInfo()->GetPciInfo();
    for (const auto& function : pci->GetPciDevices()) print(*function);
    return EXIT_SUCCESS;
  } catch (const HostCtl::Lib::HostCtlException& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return EXIT_FAILURE;
  }
}
