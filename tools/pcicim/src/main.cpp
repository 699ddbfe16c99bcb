#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <ostream>
#include <string>
#include <system_error>

#include <model/cim_error.h>
#include "commands.h"
#include "diagnostics.h"
#include "exit_code.h"
#include "factory_lines.h"
#include "options.h"
#include "output.h"
#include "standard_output.h"

namespace {

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
    return pcicim::kSuccess;
  }
  if (output.error() != EPIPE) {
    pcicim::complain("cannot write the answer: " + std::generic_category().message(output.error()));
  }
  return pcicim::kFailure;
}

int printSaid(const pcicim::Parsed& parsed, pcicim::StandardOutputBuffer& buffer) {
  for (const std::string& line : parsed.complaints) {
    pcicim::complain(line);
  }
  std::ostream out(&buffer);
  out << parsed.answer << std::flush;
  return parsed.exitCode != pcicim::kSuccess ? parsed.exitCode : outcomeOf(buffer);
}

int exitCodeOf(const std::exception& error) {
  const auto* status = dynamic_cast<const cimom::CimError*>(&error);
  const bool isMissing = status != nullptr && status->code() == CMPI_RC_ERR_NOT_FOUND;
  return isMissing ? pcicim::kNotFound : pcicim::kFailure;
}

}  // namespace

int main(int count, char** words) {
  keepStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  const pcicim::Parsed parsed = pcicim::parseCommandLine(count, words);
  pcicim::StandardOutputBuffer buffer;
  if (parsed.done) {
    return printSaid(parsed, buffer);
  }
  if (!parsed.options.verbose) {
    pcicim::leaveOutFactoryLines();
  }
  std::ostream out(&buffer);
  try {
    pcicim::runCommand(parsed.options, out);
  } catch (const pcicim::OutputFailure&) {
    // The buffer knows why.
  } catch (const std::exception& error) {
    out.flush();
    pcicim::complain(error.what());
    return exitCodeOf(error);
  }
  out.flush();
  return outcomeOf(buffer);
}
