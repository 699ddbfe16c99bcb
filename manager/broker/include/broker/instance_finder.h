#pragma once

#include <model/operations.h>

#include <optional>
#include <string>
#include <vector>

namespace cimom {

/// Asks the provider of a class for many instances, whose paths differ in the text of one key. Most
/// such names may not be there, so that all that a request needs is made once and used anew. The
/// object manager that it is of has to outlive it. One thread at a time.
class InstanceFinder {
 public:
  virtual ~InstanceFinder() = default;

  /// Asks for the path with each of the texts in turn, as ObjectManager::findInstance does, and
  /// hands over those that are there. What findInstance throws for one of them ends it.
  virtual void findEach(const std::vector<std::string>& texts, const InstanceSink& sink) = 0;

  /// One of them; nothing when it is not there.
  std::optional<Instance> find(const std::string& text);
};

}  // namespace cimom
