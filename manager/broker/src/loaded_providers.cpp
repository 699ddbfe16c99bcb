#include "loaded_providers.h"

#include <cstddef>
#include <utility>

#include <model/cim_error.h>

namespace cimom {
namespace {

template <class Record>
bool takeFactory(const ProviderLibrary& library, const std::string& name,
                 ProviderFactory<Record>& factory, const std::shared_ptr<std::mutex>& creation) {
  void* symbol = library.symbol(name);
  if (symbol == nullptr) return false;
  if (!factory.exists()) factory = ProviderFactory<Record>(symbol, name, creation);
  return true;
}

}  // namespace

LoadedProviders::~LoadedProviders() {
  for (auto& [name, provider] : byClass_) {
    provider.instance.cleanup();
    provider.association.cleanup();
  }
}

void LoadedProviders::load(const std::filesystem::path& file) {
  auto library = std::make_unique<ProviderLibrary>(file);
  std::size_t served = 0;
  for (const std::string& name : repository_.classNames()) {
    if (take(*library, name)) ++served;
  }
  if (served == 0) {
    throw CimError(CMPI_RC_ERR_FAILED,
                   file.string() + " holds no provider of a class of the schema");
  }
  libraries_.push_back(std::move(library));
}

bool LoadedProviders::take(const ProviderLibrary& library, const std::string& className) {
  ClassProvider& provider = byClass_[className];
  const bool instance =
      takeFactory(library, className + "_Create_InstanceMI", provider.instance, provider.creation);
  const bool association = takeFactory(library, className + "_Create_AssociationMI",
                                       provider.association, provider.creation);
  if (!provider.instance.exists() && !provider.association.exists()) byClass_.erase(className);
  return instance || association;
}

}  // namespace cimom
