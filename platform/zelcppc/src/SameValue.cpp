#include "SameValue.h"

#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiString.h>

#include "Integer.h"

#include <cstring>
#include <optional>

namespace zelInt {

namespace {

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

}  // namespace

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

}  // namespace zelInt
