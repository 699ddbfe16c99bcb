#include "qualifier_elements.h"

#include <array>

#include "value_elements.h"

namespace cimom {
namespace {

CimType typeOf(const MofValue& value) {
  switch (value.elements.empty() ? MofValue::Kind::kString : value.elements.front().kind) {
    case MofValue::Kind::kBoolean:
      return CimType::kBoolean;
    case MofValue::Kind::kNumber:
      return CimType::kSint64;
    case MofValue::Kind::kCharacter:
      return CimType::kChar16;
    default:
      return CimType::kString;
  }
}

StandardQualifier declarationOf(std::string_view name, const MofValue& value) {
  const StandardQualifier* known = findStandardQualifier(name);
  return known != nullptr ? *known : derivedQualifier(name, value);
}

/// What differs from the defaults of the attributes.
void writeFlavors(XmlElement& element, const StandardQualifier& qualifier) {
  if (!qualifier.overridable) element.attribute("OVERRIDABLE", "false");
  if (!qualifier.toSubclass) element.attribute("TOSUBCLASS", "false");
  if (qualifier.translatable) element.attribute("TRANSLATABLE", "true");
}

void writeScope(XmlWriter& writer, unsigned scope) {
  struct Place {
    QualifierScope bit;
    const char* name;
  };
  constexpr std::array<Place, 7> kPlaces = {{{kOnClass, "CLASS"},
                                             {kOnAssociation, "ASSOCIATION"},
                                             {kOnReference, "REFERENCE"},
                                             {kOnProperty, "PROPERTY"},
                                             {kOnMethod, "METHOD"},
                                             {kOnParameter, "PARAMETER"},
                                             {kOnIndication, "INDICATION"}}};
  XmlElement element(writer, "SCOPE");
  for (const Place& place : kPlaces) {
    if ((scope & place.bit) != 0) element.attribute(place.name, "true");
  }
}

}  // namespace

void writeQualifier(XmlWriter& writer, const std::string& name, const MofValue& value,
                    bool propagated) {
  const StandardQualifier qualifier = declarationOf(name, value);
  XmlElement element(writer, "QUALIFIER");
  element.attribute("NAME", name).attribute("TYPE", typeName(qualifier.type));
  if (propagated) element.attribute("PROPAGATED", "true");
  writeFlavors(element, qualifier);
  writeValue(writer, value);
}

void writeQualifierDeclaration(XmlWriter& writer, const StandardQualifier& qualifier) {
  XmlElement element(writer, "QUALIFIER.DECLARATION");
  element.attribute("NAME", qualifier.name).attribute("TYPE", typeName(qualifier.type));
  element.attribute("ISARRAY", qualifier.isArray ? "true" : "false");
  writeFlavors(element, qualifier);
  writeScope(writer, qualifier.scope);
  if (qualifier.defaultValue.empty()) return;
  const XmlElement value(writer, "VALUE");
  writer.text(qualifier.defaultValue);
}

StandardQualifier derivedQualifier(std::string_view name, const MofValue& value) {
  return {name, typeOf(value), value.isArray, "", kEverywhere, true, true, false};
}

bool passesToSubclasses(std::string_view name) {
  const StandardQualifier* known = findStandardQualifier(name);
  return known == nullptr || known->toSubclass;
}

}  // namespace cimom
