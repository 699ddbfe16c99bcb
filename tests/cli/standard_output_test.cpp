// What becomes of an answer that cannot be written.
#include <gtest/gtest.h>

#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"

namespace clitest {
namespace {

/// More than any buffer or pipe between two programs holds.
constexpr unsigned kFunctions = 1000;

/// Runs pcicim on a machine of that many functions in a shell: "$@" is the command line.
Outcome inShell(const std::string& script, unsigned functions) {
  const TemporaryFile machine(machineOf(functions));
  return runProgram("/bin/sh", {"-c", script, "sh", PCICIM_PROGRAM, "--inventory",
                                machine.path().string(), "enum", "Zelmar_PCIDevice"});
}

TEST(StandardOutput, AFullDiskIsToldWithItsReason) {
  for (const unsigned functions : {2U, kFunctions}) {
    const Outcome outcome = inShell("exec \"$@\" >/dev/full", functions);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "pcicim: cannot write the answer: No space left on device\n");
  }
}

TEST(StandardOutput, ThatNobodyReadsAnyMoreIsNotWorthWords) {
  const Outcome outcome = inShell("{ \"$@\"; echo \"exit $?\" >&2; } | head -n 1", kFunctions);
  EXPECT_EQ(outcome.out, "Zelmar_PCIDevice\n");
  EXPECT_EQ(outcome.err, "exit 1\n");
}

}  // namespace
}  // namespace clitest
