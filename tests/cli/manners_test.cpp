// How the command speaks to people and scripts: help, complaints, exit codes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"
#include "terminal.h"

namespace clitest {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kWrongUse = 2;
constexpr int kNotFound = 4;

Outcome onSample(const Arguments& arguments) {
  return runOn(sample("q35-pcie-switches.txt"), arguments);
}

/// That the command line is refused with this text, every line of it named for the command.
void expectRefused(const Arguments& arguments, const std::string& text) {
  const Outcome outcome = onSample(arguments);
  EXPECT_EQ(outcome.status, kWrongUse) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr(text));
  std::istringstream lines(outcome.err);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_THAT(line, StartsWith("pcicim: "));
  }
}

TEST(Complaints, NameTheNearestOfCommandsAndOptions) {
  expectRefused({"tre"}, "there is no subcommand tre (did you mean tree?)\n");
  expectRefused({"assocaitors"}, "(did you mean associators?)");
  expectRefused({"help", "cuont"}, "there is no subcommand cuont (did you mean count?)\n");
  expectRefused({"enum", "Zelmar_PCIPort", "--namse"},
                "there is no option --namse (did you mean --names?)\n");
  expectRefused({"--invetory", "x", "tree"}, "--invetory (did you mean --inventory?)\n");
}

TEST(Complaints, NameNothingThatIsFarFromWhatWasGiven) {
  expectRefused({"dance"}, "there is no subcommand dance\n");
  expectRefused({"tree", "--quite-another"}, "there is no option --quite-another\n");
  expectRefused({std::string(100000, 'x')}, "there is no subcommand xxx");
}

TEST(Json, IsOfAsciiSoThatNothingSteersATerminal) {
  const std::string name = "a\xe2\x80\xae\x7f\xc2\x9b";
  for (const char* format : {"json", "jsonl"}) {
    const Outcome outcome =
        onSample({"--host-name", name, "enum", "Zelmar_PCIeSwitch", "--format", format});
    EXPECT_THAT(outcome.out, HasSubstr("a\\u202e\\u007f\\u009b"));
  }
}

TEST(Complaints, AreOfTheCommandWhateverTheyAreAbout) {
  expectRefused({}, "subcommand");
  expectRefused({"enum"}, "CLASS");
  expectRefused({"tree", "twice"}, "unexpected word twice\n");
  expectRefused({"enum", "Zelmar_PCIPort", "--format", "xml"}, "--format");
  expectRefused({"count", "--format", "mof"}, "--format");
  expectRefused({"count", "--json", "--format", "text"}, "excludes");
  expectRefused({"--color", "blue", "tree"}, "--color");
  expectRefused({"--json", "tree"}, "--json belongs behind tree\n");
}

TEST(Complaints, ShowNoControlOfTheTerminal) {
  expectRefused({"\x1b[31m\xc2\x9b\u202e\xff\n"},
                "there is no subcommand \\x1b[31m\\u{9b}\\u{202e}\\xff\\x0a\n");
  const Outcome file = runOn("/nonexistent/\x1b[2J", {"tree"});
  EXPECT_NE(file.status, 0);
  EXPECT_THAT(file.err, HasSubstr("/nonexistent/\\x1b[2J"));
  EXPECT_EQ(file.err.find('\x1b'), std::string::npos) << file.err;
}

TEST(Complaints, AnInventoryWithoutANameIsOne) {
  for (const char* word : {"tree", "count"}) {
    const Outcome outcome = runPcicim({"--inventory", "", word});
    EXPECT_EQ(outcome.status, kWrongUse);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("pcicim: --inventory: needs the name of a file, or -\n"));
  }
}

TEST(Help, IsThatOfTheOption) {
  EXPECT_EQ(runPcicim({"help"}).out, runPcicim({"--help"}).out);
  for (const char* command : {"tree", "enum", "associators", "serve", "help"}) {
    const Outcome help = runPcicim({"help", command});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr(std::string("Usage: pcicim ") + command));
    EXPECT_EQ(help.out, runPcicim({command, "--help"}).out);
  }
}

