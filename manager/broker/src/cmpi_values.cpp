#include "cmpi_values.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <variant>

#include <model/names.h>

#include "array_object.h"
#include "path_object.h"
#include "string_object.h"

namespace cimom {
namespace {

struct TypePair {
  CMPIType cmpi;
  CimType cim;
};

constexpr TypePair kTypes[] = {
    {CMPI_boolean, CimType::kBoolean}, {CMPI_char16, CimType::kChar16},
    {CMPI_uint8, CimType::kUint8},     {CMPI_uint16, CimType::kUint16},
    {CMPI_uint32, CimType::kUint32},   {CMPI_uint64, CimType::kUint64},
    {CMPI_sint8, CimType::kSint8},     {CMPI_sint16, CimType::kSint16},
    {CMPI_sint32, CimType::kSint32},   {CMPI_sint64, CimType::kSint64},
    {CMPI_real32, CimType::kReal32},   {CMPI_real64, CimType::kReal64},
    {CMPI_string, CimType::kString},   {CMPI_chars, CimType::kString},
    {CMPI_ref, CimType::kReference},
};

std::optional<Scalar> scalarFrom(const CMPIValue& value, CMPIType type) {
  switch (type) {
    case CMPI_boolean:
      return value.boolean != 0;
    case CMPI_char16:
      return std::uint64_t{value.char16};
    case CMPI_uint8:
      return std::uint64_t{value.uint8};
    case CMPI_uint16:
      return std::uint64_t{value.uint16};
    case CMPI_uint32:
      return std::uint64_t{value.uint32};
    case CMPI_uint64:
      return std::uint64_t{value.uint64};
    case CMPI_sint8:
      return std::int64_t{value.sint8};
    case CMPI_sint16:
      return std::int64_t{value.sint16};
    case CMPI_sint32:
      return std::int64_t{value.sint32};
    case CMPI_sint64:
      return std::int64_t{value.sint64};
    case CMPI_real32:
      return static_cast<double>(value.real32);
    case CMPI_real64:
      return value.real64;
    case CMPI_string: {
      const StringObject* text = get<StringObject>(value.string);
      return text != nullptr ? Scalar(text->text) : Scalar();
    }
    case CMPI_ref: {
      const PathObject* path = get<PathObject>(value.ref);
      return path != nullptr ? Scalar(std::make_shared<const ObjectPath>(path->path)) : Scalar();
    }
    default:
      return std::nullopt;
  }
}

template <class Number>
Number numberOf(const Scalar& scalar) {
  if (const auto* number = std::get_if<std::uint64_t>(&scalar)) return static_cast<Number>(*number);
  if (const auto* number = std::get_if<std::int64_t>(&scalar)) return static_cast<Number>(*number);
  if (const auto* number = std::get_if<double>(&scalar)) return static_cast<Number>(*number);
  return Number{};
}

}  // namespace

std::optional<CimType> cimTypeOf(CMPIType type) {
  const auto scalar = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  for (const TypePair& pair : kTypes) {
    if (pair.cmpi == scalar) return pair.cim;
  }
  return std::nullopt;
}

CMPIType cmpiTypeOf(CimType type) {
  if (type == CimType::kDateTime) return CMPI_string;
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypePair& pair) { return pair.cim == type; });
  return found->cmpi;
}

std::optional<Value> valueFrom(const CMPIValue* value, CMPIType type) {
  const auto cimType = cimTypeOf(type);
  if (!cimType) return std::nullopt;
  const bool isArray = (type & CMPI_ARRAY) != 0;
  if (value == nullptr) return Value::null(*cimType, isArray);
  if (isArray) {
    const ArrayObject* array = get<ArrayObject>(value->array);
    return array != nullptr ? array->value : Value::null(*cimType, true);
  }
  // Text comes as the pointer itself, not as the address of a value that holds it.
  if (type == CMPI_chars) return Value::text(reinterpret_cast<const char*>(value));
  const auto scalar = scalarFrom(*value, type);
  if (!scalar) return std::nullopt;
  if (std::holds_alternative<std::monostate>(*scalar)) return Value::null(*cimType);
  Value single = Value::null(*cimType);
  single.isNull = false;
  single.elements.push_back(*scalar);
  return single;
}

CMPIData dataFrom(const Scalar& scalar, CimType type) {
  CMPIData data = nullData(cmpiTypeOf(type));
  if (std::holds_alternative<std::monostate>(scalar)) return data;
  data.state = CMPI_goodValue;
  switch (data.type) {
    case CMPI_boolean:
      data.value.boolean = std::holds_alternative<bool>(scalar) && std::get<bool>(scalar) ? 1 : 0;
      break;
    case CMPI_char16:
      data.value.char16 = numberOf<CMPIChar16>(scalar);
      break;
    case CMPI_uint8:
      data.value.uint8 = numberOf<CMPIUint8>(scalar);
      break;
    case CMPI_uint16:
      data.value.uint16 = numberOf<CMPIUint16>(scalar);
      break;
    case CMPI_uint32:
      data.value.uint32 = numberOf<CMPIUint32>(scalar);
      break;
    case CMPI_uint64:
      data.value.uint64 = numberOf<CMPIUint64>(scalar);
      break;
    case CMPI_sint8:
      data.value.sint8 = numberOf<CMPISint8>(scalar);
      break;
    case CMPI_sint16:
      data.value.sint16 = numberOf<CMPISint16>(scalar);
      break;
    case CMPI_sint32:
      data.value.sint32 = numberOf<CMPISint32>(scalar);
      break;
    case CMPI_sint64:
      data.value.sint64 = numberOf<CMPISint64>(scalar);
      break;
    case CMPI_real32:
      data.value.real32 = numberOf<CMPIReal32>(scalar);
      break;
    case CMPI_real64:
      data.value.real64 = numberOf<CMPIReal64>(scalar);
      break;
    case CMPI_string:
      data.value.string = makeString(toText(scalar));
      break;
    case CMPI_ref:
      if (const auto* path = std::get_if<std::shared_ptr<const ObjectPath>>(&scalar)) {
        data.value.ref = makePath(**path);
      } else {
        data.state = CMPI_nullValue;
      }
      break;
    default:
      break;
  }
  return data;
}

CMPIData dataFrom(const Value& value) {
  if (value.isArray) {
    CMPIData data = nullData(static_cast<CMPIType>(CMPI_ARRAY | cmpiTypeOf(value.type)));
    if (value.isNull) return data;
    data.state = CMPI_goodValue;
    data.value.array = keep(std::make_unique<ArrayObject>(value));
    return data;
  }
  if (value.isNull || value.elements.empty()) return nullData(cmpiTypeOf(value.type));
  return dataFrom(value.elements.front(), value.type);
}

CMPIData notFound(CMPIStatus* status, CMPIrc code, const std::string& text) {
  setStatus(status, {code, makeString(text)});
  CMPIData data = nullData(CMPI_null);
  data.state = CMPI_nullValue | CMPI_notFound;
  return data;
}

void putNamed(std::vector<NamedValue>& values, const char* name, Value value) {
  const auto found = std::find_if(values.begin(), values.end(), [&](const NamedValue& candidate) {
    return sameName(candidate.name, name);
  });
  if (found != values.end()) {
    found->value = std::move(value);
  } else {
    values.push_back({name, std::move(value)});
  }
}

CMPIData nullData(CMPIType type) {
  CMPIData data{};
  data.type = type;
  data.state = CMPI_nullValue;
  return data;
}

}  // namespace cimom
