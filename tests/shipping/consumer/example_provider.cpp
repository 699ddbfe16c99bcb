#include <qarctl/HostFactory.h>
#include <zelcppc/CmpiInstanceMI.h>
#include <zelcppc/CmpiProviderBase.h>

namespace {

/// One instance: how many PCI functions the host has.
class PciSummary : public virtual zelInt::CmpiInstanceMI {
 public:
  PciSummary(const zelInt::CmpiBroker& broker, const zelInt::CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context) {}

  zelInt::CmpiStatus enumInstances(const zelInt::CmpiContext&, zelInt::CmpiResult& result,
                                   const zelInt::CmpiObjectPath&,
                                   const char** properties) override {
    const auto pci = HostCtl::HostFactory::GetHost()->GetHardwareInfo()->GetPciInfo();
    zelInt::CmpiObjectPath path("root/cimv2", "Example_PciSummary");
    path.setKey("Name", zelInt::CmpiData("this host"));
    zelInt::CmpiInstance summary(path);
    const auto functions = static_cast<unsigned short>(pci->GetPciDevices().size());
    summary.setProperty("Functions", zelInt::CmpiData(functions));
    summary.setPropertyFilter(properties, nullptr);
    result.returnData(summary);
    result.returnDone();
    return zelInt::CmpiStatus(CMPI_RC_OK);
  }
};

zelInt::CmpiProviderBase holder;

const CMPIInstanceMIFT kFunctions{200,
                                  200,
                                  "instanceExample_PciSummary",
                                  &zelInt::CmpiBaseMI::driveBaseCleanup,
                                  &zelInt::CmpiInstanceMI::driveEnumInstanceNames,
                                  &zelInt::CmpiInstanceMI::driveEnumInstances,
                                  &zelInt::CmpiInstanceMI::driveGetInstance,
                                  &zelInt::CmpiInstanceMI::driveCreateInstance,
                                  &zelInt::CmpiInstanceMI::driveSetInstance,
                                  &zelInt::CmpiInstanceMI::driveDeleteInstance,
                                  &zelInt::CmpiInstanceMI::driveExecQuery};

}  // namespace

extern "C" CMPIInstanceMI* Example_PciSummary_Create_InstanceMI(const CMPIBroker* broker,
                                                                const CMPIContext* context,
                                                                CMPIStatus*) {
  static CMPIInstanceMI record{nullptr, &kFunctions};
  auto* provider = new PciSummary(zelInt::CmpiBroker(broker), zelInt::CmpiContext(context));
  provider->setProviderBase(&holder);
  holder.setBaseMI(provider);
  holder.incUseCount();
  record.hdl = static_cast<zelInt::CmpiBaseMI*>(provider);
  return &record;
}
