#include "request_parameters.h"

#include <model/cim_error.h>

#include <set>
#include <utility>
#include <vector>

#include "value_elements.h"

namespace cimom {
namespace {

[[noreturn]] void refuse(const std::string& name, const char* reason) {
  throw CimError(CMPI_RC_ERR_INVALID_PARAMETER, "parameter " + name + " " + reason);
}

std::string requireGiven(const char* name, std::string text) {
  if (text.empty()) refuse(name, "is missing");
  return text;
}

pugi::xml_node valueOf(pugi::xml_node parameter) {
  return parameter.find_child(
      [](pugi::xml_node child) { return child.type() == pugi::node_element; });
}

pugi::xml_node requireElement(const char* parameter, pugi::xml_node value, const char* element) {
  if (std::string_view(value.name()) != element) refuse(parameter, "has a value of another kind");
  return value;
}

}  // namespace

RequestParameters::RequestParameters(pugi::xml_node call, std::string nameSpace,
                                     const ClassRepository& repository)
    : nameSpace_(std::move(nameSpace)), repository_(repository) {
  for (const pugi::xml_node parameter : call.children("IPARAMVALUE")) {
    const std::string name = parameter.attribute("NAME").value();
    if (!untaken_.emplace(name, valueOf(parameter)).second) refuse(name, "stands twice");
  }
}

pugi::xml_node RequestParameters::take(const char* name) {
  const auto found = untaken_.find(std::string_view(name));
  if (found == untaken_.end()) return {};
  const pugi::xml_node value = found->second;
  untaken_.erase(found);
  return value;
}

bool RequestParameters::boolean(const char* name, bool otherwise) {
  const pugi::xml_node given = take(name);
  if (!given) return otherwise;
  const std::string value = textOf(requireElement(name, given, "VALUE"));
  if (sameName(value, "true")) return true;
  if (!sameName(value, "false")) refuse(name, "is neither TRUE nor FALSE");
  return false;
}

std::string RequestParameters::text(const char* name) {
  const pugi::xml_node value = take(name);
  return value ? textOf(requireElement(name, value, "VALUE")) : std::string();
}

std::string RequestParameters::className(const char* name) {
  const pugi::xml_node value = take(name);
  return value ? requireElement(name, value, "CLASSNAME").attribute("NAME").value() : "";
}

std::optional<std::uint32_t> RequestParameters::number(const char* name) {
  const pugi::xml_node value = take(name);
  if (!value) return std::nullopt;
  const auto number = readUint32(textOf(requireElement(name, value, "VALUE")));
  if (!number) refuse(name, "is no number of type uint32");
  return number;
}

PropertyList RequestParameters::properties() {
  constexpr const char* kName = "PropertyList";
  const pugi::xml_node value = take(kName);
  if (!value) return std::nullopt;
  std::vector<std::string> names;
  std::set<std::string, NameLess> known;
  std::size_t bytes = 0;
  for (const auto element : requireElement(kName, value, "VALUE.ARRAY").children("VALUE")) {
    std::string name = textOf(element);
    if (!known.insert(name).second) continue;
    bytes += name.size();
    names.push_back(std::move(name));
    if (names.size() > kMostProperties || bytes > kLongestPropertyList) {
      refuse(kName, "names more properties than any class has");
    }
  }
  return names;
}

std::uint32_t RequestParameters::requiredNumber(const char* name) {
  const std::optional<std::uint32_t> given = number(name);
  if (!given) refuse(name, "is missing");
  return *given;
}

std::string RequestParameters::requiredText(const char* name) {
  return requireGiven(name, text(name));
}

std::string RequestParameters::requiredClassName(const char* name) {
  return requireGiven(name, className(name));
}

ObjectPath RequestParameters::requiredInstanceName(const char* name) {
  const pugi::xml_node value = take(name);
  if (!value) refuse(name, "is missing");
  return readInstanceName(requireElement(name, value, "INSTANCENAME"), nameSpace_, repository_);
}

RequestedObject RequestParameters::requiredObject(const char* name) {
  const auto found = untaken_.find(std::string_view(name));
  const bool isClass =
      found != untaken_.end() && std::string_view(found->second.name()) == "CLASSNAME";
  if (!isClass) return {false, requiredInstanceName(name)};
  RequestedObject object{true, {}};
  object.path.className = requiredClassName(name);
  return object;
}

void RequestParameters::expectNoOthers() const {
  if (!untaken_.empty()) refuse(untaken_.begin()->first, "is unknown to this operation");
}

}  // namespace cimom
