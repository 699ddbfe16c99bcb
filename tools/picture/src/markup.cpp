#include <picture/markup.h>

#include <model/visible_text.h>

namespace pcicim {
namespace {

/// U+FFFE and U+FFFF differ in their last bit.
constexpr std::string_view kNoCharacter = "\xef\xbf\xbe";

bool isNoCharacter(std::string_view text) {
  return text.size() >= kNoCharacter.size() && text.substr(0, 2) == kNoCharacter.substr(0, 2) &&
         (text[2] == kNoCharacter[2] || text[2] == '\xbf');
}

}  // namespace

std::string markupText(std::string_view text) {
  const std::string visible = cimom::visibleText(text);
  std::string out;
  out.reserve(visible.size());
  for (std::size_t i = 0; i < visible.size(); ++i) {
    switch (visible[i]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        if (isNoCharacter(std::string_view(visible).substr(i))) {
          out += "\xef\xbf\xbd";
          i += kNoCharacter.size() - 1;
        } else {
          out += visible[i];
        }
    }
  }
  return out;
}

}  // namespace pcicim
