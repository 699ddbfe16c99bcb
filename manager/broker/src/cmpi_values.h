#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <optional>
#include <string>
#include <vector>

/// Values between CMPI's unions and the model.
namespace cimom {

/// The CIM type of a CMPI scalar type (the array flag does not count), if there is one.
std::optional<CimType> cimTypeOf(CMPIType type);
/// The CMPI type of a scalar of the CIM type.
CMPIType cmpiTypeOf(CimType type);

/// The value that a caller hands over; nothing when its type is not a CIM type.
std::optional<Value> valueFrom(const CMPIValue* value, CMPIType type);

/// The value for a caller; text, paths and arrays in it belong to the thread's request.
CMPIData dataFrom(const Value& value);
CMPIData dataFrom(const Scalar& scalar, CimType type);

/// A null value of the type.
CMPIData nullData(CMPIType type);
/// What says that there is no value, with the reason as status.
CMPIData notFound(CMPIStatus* status, CMPIrc code, const std::string& text);

/// Sets the value of that name, in any case, or adds it.
void putNamed(std::vector<NamedValue>& values, const char* name, Value value);

}  // namespace cimom
