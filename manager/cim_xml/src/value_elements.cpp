// Reads the instance names of requests and writes values and paths, as the elements of DMTF
// DSP0201. Reading is strict: a key gets the type that its class declares, and one that the class
// does not have, that is given twice or that does not suit its type is a CimError with its name.
// Writing takes any value; a null value is written as nothing. The functions share nothing but the
// repository, which does not change: safe from any thread, each with an element and a writer of its
// own.
#include "value_elements.h"

#include <model/cim_error.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include <model/names.h>
#include <model/utf8.h>

#include "value_text.h"
#include "xml_character.h"

namespace cimom {
namespace {

using Text = std::optional<std::string>;

[[noreturn]] void refuse(const std::string& reason) {
  throw CimError(CMPI_RC_ERR_INVALID_PARAMETER, reason);
}

// Reading.

ObjectPath readReferencedPath(pugi::xml_node reference, const ClassRepository& repository) {
  if (const pugi::xml_node path = reference.child("INSTANCEPATH")) {
    const pugi::xml_node place = path.child("NAMESPACEPATH").child("LOCALNAMESPACEPATH");
    return readInstanceName(path.child("INSTANCENAME"), joinedNameSpace(place), repository);
  }
  if (const pugi::xml_node path = reference.child("LOCALINSTANCEPATH")) {
    return readInstanceName(path.child("INSTANCENAME"),
                            joinedNameSpace(path.child("LOCALNAMESPACEPATH")), repository);
  }
  return readInstanceName(reference.child("INSTANCENAME"), "", repository);
}

Value readReference(pugi::xml_node reference, const ClassRepository& repository) {
  try {
    return Value::reference(readReferencedPath(reference, repository));
  } catch (const CimError& error) {
    refuse("in a reference: " + error.text());
  }
}

/// `holder` is a KEYBINDING, or the INSTANCENAME itself where it names the only key's value alone.
Value readKey(pugi::xml_node holder, const PropertyDeclaration& key,
              const ClassRepository& repository) {
  if (key.type == CimType::kReference) {
    return readReference(holder.child("VALUE.REFERENCE"), repository);
  }
  const pugi::xml_node value = holder.child("KEYVALUE");
  std::optional<Scalar> scalar = value ? readScalar(key.type, textOf(value)) : std::nullopt;
  if (!scalar) {
    refuse("key " + key.name + " needs a value of type " + std::string(typeName(key.type)));
  }
  return {key.type, false, false, {std::move(*scalar)}};
}

const PropertyDeclaration& requireKey(const std::string& className, const std::string& name,
                                      const ClassRepository& repository) {
  const PropertyDeclaration* property = repository.findProperty(className, name);
  if (property == nullptr || !property->isKey) refuse("'" + name + "' is no key of " + className);
  return *property;
}

const PropertyDeclaration& requireOnlyKey(const std::string& className,
                                          const ClassRepository& repository) {
  const std::vector<std::string>& keys = repository.keys(className);
  if (keys.size() != 1) refuse("the key of " + className + " is not named");
  return *repository.findProperty(className, keys.front());
}

void addKey(ObjectPath& path, pugi::xml_node holder, const PropertyDeclaration& key,
            const ClassRepository& repository) {
  if (path.findKey(key.name) != nullptr) refuse("key " + key.name + " stands twice");
  path.keys.push_back({key.name, readKey(holder, key, repository)});
}

// Writing.

std::string characterText(std::uint64_t code) {
  std::string text;
  appendUtf8(text, isXmlCharacter(static_cast<char32_t>(code)) ? static_cast<char32_t>(code)
                                                               : char32_t{0xfffd});
  return text;
}

std::string realText(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-INF" : "INF";
  return toText(Scalar(number));
}

std::string booleanText(bool value) {
  return value ? "TRUE" : "FALSE";
}

std::string scalarText(const Scalar& scalar, CimType type) {
  if (const bool* value = std::get_if<bool>(&scalar)) return booleanText(*value);
  if (const double* number = std::get_if<double>(&scalar)) return realText(*number);
  const auto* code = std::get_if<std::uint64_t>(&scalar);
  return code != nullptr && type == CimType::kChar16 ? characterText(*code) : toText(scalar);
}

void writeText(XmlWriter& writer, const Text& text) {
  const XmlElement element(writer, text ? "VALUE" : "VALUE.NULL");
  if (text) writer.text(*text);
}

void writeTexts(XmlWriter& writer, bool isArray, const std::vector<Text>& texts) {
  if (!isArray) {
    if (!texts.empty() && texts.front()) writeText(writer, texts.front());
    return;
  }
  const XmlElement array(writer, "VALUE.ARRAY");
  for (const Text& text : texts) writeText(writer, text);
}

void writeNameSpacePath(XmlWriter& writer, const std::string& nameSpace, const std::string& host) {
  const XmlElement path(writer, "NAMESPACEPATH");
  {
    const XmlElement element(writer, "HOST");
    writer.text(host);
  }
  writeLocalNameSpacePath(writer, nameSpace);
}

/// As much of the path as is known: a reference without a host is one on this host.
void writeKnownPath(XmlWriter& writer, const ObjectPath& path) {
  if (path.nameSpace.empty()) return writeInstanceName(writer, path);
  if (!path.host.empty()) return writeInstancePath(writer, path, path.host);
  const XmlElement element(writer, "LOCALINSTANCEPATH");
  writeLocalNameSpacePath(writer, path.nameSpace);
  writeInstanceName(writer, path);
}

void writeReference(XmlWriter& writer, const Scalar& scalar) {
  const auto* path = std::get_if<std::shared_ptr<const ObjectPath>>(&scalar);
  if (path == nullptr || *path == nullptr) return;
  const XmlElement element(writer, "VALUE.REFERENCE");
  writeKnownPath(writer, **path);
}

void writeReferences(XmlWriter& writer, const Value& value) {
  if (!value.isArray) return writeReference(writer, value.elements.front());
  const XmlElement array(writer, "VALUE.REFARRAY");
  for (const Scalar& element : value.elements) writeReference(writer, element);
}

const char* keyValueType(CimType type) {
  switch (type) {
    case CimType::kBoolean:
      return "boolean";
    case CimType::kString:
    case CimType::kDateTime:
    case CimType::kChar16:
      return "string";
    default:
      return "numeric";
  }
}

void writeKey(XmlWriter& writer, const NamedValue& key) {
  XmlElement binding(writer, "KEYBINDING");
  binding.attribute("NAME", key.name);
  const Scalar& scalar = key.value.elements.empty() ? Scalar() : key.value.elements.front();
  if (key.value.type == CimType::kReference) return writeReference(writer, scalar);
  XmlElement element(writer, "KEYVALUE");
  element.attribute("VALUETYPE", keyValueType(key.value.type));
  writer.text(scalarText(scalar, key.value.type));
}

}  // namespace

ObjectPath readInstanceName(pugi::xml_node element, const std::string& nameSpace,
                            const ClassRepository& repository) {
  const std::string className = element.attribute("CLASSNAME").value();
  if (className.empty()) refuse("an instance's name without its class");
  const ClassDeclaration* declaration = repository.find(className);
  if (declaration == nullptr) throw CimError(CMPI_RC_ERR_INVALID_CLASS, "no class " + className);
  ObjectPath path;
  path.nameSpace = nameSpace;
  path.className = declaration->name;
  for (const pugi::xml_node binding : element.children("KEYBINDING")) {
    const std::string name = binding.attribute("NAME").value();
    addKey(path, binding, requireKey(path.className, name, repository), repository);
  }
  if (element.child("KEYVALUE") || element.child("VALUE.REFERENCE")) {
    addKey(path, element, requireOnlyKey(path.className, repository), repository);
  }
  return path;
}

void writeValue(XmlWriter& writer, const Value& value) {
  if (value.isNull || (!value.isArray && value.elements.empty())) return;
  if (value.type == CimType::kReference) return writeReferences(writer, value);
  std::vector<Text> texts;
  for (const Scalar& element : value.elements) {
    const bool isNull = std::holds_alternative<std::monostate>(element);
    texts.push_back(isNull ? Text() : scalarText(element, value.type));
  }
  writeTexts(writer, value.isArray, texts);
}

void writeValue(XmlWriter& writer, const MofValue& value) {
  std::vector<Text> texts;
  for (const MofValue::Element& element : value.elements) {
    if (element.kind == MofValue::Kind::kNull) {
      texts.emplace_back();
    } else if (element.kind == MofValue::Kind::kBoolean) {
      texts.push_back(booleanText(element.text == "true"));
    } else {
      texts.push_back(element.text);
    }
  }
  writeTexts(writer, value.isArray, texts);
}

void writeLocalNameSpacePath(XmlWriter& writer, std::string_view nameSpace) {
  const XmlElement path(writer, "LOCALNAMESPACEPATH");
  while (!nameSpace.empty()) {
    const std::string_view part = nameSpace.substr(0, nameSpace.find('/'));
    XmlElement(writer, "NAMESPACE").attribute("NAME", part);
    nameSpace.remove_prefix(std::min(part.size() + 1, nameSpace.size()));
  }
}

void writeClassName(XmlWriter& writer, std::string_view className) {
  XmlElement(writer, "CLASSNAME").attribute("NAME", className);
}

void writeInstanceName(XmlWriter& writer, const ObjectPath& path) {
  XmlElement element(writer, "INSTANCENAME");
  element.attribute("CLASSNAME", path.className);
  for (const NamedValue& key : path.keys) writeKey(writer, key);
}

void writeClassPath(XmlWriter& writer, std::string_view className, const std::string& nameSpace,
                    const std::string& host) {
  const XmlElement element(writer, "CLASSPATH");
  writeNameSpacePath(writer, nameSpace, host);
  writeClassName(writer, className);
}

void writeInstancePath(XmlWriter& writer, const ObjectPath& path, const std::string& host) {
  const XmlElement element(writer, "INSTANCEPATH");
  writeNameSpacePath(writer, path.nameSpace, path.host.empty() ? host : path.host);
  writeInstanceName(writer, path);
}

}  // namespace cimom
