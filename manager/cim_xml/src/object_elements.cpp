// Writes classes and instances as the elements of DMTF DSP0201. The repository keeps neither types
// nor flavors of qualifiers, so both are derived here: the flavors from the table of the standard's
// qualifiers, the types from the values. What a class inherits is marked as propagated. The
// functions share nothing but constants and the repository, which does not change: safe from any
// thread, each with a writer of its own.
#include "object_elements.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <model/names.h>

#include "value_elements.h"

namespace cimom {
namespace {

/// What the standard (DMTF DSP0004) fixes for a qualifier; all else is overridable, passed on to
/// subclasses and not translatable.
struct QualifierRule {
  std::string_view name;
  bool overridable;
  bool toSubclass;
  bool translatable;
};

constexpr std::array<QualifierRule, 24> kRules = {{
    {"Abstract", true, false, false},    {"Aggregate", false, true, false},
    {"Aggregation", false, true, false}, {"Association", false, true, false},
    {"Composition", false, true, false}, {"Counter", false, true, false},
    {"Deprecated", true, false, false},  {"Description", true, true, true},
    {"DisplayName", true, true, true},   {"EmbeddedInstance", true, true, false},
    {"Exception", false, true, false},   {"Experimental", true, false, false},
    {"Gauge", false, true, false},       {"In", false, true, false},
    {"Indication", false, true, false},  {"Key", false, true, false},
    {"Out", true, true, false},          {"Override", true, false, false},
    {"Propagated", false, true, false},  {"Static", false, true, false},
    {"Terminal", true, false, false},    {"Values", true, true, true},
    {"Version", true, false, true},      {"Weak", false, true, false},
}};

QualifierRule ruleOf(std::string_view name) {
  const auto* rule = std::ranges::find_if(
      kRules, [name](const QualifierRule& candidate) { return sameName(candidate.name, name); });
  return rule != kRules.end() ? *rule : QualifierRule{name, true, true, false};
}

/// Numbers are signed where they bound a value, unsigned where they count.
CimType numberType(std::string_view name) {
  const bool counts = sameName(name, "MaxLen") || sameName(name, "MinLen") ||
                      sameName(name, "Max") || sameName(name, "Min");
  return counts ? CimType::kUint32 : CimType::kSint64;
}

CimType qualifierType(std::string_view name, const MofValue& value) {
  switch (value.elements.empty() ? MofValue::Kind::kString : value.elements.front().kind) {
    case MofValue::Kind::kBoolean:
      return CimType::kBoolean;
    case MofValue::Kind::kNumber:
      return numberType(name);
    case MofValue::Kind::kCharacter:
      return CimType::kChar16;
    default:
      return CimType::kString;
  }
}

const char* flag(bool value) {
  return value ? "true" : "false";
}

void writeQualifier(XmlWriter& writer, const std::string& name, const MofValue& value,
                    bool propagated) {
  const QualifierRule rule = ruleOf(name);
  XmlElement element(writer, "QUALIFIER");
  element.attribute("NAME", name).attribute("TYPE", typeName(qualifierType(name, value)));
  if (propagated) element.attribute("PROPAGATED", flag(true));
  if (!rule.overridable) element.attribute("OVERRIDABLE", flag(false));
  if (!rule.toSubclass) element.attribute("TOSUBCLASS", flag(false));
  if (rule.translatable) element.attribute("TRANSLATABLE", flag(true));
  writeValue(writer, value);
}

/// `own` are the qualifiers of the element itself; null when it is inherited whole.
void writeQualifiers(XmlWriter& writer, const QualifierMap& qualifiers, const QualifierMap* own) {
  for (const auto& [name, value] : qualifiers) {
    writeQualifier(writer, name, value, own == nullptr || !own->contains(name));
  }
}

void writeQualifiers(XmlWriter& writer, const QualifierMap& qualifiers) {
  writeQualifiers(writer, qualifiers, &qualifiers);
}

/// Element names of one shape for properties and parameters: plain, array, reference.
struct ShapeNames {
  const char* plain;
  const char* array;
  const char* reference;
  const char* referenceArray;
};
constexpr ShapeNames kPropertyNames = {"PROPERTY", "PROPERTY.ARRAY", "PROPERTY.REFERENCE",
                                       "PROPERTY.REFERENCE"};
constexpr ShapeNames kParameterNames = {"PARAMETER", "PARAMETER.ARRAY", "PARAMETER.REFERENCE",
                                        "PARAMETER.REFARRAY"};

const char* elementName(const ShapeNames& names, CimType type, bool isArray) {
  if (type == CimType::kReference) return isArray ? names.referenceArray : names.reference;
  return isArray ? names.array : names.plain;
}

void writeType(XmlElement& element, CimType type, const PropertyDeclaration* declaration) {
  if (type != CimType::kReference) {
    element.attribute("TYPE", typeName(type));
  } else if (declaration != nullptr && !declaration->referenceClass.empty()) {
    element.attribute("REFERENCECLASS", declaration->referenceClass);
  }
  if (declaration != nullptr && declaration->arraySize) {
    element.attribute("ARRAYSIZE", std::to_string(*declaration->arraySize));
  }
}

const PropertyDeclaration* ownProperty(const ClassDeclaration& declaration, std::string_view name) {
  const auto found = std::ranges::find_if(
      declaration.properties,
      [name](const PropertyDeclaration& property) { return sameName(property.name, name); });
  return found != declaration.properties.end() ? &*found : nullptr;
}

bool isWanted(const PropertyList& list, std::string_view name) {
  return !list || holdsName(*list, name);
}

/// A class from the inside: its own elements and those that it inherits.
class ClassWriter {
 public:
  ClassWriter(XmlWriter& writer, const ClassRepository& repository,
              const ClassDeclaration& declaration, const ElementOptions& options)
      : writer_(writer), repository_(repository), declaration_(declaration), options_(options) {}

