#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <mof/class_repository.h>

namespace {

/// False when reading the text, or any answer of its repository, ends in a MofError.
bool isWellFormed(std::string_view text, cimom::MofReading reading) {
  try {
    const auto repository = cimom::ClassRepository::parse(text, "<text>", reading);
    for (const auto& name : repository.subclasses("", true)) {
      for (const auto& property : repository.allProperties(name)) property.qualifiers.map();
    }
    repository.qualifierDeclarations();
  } catch (const cimom::MofError&) {
    return false;
  }
  return true;
}

}  // namespace

// Any bytes end in a repository whose every answer can be read, or in a MofError, and it is the
// same of both however far they are read before anybody asks.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (isWellFormed(text, cimom::MofReading::kAtOnce) !=
      isWellFormed(text, cimom::MofReading::kAsNeeded)) {
    std::abort();
  }
  return 0;
}
