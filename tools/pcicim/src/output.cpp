#include "output.h"

#include <mof/mof_writer.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>

namespace pcicim {
namespace {

using Json = nlohmann::ordered_json;

std::string onOneLine(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <typename Items, typename ToJson>
void printJsonArray(const Items& items, std::ostream& out, const ToJson& toJson) {
  const char* separator = "\n";
  out << '[';
  for (const auto& item : items) {
    out << separator << onOneLine(toJson(item));
    separator = ",\n";
  }
  out << (items.empty() ? "]\n" : "\n]\n");
}

Json toJson(const cimom::ObjectPath& path);

Json toJson(const cimom::Scalar& scalar) {
  return std::visit(
      [](const auto& value) -> Json {
        using Held = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<Held, std::shared_ptr<const cimom::ObjectPath>>) {
          return value ? toJson(*value) : Json(nullptr);
        } else {
          return value;
        }
      },
      scalar);
}

Json toJson(const cimom::Value& value) {
  if (value.isNull || (!value.isArray && value.elements.empty())) {
    return nullptr;
  }
  if (!value.isArray) {
    return toJson(value.elements.front());
  }
  Json array = Json::array();
  for (const cimom::Scalar& element : value.elements) {
    array.push_back(toJson(element));
  }
  return array;
}

void addValues(Json& object, const std::vector<cimom::NamedValue>& values) {
  for (const auto& [name, value] : values) {
    object[name] = toJson(value);
  }
}

Json toJson(const cimom::ObjectPath& path) {
  Json object = Json::object();
  object["@class"] = path.className;
  if (!path.nameSpace.empty()) {
    object["@namespace"] = path.nameSpace;
  }
  addValues(object, path.keys);
  return object;
}

Json toJson(const cimom::Instance& instance) {
  Json object = Json::object();
  object["@class"] = instance.path.className;
  addValues(object, instance.properties);
  return object;
}

/// What the class's ValueMap and Values say that the number means; empty when they say nothing.
std::string meaning(const cimom::PropertyDeclaration* property, const std::string& number) {
  if (property == nullptr) {
    return "";
  }
  const auto* map = cimom::findQualifier(property->qualifiers, "ValueMap");
  const auto* values = cimom::findQualifier(property->qualifiers, "Values");
  if (map == nullptr || values == nullptr) {
    return "";
  }
  const std::size_t count = std::min(map->elements.size(), values->elements.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (map->elements[i].text == number) {
      return values->elements[i].text;
    }
  }
  return "";
}

std::string explained(const cimom::Value& value, const cimom::PropertyDeclaration* property) {
  const cimom::MofValue mof = cimom::toMof(value);
  std::string text = cimom::writeMof(mof);
  std::string meanings;
  for (const auto& element : mof.elements) {
    const std::string word = meaning(property, element.text);
    if (!word.empty()) {
      meanings += (meanings.empty() ? "" : ", ") + word;
    }
  }
  return meanings.empty() ? text : text + " (" + meanings + ")";
}

void printText(const cimom::Instance& instance, const cimom::ClassRepository& classes,
               std::ostream& out) {
  std::size_t width = 0;
  for (const auto& [name, value] : instance.properties) {
    width = std::max(width, name.size());
  }
  out << instance.path.className << '\n';
  for (const auto& [name, value] : instance.properties) {
    out << "  " << name << std::string(width - name.size(), ' ') << " = "
        << explained(value, classes.findProperty(instance.path.className, name)) << '\n';
  }
}

std::string description(const cimom::ClassDeclaration& declaration) {
  const auto* text = cimom::findQualifier(declaration.qualifiers, "Description");
  return text == nullptr ? "" : std::string(text->text());
}

}  // namespace

void printInstances(const std::vector<cimom::Instance>& instances,
                    const cimom::ClassRepository& classes, Format format, std::ostream& out) {
  if (format == Format::kJson) {
    printJsonArray(instances, out, [](const auto& instance) { return toJson(instance); });
    return;
  }
  const char* separator = "";
  for (const cimom::Instance& instance : instances) {
    out << separator;
    if (format == Format::kMof) {
      out << cimom::writeMof(cimom::toMof(instance));
    } else {
      printText(instance, classes, out);
    }
    separator = "\n";
  }
}

void printPaths(const std::vector<cimom::ObjectPath>& paths, Format format, std::ostream& out) {
  if (format == Format::kJson) {
    printJsonArray(paths, out, [](const auto& path) { return toJson(path); });
    return;
  }
  for (const cimom::ObjectPath& path : paths) {
    out << cimom::toText(path) << '\n';
  }
}

void printClasses(const std::vector<std::string>& names, const cimom::ClassRepository& classes,
                  Format format, std::ostream& out) {
  std::vector<const cimom::ClassDeclaration*> declarations;
  for (const std::string& name : names) {
    if (const auto* declaration = classes.find(name)) {
      declarations.push_back(declaration);
    }
  }
  if (format == Format::kJson) {
    printJsonArray(declarations, out, [](const auto* declaration) {
      return Json{{"name", declaration->name},
                  {"superclass", declaration->superclass},
                  {"description", description(*declaration)}};
    });
    return;
  }
  for (const auto* declaration : declarations) {
    out << declaration->name << " : " << declaration->superclass << "\n  "
        << description(*declaration) << '\n';
  }
}

}  // namespace pcicim
