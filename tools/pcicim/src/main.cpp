#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <system_error>

#include "commands.h"
#include "options.h"
#include "output.h"
#include "standard_output.h"

namespace {

constexpr int kFailure = 1;

/// A reader that has closed the pipe is no error to report; a full disk is.
int outcomeOf(const pcicim::StandardOutputBuffer& output) {
  if (output.error() == 0) {
    return 0;
  }
  if (output.error() != EPIPE) {
    std::cerr << "pcicim: cannot write the answer: "
              << std::generic_category().message(output.error()) << '\n';
  }
  return kFailure;
}

}  // namespace

int main(int count, char** words) {
  std::signal(SIGPIPE, SIG_IGN);
  const pcicim::Parsed parsed = pcicim::parseCommandLine(count, words);
  if (parsed.done) {
    return parsed.exitCode;
  }
  pcicim::StandardOutputBuffer buffer;
  std::ostream out(&buffer);
  try {
    pcicim::runCommand(parsed.options, out);
  } catch (const pcicim::OutputFailure&) {
    // The buffer knows why.
  } catch (const std::exception& error) {
    out.flush();
    std::cerr << "pcicim: " << error.what() << '\n';
    return kFailure;
  }
  out.flush();
  return outcomeOf(buffer);
}
