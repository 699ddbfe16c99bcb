#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/Export.h>

#include <concepts>

namespace zelInt {

class CmpiArray;
class CmpiInstance;
class CmpiObjectPath;
class CmpiString;

/// A CMPI value with its type. Values made from text point at the caller's characters, which
/// must live until the value has been handed on. Types without a constructor of their own go the
/// C way, and are read from there:
///
///     const CMPIData size{CMPI_uint64, CMPI_goodValue, {.uint64 = bytes}};
///     instance.setProperty("Size", CmpiData(size));
///     bytes = instance.getProperty("Size").raw().value.uint64;
class ZELCPPC_EXPORT CmpiData {
 public:
  explicit CmpiData(const CMPIData& data) : data_(data) {}
  /// A null pointer makes empty text.
  ZELCPPC_INLINE CmpiData(const char* text)
      // The C value has no const text; it is only ever read through this pointer.
      : data_{CMPI_chars,
              CMPI_goodValue,
              {.chars = const_cast<char*>(text != nullptr ? text : "")}} {}
  ZELCPPC_INLINE CmpiData(unsigned char value)
      : data_{CMPI_uint8, CMPI_goodValue, {.uint8 = value}} {}
  ZELCPPC_INLINE CmpiData(unsigned short value)
      : data_{CMPI_uint16, CMPI_goodValue, {.uint16 = value}} {}
  /// From bool alone: every pointer would turn into one.
  template <std::same_as<bool> Boolean>
  CmpiData(Boolean value)
      : data_{CMPI_boolean, CMPI_goodValue, {.boolean = static_cast<CMPIBoolean>(value)}} {}
  CmpiData(const CmpiArray& array);
  CmpiData(const CmpiObjectPath& path);

  /// Conversions throw CmpiStatus with TYPE_MISMATCH when the value is of another type (or, but
  /// for text, null); its text names what was wrong. Null text reads as empty text.
  operator CmpiInstance() const;
  operator CmpiObjectPath() const;
  operator CmpiString() const;

  CMPIType type() const noexcept { return data_.type; }
  /// Whether there is no value. Where the value is a pointer (text, references, instances, arrays
  /// and the like) the pointer decides: object managers hand over good ones with the state "null".
  /// Of numbers and booleans the state decides.
  ZELCPPC_INLINE bool isNull() const noexcept {
    if (isPointerType(data_.type)) return !holdsObject();
    return data_.type == CMPI_null || (data_.state & CMPI_nullValue) != 0;
  }
  /// Whether the value is a pointer, and not a null one.
  ZELCPPC_INLINE bool holdsObject() const noexcept {
    return isPointerType(data_.type) && data_.value.dataPtr.ptr != nullptr;
  }
  const CMPIData& raw() const noexcept { return data_; }
  /// What the C interface takes for this value: brokers read a value of type chars from the
  /// pointer itself.
  ZELCPPC_INLINE const CMPIValue* valuePointer() const noexcept {
    if (data_.type == CMPI_chars) return reinterpret_cast<const CMPIValue*>(data_.value.chars);
    return &data_.value;
  }

 private:
  /// Whether values of the type are pointers. Every type of an encoded object has the bit of
  /// instances.
  static constexpr bool isPointerType(CMPIType type) noexcept {
    return (type & (CMPI_ARRAY | CMPI_instance)) != 0;
  }

  CMPIData data_;
};

}  // namespace zelInt
