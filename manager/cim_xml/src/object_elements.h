#pragma once

#include <model/operations.h>
#include <model/value.h>
#include <mof/class_repository.h>

#include <set>
#include <string>
#include <string_view>

#include "xml_writer.h"

namespace cimom {

/// How much of a class or an instance is written.
struct ElementOptions {
  /// Classes only: what the class itself declares or overrides, nothing that it inherits.
  bool localOnly = false;
  bool qualifiers = false;
  bool classOrigin = false;
  /// As the request gives it; setProperties() sets it.
  PropertyList propertyList;

  void setProperties(PropertyList list);
  /// False for a property that the request does not name, keys too.
  bool wants(std::string_view property) const;

 private:
  /// The names of propertyList, to find one at once.
  std::set<std::string, NameLess> wanted_;
};

/// CLASS, with its methods.
void writeClass(XmlWriter& writer, const ClassRepository& repository,
                const ClassDeclaration& declaration, const ElementOptions& options);

/// INSTANCE; where `asClass` is not empty, with the properties of that class alone.
void writeInstance(XmlWriter& writer, const ClassRepository& repository, const Instance& instance,
                   const ElementOptions& options, const std::string& asClass = {});

}  // namespace cimom
