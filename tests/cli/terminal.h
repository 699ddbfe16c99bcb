#pragma once

#include <sys/types.h>

#include <string>

#include "run_pcicim.h"

namespace clitest {

/// A program whose standard error, or standard output and error, is a terminal.
class OnTerminal {
 public:
  /// Starts it. Standard output goes nowhere unless it is the terminal, too; standard input is the
  /// end of a pipe that feed() writes to. `environment` is added to the test's own.
  OnTerminal(const std::string& program, const Arguments& arguments, const Environment& environment,
             bool outputToo);
  ~OnTerminal();
  OnTerminal(const OnTerminal&) = delete;
  OnTerminal& operator=(const OnTerminal&) = delete;

  void feed(const std::string& text);
  void endInput();

  /// What the terminal has been sent, as soon as `text` is in it, or all of it when the program
  /// ends before or nothing comes for two minutes.
  std::string awaitShown(const std::string& text);
  /// The whole of it, once the program has ended; line ends are \r\n.
  std::string awaitEnd();

 private:
  bool readMore();

  int terminal_ = -1;
  int input_ = -1;
  pid_t child_ = -1;
  std::string shown_;
};

}  // namespace clitest
