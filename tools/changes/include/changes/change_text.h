#pragma once

#include <changes/comparison.h>
#include <model/value.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace pcicim {

/// Writes values for people.
class ValueWriter {
 public:
  virtual ~ValueWriter() = default;

  /// The value, a scalar, with what it means for that class where that is known.
  virtual std::string text(const std::string& className, const cimom::NamedValue& value) = 0;
};

/// Prints one line for each change, nothing in it as control.
void printChanges(const std::vector<Change>& changes, ValueWriter& values, std::ostream& out);

/// Prints an object with whose answers were compared (`before`, `after`) and the `changes`, each an
/// object on a line of its own with its kind as `change`.
void printChangesAsJson(const HostFacts& before, const HostFacts& after,
                        const std::vector<Change>& changes, std::ostream& out);

}  // namespace pcicim
