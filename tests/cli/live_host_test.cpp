// The live host, below a made-up root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "run_pcicim.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;

class LiveHost : public testing::Test {
 protected:
  LiveHost() {
    std::string name = (fs::temp_directory_path() / "pcicim-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no directory " + name);
    }
    root = name;
  }
  ~LiveHost() override {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }

  Outcome ask(const Arguments& arguments) const {
    return runPcicim(arguments, {{"QARCTL_SYSFS_ROOT", root.string()}, {"QARCTL_PCI_DUMP", ""}});
  }

  /// That every kind of question fails, with the place and the reason last on standard error.
  void expectFailure(const fs::path& place, const std::string& reason) const {
    for (const Arguments& arguments :
         {Arguments{"tree"}, Arguments{"count"}, Arguments{"enum", "Zelmar_PCIPort"}}) {
      const Outcome outcome = ask(arguments);
      EXPECT_EQ(outcome.status, 1);
      EXPECT_EQ(outcome.out, "");
      const std::string last = "pcicim: " + place.string() + ": " + reason + '\n';
      EXPECT_TRUE(outcome.err.ends_with(last)) << outcome.err;
    }
  }

  /// A network card of which `bytes` of configuration space can be read.
  void addFunction(const std::string& address, std::size_t bytes) const {
    const fs::path place = root / "bus/pci/devices" / address;
    fs::create_directories(place);
    std::string config(bytes, '\0');
    config.replace(0, std::min<std::size_t>(bytes, 4), "\x86\x80\x34\x12",
                   std::min<std::size_t>(bytes, 4));
    std::ofstream(place / "config", std::ios::binary) << config;
    std::ofstream(place / "vendor") << "0x8086\n";
    std::ofstream(place / "device") << "0x1234\n";
    std::ofstream(place / "class") << "0x020000\n";
  }

  fs::path root;
};

TEST_F(LiveHost, ThatCannotBeReadIsNotOneWithoutPci) {
  fs::create_directories(root / "bus/pci");
  std::ofstream(root / "bus/pci/devices") << "no directory";
  expectFailure(root / "bus/pci/devices", "Not a directory");
  fs::remove_all(root);
  expectFailure(root, "No such file or directory");
  fs::create_directories(root);
  expectFailure(root, "no sysfs is mounted here");
}

TEST_F(LiveHost, WithoutPciHasNoFunctions) {
  for (const char* part : {"bus", "bus/pci", "bus/pci/devices"}) {
    fs::create_directories(root / part);
    const Outcome outcome = ask({"tree"});
    EXPECT_EQ(outcome.status, 0) << part;
    EXPECT_EQ(outcome.out, "No PCI functions.\n") << part;
    EXPECT_EQ(outcome.err, "") << part;
  }
}

TEST_F(LiveHost, OfWhichOnlyHeadersCanBeReadSaysSoOnce) {
  addFunction("0000:00:01.0", 64);
  addFunction("0000:00:02.0", 64);
  for (const char* command : {"tree", "count"}) {
    const Outcome outcome = ask({command});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, testing::MatchesRegex("pcicim: only 64 bytes of [^\n]*switches show "
                                                   "as bridges[^\n]*\n"));
  }
  EXPECT_EQ(ask({"classes"}).err, "");
}

TEST_F(LiveHost, OfWhichMoreCanBeReadSaysNothing) {
  addFunction("0000:00:01.0", 256);
  addFunction("0000:00:02.0", 4096);
  // What went away or does not answer has no bytes at all.
  addFunction("0000:00:03.0", 0);
  EXPECT_EQ(ask({"tree"}).err, "");
}

TEST_F(LiveHost, OfOtherProvidersIsTheirs) {
  fs::remove_all(root);
  const Outcome outcome = ask({"--provider", SYSTEM_PROVIDER_LIBRARY, "enum",
                               "OMC_UnitaryComputerSystem", "--property", "Name"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("Name"), std::string::npos) << outcome.out;
}

TEST(HostName, ThatIsEmptyIsTheKernels) {
  const Arguments arguments{"enum", "OMC_UnitaryComputerSystem"};
  EXPECT_EQ(runPcicim(arguments, {{"QARCTL_HOST_NAME", ""}}).out, runPcicim(arguments).out);
  EXPECT_NE(runPcicim(arguments, {{"QARCTL_HOST_NAME", "HostA01"}}).out, runPcicim(arguments).out);
}

}  // namespace
}  // namespace clitest
