#include "password.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace pcicim {
namespace {

constexpr const char* kVariable = "PCICIM_PASSWORD";
constexpr std::size_t kLongestPassword = 4096;

std::string fromFile(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!file || !std::getline(file, line)) {
    const std::string reason =
        file.is_open() ? "no line in it" : std::generic_category().message(errno);
    throw std::runtime_error("cannot read the password in " + path + ": " + reason);
  }
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

/// The controlling terminal, which shows nothing of what is typed for as long as this lives.
class SilentTerminal {
 public:
  SilentTerminal() : terminal_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (terminal_ < 0 || tcgetattr(terminal_, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    isSilent_ = tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (isSilent_) tcsetattr(terminal_, TCSAFLUSH, &before_);
    if (terminal_ >= 0) close(terminal_);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool isSilent() const { return isSilent_; }

  bool say(std::string_view text) const {
    return write(terminal_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }

  /// False at the end of the input.
  bool readLine(std::string& line) const {
    char next = 0;
    while (line.size() < kLongestPassword && read(terminal_, &next, 1) == 1) {
      if (next == '\n') return true;
      line += next;
    }
    return false;
  }

 private:
  int terminal_;
  termios before_{};
  bool isSilent_ = false;
};

std::string fromTerminal(const std::string& user) {
  const SilentTerminal terminal;
  std::string line;
  const bool isRead = terminal.isSilent() && terminal.say("Password of " + user + ": ") &&
                      terminal.readLine(line) && terminal.say("\n");
  if (!isRead) {
    throw std::runtime_error("no password for " + user + ": there is no terminal to ask at; use " +
                             "--password-file or " + kVariable);
  }
  return line;
}

}  // namespace

std::string readPassword(const std::string& user, const std::string& file) {
  if (!file.empty()) return fromFile(file);
  if (const char* given = std::getenv(kVariable)) return given;
  return fromTerminal(user);
}

}  // namespace pcicim
