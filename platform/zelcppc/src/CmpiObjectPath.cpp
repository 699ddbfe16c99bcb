#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>

#include <strings.h>
#include <cstdint>
#include <cstring>
#include <optional>

namespace zelInt {

namespace {

const CMPIObjectPath* newObjectPath(const char* nameSpace, const char* className) {
  const CMPIBroker& broker = CmpiBroker::current();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIObjectPath* path = broker.eft->newObjectPath(&broker, nameSpace, className, &status);
  CmpiStatus::check(status, "newObjectPath");
  if (path == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "newObjectPath gave no path");
  return path;
}

bool isText(const CmpiData& data) {
  return data.type() == CMPI_string || data.type() == CMPI_chars || data.type() == CMPI_null;
}

/// An integer of any width as sign and magnitude, so that all widths compare by value.
struct Integer {
  bool negative;
  std::uint64_t magnitude;
  bool operator==(const Integer&) const = default;
};

Integer signedInteger(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? Integer{true, 0 - bits} : Integer{false, bits};
}

std::optional<Integer> integerOf(const CMPIData& data) {
  switch (data.type) {
    case CMPI_uint8:
      return Integer{false, data.value.uint8};
    case CMPI_uint16:
      return Integer{false, data.value.uint16};
    case CMPI_uint32:
      return Integer{false, data.value.uint32};
    case CMPI_uint64:
      return Integer{false, data.value.uint64};
    case CMPI_sint8:
      return signedInteger(data.value.sint8);
    case CMPI_sint16:
      return signedInteger(data.value.sint16);
    case CMPI_sint32:
      return signedInteger(data.value.sint32);
    case CMPI_sint64:
      return signedInteger(data.value.sint64);
    default:
      return std::nullopt;
  }
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
  if (isText(left) && isText(right)) return sameText(left, right);
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

void CmpiObjectPath::setKey(const char* name, const CmpiData& value) {
  const CMPIObjectPath* path = getHandle();
  CmpiStatus::check(path->ft->addKey(path, name, value.valuePointer(), value.type()), "addKey");
}

CmpiData CmpiObjectPath::getKey(const char* name) const {
  const CMPIObjectPath* path = getHandle();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIData data = path->ft->getKey(path, name, &status);
  CmpiStatus::check(status, "getKey");
  if ((data.state & CMPI_notFound) != 0) {
    throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, std::string("the path has no key ") + name);
  }
  return CmpiData(data);
}

bool CmpiObjectPath::classPathIsA(const char* className) const {
  const CMPIBroker& broker = CmpiBroker::current();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIBoolean answer = broker.eft->classPathIsA(&broker, getHandle(), className, &status);
  CmpiStatus::check(status, "classPathIsA");
  return answer != 0;
}

bool CmpiObjectPath::operator==(const CmpiObjectPath& other) const {
  if (getHandle() == other.getHandle()) return true;
  return strcasecmp(getClassName().charPtr(), other.getClassName().charPtr()) == 0 &&
         sameNameSpace(getNameSpace().charPtr(), other.getNameSpace().charPtr()) &&
         sameKeys(*this, other);
}

CmpiString CmpiObjectPath::toString() const {
  const CMPIObjectPath* path = getHandle();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIString* text = path->ft->toString(path, &status);
  CmpiStatus::check(status, "toString");
  return CmpiString(text);
}

CmpiString CmpiObjectPath::getNameSpace() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIString* text = getHandle()->ft->getNameSpace(getHandle(), &status);
  CmpiStatus::check(status, "getNameSpace");
  return CmpiString(text);
}

CmpiString CmpiObjectPath::getClassName() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIString* text = getHandle()->ft->getClassName(getHandle(), &status);
  CmpiStatus::check(status, "getClassName");
  return CmpiString(text);
}

CMPICount CmpiObjectPath::getKeyCount() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPICount count = getHandle()->ft->getKeyCount(getHandle(), &status);
  CmpiStatus::check(status, "getKeyCount");
  return count;
}

CmpiData CmpiObjectPath::getKeyAt(CMPICount index, CMPIString** name) const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIData data = getHandle()->ft->getKeyAt(getHandle(), index, name, &status);
  CmpiStatus::check(status, "getKeyAt");
  return CmpiData(data);
}

}  // namespace zelInt
