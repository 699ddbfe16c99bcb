#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiStatus.h>

#include "CurrentBroker.h"
#include "SameValue.h"

#include <cstring>
#include <optional>
#include <vector>

namespace zelInt {

namespace {

const CMPIInstance* newInstance(const CmpiObjectPath& path) {
  const CMPIBroker& broker = currentBroker();
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

/// The instance's property of that name; none where it has none, or where the broker lacks the
/// question.
std::optional<CmpiData> findProperty(const CMPIInstance* instance, const char* name) {
  const CMPIInstanceFT* table = tableOf(instance);
  if (table == nullptr || table->getProperty == nullptr) return std::nullopt;
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CmpiData value(table->getProperty(instance, name, &status));
  if (status.rc == CMPI_RC_ERR_NO_SUCH_PROPERTY || status.rc == CMPI_RC_ERR_NOT_FOUND) {
    return std::nullopt;
  }
  checkCall(status, "getProperty");
  return value;
}

bool sameString(const CmpiData& left, const CmpiData& right) {
  return std::strcmp(CmpiString(left.raw().value.string).charPtr(),
                     CmpiString(right.raw().value.string).charPtr()) == 0;
}

/// Whether a new instance has a key of its path as a property. A reference that is there is the
/// key's: no class has one by itself.
bool hasKey(const CMPIInstance* instance, const char* name, const CmpiData& key) {
  if (key.isNull()) return false;
  const std::optional<CmpiData> property = findProperty(instance, name);
  if (!property || property->isNull()) return false;
  if (key.type() != property->type()) return sameValue(key, *property);
  if (key.type() == CMPI_ref) return true;
  if (key.type() == CMPI_string) return sameString(key, *property);
  return sameValue(key, *property);
}

/// Whether the broker made properties of the path's keys. It does so with all of them or with none,
/// in their order, so the last one tells.
bool hasKeys(const CMPIInstance* instance, const CmpiObjectPath& path, CMPICount count) {
  CMPIString* name = nullptr;
  const CmpiData key = path.getKeyAt(count - 1, &name);
  return hasKey(instance, CmpiString(name).charPtr(), key);
}

}  // namespace

CmpiInstance::CmpiInstance(const CmpiObjectPath& path) : CmpiObject(newInstance(path)) {
  const CMPICount count = path.getKeyCount();
  // To ask for a single key costs as much as to set it.
  if (count > 1 && hasKeys(getHandle(), path, count)) return;
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
