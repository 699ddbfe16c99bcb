#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiStatus.h>

#include <vector>

namespace zelInt {

namespace {

const CMPIInstance* newInstance(const CmpiObjectPath& path) {
  const CMPIBroker& broker = CmpiBroker::current();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIInstance* instance = broker.eft->newInstance(&broker, path.getHandle(), &status);
  CmpiStatus::check(status, "newInstance");
  if (instance == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "newInstance gave no instance");
  return instance;
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

void CmpiInstance::setProperty(const char* name, const CmpiData& value) {
  CmpiStatus::check(
      getHandle()->ft->setProperty(getHandle(), name, value.valuePointer(), value.type()),
      "setProperty");
}

CmpiData CmpiInstance::getProperty(const char* name) const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIData data = getHandle()->ft->getProperty(getHandle(), name, &status);
  CmpiStatus::check(status, "getProperty");
  return CmpiData(data);
}

CmpiObjectPath CmpiInstance::getObjectPath() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIObjectPath* path = getHandle()->ft->getObjectPath(getHandle(), &status);
  CmpiStatus::check(status, "getObjectPath");
  if (path == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "getObjectPath gave no path");
  return CmpiObjectPath(path);
}

void CmpiInstance::setPropertyFilter(const char** properties, const char** keys) {
  std::vector<const char*> ownKeys;
  if (properties != nullptr && keys == nullptr) {
    ownKeys = keyNamesOf(getObjectPath());
    keys = ownKeys.data();
  }
  CmpiStatus::check(getHandle()->ft->setPropertyFilter(getHandle(), properties, keys),
                    "setPropertyFilter");
}

}  // namespace zelInt
