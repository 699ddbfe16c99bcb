// Peak and retained memory of reading a saved inventory, for each function: of host control alone,
// and of the provider's whole build on top of it. Each measurement is a process of its own, since a
// process reads its host once; each inventory comes through a pipe.
// Usage: memory_bench [FUNCTIONS]     (1 to 65,536; 16,000 by default)
#include <PciTopologyCache.h>
#include <qarctl/HostFactory.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "heap_count.h"
#include "streamed_host.h"

namespace {

constexpr unsigned kFunctions = 16'000;
constexpr unsigned kMostFunctions = 65'536;
constexpr std::size_t kFormats[] = {64, 256, 4096};

/// The largest resident set of the process so far.
std::size_t residentPeak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::strtoul(line.c_str() + 6, nullptr, 10) * 1024;
  }
  return 0;
}

/// Reads with `read`, which keeps what it has read, and prints what that cost.
template <class Read>
void measure(const char* what, unsigned functions, std::size_t bytes, const Read& read) {
  const qarctltest::StreamedHost host(functions, bytes);
  const std::size_t before = heapcount::Held();
  const std::size_t resident = residentPeak();
  heapcount::ForgetPeak();
  const auto kept = read();
  const auto perFunction = [functions](std::size_t size) {
    return static_cast<double>(size) / functions;
  };
  std::printf("%-14s %10zu %10.0f %10.0f %10.0f\n", what, bytes,
              perFunction(heapcount::Held() - before), perFunction(heapcount::Peak() - before),
              perFunction(residentPeak() - resident));
}

void measureHostControl(unsigned functions, std::size_t bytes) {
  measure("host control", functions, bytes,
          [] { return HostCtl::Host::GetHardwareInfo()->GetPciInfo()->GetPciDevices(); });
}

void measureBoth(unsigned functions, std::size_t bytes) {
  measure("both libraries", functions, bytes, [] { return pciprovider::LoadCache(); });
}

/// Returns whether the measurement could be made.
bool inProcessOfItsOwn(void (*measurement)(unsigned, std::size_t), unsigned functions,
                       std::size_t bytes) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    measurement(functions, bytes);
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// 0 for a text that is no number of functions.
unsigned functionsOf(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && number <= kMostFunctions ? number : 0;
}

}  // namespace

int main(int count, char** words) {
  const unsigned functions = count > 1 ? functionsOf(words[1]) : kFunctions;
  if (functions == 0 || count > 2) {
    std::fprintf(stderr, "Usage: memory_bench [FUNCTIONS]     (1 to %u)\n", kMostFunctions);
    return 2;
  }
  // The build traces each port.
  setlogmask(LOG_MASK(LOG_ERR) | LOG_MASK(LOG_WARNING));
  std::printf("Bytes for each of %u functions\n%-14s %10s %10s %10s %10s\n", functions, "",
              "format", "retained", "peak", "resident");
  for (const auto measurement : {measureHostControl, measureBoth}) {
    for (const std::size_t bytes : kFormats) {
      if (!inProcessOfItsOwn(measurement, functions, bytes)) return 1;
    }
  }
  return 0;
}
