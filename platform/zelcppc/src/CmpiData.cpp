#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>
#include <zelcppc/CmpiString.h>

namespace zelInt {

namespace {

CMPIData goodData(CMPIType type) {
  CMPIData data{};
  data.type = type;
  data.state = CMPI_goodValue;
  return data;
}

struct Word {
  unsigned code;
  const char* text;
};

constexpr Word kTypes[] = {
    {CMPI_null, "null"},        {CMPI_boolean, "boolean"},   {CMPI_char16, "char16"},
    {CMPI_real32, "real32"},    {CMPI_real64, "real64"},     {CMPI_uint8, "uint8"},
    {CMPI_uint16, "uint16"},    {CMPI_uint32, "uint32"},     {CMPI_uint64, "uint64"},
    {CMPI_sint8, "sint8"},      {CMPI_sint16, "sint16"},     {CMPI_sint32, "sint32"},
    {CMPI_sint64, "sint64"},    {CMPI_instance, "instance"}, {CMPI_ref, "reference"},
    {CMPI_args, "arguments"},   {CMPI_string, "string"},     {CMPI_enumeration, "enumeration"},
    {CMPI_chars, "characters"}, {CMPI_dateTime, "datetime"}};

constexpr Word kFaultyStates[] = {
    {CMPI_nullValue, "null"}, {CMPI_notFound, "not found"}, {CMPI_badValue, "bad"}};

std::string typeName(CMPIType type) {
  if ((type & CMPI_ARRAY) != 0) {
    return "array of " + typeName(static_cast<CMPIType>(type & ~CMPI_ARRAY));
  }
  for (const Word& word : kTypes) {
    if (word.code == type) return word.text;
  }
  return "code " + std::to_string(type);
}

/// What of the data is not as it should be, such as "the pointer is null and the state is null".
std::string faultsOf(const CmpiData& data, CMPIType wanted) {
  std::string faults;
  if (data.type() != wanted) {
    faults = "the type is " + typeName(data.type());
  } else if (!data.holdsObject()) {
    faults = "the pointer is null";
  }
  // Beside a good pointer the state has no meaning.
  if (data.holdsObject()) return faults;
  for (const Word& word : kFaultyStates) {
    if ((data.raw().state & word.code) == 0) continue;
    faults += std::string(" and the state is ") + word.text;
  }
  return faults;
}

[[noreturn]] void throwTypeMismatch(const CmpiData& data, CMPIType wanted) {
  throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH, "a value of type " + typeName(wanted) +
                                                  " was expected, but " + faultsOf(data, wanted));
}

void requireObject(const CmpiData& data, CMPIType wanted) {
  if (data.type() != wanted || !data.holdsObject()) throwTypeMismatch(data, wanted);
}

}  // namespace

CmpiData::CmpiData(const CmpiArray& array)
    : data_(goodData(static_cast<CMPIType>(CMPI_ARRAY | array.elementType()))) {
  data_.value.array = const_cast<CMPIArray*>(array.getHandle());
}

CmpiData::CmpiData(const CmpiObjectPath& path) : data_(goodData(CMPI_ref)) {
  data_.value.ref = const_cast<CMPIObjectPath*>(path.getHandle());
}

CmpiData::operator CmpiInstance() const {
  requireObject(*this, CMPI_instance);
  return CmpiInstance(data_.value.inst);
}

CmpiData::operator CmpiObjectPath() const {
  requireObject(*this, CMPI_ref);
  return CmpiObjectPath(data_.value.ref);
}

CmpiData::operator CmpiString() const {
  if (data_.type == CMPI_null) return CmpiString("");
  if (data_.type == CMPI_chars) return CmpiString(static_cast<const char*>(data_.value.chars));
  if (data_.type != CMPI_string) throwTypeMismatch(*this, CMPI_string);
  return CmpiString(static_cast<const CMPIString*>(data_.value.string));
}

}  // namespace zelInt
