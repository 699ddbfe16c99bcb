#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// An element of an array that can be assigned to.
class ZELCPPC_EXPORT CmpiArrayIdx {
 public:
  CmpiArrayIdx(const CMPIArray* array, CMPICount index) : array_(array), index_(index) {}
  CmpiArrayIdx(const CmpiArrayIdx&) = default;

  /// Stores the value; throws CmpiStatus when the broker refuses it.
  ZELCPPC_INLINE CmpiArrayIdx& operator=(const CmpiData& value) {
    tell<&CMPIArrayFT::setElementAt>("setElementAt", array_, index_, value.valuePointer(),
                                     value.type());
    return *this;
  }
  /// Stores the other element's value, so that one element can be assigned to another.
  CmpiArrayIdx& operator=(const CmpiArrayIdx& other);
  /// Reads the element; throws CmpiStatus when the broker cannot.
  operator CmpiData() const;

 private:
  const CMPIArray* array_;
  CMPICount index_;
};

/// An array of the broker, valid until the request ends.
///
///     CmpiArray speeds(2, CMPI_uint16);
///     speeds[0] = CmpiData(slow);
///     instance.setProperty("Speeds", CmpiData(speeds));
class ZELCPPC_EXPORT CmpiArray {
 public:
  /// A new array of `count` null elements of the CMPI type `type` (without the array flag).
  /// Throws CmpiStatus when the broker cannot make it.
  CmpiArray(CMPICount count, CMPIType type);
  explicit CmpiArray(const CMPIArray* array);

  ZELCPPC_INLINE CmpiArrayIdx operator[](int index) const {
    return CmpiArrayIdx(array_, static_cast<CMPICount>(index));
  }
  CMPIType elementType() const noexcept { return type_; }
  const CMPIArray* getHandle() const noexcept { return array_; }

 private:
  const CMPIArray* array_;
  CMPIType type_;
};

}  // namespace zelInt
