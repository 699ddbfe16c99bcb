#include "cmpi_values.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "array_object.h"
#include "path_object.h"
#include "string_object.h"
#include "text_pool.h"

namespace cimom {
namespace {

CMPIObjectPath* pathFrom(const StoredReference& reference) {
  return makePath(reference.stored ? *reference.stored
                                   : fromModel(*reference.model, requestTexts()));
}

// Each writes a value that is not null where callers read one of its type.

template <auto Member>
void putNumber(CMPIValue& place, const StoredValue& value) {
  auto& number = place.*Member;
  number = value.as<std::remove_reference_t<decltype(number)>>();
}
void putBoolean(CMPIValue& place, const StoredValue& value) {
  place.boolean = value.asBoolean() ? 1 : 0;
}
void putText(CMPIValue& place, const StoredValue& value) {
  place.string = makeString(value.asText());
}
void putReference(CMPIValue& place, const StoredValue& value) {
  const StoredReference* reference = value.asReference();
  place.ref = reference != nullptr ? pathFrom(*reference) : nullptr;
}

struct TypePair {
  CMPIType cmpi;
  CimType cim;
  void (*put)(CMPIValue& place, const StoredValue& value);
};

constexpr TypePair kTypes[] = {
    {CMPI_boolean, CimType::kBoolean, putBoolean},
    {CMPI_char16, CimType::kChar16, putNumber<&CMPIValue::char16>},
    {CMPI_uint8, CimType::kUint8, putNumber<&CMPIValue::uint8>},
    {CMPI_uint16, CimType::kUint16, putNumber<&CMPIValue::uint16>},
    {CMPI_uint32, CimType::kUint32, putNumber<&CMPIValue::uint32>},
    {CMPI_uint64, CimType::kUint64, putNumber<&CMPIValue::uint64>},
    {CMPI_sint8, CimType::kSint8, putNumber<&CMPIValue::sint8>},
    {CMPI_sint16, CimType::kSint16, putNumber<&CMPIValue::sint16>},
    {CMPI_sint32, CimType::kSint32, putNumber<&CMPIValue::sint32>},
    {CMPI_sint64, CimType::kSint64, putNumber<&CMPIValue::sint64>},
    {CMPI_real32, CimType::kReal32, putNumber<&CMPIValue::real32>},
    {CMPI_real64, CimType::kReal64, putNumber<&CMPIValue::real64>},
    {CMPI_string, CimType::kString, putText},
    {CMPI_chars, CimType::kString, putText},
    {CMPI_ref, CimType::kReference, putReference},
};

/// Points in time are texts to CMPI callers here.
constexpr std::size_t placeOf(CimType type) {
  const CimType sought = type == CimType::kDateTime ? CimType::kString : type;
  return static_cast<std::size_t>(std::ranges::find(kTypes, sought, &TypePair::cim) -
                                  std::begin(kTypes));
}

constexpr auto kPlaces = [] {
  std::array<std::size_t, static_cast<std::size_t>(CimType::kReference) + 1> places{};
  for (std::size_t type = 0; type < places.size(); ++type) {
    places[type] = placeOf(static_cast<CimType>(type));
  }
  return places;
}();

const TypePair& pairOf(CimType type) {
  return kTypes[kPlaces[static_cast<std::size_t>(type)]];
}

/// A copy, since callers may change their path afterwards; a null for what names no object.
StoredValue referenceFrom(const CMPIObjectPath* handle) {
  const PathObject* path = get<PathObject>(handle);
  if (path == nullptr) return StoredValue(CimType::kReference);
  return StoredValue::reference({nullptr, std::make_shared<const StoredPath>(path->path)});
}

StoredValue textFrom(const CMPIString* handle) {
  const StringObject* string = get<StringObject>(handle);
  return string != nullptr ? StoredValue::text(requestTexts().get(string->text.view()))
                           : StoredValue(CimType::kString);
}

std::optional<StoredValue> scalarFrom(const CMPIValue& value, CMPIType type) {
  switch (type) {
    case CMPI_boolean:
      return StoredValue::boolean(value.boolean != 0);
    case CMPI_char16:
      return StoredValue::number(CimType::kChar16, value.char16);
    case CMPI_uint8:
      return StoredValue::number(CimType::kUint8, value.uint8);
    case CMPI_uint16:
      return StoredValue::number(CimType::kUint16, value.uint16);
    case CMPI_uint32:
      return StoredValue::number(CimType::kUint32, value.uint32);
    case CMPI_uint64:
      return StoredValue::number(CimType::kUint64, value.uint64);
    case CMPI_sint8:
      return StoredValue::signedNumber(CimType::kSint8, value.sint8);
    case CMPI_sint16:
      return StoredValue::signedNumber(CimType::kSint16, value.sint16);
    case CMPI_sint32:
      return StoredValue::signedNumber(CimType::kSint32, value.sint32);
    case CMPI_sint64:
      return StoredValue::signedNumber(CimType::kSint64, value.sint64);
    case CMPI_real32:
      return StoredValue::real(CimType::kReal32, static_cast<double>(value.real32));
    case CMPI_real64:
      return StoredValue::real(CimType::kReal64, value.real64);
    case CMPI_string:
      return textFrom(value.string);
    case CMPI_ref:
      return referenceFrom(value.ref);
    default:
      return std::nullopt;
  }
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
  return pairOf(type).cmpi;
}

std::optional<StoredValue> valueFrom(const CMPIValue* value, CMPIType type) {
  const bool isArray = (type & CMPI_ARRAY) != 0;
  if (value != nullptr && !isArray) {
    // Text comes as the pointer itself, not as the address of a value that holds it.
    if (type == CMPI_chars) {
      return StoredValue::text(requestTexts().get(reinterpret_cast<const char*>(value)));
    }
    return scalarFrom(*value, type);
  }
  const auto cimType = cimTypeOf(type);
  if (!cimType) return std::nullopt;
  const ArrayObject* array = value != nullptr ? get<ArrayObject>(value->array) : nullptr;
  return array != nullptr ? StoredValue::array(array->type, array->elements)
                          : StoredValue(*cimType, isArray);
}

CMPIData dataFrom(const StoredValue& value) {
  const TypePair& type = pairOf(value.type());
  CMPIData data =
      nullData(value.isArray() ? static_cast<CMPIType>(CMPI_ARRAY | type.cmpi) : type.cmpi);
  if (value.isNull()) return data;
  data.state = CMPI_goodValue;
  if (value.isArray()) {
    data.value.array = make<ArrayObject>(value.type(), value.elements());
    return data;
  }
  type.put(data.value, value);
  const bool refersToNothing = data.type == CMPI_ref && data.value.ref == nullptr;
  if (refersToNothing) data.state = CMPI_nullValue;
  return data;
}

CMPIData stringData(CMPIString* string) {
  CMPIData data = nullData(CMPI_string);
  data.state = CMPI_goodValue;
  data.value.string = string;
  return data;
}

CMPIData notFound(CMPIStatus* status, CMPIrc code, std::string_view text) {
  setStatus(status, {code, makeString(text)});
  CMPIData data = nullData(CMPI_null);
  data.state = CMPI_nullValue | CMPI_notFound;
  return data;
}

CMPIData nullData(CMPIType type) {
  CMPIData data{};
  data.type = type;
  data.state = CMPI_nullValue;
  return data;
}

}  // namespace cimom
