#include <gtest/gtest.h>

#include <filesystem>
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