TEST(Help, ThatCannotBeWrittenIsAFailure) {
  for (const char* words : {"--help", "--version", "help tree", "tree --help"}) {
    const Outcome outcome = runProgram(
        "/bin/sh", {"-c", std::string("exec \"$0\" ") + words + " >/dev/full", PCICIM_PROGRAM});
    EXPECT_EQ(outcome.status, 1) << words;
    EXPECT_EQ(outcome.err, "pcicim: cannot write the answer: No space left on device\n");
  }
}

TEST(ExitCode, OfWhatIsNotThereIsItsOwn) {
  const Outcome outcome = onSample({"get", "Zelmar_PCIDevice.DeviceID=\"0000:7f:00.0\""});
  EXPECT_EQ(outcome.status, kNotFound);
  EXPECT_THAT(outcome.err, StartsWith("pcicim: CIM_ERR_NOT_FOUND"));
  EXPECT_EQ(onSample({"get", "Zelmar_PCIDevice.DeviceID=\"0000:00:02.0\""}).status, 0);
  EXPECT_EQ(onSample({"enum", "Zelmar_Nonsense"}).status, 1);
}

TEST(StandardError, HasTheLinesOfFactoriesOnlyWhenAskedFor) {
  const std::string line = "--- _Create_InstanceMI() ";
  for (const char* command : {"tree", "count"}) {
    EXPECT_EQ(onSample({command}).err, "");
    EXPECT_THAT(onSample({"--verbose", command}).err, HasSubstr(line));
  }
}

TEST(Names, OfOtherClientsAreUnderstood) {
  const std::string path = "root/cimv2:Zelmar_PCIeSwitch.DeviceID=\"0000:01:00.0\"";
  const Outcome plain = onSample({"get", path});
  EXPECT_EQ(plain.status, 0) << plain.err;
  for (const char* host : {"127.0.0.1:5988/", "http://alice@node7.example:5988/"}) {
    EXPECT_EQ(onSample({"get", host + path}).out, plain.out) << host;
    const Outcome listing = onSample({"enum", std::string(host) + "root/cimv2:Zelmar_PCIeSwitch"});
    EXPECT_EQ(listing.out, onSample({"enum", "Zelmar_PCIeSwitch"}).out) << listing.err;
  }
  const Outcome object = onSample({"enum", path});
  EXPECT_EQ(object.status, 1);
  EXPECT_THAT(object.err, HasSubstr("a class has no keys"));
  EXPECT_THAT(onSample({"enum", "root/other:Zelmar_PCIeSwitch"}).err,
              HasSubstr("CIM_ERR_INVALID_NAMESPACE"));
}

TEST(Addresses, MayBeShort) {
  const Outcome whole = onSample({"get", "Zelmar_PCIDevice.DeviceID=\"0000:03:00.0\""});
  for (const char* address : {"03:00.0", "3:0.0", "0000:03:00.0"}) {
    EXPECT_EQ(onSample({"get", "-s", address}).out, whole.out) << address;
  }
  EXPECT_THAT(onSample({"get", "-s", "01:00.0"}).out, StartsWith("Zelmar_PCIeSwitch\n"));
  EXPECT_THAT(onSample({"get", "-s", "00:04.0"}).out, StartsWith("Zelmar_PCIBridge\n"));
  EXPECT_EQ(onSample({"get", "-s", "7f:00.0"}).status, kNotFound);
  EXPECT_EQ(onSample({"get", "-s", "03:"}).status, 1);
  expectRefused({"get"}, "PATH, or -s ADDRESS, is required");
  expectRefused({"get", "-s", "xx:00.0"}, "xx:00.0 is no address");
  expectRefused({"tree", "-s", "00:20.0"}, "00:20.0 is no address");
}

