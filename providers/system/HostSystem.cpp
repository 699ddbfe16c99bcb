#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiString.h>
#include <zelcppc/ProviderFactory.h>

#include <cctype>
#include <cstdlib>
#include <string>

#include <sys/utsname.h>

namespace hostsystem {

using zelInt::CmpiBroker;
using zelInt::CmpiContext;
using zelInt::CmpiData;
using zelInt::CmpiInstance;
using zelInt::CmpiObjectPath;
using zelInt::CmpiResult;
using zelInt::CmpiStatus;
using zelInt::CmpiString;

namespace {

constexpr char kClass[] = "OMC_UnitaryComputerSystem";
// CIM_EnabledLogicalElement.EnabledState and RequestedState.
constexpr unsigned short kEnabled = 2;
constexpr unsigned short kNotApplicable = 12;

/// The host's name in lower case: references that other providers make to this system must match.
std::string HostName() {
  std::string name;
  utsname node{};
  const char* given = std::getenv("QARCTL_HOST_NAME");
  if (given != nullptr && *given != '\0') {
    name = given;
  } else if (uname(&node) == 0) {
    name = node.nodename;
  }
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

CmpiObjectPath MakeSystemPath(const std::string& name) {
  CmpiObjectPath path("root/cimv2", kClass);
  path.setKey("CreationClassName", CmpiData(kClass));
  path.setKey("Name", CmpiData(name.c_str()));
  return path;
}

/// System, release and machine by the kernel's own account; empty when it has none.
std::string KernelText() {
  utsname node{};
  if (uname(&node) != 0) return {};
  return std::string(node.sysname) + " " + node.release + " " + node.machine;
}

CmpiInstance MakeSystem(const char** properties) {
  const std::string name = HostName();
  const std::string kernel = KernelText();
  CmpiInstance instance(MakeSystemPath(name));
  instance.setProperty("ElementName", CmpiData(name.c_str()));
  instance.setProperty("Caption", CmpiData("Computer System"));
  instance.setProperty("Description", CmpiData(kernel.c_str()));
  instance.setProperty("NameFormat", CmpiData("Other"));
  // A system that runs this is on, and no client can request another state here.
  instance.setProperty("EnabledState", CmpiData(kEnabled));
  instance.setProperty("RequestedState", CmpiData(kNotApplicable));
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

bool NamesThisHost(const CmpiObjectPath& path) {
  return HostName() == CmpiString(path.getKey("Name")).charPtr() &&
         std::string(kClass) == CmpiString(path.getKey("CreationClassName")).charPtr();
}

}  // namespace

/// The host as a computer system, for hosts whose object manager serves none.
class HostSystem : virtual public zelInt::CmpiInstanceMI {
 public:
  HostSystem(const CmpiBroker& broker, const CmpiContext& context)
      : CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context) {}

  CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& result,
                               const CmpiObjectPath&) override {
    result.returnData(MakeSystemPath(HostName()));
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }

  CmpiStatus enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                           const char** properties) override {
    result.returnData(MakeSystem(properties));
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }

  CmpiStatus getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                         const char** properties) override {
    if (!NamesThisHost(cop)) return {CMPI_RC_ERR_NOT_FOUND, "no such computer system"};
    result.returnData(MakeSystem(properties));
    result.returnDone();
    return CmpiStatus(CMPI_RC_OK);
  }
};

}  // namespace hostsystem

ZELCPPC_HOLDER(OMC_UnitaryComputerSystem);
ZELCPPC_INSTANCE_FACTORY(OMC_UnitaryComputerSystem, hostsystem::HostSystem);
