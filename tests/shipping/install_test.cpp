#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const fs::path kStage = STAGE;
const fs::path kProviders = kStage / PROVIDER_DIR;
const fs::path kLibraries = kStage / LIBRARY_DIR;

/// The command of an installation, asked about a saved machine.
std::string onSample(const fs::path& installation, const std::string& arguments) {
  return quoted(installation / "bin/pcicim") + " --inventory " +
         quoted(SAMPLES_DIRECTORY "/q35-pcie-switches.txt") + ' ' + arguments;
}

/// Without the environment of the test, such as a library path.
Outcome inCleanEnvironment(const std::string& command) {
  return shell("env -i " + command);
}

/// A copy of the installation in a directory of its own.
class MovedInstallation {
 public:
  MovedInstallation() {
    fs::copy(kStage, path(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }

  fs::path path() const { return directory_.path() / "moved"; }

  /// Asks its command about a saved machine: standard output and standard error together.
  Outcome run(const std::string& arguments, const std::string& variables = "") const {
    return inCleanEnvironment(variables + ' ' + onSample(path(), arguments) + " 2>&1");
  }

 private:
  TemporaryDirectory directory_;
};

TEST(Install, PutsEveryPartInItsPlace) {
  const std::vector<std::string> files = filesBelow(kStage);
  const std::vector<std::string> expected{
      "bin/pcicim",
      LIBRARY_DIR "/pciprovider/pcicim-cairo.so",
      "sbin/pciprovider-register",
      "share/pciprovider/register/libraries.sh",
      "share/pciprovider/register/openpegasus.sh",
      "share/pciprovider/register/sfcb.sh",
      PROVIDER_DIR "/libpciprovider.so",
      PROVIDER_DIR "/libhostsystemprovider.so",
      LIBRARY_DIR "/libzelcppc.so.1",
      LIBRARY_DIR "/libqarctl.so.1",
      LIBRARY_DIR "/cmake/pciprovider-platform/pciprovider-platform-config.cmake",
      "share/pciprovider/registration/pciprovider.mof",
      "share/pciprovider/registration/pciprovider.reg",
      "share/pciprovider/registration/hostsystemprovider.mof",
      "share/pciprovider/registration/hostsystemprovider.reg",
      "share/bash-completion/completions/pcicim",
      "share/man/man1/pcicim.1",
      "share/man/man8/pciprovider-register.8",
      "share/doc/pciprovider/administration.md",
      "share/doc/pciprovider/other-hosts.md",
      "share/doc/pciprovider/saved-answers.md",
      "share/doc/pciprovider/saved-inventories.md"};
  for (const std::string& file : expected) EXPECT_THAT(files, Contains(file));
}

/// Every file of the source directory has to be installed.
void expectInstalled(const fs::path& source, const fs::path& installed, const std::string& suffix) {
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator(source)) {
    if (entry.path().extension() != suffix) continue;
    ++count;
    const fs::path copy = installed / entry.path().filename();
    ASSERT_TRUE(fs::exists(copy)) << copy;
    EXPECT_EQ(contentOf(copy), contentOf(entry.path())) << copy;
  }
  EXPECT_GT(count, 0U) << source;
}

TEST(Install, LeavesNoClassAndNoHeaderOut) {
  const fs::path source = SOURCE_DIRECTORY;
  expectInstalled(source / "schema", kStage / "share/pciprovider/mof", ".mof");
  expectInstalled(source / "schema/standard", kStage / "share/pciprovider/mof/standard", ".mof");
  expectInstalled(source / "platform/zelcppc/include/zelcppc", kStage / "include/zelcppc", ".h");
  expectInstalled(source / "platform/qarctl/include/qarctl", kStage / "include/qarctl", ".h");
  expectInstalled(source / "platform/cmpi/include/cmpi", kStage / "include/cmpi", ".h");
}

TEST(Install, ExamplesAreThereAsTheyAreInTheSource) {
  const fs::path source = fs::path(SOURCE_DIRECTORY) / "examples";
  const fs::path installed = kStage / "share/doc/pciprovider-dev/examples";
  EXPECT_EQ(filesBelow(installed), filesBelow(source));
  for (const std::string& file : filesBelow(source)) {
    EXPECT_EQ(contentOf(installed / file), contentOf(source / file)) << file;
  }
}

TEST(Install, ProvidersFindThePlatformLibrariesBesideThem) {
  for (const char* provider : {"libpciprovider.so", "libhostsystemprovider.so"}) {
    const Outcome outcome = inCleanEnvironment("ldd " + quoted(kProviders / provider));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, Not(HasSubstr("not found")));
    std::size_t platformLibraries = 0;
    for (const std::string& line : linesOf(outcome.out)) {
      if (line.find("libzelcppc") == std::string::npos &&
          line.find("libqarctl") == std::string::npos) {
        continue;
      }
      ++platformLibraries;
      const fs::path found = line.substr(line.find('/'), line.rfind(' ') - line.find('/'));
      EXPECT_TRUE(fs::equivalent(found.parent_path(), kLibraries)) << line;
    }
    EXPECT_GE(platformLibraries, 1U) << outcome.out;
  }
}

