// How the cost of loading an inventory and enumerating a class grows with its functions. The
// figures to read are those per function: they stay level when growth is linear.
#include <benchmark/benchmark.h>

#include <chrono>

#include "made_inventory.h"
#include "run_pcicim.h"

namespace {

void enumerateClass(benchmark::State& state, const char* className) {
  const auto functions = static_cast<unsigned>(state.range(0));
  const clitest::TemporaryFile inventory(clitest::machineOf(functions));
  long peakKilobytes = 0;
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    const clitest::Outcome outcome = clitest::runOn(inventory.path(), {"enum", className});
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(elapsed.count());
    if (outcome.status != 0) {
      state.SkipWithError(outcome.err.c_str());
      break;
    }
    peakKilobytes = outcome.peakKilobytes;
  }
  state.counters["us/function"] = benchmark::Counter(
      static_cast<double>(functions) / 1e6,
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["peak_KiB"] = static_cast<double>(peakKilobytes);
  state.counters["KiB/function"] = static_cast<double>(peakKilobytes) / functions;
  state.SetComplexityN(functions);
}

BENCHMARK_CAPTURE(enumerateClass, Zelmar_PCIDevice, "Zelmar_PCIDevice")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(60'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(enumerateClass, Zelmar_PCIPort, "Zelmar_PCIPort")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(60'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
