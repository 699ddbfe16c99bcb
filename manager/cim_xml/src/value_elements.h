#pragma once

#include <model/value.h>
#include <mof/class_repository.h>

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "value_text.h"
#include "xml_writer.h"

namespace cimom {

/// The path that an INSTANCENAME element names, in the given namespace; keys get the types that
/// their class declares. Hosts of nested paths are dropped: there is no other host to ask. Throws
/// CimError: INVALID_CLASS for the class itself, INVALID_PARAMETER for all else.
ObjectPath readInstanceName(pugi::xml_node element, const std::string& nameSpace,
                            const ClassRepository& repository);

/// The value as VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY; nothing for null.
void writeValue(XmlWriter& writer, const Value& value);
void writeValue(XmlWriter& writer, const MofValue& value);

/// LOCALNAMESPACEPATH.
void writeLocalNameSpacePath(XmlWriter& writer, std::string_view nameSpace);
void writeClassName(XmlWriter& writer, std::string_view className);
void writeInstanceName(XmlWriter& writer, const ObjectPath& path);

/// CLASSPATH, and INSTANCEPATH with the path's own host where it has one.
void writeClassPath(XmlWriter& writer, std::string_view className, const std::string& nameSpace,
                    const std::string& host);
void writeInstancePath(XmlWriter& writer, const ObjectPath& path, const std::string& host);

}  // namespace cimom
