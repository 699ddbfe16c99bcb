#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>

#include <zelcppc/BrokerCall.h>
#include "Integer.h"
#include "PathText.h"

#include <strings.h>
#include <cstring>
#include <optional>

namespace zelInt {

namespace {

const CMPIObjectPath* newObjectPath(const char* nameSpace, const char* className) {
  const CMPIBroker& broker = CmpiBroker::current();
  return askBrokerFor<&CMPIBrokerEncFT::newObjectPath>("path", "newObjectPath", broker, broker.eft,
                                                       nameSpace, className);
}

bool comparesAsText(const CmpiData& data) {
  return data.type() == CMPI_string || data.type() == CMPI_chars || data.type() == CMPI_null;
}

bool sameText(const CmpiData& left, const CmpiData& right) {
  return std::strcmp(CmpiString(left).charPtr(), CmpiString(right).charPtr()) == 0;
}

/// Values of types that no key of this kind of path has: equal only in the same form.
bool sameOtherValue(const CMPIData& left, const CMPIData& right) {
  if (left.type != right.type) return false;
  switch (left.type) {
    case CMPI_boolean:
      return (left.value.boolean != 0) == (right.value.boolean != 0);
    case CMPI_char16:
      return left.value.char16 == right.value.char16;
    case CMPI_real32:
      return left.value.real32 == right.value.real32;
    case CMPI_real64:
      return left.value.real64 == right.value.real64;
    default:
      return false;
  }
}

bool sameValue(const CmpiData& left, const CmpiData& right) {
  if (comparesAsText(left) && comparesAsText(right)) return sameText(left, right);
  if (left.isNull() || right.isNull()) return left.isNull() && right.isNull();
  if (left.type() == CMPI_ref && right.type() == CMPI_ref) {
    return CmpiObjectPath(left) == CmpiObjectPath(right);
  }
  const std::optional<Integer> leftInteger = integerOf(left.raw());
  const std::optional<Integer> rightInteger = integerOf(right.raw());
  if (leftInteger && rightInteger) return *leftInteger == *rightInteger;
  return sameOtherValue(left.raw(), right.raw());
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
  const CMPIBroker& broker = CmpiBroker::current();
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

CMPICount CmpiObjectPath::getKeyCount() const {
  return ask<&CMPIObjectPathFT::getKeyCount>("getKeyCount", getHandle());
}

CmpiData CmpiObjectPath::getKeyAt(CMPICount index, CMPIString** name) const {
  return CmpiData(ask<&CMPIObjectPathFT::getKeyAt>("getKeyAt", getHandle(), index, name));
}

}  // namespace zelInt
