#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiStatus.h>

#include <zelcppc/BrokerCall.h>

#include <vector>

namespace zelInt {

namespace {

const CMPIInstance* newInstance(const CmpiObjectPath& path) {
  const CMPIBroker& broker = CmpiBroker::current();
  return askBrokerFor<&CMPIBrokerEncFT::newInstance>("instance", "newInstance", broker, broker.eft,
                                                     path.getHandle());
}

std::vector<const char*> keyNamesOf(const CmpiObjectPath& path) {
  std::vector<const char*> names;
  const CMPICount count = path.getKeyCount();
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString* name = nullptr;
    path.getKeyAt(index, &name);
    names.push_back(CmpiString(name).charPtr());
  }
  names.push_back(nullptr);
  return names;
}

}  // namespace

CmpiInstance::CmpiInstance(const CmpiObjectPath& path) : CmpiObject(newInstance(path)) {
  const CMPICount count = path.getKeyCount();
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString* name = nullptr;
    const CmpiData value = path.getKeyAt(index, &name);
    if (!value.isNull()) setProperty(CmpiString(name).charPtr(), value);
  }
}

CmpiData CmpiInstance::getProperty(const char* name) const {
  return CmpiData(ask<&CMPIInstanceFT::getProperty>("getProperty", getHandle(), name));
}

CmpiObjectPath CmpiInstance::getObjectPath() const {
  const CMPIObjectPath* path = ask<&CMPIInstanceFT::getObjectPath>("getObjectPath", getHandle());
  if (path == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "getObjectPath gave no path");
  return CmpiObjectPath(path);
}

void CmpiInstance::setPropertyFilter(const char** properties, const char** keys) {
  std::vector<const char*> ownKeys;
  if (properties != nullptr && keys == nullptr) {
    ownKeys = keyNamesOf(getObjectPath());
    keys = ownKeys.data();
  }
  tell<&CMPIInstanceFT::setPropertyFilter>("setPropertyFilter", getHandle(), properties, keys);
}

}  // namespace zelInt
