#include "standard_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace pcicim {
namespace {

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

bool wantsColours(Colours choice) {
  if (choice != Colours::kAuto) {
    return choice == Colours::kAlways;
  }
  const std::string_view terminal = variable("TERM");
  return isatty(STDOUT_FILENO) != 0 && !terminal.empty() && terminal != "dumb" &&
         variable("NO_COLOR").empty();
}

StandardOutputBuffer::StandardOutputBuffer() {
  setp(characters_.data(), characters_.data() + characters_.size());
}

StandardOutputBuffer::int_type StandardOutputBuffer::overflow(int_type character) {
  writeOut();
  if (error_ != 0) {
    return traits_type::eof();
  }
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    sputc(traits_type::to_char_type(character));
  }
  return traits_type::not_eof(character);
}

int StandardOutputBuffer::sync() {
  writeOut();
  return error_ == 0 ? 0 : -1;
}

void StandardOutputBuffer::writeOut() {
  const char* at = pbase();
  while (error_ == 0 && at != pptr()) {
    const ssize_t written = write(STDOUT_FILENO, at, static_cast<std::size_t>(pptr() - at));
    if (written >= 0) {
      at += written;
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
  setp(characters_.data(), characters_.data() + characters_.size());
}

}  // namespace pcicim
