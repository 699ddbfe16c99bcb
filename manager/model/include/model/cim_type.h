#pragma once

#include <cstdint>
#include <string_view>

namespace cimom {

/// The data types of CIM. An array is one of these with a flag beside it, never a type of its own.
enum class CimType : std::uint8_t {
  kBoolean,
  kChar16,
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kSint8,
  kSint16,
  kSint32,
  kSint64,
  kReal32,
  kReal64,
  kString,
  kDateTime,
  kReference,
};

/// The type's name as MOF and CIM-XML write it, such as "uint16" or "datetime"; a reference is
/// "reference" (MOF writes it as the class's name followed by "ref"). Safe from any thread.
constexpr std::string_view typeName(CimType type) {
  switch (type) {
    case CimType::kBoolean:
      return "boolean";
    case CimType::kChar16:
      return "char16";
    case CimType::kUint8:
      return "uint8";
    case CimType::kUint16:
      return "uint16";
    case CimType::kUint32:
      return "uint32";
    case CimType::kUint64:
      return "uint64";
    case CimType::kSint8:
      return "sint8";
    case CimType::kSint16:
      return "sint16";
    case CimType::kSint32:
      return "sint32";
    case CimType::kSint64:
      return "sint64";
    case CimType::kReal32:
      return "real32";
    case CimType::kReal64:
      return "real64";
    case CimType::kString:
      return "string";
    case CimType::kDateTime:
      return "datetime";
    case CimType::kReference:
      return "reference";
  }
  return "";
}

}  // namespace cimom
