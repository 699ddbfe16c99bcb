#pragma once

#include <cmpi/cmpi.h>

#include <model/cim_type.h>

#include <optional>
#include <string_view>

#include "stored_value.h"

/// Values between CMPI's unions and the broker's objects.
namespace cimom {

/// The CIM type of a CMPI scalar type (the array flag does not count), if there is one.
std::optional<CimType> cimTypeOf(CMPIType type);
/// The CMPI type of a scalar of the CIM type.
CMPIType cmpiTypeOf(CimType type);

/// The value that a caller hands over; nothing when its type is not a CIM type.
std::optional<StoredValue> valueFrom(const CMPIValue* value, CMPIType type);

/// The value for a caller; text, paths and arrays in it belong to the thread's request.
CMPIData dataFrom(const StoredValue& value);

/// The text of the string, which is there.
CMPIData stringData(CMPIString* string);

/// A null value of the type.
CMPIData nullData(CMPIType type);
/// What says that there is no value, with the reason as status.
CMPIData notFound(CMPIStatus* status, CMPIrc code, std::string_view text);

}  // namespace cimom
