#pragma once

#include <model/names.h>
#include <mof/class_repository.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "provider_factory.h"
#include "provider_library.h"

namespace cimom {

/// The provider libraries and what they serve, by class. Load first, from one thread.
class LoadedProviders {
 public:
  /// In alphabetical order, names compared regardless of case.
  using ByClass = std::map<std::string, ClassProvider, NameLess>;

  /// The repository outlives this object.
  explicit LoadedProviders(const ClassRepository& repository) : repository_(repository) {}
  /// Cleans up every provider, then closes the libraries.
  ~LoadedProviders();
  LoadedProviders(const LoadedProviders&) = delete;
  LoadedProviders& operator=(const LoadedProviders&) = delete;

  /// See ObjectManager::loadProvider.
  void load(const std::filesystem::path& file);

  ByClass& byClass() { return byClass_; }

 private:
  bool take(const ProviderLibrary& library, const std::string& className);

  const ClassRepository& repository_;
  // Closed last: the records of the providers lie in the libraries.
  std::vector<std::unique_ptr<ProviderLibrary>> libraries_;
  ByClass byClass_;
};

}  // namespace cimom
