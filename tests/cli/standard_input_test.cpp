// Inventories from standard input, what is said of their kind, and how long work shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"
#include "terminal.h"

namespace clitest {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kAdvice = "; as root, \"lspci -D -xxxx >FILE\" saves an inventory\n";

/// pcicim over what a shell command makes of a sample: "$0" is the sample, "$1" the command.
Outcome fromPipe(const std::string& writer, const std::string& command) {
  return runProgram("/bin/sh", {"-c", writer + " | \"$1\" --inventory - " + command,
                                sample("q35-pcie-switches.txt").string(), PCICIM_PROGRAM});
}

TEST(StandardInput, IsReadAsAFileIs) {
  for (const char* command : {"tree", "count"}) {
    const std::string expected = runOn(sample("q35-pcie-switches.txt"), {command}).out;
    const Outcome piped = fromPipe("cat \"$0\"", command);
    EXPECT_EQ(piped.out, expected);
    EXPECT_EQ(piped.err, "");
    const Outcome redirected = fromPipe(":", std::string(command) + " <\"$0\"");
    EXPECT_EQ(redirected.out, expected) << redirected.err;
  }
}

TEST(StandardInput, OfManyPiecesIsReadToItsEnd) {
  const TemporaryFile machine(machineOf(2000));
  const Outcome outcome =
      runProgram("/bin/sh", {"-c", "dd bs=777 status=none <\"$0\" | \"$1\" --inventory - count",
                             machine.path().string(), PCICIM_PROGRAM});
  EXPECT_EQ(outcome.out, runOn(machine.path(), {"count"}).out);
  EXPECT_EQ(outcome.err, "");
}

TEST(StandardInput, ThatIsEmptyIsSaidToBe) {
  const Outcome outcome = fromPipe(":", "tree");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "No PCI functions.\n");
  EXPECT_EQ(outcome.err,
            "pcicim: standard input was empty: a host without PCI, or a command that failed\n");
}

TEST(StandardInput, ThatCannotBeReadIsAFailure) {
  const Outcome directory = fromPipe(":", "tree </");
  EXPECT_EQ(directory.status, 1);
  EXPECT_EQ(directory.err, "pcicim: standard input: Is a directory\n");
  const Outcome closed = fromPipe(":", "tree <&-");
  EXPECT_EQ(closed.status, 1);
  EXPECT_EQ(closed.err, "pcicim: standard input: Bad file descriptor\n");
}

TEST(Advice, OfWhatToSaveComesWithTextsOfAnotherKind) {
  for (const char* writer : {"gzip -c \"$0\"", "iconv -t UTF-16 \"$0\"", "head -c 4000 \"$1\"",
                             "grep -v '^[0-9a-f]*: ' \"$0\""}) {
    const Outcome outcome = fromPipe(writer, "tree");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.ends_with(
        "pcicim: standard input: no PCI function could be read from it" + kAdvice))
        << writer << '\n'
        << outcome.err;
  }
}

TEST(Advice, OfWhatToSaveIsNotForAFileThatIsNotThere) {
  EXPECT_EQ(runOn("/nonexistent/lspci -D -xxxx", {"tree"}).err,
            "pcicim: /nonexistent/lspci -D -xxxx: No such file or directory\n");
  EXPECT_EQ(runOn("/", {"tree"}).err, "pcicim: /: Is a directory\n");
}

TEST(Inventory, OfHeadersAloneSaysWhatThatCosts) {
  const std::string headers = "sed -E '/^[4-9a-f][0-9a-f]: /d; /^[0-9a-f]{3}: /d' \"$0\"";
  const Outcome piped = fromPipe(headers, "count");
  EXPECT_EQ(piped.status, 0);
  EXPECT_THAT(piped.out, HasSubstr("14  Zelmar_PCIBridge"));
  EXPECT_THAT(piped.err, testing::MatchesRegex("pcicim: standard input has only 64 bytes of each "
                                               "function: [^\n]*switches show as bridges[^\n]*\n"));
  const TemporaryFile saved(
      runProgram("/bin/sh", {"-c", headers, sample("q35-pcie-switches.txt").string()}).out);
  const Outcome read = runOn(saved.path(), {"tree"});
  EXPECT_THAT(read.err, HasSubstr(saved.path().string() + " has only 64 bytes of each function"));
}

TEST(Inventory, WithMoreOfOneFunctionSaysNothing) {
  const std::string whole = MadeFunction("00:02.0").text();
  const TemporaryFile mixed(whole.substr(0, whole.find("\n40: ") + 1) + '\n' +
                            MadeFunction("00:03.0").text());
  EXPECT_EQ(runOn(mixed.path(), {"tree"}).err, "");
}

TEST(ShownProgress, ComesOnATerminalAndGoes) {
  OnTerminal pcicim(PCICIM_PROGRAM, {"--inventory", "-", "count"}, {{"TERM", "xterm"}}, false);
  pcicim.feed(MadeFunction("00:02.0").text() + MadeFunction("00:03.0").text());
  EXPECT_THAT(pcicim.awaitShown("KiB"), HasSubstr("\r\x1b[Kpcicim: reading standard input: 1 KiB"));
  pcicim.endInput();
  EXPECT_TRUE(pcicim.awaitEnd().ends_with(" KiB\r\x1b[K"));
}

TEST(ShownProgress, IsInNobodysWay) {
  for (const char* terminal : {"dumb", ""}) {
    OnTerminal pcicim("/bin/sh",
                      {"-c", "{ sleep 1; cat \"$0\"; } | \"$1\" --inventory - count",
                       sample("q35-pcie-switches.txt").string(), PCICIM_PROGRAM},
                      {{"TERM", terminal}}, false);
    EXPECT_EQ(pcicim.awaitEnd(), "");
  }
}

}  // namespace
}  // namespace clitest