  void write() {
    XmlElement element(writer_, "CLASS");
    element.attribute("NAME", declaration_.name);
    if (!declaration_.superclass.empty()) {
      element.attribute("SUPERCLASS", declaration_.superclass);
    }
    if (options_.qualifiers) writeClassQualifiers();
    for (const auto& property : repository_.allProperties(declaration_.name)) {
      if (isWanted(options_.properties, property.name)) writeProperty(property);
    }
    writeMethods();
  }

 private:
  void writeClassQualifiers() {
    QualifierMap all = declaration_.qualifiers;
    if (!options_.localOnly) addInheritedQualifiers(all);
    writeQualifiers(writer_, all, &declaration_.qualifiers);
  }

  void addInheritedQualifiers(QualifierMap& all) const {
    for (const std::string& name : repository_.superclasses(declaration_.name)) {
      for (const auto& [qualifier, value] : repository_.find(name)->qualifiers) {
        if (ruleOf(qualifier).toSubclass) all.emplace(qualifier, value);
      }
    }
  }

  void writeProperty(const PropertyDeclaration& property) {
    const PropertyDeclaration* own = ownProperty(declaration_, property.name);
    if (options_.localOnly && own == nullptr) return;
    XmlElement element(writer_, elementName(kPropertyNames, property.type, property.isArray));
    element.attribute("NAME", property.name);
    writeType(element, property.type, &property);
    writeOrigin(element, property.originClass, own == nullptr);
    if (options_.qualifiers) {
      const QualifierMap* ownQualifiers = own != nullptr ? &own->qualifiers.map() : nullptr;
      const bool onlyOwn = options_.localOnly && ownQualifiers != nullptr;
      writeQualifiers(writer_, onlyOwn ? *ownQualifiers : property.qualifiers.map(), ownQualifiers);
    }
    if (property.defaultValue) writeValue(writer_, *property.defaultValue);
  }

