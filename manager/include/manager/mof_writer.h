#pragma once

#include <string>
#include <string_view>

#include <manager/repository.h>
#include <manager/value.h>

namespace cimom {

/// The text as a MOF string, in quotes, whatever is not printable on its line escaped; UTF-8 stays
/// as it is. Control characters that have no letter of their own become \x escapes; a zero byte,
/// which MOF cannot express, is left out. Safe from any thread, as all functions here.
std::string writeMofString(std::string_view text);

/// The value as it stands to the right of '=': NULL, true, 42, "text", 'c', $alias, or several in
/// braces.
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

/// The same as writeMof(toMof(instance)).
std::string writeMof(const Instance& instance);

/// The instance's path, the properties taken as its keys, in their order:
/// Class.First="text",Second=42. References are strings that hold the path of their target. With a
/// namespace the text starts with it and a colon.
std::string writePath(const MofInstance& keys, std::string_view nameSpace = {});

}  // namespace cimom
