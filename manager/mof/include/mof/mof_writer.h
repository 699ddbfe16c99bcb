#pragma once

#include <string>

#include <model/mof_value.h>
#include <model/value.h>
#include <mof/mof_instance.h>

namespace cimom {

/// The value as it is written to the right of '=': NULL, true, 42, "text", 'c', $alias, or several
/// in braces. In strings, whatever is not printable on its line is escaped and UTF-8 stays as it
/// is; control characters that have no letter of their own become \x escapes; a zero byte, which
/// MOF cannot express, is left out. Safe from any thread, as all functions here.
std::string writeMof(const MofValue& value);

/// The instance in MOF syntax, one property on each line, closed by "};" and a line end:
///
///     instance of Class {
///       Name = "value";
///     };
///
/// What ClassRepository::parse reads from it equals the instance.
std::string writeMof(const MofInstance& instance);

/// The value as MOF writes it; references become strings that hold the path of their target.
MofValue toMof(const Value& value);

/// The instance's class and properties as MOF writes them, in their order.
MofInstance toMof(const Instance& instance);

}  // namespace cimom
