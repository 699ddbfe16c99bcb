// Reads the elements of answers (DMTF DSP0201) as servers write them. What has a type is read by
// it, for there may be no schema; what contradicts its type is refused by name.
#include "received_elements.h"

#include <model/short_text.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include <model/names.h>

#include "value_text.h"

namespace cimom {
namespace {

[[noreturn]] void refuse(const std::string& reason) {
  throw ResponseError(reason);
}

std::string requireAttribute(pugi::xml_node element, const char* name) {
  const pugi::xml_attribute attribute = element.attribute(name);
  if (attribute.empty() || *attribute.value() == '\0') {
    refuse(std::string("an element ") + element.name() + " without " + name);
  }
  return attribute.value();
}

pugi::xml_node requireChild(pugi::xml_node element, const char* name) {
  const pugi::xml_node child = element.child(name);
  if (!child) refuse(std::string("an element ") + element.name() + " without " + name);
  return child;
}

// Paths.

bool isPath(std::string_view element) {
  constexpr std::array<std::string_view, 4> kPaths = {"INSTANCENAME", "INSTANCEPATH",
                                                      "LOCALINSTANCEPATH", "OBJECTPATH"};
  return std::ranges::find(kPaths, element) != kPaths.end();
}

pugi::xml_node findPath(pugi::xml_node element) {
  return element.find_child([](pugi::xml_node child) { return isPath(child.name()); });
}

ObjectPath readPath(pugi::xml_node element, const std::string& nameSpace);

Value readReference(pugi::xml_node element) {
  const pugi::xml_node path = findPath(element);
  if (!path) refuse("a reference that names no instance");
  return Value::reference(readPath(path, ""));
}

Value scalarValue(CimType type, Scalar scalar) {
  return {type, false, false, {std::move(scalar)}};
}

/// Without its type a number is what it looks like.
Value readUntypedNumber(const std::string& text) {
  for (const CimType type : {CimType::kUint64, CimType::kSint64, CimType::kReal64}) {
    if (auto scalar = readScalar(type, text)) return scalarValue(type, std::move(*scalar));
  }
  refuse("a key whose value is no number: " + shortText(text));
}

Value readKeyValue(pugi::xml_node element) {
  const std::string text = textOf(element);
  const std::string_view kind = element.attribute("VALUETYPE").as_string("string");
  const pugi::xml_attribute typed = element.attribute("TYPE");
  const bool isTyped = !typed.empty() && *typed.value() != '\0';
  if (!isTyped && sameName(kind, "numeric")) return readUntypedNumber(text);
  std::optional<CimType> type =
      isTyped ? typeNamed(typed.value()) : typeNamed(kind.empty() ? "string" : kind);
  if (!type) refuse("a key of unknown type " + shortText(isTyped ? typed.value() : kind));
  auto scalar = readScalar(*type, text);
  if (!scalar) {
    refuse("a key that is no " + std::string(typeName(*type)) + ": " + shortText(text));
  }
  return scalarValue(*type, std::move(*scalar));
}

Value readKey(pugi::xml_node binding) {
  if (const auto reference = binding.child("VALUE.REFERENCE")) return readReference(reference);
  return readKeyValue(requireChild(binding, "KEYVALUE"));
}

ObjectPath readName(pugi::xml_node element, const std::string& nameSpace) {
  ObjectPath path;
  path.nameSpace = nameSpace;
  path.className = requireAttribute(element, "CLASSNAME");
  if (element.child("KEYVALUE") || element.child("VALUE.REFERENCE")) {
    refuse("a path of " + path.className + " that does not name its key");
  }
  for (const pugi::xml_node binding : element.children("KEYBINDING")) {
    std::string name = requireAttribute(binding, "NAME");
    if (path.findKey(name) != nullptr) {
      refuse("a path of " + path.className + " with the key " + name + " twice");
    }
    path.keys.push_back({std::move(name), readKey(binding)});
  }
  return path;
}

ObjectPath readPath(pugi::xml_node element, const std::string& nameSpace) {
  const std::string_view kind = element.name();
  if (kind == "INSTANCENAME") return readName(element, nameSpace);
  if (kind == "OBJECTPATH") {
    const pugi::xml_node path = findPath(element);
    if (!path) refuse("an object path that names no instance");
    return readPath(path, nameSpace);
  }
  const pugi::xml_node full = element.child("NAMESPACEPATH");
  const pugi::xml_node holder = kind == "INSTANCEPATH" ? full : element;
  ObjectPath path = readName(requireChild(element, "INSTANCENAME"),
                             joinedNameSpace(requireChild(holder, "LOCALNAMESPACEPATH")));
  path.host = textOf(full.child("HOST"));
  return path;
}

// Properties.

class PropertyReader {
 public:
  explicit PropertyReader(pugi::xml_node element)
      : element_(element), name_(requireAttribute(element, "NAME")) {}

