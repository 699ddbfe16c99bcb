#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>

#include "CurrentBroker.h"
#include "PathText.h"
#include "SameValue.h"

#include <strings.h>
#include <optional>

namespace zelInt {

namespace {

const CMPIObjectPath* newObjectPath(const char* nameSpace, const char* className) {
  const CMPIBroker& broker = currentBroker();
  return askBrokerFor<&CMPIBrokerEncFT::newObjectPath>("path", "newObjectPath", broker, broker.eft,
                                                       nameSpace, className);
}

/// The value of the key with that name in any case, if the path has one.
std::optional<CmpiData> findKey(const CmpiObjectPath& path, const char* name) {
  const CMPICount count = path.getKeyCount();
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString* found = nullptr;
    const CmpiData value = path.getKeyAt(index, &found);
    if (strcasecmp(CmpiString(found).charPtr(), name) == 0) return value;
  }
  return std::nullopt;
}

bool sameNameSpace(const char* left, const char* right) {
  return *left == '\0' || *right == '\0' || strcasecmp(left, right) == 0;
}

bool sameKeys(const CmpiObjectPath& left, const CmpiObjectPath& right) {
  const CMPICount count = left.getKeyCount();
  if (count != right.getKeyCount()) return false;
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString* name = nullptr;
    const CmpiData value = left.getKeyAt(index, &name);
    const std::optional<CmpiData> counterpart = findKey(right, CmpiString(name).charPtr());
    if (!counterpart || !sameValue(value, *counterpart)) return false;
  }
  return true;
}

}  // namespace

CmpiObjectPath::CmpiObjectPath(const char* nameSpace, const char* className)
    : CmpiObject(newObjectPath(nameSpace, className)) {}

CmpiData CmpiObjectPath::getKey(const char* name) const {
  const CmpiData value(ask<&CMPIObjectPathFT::getKey>("getKey", getHandle(), name));
  if ((value.raw().state & CMPI_notFound) != 0 && !value.holdsObject()) {
    throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, std::string("the path has no key ") + name);
  }
  return value;
}

bool CmpiObjectPath::classPathIsA(const char* className) const {
  const CMPIBroker& broker = currentBroker();
  if (getHandle() == nullptr) throwNoSuchCall("classPathIsA");
  return askBroker<&CMPIBrokerEncFT::classPathIsA>("classPathIsA", broker, broker.eft, getHandle(),
                                                   className) != 0;
}

bool CmpiObjectPath::operator==(const CmpiObjectPath& other) const {
  if (getHandle() == other.getHandle()) return true;
  return strcasecmp(getClassName().charPtr(), other.getClassName().charPtr()) == 0 &&
         sameNameSpace(getNameSpace().charPtr(), other.getNameSpace().charPtr()) &&
         sameKeys(*this, other);
}

CmpiString CmpiObjectPath::toString() const {
  if (!fitsManagersText(*this)) return cutPathText(*this);
  return CmpiString(ask<&CMPIObjectPathFT::toString>("toString", getHandle()));
}

CmpiString CmpiObjectPath::getNameSpace() const {
  return CmpiString(ask<&CMPIObjectPathFT::getNameSpace>("getNameSpace", getHandle()));
}

CmpiString CmpiObjectPath::getClassName() const {
  return CmpiString(ask<&CMPIObjectPathFT::getClassName>("getClassName", getHandle()));
}

}  // namespace zelInt
