// Any answer of a server is read to the same end, in whatever pieces it arrives: the same objects,
// the same error or output, or a refusal.
#include <cim_xml/response_reader.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

std::string described(const cimom::ReceivedObject& object) {
  std::string text = object.isInstance ? "instance " : "path ";
  text += object.instance.path.host + "|" + cimom::toText(object.instance.path);
  for (const auto& [name, value] : object.instance.properties) {
    text += "|" + name + (value.isArray ? "[]" : "") + (value.isNull ? " null" : "=");
    for (const cimom::Scalar& element : value.elements) text += cimom::toText(element) + ",";
  }
  return text + "\n";
}

/// What is read of the answer, and how that ends. Of a refusal only that it is one: how much was
/// read before depends on the pieces.
std::string outcome(std::string_view answer, std::size_t piece) {
  constexpr std::size_t kMostBytes = std::size_t{1} << 20;
  constexpr std::size_t kMostObjects = 1000;
  cimom::ResponseBudget budget{kMostBytes, kMostObjects};
  cimom::ResponseReader reader("Ask", "7", "root/cimv2", budget);
  std::string text;
  try {
    while (!answer.empty()) {
      reader.read(answer.substr(0, piece));
      answer.remove_prefix(std::min(piece, answer.size()));
      for (const auto& object : reader.takeObjects()) text += described(object);
    }
    reader.finish();
  } catch (const cimom::ResponseError& error) {
    require(*error.what() != '\0');
    return "refused";
  }
  if (reader.error()) text += reader.error()->what();
  if (reader.endOfSequence()) text += *reader.endOfSequence() ? " last" : " more";
  return text + reader.enumerationContext();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view answer(reinterpret_cast<const char*>(data), size);
  const std::string whole = outcome(answer, std::string_view::npos / 2);
  for (const std::size_t piece : {1U, 7U, 64U}) require(outcome(answer, piece) == whole);
  return 0;
}
