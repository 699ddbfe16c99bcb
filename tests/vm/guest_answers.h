#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace vmtest {

using Json = nlohmann::json;

/// What the guest's command of this name printed. Throws std::runtime_error with its complaints if
/// it failed, and if it was never run.
std::string answer(const std::string& name);

/// The instances of a class that `source` (live, saved, ...) showed, in the order of the answer.
std::vector<Json> instances(const std::string& source, const std::string& className);

/// Fields of one function by name, as `lspci -D -n -vmm` prints them.
using Fields = std::map<std::string, std::string>;

/// The functions in such an answer, by address.
std::map<std::string, Fields> fieldsByAddress(const std::string& text);

/// The number that a field holds in hex digits; 0 for one that lspci leaves out.
std::uint32_t hexField(const Fields& fields, const std::string& name);

/// Slot numbers that the guest's kernel knows, by segment, bus and device ("0000:03:00").
std::map<std::string, int> slotsByDevice(const std::string& text);

/// How many times a text occurs in another, without overlap.
std::size_t occurrences(const std::string& text, std::string_view part);

}  // namespace vmtest
