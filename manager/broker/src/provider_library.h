#pragma once

#include <filesystem>
#include <string>

namespace cimom {

/// An opened provider library, closed at the end.
class ProviderLibrary {
 public:
  /// Throws CimError (FAILED) naming the file when it cannot be opened.
  explicit ProviderLibrary(const std::filesystem::path& file);
  ~ProviderLibrary();
  ProviderLibrary(const ProviderLibrary&) = delete;
  ProviderLibrary& operator=(const ProviderLibrary&) = delete;

  /// What the library exports under that name; null when there is no such symbol.
  void* symbol(const std::string& name) const;

 private:
  void* handle_;
};

}  // namespace cimom