TEST(Install, CommandAnswersFromTheInstallationAlone) {
  const Outcome counted = inCleanEnvironment(onSample(kStage, "count") + " 2>/dev/null");
  EXPECT_EQ(counted.status, 0);
  EXPECT_THAT(linesOf(counted.out), Contains("    33  Zelmar_PCIPort"));
  EXPECT_THAT(linesOf(counted.out), Contains("    46  Zelmar_PCISystemDevice"));

  const Outcome loaded =
      inCleanEnvironment("LD_DEBUG=files " + onSample(kStage, "count") + " 2>&1");
  EXPECT_THAT(loaded.out, HasSubstr((kProviders / "libpciprovider.so").string()));
  const std::string buildTree = BUILD_DIRECTORY;
  for (const std::string& line : linesOf(loaded.out)) {
    EXPECT_TRUE(line.find(buildTree + "/lib") == std::string::npos &&
                line.find(buildTree + "/bin") == std::string::npos)
        << line;
  }
}

TEST(Install, ClassesComeFromTheInstallation) {
  const MovedInstallation moved;
  const std::string bridge = "\nZelmar_PCIBridge : ";
  EXPECT_THAT(moved.run("classes").out, HasSubstr(bridge));
  fs::remove(moved.path() / "share/pciprovider/mof/Zelmar_PCIBridge.mof");
  const Outcome without = moved.run("classes");
  EXPECT_EQ(without.status, 0) << without.out;
  EXPECT_THAT(without.out, AllOf(HasSubstr("\nZelmar_PCIPort : "), Not(HasSubstr(bridge))));
}

// The project's own classes are read when somebody asks for them.
TEST(Install, AClassThatCannotBeReadFailsWhoAsksForIt) {
  const MovedInstallation moved;
  std::ofstream(moved.path() / "share/pciprovider/mof/Zelmar_PCIBridge.mof")
      << "class Zelmar_PCIBridge : CIM_PCIBridge {\n  uint7 Size;\n};\n";
  EXPECT_EQ(moved.run("count").status, 0);
  const Outcome classes = moved.run("classes");
  EXPECT_NE(classes.status, 0);
  EXPECT_THAT(classes.out, HasSubstr("Zelmar_PCIBridge.mof:2:3: unknown type 'uint7'"));
}

TEST(Install, InstallationCanBeMoved) {
  const MovedInstallation moved;
  const Outcome outcome = moved.run("count", "LD_DEBUG=files");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out,
              ContainsRegex(moved.path().string() + "/[^ ]*" LIBRARY_DIR "/libqarctl\\.so\\.1"));
  EXPECT_THAT(outcome.out, Not(HasSubstr(kStage.string())));
}

TEST(Install, PicturesNeedTheirModuleForPdfAlone) {
  const MovedInstallation moved;
  const fs::path module = fs::path(LIBRARY_DIR) / "pciprovider/pcicim-cairo.so";
  EXPECT_THAT(moved.run("picture --format pdf -").out, HasSubstr("%PDF-"));
  EXPECT_THAT(moved.run("count", "LD_DEBUG=files").out, Not(HasSubstr("libcairo")));
  fs::remove(moved.path() / module);
  const Outcome without = moved.run("picture --format pdf -");
  EXPECT_EQ(without.status, 1);
  EXPECT_THAT(without.out, HasSubstr("not found: "));
  EXPECT_THAT(without.out, HasSubstr(module.string()));
  EXPECT_THAT(moved.run("picture -").out, HasSubstr("<svg "));
}

TEST(Install, MissingProviderIsNamedWithThePlacesLookedAt) {
  const MovedInstallation moved;
  fs::remove(moved.path() / PROVIDER_DIR / "libpciprovider.so");
  const Outcome outcome = moved.run("count");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("not found: "));
  EXPECT_THAT(outcome.out, HasSubstr(PROVIDER_DIR "/libpciprovider.so"));
}

TEST(Install, NothingNamesTheMachineThatBuiltIt) {
  EXPECT_FALSE(anyFileMentions(kStage, SOURCE_DIRECTORY));
  EXPECT_FALSE(anyFileMentions(kStage, BUILD_DIRECTORY));
}

TEST(Install, ScriptAndManualsAreReadyToUse) {
  const Outcome help = inCleanEnvironment("PATH=/usr/bin:/bin " +
                                          quoted(kStage / "sbin/pciprovider-register") + " --help");
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("(now " + (kStage / "share/pciprovider").string() + ")"));
  EXPECT_THAT(contentOf(kStage / "sbin/pciprovider-register"), Not(ContainsRegex("@[A-Z_]+@")));
}

}  // namespace
}  // namespace shipping