  void writeOrigin(XmlElement& element, const std::string& origin, bool propagated) const {
    if (options_.classOrigin) element.attribute("CLASSORIGIN", origin);
    if (propagated) element.attribute("PROPAGATED", flag(true));
  }

  void writeMethods() {
    std::vector<std::string> lineage = repository_.superclasses(declaration_.name);
    lineage.insert(lineage.begin(), declaration_.name);
    std::vector<std::string_view> written;
    for (const std::string& className : lineage) {
      for (const MethodDeclaration& method : repository_.find(className)->methods) {
        const bool overridden = std::ranges::any_of(
            written, [&](std::string_view name) { return sameName(name, method.name); });
        if (!overridden) writeMethod(method, className, lineage);
        written.push_back(method.name);
      }
      if (options_.localOnly) return;
    }
  }

  void writeMethod(const MethodDeclaration& method, const std::string& className,
                   const std::vector<std::string>& lineage) {
    XmlElement element(writer_, "METHOD");
    element.attribute("NAME", method.name);
    if (method.returnType) element.attribute("TYPE", typeName(*method.returnType));
    const bool propagated = className != declaration_.name;
    writeOrigin(element, firstDeclarer(method.name, lineage), propagated);
    if (options_.qualifiers) {
      writeQualifiers(writer_, method.qualifiers, propagated ? nullptr : &method.qualifiers);
    }
    for (const PropertyDeclaration& parameter : method.parameters) writeParameter(parameter);
  }

  std::string firstDeclarer(const std::string& method,
                            const std::vector<std::string>& lineage) const {
    const auto declares = [&](const std::string& className) {
      return std::ranges::any_of(
          repository_.find(className)->methods,
          [&](const MethodDeclaration& candidate) { return sameName(candidate.name, method); });
    };
    return *std::find_if(lineage.rbegin(), lineage.rend(), declares);
  }

  void writeParameter(const PropertyDeclaration& parameter) {
    XmlElement element(writer_, elementName(kParameterNames, parameter.type, parameter.isArray));
    element.attribute("NAME", parameter.name);
    writeType(element, parameter.type, &parameter);
    if (options_.qualifiers) writeQualifiers(writer_, parameter.qualifiers);
  }

  XmlWriter& writer_;
  const ClassRepository& repository_;
  const ClassDeclaration& declaration_;
  const ElementOptions& options_;
};

void writeInstanceProperty(XmlWriter& writer, const NamedValue& property,
                           const PropertyDeclaration* declaration, const ElementOptions& options) {
  const Value& value = property.value;
  XmlElement element(writer, elementName(kPropertyNames, value.type, value.isArray));
  element.attribute("NAME", property.name);
  writeType(element, value.type, declaration);
  if (options.classOrigin && declaration != nullptr) {
    element.attribute("CLASSORIGIN", declaration->originClass);
  }
  if (options.qualifiers && declaration != nullptr) {
    writeQualifiers(writer, declaration->qualifiers);
  }
  writeValue(writer, value);
}

}  // namespace

void writeClass(XmlWriter& writer, const ClassRepository& repository,
                const ClassDeclaration& declaration, const ElementOptions& options) {
  ClassWriter(writer, repository, declaration, options).write();
}

void writeInstance(XmlWriter& writer, const ClassRepository& repository, const Instance& instance,
                   const ElementOptions& options, const std::string& asClass) {
  XmlElement element(writer, "INSTANCE");
  const std::string& className = instance.path.className;
  element.attribute("CLASSNAME", className);
  const ClassDeclaration* declaration = repository.find(className);
  if (options.qualifiers && declaration != nullptr) {
    writeQualifiers(writer, declaration->qualifiers);
  }
  for (const NamedValue& property : instance.properties) {
    const bool belongs =
        asClass.empty() || repository.findProperty(asClass, property.name) != nullptr;
    if (!belongs || !isWanted(options.properties, property.name)) continue;
    writeInstanceProperty(writer, property, repository.findProperty(className, property.name),
                          options);
  }
}

}  // namespace cimom
