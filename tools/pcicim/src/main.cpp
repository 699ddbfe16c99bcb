#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <model/cim_error.h>
#include "commands.h"
#include "each_host.h"
#include "exit_code.h"
#include "factory_lines.h"
#include "options.h"
#include "output.h"
#include "report.h"
#include "serve.h"
#include "service_manager.h"
#include "standard_output.h"
#include "supervisor.h"

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
    pcicim::report(pcicim::Severity::kError,
                   "cannot write the answer: " + std::generic_category().message(output.error()));
  }
  return pcicim::kFailure;
}

int printSaid(const pcicim::Parsed& parsed, pcicim::StandardOutputBuffer& buffer) {
  for (const std::string& line : parsed.complaints) {
    pcicim::report(pcicim::Severity::kError, line);
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

/// Differences end diff with 1, so that a failure needs another code.
int failureOf(const pcicim::Options& options, int code) {
  return options.command == pcicim::Command::kDiff ? pcicim::kTrouble : code;
}

int run(const pcicim::Options& options) {
  if (!options.verbose) {
    pcicim::leaveOutFactoryLines();
  }
  pcicim::StandardOutputBuffer buffer;
  std::ostream out(&buffer);
  int code = pcicim::kSuccess;
  try {
    code = pcicim::runCommand(options, out);
  } catch (const pcicim::OutputFailure&) {
    // The buffer knows why.
  } catch (const pcicim::HostsFailed& failed) {
    out.flush();
    const int outcome = outcomeOf(buffer);
    return outcome != pcicim::kSuccess ? outcome : failed.exitCode();
  } catch (const std::exception& error) {
    out.flush();
    pcicim::report(pcicim::Severity::kError, error.what());
    return failureOf(options, exitCodeOf(error));
  }
  out.flush();
  const int outcome = outcomeOf(buffer);
  return outcome != pcicim::kSuccess ? failureOf(options, outcome) : code;
}

/// Each serving process reads the command line anew, and with it the file that it names.
int runReloadable(const pcicim::Options& options, int count, const char* const* words) {
  if (options.inventory == "-") {
    throw std::runtime_error(
        "--reloadable reads the inventory anew: it takes a file, not standard input");
  }
  const pcicim::ServeOptions& first = options.serve;
  const auto sockets =
      first.sockets.empty() ? std::vector<int>{pcicim::openSocket(first)} : first.sockets;
  return pcicim::supervise(sockets, [&](const std::vector<int>& passed, const auto& isReady) {
    pcicim::Parsed parsed = pcicim::parseCommandLine(count, words);
    if (parsed.done) {
      pcicim::StandardOutputBuffer buffer;
      return printSaid(parsed, buffer);
    }
    parsed.options.serve.sockets = passed;
    parsed.options.serve.isReady = isReady;
    return run(parsed.options);
  });
}

int runServer(pcicim::Options options, int count, const char* const* words) {
  try {
    options.serve.sockets = pcicim::passedSockets();
    if (options.serve.isReloadable) return runReloadable(options, count, words);
  } catch (const std::exception& error) {
    pcicim::report(pcicim::Severity::kError, error.what());
    return pcicim::kFailure;
  }
  options.serve.isReady = [] { pcicim::notifyServiceManager("READY=1\nSTATUS=Serving"); };
  return run(options);
}

}  // namespace

int main(int count, char** words) {
  keepStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  const pcicim::Parsed parsed = pcicim::parseCommandLine(count, words);
  if (parsed.done) {
    pcicim::StandardOutputBuffer buffer;
    return printSaid(parsed, buffer);
  }
  const bool isServer = parsed.options.command == pcicim::Command::kServe;
  return isServer ? runServer(parsed.options, count, words) : run(parsed.options);
}
