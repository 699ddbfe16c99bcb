#pragma once

#include <model/cim_type.h>
#include <model/value.h>

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace cimom {

/// All character data right below the element.
std::string textOf(pugi::xml_node element);

/// The names of the NAMESPACE elements right below the element, with '/' between them.
std::string joinedNameSpace(pugi::xml_node path);

/// The number that the text writes, as keys of that type are written; nothing for another text.
std::optional<std::uint32_t> readUint32(std::string_view text);

/// What the text says as a value of the type; nothing when it is none of it, and for references,
/// which are no text.
std::optional<Scalar> readScalar(CimType type, const std::string& text);

}  // namespace cimom
