#pragma once

#include <model/value.h>
#include <mof/class_repository.h>

#include <iosfwd>
#include <vector>

#include "options.h"

namespace pcicim {

/// Prints instances. Text: one block each, names aligned, values with the meaning that their class
/// gives them; JSON: an array, one object to a line, its class as "@class", references as objects,
/// bytes that are no UTF-8 replaced; MOF: what a MOF reader reads back.
void printInstances(const std::vector<cimom::Instance>& instances,
                    const cimom::ClassRepository& classes, Format format, std::ostream& out);

/// Prints object paths: one to a line, in JSON an array of objects.
void printPaths(const std::vector<cimom::ObjectPath>& paths, Format format, std::ostream& out);

/// Prints classes by name, each with its superclass and description, as text or JSON; as MOF they
/// are files already.
void printClasses(const std::vector<std::string>& names, const cimom::ClassRepository& classes,
                  Format format, std::ostream& out);

}  // namespace pcicim
