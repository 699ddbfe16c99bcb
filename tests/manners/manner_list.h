#pragma once

#include <decorated_broker.h>

#include <ostream>
#include <vector>

/// Manners that change nothing of what a client sees.
namespace manners {

struct NamedManners {
  const char* name;
  test_support::Manners manners;
};

/// For the names of parameterised tests.
void PrintTo(const NamedManners& named, std::ostream* out);

/// Each manner by itself, and last all of them at once.
std::vector<NamedManners> harmlessManners();

}  // namespace manners