TEST(Addresses, NarrowListings) {
  EXPECT_THAT(onSample({"enum", "Zelmar_PCIPort", "--names", "-s", "02:"}).out,
              testing::AllOf(HasSubstr("0000:02:03.0-ep"), testing::Not(HasSubstr("0000:03:"))));
  const auto cards = nlohmann::json::parse(onSample({"enum", "Zelmar_PCIDevice", "-d", "8086:10D3",
                                                     "--property", "ElementName", "--json"})
                                               .out);
  ASSERT_EQ(cards.size(), 1U);
  EXPECT_EQ(cards[0].at("DeviceID"), "0000:03:00.0");
  EXPECT_FALSE(cards[0].contains("VendorID"));
  EXPECT_EQ(onSample({"enum", "Zelmar_PCIDevice", "-d", "8086:10d3", "-s", "04:"}).out, "");
  expectRefused({"enum", "Zelmar_PCIDevice", "-d", "8086"}, "8086 is not of the form");
  EXPECT_THAT(onSample({"enum", "Zelmar_PCIPortGroup", "-s", "02:"}).err,
              HasSubstr("Zelmar_PCIPortGroup has no addresses"));
}

TEST(Addresses, NarrowTheTreeToBranches) {
  const std::string expected =
      "Segment 0000, bus 00\n"
      "`- 0000:00:04.0  [bridge to bus 01] Red Hat, Inc. QEMU PCIe Root port\n"
      "   `- 0000:01:00.0  [switch, 4 ports] Texas Instruments XIO3130 PCI Express Switch "
      "(Upstream), slot 1\n"
      "      `- 0000:02:00.0  [port to bus 03] Texas Instruments XIO3130 PCI Express Switch "
      "(Downstream)\n"
      "         `- 0000:03:00.0  Intel Corporation 82574L Gigabit Network Connection, slot 11\n";
  EXPECT_EQ(onSample({"tree", "-s", "03:00.0"}).out, expected);
  EXPECT_EQ(onSample({"tree", "-d", "8086:10d3"}).out, expected);
  EXPECT_EQ(onSample({"tree", "-s", "02:00.0"}).out, expected);
  EXPECT_EQ(onSample({"tree", "-s", "7f:"}).status, kNotFound);
}

TEST(Text, ShowsIdsAlsoInHexadecimalDigits) {
  const std::string text = onSample({"get", "Zelmar_PCIDevice.DeviceID=\"0000:03:00.0\""}).out;
  EXPECT_THAT(text, testing::ContainsRegex("VendorID  *= 32902 \\(0x8086\\)\n"));
  EXPECT_THAT(text, testing::ContainsRegex("PCIDeviceID  *= 4307 \\(0x10d3\\)\n"));
  EXPECT_THAT(text, testing::ContainsRegex("RevisionID  *= 0 \\(0x00\\)\n"));
}

TEST(Text, OfNamesShowsNoControlOfTheTerminalAndCanBeHandedBack) {
  const Outcome names =
      runPcicim({"--inventory", sample("q35-pcie-switches.txt").string(), "--host-name",
                 "a\x1b[31m\xc2\x9b\u202e\"", "enum", "Zelmar_PCIeSwitch", "--names"});
  EXPECT_THAT(names.out, HasSubstr("SystemName=\"a\\x001B[31m\\x009B\\x202E\\\"\""));
  const Outcome values =
      runPcicim({"--inventory", sample("q35-pcie-switches.txt").string(), "--host-name",
                 "a\x1b[31m\xc2\x9b\u202e\"", "enum", "Zelmar_PCIeSwitch"});
  EXPECT_THAT(values.out, HasSubstr("= \"a\\x001B[31m\\u{9b}\\u{202e}\\\"\"\n"));
}

const Arguments kShownTree{"--inventory", sample("q35-pcie-switches.txt").string(), "tree"};

