#pragma once

#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiString.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include <syslog.h>

/// Text that comes from a client or from the object manager, on its way into the log. A line stays
/// one line, and within 1 KiB, which is what every system logger takes.
namespace pciprovider {

/// Bytes of one text in a log line; the words around it need less than the rest of 1 KiB.
inline constexpr std::size_t kMostBytesInLog = 900;

namespace log_text {

/// Whether a character may begin with the two bytes. Otherwise it is written longer than it need
/// be, which can hide a control character, is half of a pair, or is beyond the last character.
inline bool MayBegin(unsigned char lead, unsigned char second) {
  if (lead == 0xe0) return second >= 0xa0;
  if (lead == 0xed) return second < 0xa0;
  if (lead == 0xf0) return second >= 0x90;
  if (lead == 0xf4) return second < 0x90;
  return true;
}

/// Length of the UTF-8 character at the beginning of the text; 0 where there is none.
inline std::size_t CharacterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  std::size_t length = 0;
  if (lead < 0x80) length = 1;
  if (lead >= 0xc2 && lead < 0xe0) length = 2;
  if (lead >= 0xe0 && lead < 0xf0) length = 3;
  if (lead >= 0xf0 && lead < 0xf5) length = 4;
  if (length > text.size()) return 0;
  if (length > 1 && !MayBegin(lead, static_cast<unsigned char>(text[1]))) return 0;
  for (const char c : text.substr(1, length > 0 ? length - 1 : 0)) {
    if ((static_cast<unsigned char>(c) & 0xc0U) != 0x80) return 0;
  }
  return length;
}

/// Control characters are those below the blank, DEL, and U+0080 to U+009F.
inline bool IsControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7f;
  return first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

inline bool IsPlainAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
}

inline std::string Escaped(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += code;
  }
  return text;
}

}  // namespace log_text

/// The text with control characters, and bytes that are no characters, written as "\x0a"; a longer
/// one ends in "...". All other text stays as it is.
inline std::string LogText(std::string_view text) {
  if (text.size() <= kMostBytesInLog && log_text::IsPlainAscii(text)) return std::string(text);
  constexpr std::string_view kCutMark = "...";
  std::string clean;
  std::size_t cutAt = 0;
  while (!text.empty() && clean.size() <= kMostBytesInLog) {
    const std::size_t length = log_text::CharacterLength(text);
    const std::string_view character = text.substr(0, length > 0 ? length : 1);
    const bool isPlain = length > 0 && !log_text::IsControl(character);
    clean += isPlain ? std::string(character) : log_text::Escaped(character);
    text.remove_prefix(character.size());
    if (clean.size() + kCutMark.size() <= kMostBytesInLog) cutAt = clean.size();
  }
  return clean.size() <= kMostBytesInLog ? clean : clean.substr(0, cutAt).append(kCutMark);
}

/// Whether a line of that priority is kept by the process. Where it is not, its text need not be
/// made.
inline bool IsLogged(int priority) {
  return (setlogmask(0) & LOG_MASK(priority)) != 0;
}

/// Logs a path between some words, for debugging. Throws CmpiStatus when the broker fails to give
/// the path's text.
inline void LogPath(const char* words, const char* mark, const zelInt::CmpiObjectPath& path,
                    const char* end = "") {
  if (!IsLogged(LOG_DEBUG)) return;
  syslog(LOG_DEBUG, "%s%s%s%s", words, mark, LogText(path.toString().charPtr()).c_str(), end);
}

}  // namespace pciprovider
