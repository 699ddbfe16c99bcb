#include <fcntl.h>
#include <unistd.h>

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

/// Opens what the parent has closed, so that nothing that is opened later is taken for it. Writing
/// there and reading fail as they would with closed descriptors.
void keepStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    const bool isOpen = fcntl(descriptor, F_GETFD) >= 0;
    const int direction = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    // The lowest that is free is this one.
    if (!isOpen && open("/dev/null", direction) != descriptor) return;
  }
}

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
  keepStandardDescriptors();
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