TEST(ColouredText, IsForTerminalsAlone) {
  EXPECT_EQ(onSample({"tree"}).out.find('\x1b'), std::string::npos);
  OnTerminal shown(PCICIM_PROGRAM, kShownTree, {{"TERM", "xterm"}, {"NO_COLOR", ""}}, true);
  EXPECT_THAT(shown.awaitEnd(), HasSubstr("\x1b[36m[bridge to bus 01] \x1b[0mRed Hat"));
  for (const Environment& environment : {Environment{{"TERM", "dumb"}, {"NO_COLOR", ""}},
                                         Environment{{"TERM", "xterm"}, {"NO_COLOR", "1"}}}) {
    OnTerminal plain(PCICIM_PROGRAM, kShownTree, environment, true);
    const std::string text = plain.awaitEnd();
    EXPECT_THAT(text, HasSubstr("[bridge to bus 01] Red Hat"));
    EXPECT_EQ(text.find("\x1b["), std::string::npos) << text;
  }
}

TEST(ColouredText, IsAsTheOptionSays) {
  const std::string tree = onSample({"--color", "always", "tree"}).out;
  EXPECT_THAT(tree, HasSubstr("\x1b[1mSegment 0000, bus 00\x1b[0m\n"));
  EXPECT_THAT(tree, HasSubstr("\x1b[2m (empty)\x1b[0m\n"));
  EXPECT_THAT(onSample({"--color", "always", "enum", "Zelmar_PCIeSwitch"}).out,
              HasSubstr("\x1b[1mZelmar_PCIeSwitch\x1b[0m\n"));
  EXPECT_EQ(onSample({"--color", "always", "enum", "Zelmar_PCIeSwitch", "--json"}).out.find('\x1b'),
            std::string::npos);
  Arguments never = kShownTree;
  never.insert(never.begin(), {"--color", "never"});
  OnTerminal plain(PCICIM_PROGRAM, never, {{"TERM", "xterm"}, {"NO_COLOR", ""}}, true);
  EXPECT_EQ(plain.awaitEnd().find("\x1b[36m"), std::string::npos);
}

TEST(Json, OfCountsIsOneObject) {
  const auto counts = nlohmann::json::parse(onSample({"count", "--json"}).out);
  EXPECT_EQ(counts.at("Zelmar_PCIDevice"), 13);
  EXPECT_EQ(counts.at("Zelmar_PCIDeviceConnection"), 0);
  EXPECT_EQ(counts.size(), 10U);
  EXPECT_EQ(nlohmann::json::parse(onSample({"count", "--format", "json"}).out), counts);
}

TEST(Json, OfTheTreeHasFunctionsWithinThoseThatLeadToThem) {
  const auto tree = nlohmann::json::parse(onSample({"tree", "--json"}).out);
  const auto& bus = tree.at("buses").at(0);
  EXPECT_EQ(bus.at("segment"), 0);
  EXPECT_EQ(bus.at("bus"), 0);
  const auto& rootPort = bus.at("functions").at(3);
  EXPECT_EQ(rootPort.at("address"), "0000:00:04.0");
  EXPECT_EQ(rootPort.at("kind"), "bridge");
  EXPECT_EQ(rootPort.at("secondaryBus"), 1);
  const auto& upstream = rootPort.at("functions").at(0);
  EXPECT_EQ(upstream.at("kind"), "switch");
  EXPECT_EQ(upstream.at("ports"), 4);
  EXPECT_EQ(upstream.at("physicalSlot"), 1);
  const auto& port = upstream.at("functions").at(0);
  EXPECT_EQ(port.at("kind"), "port");
  EXPECT_EQ(port.at("functions").at(0).at("name"),
            "Intel Corporation 82574L Gigabit Network Connection");
  EXPECT_FALSE(upstream.at("functions").at(3).contains("functions"));
  EXPECT_TRUE(tree.at("notPlaced").empty());
}

TEST(Json, OfTheTreeOfAHostWithoutPciIsEmpty) {
  const TemporaryFile empty("");
  const auto tree = nlohmann::json::parse(runOn(empty.path(), {"tree", "--json"}).out);
  EXPECT_TRUE(tree.at("buses").empty());
}

}  // namespace
}  // namespace clitest
