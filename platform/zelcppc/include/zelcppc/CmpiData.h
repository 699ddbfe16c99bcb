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
  CmpiData(const char* text);
  CmpiData(unsigned char value);
  CmpiData(unsigned short value);
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
  bool isNull() const noexcept;
  /// Whether the value is a pointer, and not a null one.
  bool holdsObject() const noexcept;
  const CMPIData& raw() const noexcept { return data_; }
  /// What the C interface takes for this value: brokers read a value of type chars from the
  /// pointer itself.
  const CMPIValue* valuePointer() const noexcept;

 private:
  CMPIData data_;
};

}  // namespace zelInt