  NamedValue read() {
    const std::string_view kind = element_.name();
    Value value = kind == "PROPERTY.REFERENCE" ? readReferences()
                  : kind == "PROPERTY.ARRAY"   ? readArray()
                                               : readSingle();
    return {std::move(name_), std::move(value)};
  }

 private:
  CimType type() const {
    const char* written = element_.attribute("TYPE").as_string("string");
    const auto type = typeNamed(written);
    if (!type) refuse("property " + name_ + " is of the unknown type " + shortText(written));
    return *type;
  }

  Scalar scalar(CimType type, pugi::xml_node value) const {
    const std::string text = textOf(value);
    auto read = readScalar(type, text);
    if (!read) {
      refuse("property " + name_ + " of type " + std::string(typeName(type)) + " has the value " +
             shortText(text));
    }
    return std::move(*read);
  }

  Value readSingle() const {
    const CimType declared = type();
    const pugi::xml_node value = element_.child("VALUE");
    return value ? scalarValue(declared, scalar(declared, value)) : Value::null(declared);
  }

  Value readArray() const {
    Value array = Value::null(type(), true);
    const pugi::xml_node values = element_.child("VALUE.ARRAY");
    array.isNull = values.empty();
    for (const pugi::xml_node value : values.children()) {
      const std::string_view kind = value.name();
      if (kind == "VALUE") array.elements.push_back(scalar(array.type, value));
      if (kind == "VALUE.NULL") array.elements.emplace_back();
    }
    return array;
  }

  Value readReferences() const {
    if (const auto single = element_.child("VALUE.REFERENCE")) return readReference(single);
    const pugi::xml_node values = element_.child("VALUE.REFARRAY");
    Value all = Value::null(CimType::kReference, !values.empty());
    all.isNull = values.empty();
    for (const pugi::xml_node value : values.children("VALUE.REFERENCE")) {
      all.elements.push_back(std::move(readReference(value).elements.front()));
    }
    return all;
  }

  pugi::xml_node element_;
  std::string name_;
};

bool isProperty(std::string_view element) {
  return element == "PROPERTY" || element == "PROPERTY.ARRAY" || element == "PROPERTY.REFERENCE";
}

std::vector<NamedValue> readProperties(pugi::xml_node instance) {
  std::vector<NamedValue> properties;
  for (const pugi::xml_node child : instance.children()) {
    if (isProperty(child.name())) properties.push_back(PropertyReader(child).read());
  }
  return properties;
}

ReceivedObject readInstance(pugi::xml_node instance, ObjectPath path) {
  const std::string className = requireAttribute(instance, "CLASSNAME");
  if (path.className.empty()) path.className = className;
  return {{std::move(path), readProperties(instance)}, true};
}

}  // namespace

ReceivedObject readReceivedObject(pugi::xml_node element, const std::string& nameSpace) {
  constexpr std::array<std::string_view, 5> kInstances = {
      "VALUE.NAMEDINSTANCE", "VALUE.INSTANCEWITHPATH", "VALUE.OBJECTWITHPATH", "VALUE.NAMEDOBJECT",
      "VALUE.OBJECT"};
  const std::string_view kind = element.name();
  if (isPath(kind)) return {{readPath(element, nameSpace), {}}, false};
  ObjectPath unnamed;
  unnamed.nameSpace = nameSpace;
  if (kind == "INSTANCE") return readInstance(element, std::move(unnamed));
  if (std::ranges::find(kInstances, kind) == kInstances.end()) {
    refuse("an element " + shortText(kind) + " where an instance is expected");
  }
  const pugi::xml_node path = findPath(element);
  return readInstance(requireChild(element, "INSTANCE"),
                      path ? readPath(path, nameSpace) : std::move(unnamed));
}

}  // namespace cimom
