#pragma once

#include <model/value.h>

#include <memory>
#include <optional>
#include <string>

namespace cimom {

/// Asks the provider of a class for one instance after the other, whose paths differ in the text of
/// one key. Most such names may not be there, so that all that a request needs is made once and
/// used anew. The object manager that it is of has to outlive it. One thread at a time.
class InstanceFinder {
 public:
  virtual ~InstanceFinder() = default;

  /// What ObjectManager::findInstance returns for the path with this text, and throws.
  virtual std::optional<Instance> find(const std::string& text) = 0;
};

}  // namespace cimom
