#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "path_text.h"

namespace {

using pcicim::PathText;
using Key = PathText::Key;

std::string written(const Key& key) {
  if (key.kind != Key::Kind::kString) return key.name + "=" + key.value;
  std::string text = key.name + "=\"";
  for (const char c : key.value) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

std::string written(const PathText& path) {
  std::string text = path.nameSpace.empty() ? "" : path.nameSpace + ":";
  text += path.className;
  char separator = '.';
  for (const Key& key : path.keys) {
    text += separator + written(key);
    separator = ',';
  }
  return text;
}

bool isSame(const Key& left, const Key& right) {
  return left.name == right.name && left.kind == right.kind && left.value == right.value;
}

void require(bool holds) {
  if (!holds) std::abort();
}

/// Paths that were read can be written and read again.
void checkAgain(const PathText& path) {
  const PathText again = pcicim::parsePath(written(path));
  require(again.nameSpace == path.nameSpace && again.className == path.className);
  require(std::ranges::equal(again.keys, path.keys, isSame));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Any bytes are a path that reads the same when it is written down again, or end in a PathError;
// a value that is read begins within the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const PathText path = pcicim::parsePath(text);
    for (const Key& key : path.keys) require(key.position >= 1 && key.position <= size);
    try {
      checkAgain(path);
    } catch (const pcicim::PathError&) {
      std::abort();
    }
  } catch (const pcicim::PathError& error) {
    require(*error.what() != '\0');
  }
  return 0;
}
