#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"

namespace clitest {
namespace {

using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

/// A failure that says `reason` on standard error and nothing on standard output.
AssertionResult failsSaying(const Outcome& outcome, const std::string& reason) {
  const std::string all =
      "exit " + std::to_string(outcome.status) + "\nout: " + outcome.out + "\nerr: " + outcome.err;
  if (outcome.status == 0 || outcome.status >= 128) {
    return AssertionFailure() << "not a plain failure: " << all;
  }
  if (!outcome.out.empty() || outcome.err.find(reason) == std::string::npos) {
    return AssertionFailure() << "expected only \"" << reason << "\": " << all;
  }
  return AssertionSuccess();
}

Outcome onSample(const Arguments& arguments) {
  return runOn(sample("q35-pcie-switches.txt"), arguments);
}

TEST(Errors, UnknownClass) {
  EXPECT_TRUE(failsSaying(onSample({"enum", "Zelmar_Nonsense"}), "CIM_ERR_INVALID_CLASS"));
  EXPECT_TRUE(
      failsSaying(onSample({"enum", "Zelmar_Nonsense", "--names"}), "CIM_ERR_INVALID_CLASS"));
  EXPECT_TRUE(
      failsSaying(onSample({"get", "Zelmar_Nonsense.DeviceID=\"x\""}), "CIM_ERR_INVALID_CLASS"));
  EXPECT_TRUE(failsSaying(onSample({"references", "Zelmar_Nonsense.DeviceID=\"x\""}),
                          "CIM_ERR_INVALID_CLASS"));
}

TEST(Errors, UnknownKeyOfTheClass) {
  EXPECT_TRUE(failsSaying(onSample({"get", "Zelmar_PCIDevice.Colour=\"x\""}), "Colour"));
}

struct HostilePath {
  const char* text;
  const char* position;
};

class MalformedPath : public testing::TestWithParam<HostilePath> {};

TEST_P(MalformedPath, FailsNamingThePosition) {
  const Outcome outcome = onSample({"get", GetParam().text});
  EXPECT_TRUE(failsSaying(outcome, std::string("(character ") + GetParam().position + ')'));
  EXPECT_NE(outcome.err.find("malformed object path"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, MalformedPath,
    testing::Values(
        HostilePath{"", "1"}, HostilePath{".", "1"}, HostilePath{"=", "1"}, HostilePath{":", "1"},
        HostilePath{"1Class", "1"}, HostilePath{"Zelmar_PCIPort.", "16"},
        HostilePath{"Zelmar_PCIPort.DeviceID", "24"}, HostilePath{"Zelmar_PCIPort.DeviceID=", "25"},
        HostilePath{"Zelmar_PCIPort.DeviceID=x", "25"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x", "25"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x\\", "28"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"\\q\"", "27"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"\\xg\"", "28"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x\\x0z\"", "29"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"\\xd800\"", "28"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"\\xdfff\"", "28"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x\" ", "28"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x\",", "29"},
        HostilePath{"Zelmar_PCIPort.DeviceID=\"x\",deviceid=\"y\"", "29"},
        HostilePath{"Zelmar_PCIPort.DeviceID=-", "26"}, HostilePath{"Zelmar_PCIPort;", "15"},
        HostilePath{"//host", "7"}, HostilePath{"//host/Zelmar_PCIPort", "8"}));

TEST(Errors, AnInstanceThatIsNotThere) {
  EXPECT_TRUE(failsSaying(onSample({"get", "Zelmar_PCIDevice.DeviceID=\"0000:7f:00.0\""}),
                          "CIM_ERR_NOT_FOUND"));
  EXPECT_TRUE(
      failsSaying(onSample({"get", "Zelmar_PCIDevice.DeviceID=\"\""}), "CIM_ERR_NOT_FOUND"));
  // A device, asked for as a bridge.
  EXPECT_TRUE(failsSaying(onSample({"get", "Zelmar_PCIBridge.DeviceID=\"0000:00:02.0\""}),
                          "CIM_ERR_NOT_FOUND"));
}

TEST(Errors, InventoryThatCannotBeRead) {
  EXPECT_TRUE(failsSaying(runOn("/nonexistent/inventory", {"tree"}), "/nonexistent/inventory"));
  EXPECT_TRUE(failsSaying(runOn("/", {"tree"}), "directory"));
  EXPECT_TRUE(failsSaying(runOn(std::string(6000, 'x'), {"tree"}), "File name too long"));
}

/// pcicim over what a shell command writes, with the file's name for it to read from.
Outcome onPipe(const std::string& writer, const std::string& command, const std::string& file) {
  return runProgram("/bin/sh", {"-c", writer + R"( "$0" | "$1" --inventory /dev/stdin )" + command,
                                file, PCICIM_PROGRAM});
}

TEST(Errors, InventoryFromAPipeIsNone) {
  const std::string machine = sample("q35-pcie-switches.txt").string();
  for (const char* command : {"tree", "count", "enum Zelmar_PCIPort --format json"}) {
    const Outcome piped = onPipe("cat", command, machine);
    EXPECT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.err, "");
    const Outcome read = runProgram(
        "/bin/sh",
        {"-c", std::string(R"("$1" --inventory "$0" )") + command, machine, PCICIM_PROGRAM});
    EXPECT_EQ(piped.out, read.out) << command;
  }
}

TEST(Errors, ThingsThatAreNoInventorySayWhatTheyAre) {
  const std::string machine = sample("i440fx-conventional.txt").string();
  EXPECT_TRUE(failsSaying(onPipe("gzip -c", "tree", machine), "compressed by gzip"));
  EXPECT_TRUE(failsSaying(onPipe("iconv -t UTF-16", "tree", machine), "UTF-16"));
  const Outcome endless = runOn("/dev/zero", {"count"});
  EXPECT_TRUE(failsSaying(endless, "64 MiB"));
  EXPECT_NE(endless.err.find("pcicim: /dev/zero: no PCI function could be read from it; as root, "),
            std::string::npos)
      << endless.err;
}

/// The provider logs an error about addresses that are there twice.
TEST(Errors, InventoryNamedLikeAWordOfAnotherErrorIsNone) {
  const std::string function = MadeFunction("00:02.0").text();
  const TemporaryFile twice(function + function);
  const Outcome outcome = runProgram(
      "/bin/sh", {"-c",
                  R"(folder=$(mktemp -d) && cp "$0" "$folder/duplicate" && cd "$folder" || exit 99
                     "$1" --inventory duplicate tree
                     status=$?; rm -r "$folder"; exit $status)",
                  twice.path().string(), PCICIM_PROGRAM});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.err.find("duplicate name found"), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.out.find("0000:00:02.0"), std::string::npos) << outcome.out;
}

TEST(Errors, InventoryFromAFifoWithoutWriter) {
  const TemporaryFile name("");
  std::filesystem::remove(name.path());
  ASSERT_EQ(mkfifo(name.path().c_str(), 0600), 0);
  EXPECT_TRUE(failsSaying(runOn(name.path(), {"tree"}), "a FIFO that nobody writes to"));
}

TEST(Errors, InventoryWithoutAFunction) {
  const TemporaryFile prose("This is no inventory.\n");
  EXPECT_TRUE(failsSaying(runOn(prose.path(), {"tree"}), prose.path()));
  EXPECT_TRUE(failsSaying(runOn(prose.path(), {"enum", "Zelmar_PCIPort"}), prose.path()));
  const TemporaryFile noBytes("00:1f.0 ISA bridge: without its bytes\n");
  EXPECT_TRUE(failsSaying(runOn(noBytes.path(), {"tree"}), noBytes.path()));
  EXPECT_TRUE(failsSaying(runPcicim({"tree"}, {{"QARCTL_PCI_DUMP", prose.path()}}), prose.path()));
}

TEST(Errors, AByteOrderMarkBeforeTheOnlyFunctionIsNone) {
  const TemporaryFile machine("\xef\xbb\xbf" + MadeFunction("00:02.0").text());
  const Outcome outcome = runOn(machine.path(), {"tree"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("0000:00:02.0"), std::string::npos) << outcome.out;
}

TEST(Errors, AnInventoryOfOneHostBridgeIsNone) {
  const TemporaryFile machine(MadeFunction("00:00.0").classCode(0x0600).text());
  const Outcome outcome = runOn(machine.path(), {"enum", "Zelmar_PCIDevice", "--format", "json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "[]\n");
}

// Duplicates are errors of their own, and these are in no enumeration.
TEST(Errors, AHostBridgeThatIsThereTwiceIsNone) {
  const std::string bridge = MadeFunction("00:00.0").classCode(0x0600).text();
  const TemporaryFile machine(bridge + bridge);
  const Outcome outcome = runOn(machine.path(), {"enum", "Zelmar_PCIDevice", "--format", "json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "[]\n");
  EXPECT_NE(outcome.err.find("duplicate"), std::string::npos) << outcome.err;
}

TEST(Errors, DamagedLinesAreReportedAndTheRestIsServed) {
  const TemporaryFile damaged(MadeFunction("00:02.0").text() +
                              "00:03.0 Second\n00: 34 12 78 56 xx\n\n" +
                              MadeFunction("00:04.0").text());
  const Outcome outcome = runOn(damaged.path(), {"enum", "Zelmar_PCIDevice", "--names"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("0000:00:04.0"), std::string::npos);
  EXPECT_NE(outcome.err.find(damaged.path().string()), std::string::npos) << outcome.err;
}

TEST(Errors, ProviderOrSchemaThatIsNotThere) {
  EXPECT_TRUE(failsSaying(onSample({"--provider", "/nonexistent/libx.so", "tree"}),
                          "/nonexistent/libx.so"));
  EXPECT_TRUE(failsSaying(onSample({"--schema", "/nonexistent/mof", "tree"}), "/nonexistent/mof"));
}

// The user's own schema is read to its end before anything is asked.
TEST(Errors, SchemaInWhichAClassThatNobodyAsksForIsBad) {
  const TemporaryFile place("");
  const std::filesystem::path schema = place.path().string() + ".mof.d";
  std::filesystem::create_directory(schema);
  std::ofstream(schema / "Odd.mof") << "class Good { };\nclass Odd { uint7 Size; };\n";
  const Outcome outcome = onSample({"--schema", schema.string(), "count"});
  std::filesystem::remove_all(schema);
  EXPECT_TRUE(failsSaying(outcome, "Odd.mof:2:13: unknown type 'uint7'")) << outcome.err;
}

TEST(Errors, WrongUse) {
  EXPECT_TRUE(failsSaying(onSample({}), "subcommand"));
  EXPECT_TRUE(failsSaying(onSample({"enum"}), "CLASS"));
  EXPECT_TRUE(failsSaying(onSample({"enum", "Zelmar_PCIPort", "--format", "xml"}), "--format"));
  EXPECT_TRUE(failsSaying(onSample({"dance"}), "dance"));
}

TEST(Usage, HelpAndVersionGoToStandardOutput) {
  const Outcome help = runPcicim({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("associator-names"), std::string::npos);
  const Outcome version = runPcicim({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("pcicim ", 0), 0U) << version.out;
}

}  // namespace
}  // namespace clitest
