#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>

#include "commands.h"
#include "options.h"

namespace {

constexpr int kFailure = 1;

/// Output that nobody reads any more is no error worth words; a full disk is.
int finishOutput() {
  errno = 0;
  if (std::cout.flush()) {
    return 0;
  }
  if (errno != EPIPE) {
    std::perror("pcicim: cannot write the answer");
  }
  return kFailure;
}

}  // namespace

int main(int count, char** words) {
  std::signal(SIGPIPE, SIG_IGN);
  std::ios::sync_with_stdio(false);
  const pcicim::Parsed parsed = pcicim::parseCommandLine(count, words);
  if (parsed.done) {
    return parsed.exitCode;
  }
  try {
    pcicim::runCommand(parsed.options, std::cout);
  } catch (const std::exception& error) {
    std::cout.flush();
    std::cerr << "pcicim: " << error.what() << '\n';
    return kFailure;
  }
  return finishOutput();
}
