#pragma once

#include <interop/interop_operations.h>
#include <model/value.h>

#include <vector>

namespace cimom {

/// What the facts come to as instances, keys first, whatever classes there are.
std::vector<Instance> managerInstances(const ObjectManagerFacts& facts);

}  // namespace cimom
