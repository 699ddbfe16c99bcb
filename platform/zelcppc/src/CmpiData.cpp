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

[[noreturn]] void throwTypeMismatch(const char* wanted, const CMPIData& found) {
  throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH, std::string("a value of type ") + wanted +
                                                  " was expected, type code " +
                                                  std::to_string(found.type) + " was found");
}

void requireValue(const CMPIData& data, CMPIType type, const char* wanted) {
  if (data.type != type || (data.state & CMPI_nullValue) != 0) throwTypeMismatch(wanted, data);
}

}  // namespace

CmpiData::CmpiData(const char* text) : data_(goodData(CMPI_chars)) {
  // The C value has no const text; it is only ever read through this pointer.
  data_.value.chars = const_cast<char*>(text != nullptr ? text : "");
}

CmpiData::CmpiData(unsigned char value) : data_(goodData(CMPI_uint8)) {
  data_.value.uint8 = value;
}

CmpiData::CmpiData(unsigned short value) : data_(goodData(CMPI_uint16)) {
  data_.value.uint16 = value;
}

CmpiData::CmpiData(const CmpiArray& array)
    : data_(goodData(static_cast<CMPIType>(CMPI_ARRAY | array.elementType()))) {
  data_.value.array = const_cast<CMPIArray*>(array.getHandle());
}

CmpiData::CmpiData(const CmpiObjectPath& path) : data_(goodData(CMPI_ref)) {
  data_.value.ref = const_cast<CMPIObjectPath*>(path.getHandle());
}

CmpiData::operator CmpiInstance() const {
  requireValue(data_, CMPI_instance, "instance");
  if (data_.value.inst == nullptr) throwTypeMismatch("instance", data_);
  return CmpiInstance(data_.value.inst);
}

CmpiData::operator CmpiObjectPath() const {
  requireValue(data_, CMPI_ref, "reference");
  if (data_.value.ref == nullptr) throwTypeMismatch("reference", data_);
  return CmpiObjectPath(data_.value.ref);
}

CmpiData::operator CmpiString() const {
  const bool readable = data_.type == CMPI_string || data_.type == CMPI_chars;
  if (!readable && data_.type != CMPI_null) throwTypeMismatch("string", data_);
  if (isNull() || !readable) return CmpiString("");
  if (data_.type == CMPI_chars) return CmpiString(static_cast<const char*>(data_.value.chars));
  return CmpiString(static_cast<const CMPIString*>(data_.value.string));
}

const CMPIValue* CmpiData::valuePointer() const noexcept {
  if (data_.type == CMPI_chars) return reinterpret_cast<const CMPIValue*>(data_.value.chars);
  return &data_.value;
}

}  // namespace zelInt
