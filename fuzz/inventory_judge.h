#pragma once

#include <string_view>
#include <vector>

#include "inventory_reader.h"

/// The rules of docs/saved-inventories.md once more, as plainly as they can be said: with the whole
/// text at hand, looking ahead as far as need be.
namespace inventoryjudge {

std::vector<HostCtl::SavedFunction> functionsOf(std::string_view text);

}  // namespace inventoryjudge
