#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// " (did you mean NAME?)" with the known name that differs least from the one given, upper and
/// lower case being the same; empty when none is near enough to be meant.
std::string suggestion(std::string_view given, const std::vector<std::string>& known);

}  // namespace pcicim
