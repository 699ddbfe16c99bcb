#pragma once

#include <cim_xml/response_reader.h>

#include <pugixml.hpp>
#include <string>

namespace cimom {

/// The object that an element below IRETURNVALUE holds: an instance with or without its path, or a
/// path. Throws ResponseError.
ReceivedObject readReceivedObject(pugi::xml_node element, const std::string& nameSpace);

}  // namespace cimom
