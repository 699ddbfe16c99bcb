// A CMPI provider of a class of its own: one Example_PciVendor for each vendor of the host's PCI
// functions. An object manager calls it from any number of threads; it keeps nothing between calls.
#include <qarctl/HostFactory.h>
#include <zelcppc/CmpiString.h>
#include <zelcppc/ProviderFactory.h>

#include <map>
#include <string>

namespace {

using namespace zelInt;

/// How many functions each vendor has. Host control throws where it cannot read; the binding turns
/// what leaves an operation into the status of the request, with its text.
std::map<std::string, unsigned short> countByVendor() {
  std::map<std::string, unsigned short> counts;
  const auto pci = HostCtl::HostFactory::GetHost()->GetHardwareInfo()->GetPciInfo();
  for (const auto& function : pci->GetPciDevices()) ++counts[function->GetVendorName()];
  return counts;
}

/// The name of an instance: class and keys.
CmpiObjectPath makePath(const std::string& vendor) {
  CmpiObjectPath path("root/cimv2", "Example_PciVendor");
  path.setKey("Name", CmpiData(vendor.c_str()));
  return path;
}

/// An instance has the keys of its path already. The filter, last, narrows it to what the client
/// asked for.
CmpiInstance makeInstance(const std::string& vendor, unsigned short functions,
                          const char** properties) {
  CmpiInstance instance(makePath(vendor));
  instance.setProperty("Functions", CmpiData(functions));
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

class PciVendors : public virtual CmpiInstanceMI {
 public:
  // Bases that are virtual are constructed here, all of them.
  PciVendors(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context) {}

  CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& result,
                               const CmpiObjectPath&) override {
    for (const auto& [vendor, functions] : countByVendor()) result.returnData(makePath(vendor));
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }

  CmpiStatus enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                           const char** properties) override {
    for (const auto& [vendor, functions] : countByVendor()) {
      result.returnData(makeInstance(vendor, functions, properties));
    }
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }

  CmpiStatus getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& path,
                         const char** properties) override {
    const auto vendors = countByVendor();
    const auto found = vendors.find(CmpiString(path.getKey("Name")).charPtr());
    if (found == vendors.end()) return {CMPI_RC_ERR_NOT_FOUND, "no function of this vendor"};
    result.returnData(makeInstance(found->first, found->second, properties));
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }
};

}  // namespace

// By these the object manager finds the provider: the class's name is part of theirs.
ZELCPPC_HOLDER(Example_PciVendor);
ZELCPPC_INSTANCE_FACTORY(Example_PciVendor, PciVendors);
