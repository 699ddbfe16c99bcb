#pragma once

#include <model/mof_value.h>

#include <string>
#include <string_view>

#include "standard_qualifiers.h"
#include "xml_writer.h"

namespace cimom {

/// Qualifiers as the elements of DMTF DSP0201. The repository keeps neither types nor flavors of
/// qualifiers: those of the standard are known, and any other is overridable, passed on to
/// subclasses and of the type that its value shows.

/// QUALIFIER.
void writeQualifier(XmlWriter& writer, const std::string& name, const MofValue& value,
                    bool propagated);

/// QUALIFIER.DECLARATION, with SCOPE and default.
void writeQualifierDeclaration(XmlWriter& writer, const StandardQualifier& qualifier);

/// The declaration of a qualifier that the standard does not know, by one of its values. Lives as
/// long as the name.
StandardQualifier derivedQualifier(std::string_view name, const MofValue& value);

/// True for a qualifier that subclasses inherit.
bool passesToSubclasses(std::string_view name);

}  // namespace cimom
