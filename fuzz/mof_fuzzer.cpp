#include <cstddef>
#include <cstdint>
#include <string_view>

#include <mof/class_repository.h>

// Any bytes end in a repository whose every answer can be read, or in a MofError.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const auto repository = cimom::ClassRepository::parse(text);
    for (const auto& name : repository.subclasses("", true)) repository.allProperties(name);
  } catch (const cimom::MofError&) {
    return 0;
  }
  return 0;
}
