#pragma once

#include <model/value.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace pcicim {

using Json = nlohmann::ordered_json;

/// The value as JSON: numbers, booleans and texts as they are, arrays as arrays, null as null, a
/// reference as toJson(ObjectPath) writes it. Safe from any thread, as all functions here.
Json toJson(const cimom::Value& value);

/// The path as an object: its class as "@class", its namespace, where it has one, as "@namespace",
/// and the keys.
Json toJson(const cimom::ObjectPath& path);

/// The values as members of the object, in their order.
void addValues(Json& object, const std::vector<cimom::NamedValue>& values);

/// The value that toJson() wrote; of a number only its kind (unsigned, signed, real) is known.
/// Throws std::runtime_error for JSON that no value is written as.
cimom::Value toValue(const Json& json);

/// On one line, bytes that are no UTF-8 replaced.
std::string onOneLine(const Json& json);

}  // namespace pcicim
