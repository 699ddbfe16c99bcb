#pragma once

#include <model/operations.h>
#include <model/value.h>
#include <mof/class_repository.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <string>

namespace cimom {

/// The object that an association request starts from.
struct RequestedObject {
  bool isClass = false;
  /// For a class its name alone.
  ObjectPath path;
};

/// Bounds of a property list: each of its names may be compared with every property of an answer,
/// and providers may copy it for every instance.
constexpr std::size_t kMostProperties = 256;
constexpr std::size_t kLongestPropertyList = std::size_t{16} << 10;

/// The parameters of an operation. Each function takes one out by its name and throws CimError
/// (INVALID_PARAMETER) when it is not of the type asked for; a parameter without a value counts as
/// not given. In the end expectNoOthers() refuses what was not taken.
class RequestParameters {
 public:
  /// Throws CimError (INVALID_PARAMETER) when one is given twice. The element outlives this.
  RequestParameters(pugi::xml_node call, std::string nameSpace, const ClassRepository& repository);

  bool boolean(const char* name, bool otherwise);
  /// Empty when not given.
  std::string text(const char* name);
  std::string className(const char* name);
  /// Nothing when not given.
  std::optional<std::uint32_t> number(const char* name);
  /// Each name once, in the order given. Refused beyond kMostProperties names and
  /// kLongestPropertyList bytes, which no class comes near.
  PropertyList properties();

  std::uint32_t requiredNumber(const char* name);
  std::string requiredText(const char* name);
  std::string requiredClassName(const char* name);
  ObjectPath requiredInstanceName(const char* name);
  RequestedObject requiredObject(const char* name);

  void expectNoOthers() const;

 private:
  pugi::xml_node take(const char* name);

  std::map<std::string, pugi::xml_node, NameLess> untaken_;
  std::string nameSpace_;
  const ClassRepository& repository_;
};

}  // namespace cimom
