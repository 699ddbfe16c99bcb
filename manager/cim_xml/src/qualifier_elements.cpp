#include "qualifier_elements.h"

#include <array>

#include <model/names.h>

#include "value_elements.h"

namespace cimom {
namespace {

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

unsigned scopeOf(std::string_view name) {
  if (sameName(name, "any")) return kEverywhere;
  for (const Place& place : kPlaces) {
    if (sameName(name, place.name)) return place.bit;
  }
  return 0;
}

std::string_view defaultOf(const QualifierDeclaration& declaration) {
  const auto& value = declaration.defaultValue;
  if (!value || value->elements.empty()) return {};
  if (value->elements.front().kind != MofValue::Kind::kBoolean) return value->text();
  return value->isTrue() ? "TRUE" : "FALSE";
}

/// What differs from the defaults of the attributes.
void writeFlavors(XmlElement& element, const QualifierRule& qualifier) {
  if (!qualifier.overridable) element.attribute("OVERRIDABLE", "false");
  if (!qualifier.toSubclass) element.attribute("TOSUBCLASS", "false");
  if (qualifier.translatable) element.attribute("TRANSLATABLE", "true");
}

void writeScope(XmlWriter& writer, unsigned scope) {
  XmlElement element(writer, "SCOPE");
  for (const Place& place : kPlaces) {
    if ((scope & place.bit) != 0) element.attribute(place.name, "true");
  }
}

/// QUALIFIER.
void writeQualifier(XmlWriter& writer, const QualifierRule& rule, const std::string& name,
                    const MofValue& value, bool propagated) {
  XmlElement element(writer, "QUALIFIER");
  element.attribute("NAME", name).attribute("TYPE", typeName(rule.type));
  if (propagated) element.attribute("PROPAGATED", "true");
  writeFlavors(element, rule);
  writeValue(writer, value);
}

}  // namespace

QualifierRule QualifierRules::of(std::string_view name, const MofValue& value) const {
  const auto& declared = repository_.qualifierDeclarations();
  if (const auto found = declared.find(name); found != declared.end()) return ruleOf(found->second);
  if (const QualifierRule* standard = findStandardQualifier(name)) return *standard;
  return {name, typeOf(value), value.isArray, "", kEverywhere, true, true, false};
}

void QualifierRules::write(XmlWriter& writer, const QualifierMap& qualifiers,
                           const QualifierMap* own) const {
  for (const auto& [name, value] : qualifiers) {
    writeQualifier(writer, of(name, value), name, value, own == nullptr || !own->contains(name));
  }
}

QualifierRule ruleOf(const QualifierDeclaration& declaration) {
  unsigned scope = 0;
  for (const std::string& name : declaration.scopes) scope |= scopeOf(name);
  return {declaration.name,
          declaration.type,
          declaration.isArray,
          defaultOf(declaration),
          scope,
          !holdsName(declaration.flavors, "DisableOverride"),
          !holdsName(declaration.flavors, "Restricted"),
          holdsName(declaration.flavors, "Translatable")};
}

void writeQualifierDeclaration(XmlWriter& writer, const QualifierRule& rule) {
  XmlElement element(writer, "QUALIFIER.DECLARATION");
  element.attribute("NAME", rule.name).attribute("TYPE", typeName(rule.type));
  element.attribute("ISARRAY", rule.isArray ? "true" : "false");
  writeFlavors(element, rule);
  writeScope(writer, rule.scope);
  if (rule.defaultValue.empty()) return;
  const XmlElement value(writer, "VALUE");
  writer.text(rule.defaultValue);
}

}  // namespace cimom
