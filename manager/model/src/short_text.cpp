#include <model/short_text.h>

#include <cstddef>

namespace cimom {
namespace {

constexpr std::size_t kWholeBytes = 1024;
constexpr std::size_t kStartBytes = 640;
constexpr std::size_t kEndBytes = 320;

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string shortText(std::string_view text) {
  if (text.size() <= kWholeBytes) return std::string(text);
  std::size_t start = kStartBytes;
  std::size_t end = text.size() - kEndBytes;
  // A character has three such bytes at most; text that is no UTF-8 may have any number.
  for (int i = 0; i < 3 && continuesCharacter(text[start]); ++i) --start;
  for (int i = 0; i < 3 && continuesCharacter(text[end]); ++i) ++end;
  return std::string(text.substr(0, start)) + " ... " + std::string(text.substr(end));
}

}  // namespace cimom
