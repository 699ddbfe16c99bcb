#pragma once

#include <model/operations.h>
#include <model/value.h>
#include <mof/class_repository.h>

#include <string>

#include "xml_writer.h"

namespace cimom {

/// How much of a class or an instance is written.
struct ElementOptions {
  /// Classes only: what the class itself declares or overrides, nothing that it inherits.
  bool localOnly = false;
  bool qualifiers = false;
  bool classOrigin = false;
  /// Properties of other names are left out, keys too.
  PropertyList properties;
};

/// CLASS, with its methods.
void writeClass(XmlWriter& writer, const ClassRepository& repository,
                const ClassDeclaration& declaration, const ElementOptions& options);

/// INSTANCE; where `asClass` is not empty, with the properties of that class alone.
void writeInstance(XmlWriter& writer, const ClassRepository& repository, const Instance& instance,
                   const ElementOptions& options, const std::string& asClass = {});

}  // namespace cimom
