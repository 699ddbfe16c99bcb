#include "provider_library.h"

#include <model/cim_error.h>

#include <dlfcn.h>

namespace cimom {

ProviderLibrary::ProviderLibrary(const std::filesystem::path& file)
    : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ != nullptr) return;
  const char* reason = dlerror();
  throw CimError(CMPI_RC_ERR_FAILED, "cannot open provider library " + file.string() + ": " +
                                         (reason != nullptr ? reason : "unknown reason"));
}

ProviderLibrary::~ProviderLibrary() {
  dlclose(handle_);
}

void* ProviderLibrary::symbol(const std::string& name) const {
  return dlsym(handle_, name.c_str());
}

}  // namespace cimom
