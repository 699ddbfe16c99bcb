// Writes classes and instances as the elements of DMTF DSP0201. What a class inherits is marked as
// propagated. The functions share nothing but constants and the repository, which does not change:
// safe from any thread, each with a writer of its own.
#include "object_elements.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include <model/names.h>

#include "qualifier_elements.h"
#include "value_elements.h"

namespace cimom {
namespace {

constexpr const char* kTrue = "true";

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

/// A class from the inside: its own elements and those that it inherits.
class ClassWriter {
 public:
  ClassWriter(XmlWriter& writer, const ClassRepository& repository,
              const ClassDeclaration& declaration, const ElementOptions& options)
      : writer_(writer),
        repository_(repository),
        rules_(repository),
        declaration_(declaration),
        options_(options) {}

  void write() {
    XmlElement element(writer_, "CLASS");
    element.attribute("NAME", declaration_.name);
    if (!declaration_.superclass.empty()) {
      element.attribute("SUPERCLASS", declaration_.superclass);
    }
    if (options_.qualifiers) writeClassQualifiers();
    for (const auto& property : repository_.allProperties(declaration_.name)) {
      if (options_.wants(property.name)) writeProperty(property);
    }
    writeMethods();
  }

 private:
  void writeClassQualifiers() {
    QualifierMap all = declaration_.qualifiers;
    if (!options_.localOnly) addInheritedQualifiers(all);
    rules_.write(writer_, all, &declaration_.qualifiers);
  }

  void addInheritedQualifiers(QualifierMap& all) const {
    for (const std::string& name : repository_.superclasses(declaration_.name)) {
      addInherited(all, repository_.find(name)->qualifiers);
    }
  }

  void addInherited(QualifierMap& all, const QualifierMap& overridden) const {
    for (const auto& [name, value] : overridden) {
      if (rules_.of(name, value).toSubclass) all.emplace(name, value);
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
      rules_.write(writer_, onlyOwn ? *ownQualifiers : property.qualifiers.map(), ownQualifiers);
    }
    if (property.defaultValue) writeValue(writer_, *property.defaultValue);
  }

  void writeOrigin(XmlElement& element, const std::string& origin, bool propagated) const {
    if (options_.classOrigin) element.attribute("CLASSORIGIN", origin);
    if (propagated) element.attribute("PROPAGATED", kTrue);
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
    if (options_.qualifiers) writeMethodQualifiers(method, propagated, lineage);
    for (const PropertyDeclaration& parameter : method.parameters) writeParameter(parameter);
  }

  void writeMethodQualifiers(const MethodDeclaration& method, bool propagated,
                             const std::vector<std::string>& lineage) {
    const QualifierMap* own = propagated ? nullptr : &method.qualifiers;
    if (options_.localOnly) return rules_.write(writer_, method.qualifiers, own);
    QualifierMap all = method.qualifiers;
    for (const std::string& className : lineage) {
      for (const MethodDeclaration& overridden : repository_.find(className)->methods) {
        if (sameName(overridden.name, method.name)) addInherited(all, overridden.qualifiers);
      }
    }
    rules_.write(writer_, all, own);
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
    if (options_.qualifiers) rules_.write(writer_, parameter.qualifiers);
  }

  XmlWriter& writer_;
  const ClassRepository& repository_;
  const QualifierRules rules_;
  const ClassDeclaration& declaration_;
  const ElementOptions& options_;
};

void writeInstanceProperty(XmlWriter& writer, const QualifierRules& rules,
                           const NamedValue& property, const PropertyDeclaration* declaration,
                           const ElementOptions& options) {
  const Value& value = property.value;
  XmlElement element(writer, elementName(kPropertyNames, value.type, value.isArray));
  element.attribute("NAME", property.name);
  writeType(element, value.type, declaration);
  if (options.classOrigin && declaration != nullptr) {
    element.attribute("CLASSORIGIN", declaration->originClass);
  }
  if (options.qualifiers && declaration != nullptr) {
    rules.write(writer, declaration->qualifiers);
  }
  writeValue(writer, value);
}

}  // namespace

void ElementOptions::setProperties(PropertyList list) {
  wanted_.clear();
  if (list) wanted_.insert(list->begin(), list->end());
  propertyList = std::move(list);
}

bool ElementOptions::wants(std::string_view property) const {
  return !propertyList || wanted_.contains(property);
}

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
  const QualifierRules rules(repository);
  if (options.qualifiers && declaration != nullptr) {
    rules.write(writer, declaration->qualifiers);
  }
  for (const NamedValue& property : instance.properties) {
    const bool belongs =
        asClass.empty() || repository.findProperty(asClass, property.name) != nullptr;
    if (!belongs || !options.wants(property.name)) continue;
    writeInstanceProperty(writer, rules, property,
                          repository.findProperty(className, property.name), options);
  }
}

}  // namespace cimom
