#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const fs::path kStage = STAGE;
const fs::path kProviders = kStage / PROVIDER_DIR;
const fs::path kLibraries = kStage / LIBRARY_DIR;

std::string onSample(const std::string& pcicimArguments) {
  return quoted(kStage / "bin/pcicim") + " --inventory " +
         quoted(SAMPLES_DIRECTORY "/q35-pcie-switches.txt") + ' ' + pcicimArguments;
}

/// Without the environment of the test, such as a library path.
Outcome inCleanEnvironment(const std::string& command) {
  return shell("env -i " + command);
}

TEST(Install, PutsEveryPartInItsPlace) {
  const std::vector<std::string> files = filesBelow(kStage);
  const std::vector<std::string> expected{
      "bin/pcicim",
      "sbin/pciprovider-register",
      PROVIDER_DIR "/libpciprovider.so",
      PROVIDER_DIR "/libhostsystemprovider.so",
      LIBRARY_DIR "/libzelcppc.so.1",
      LIBRARY_DIR "/libqarctl.so.1",
      LIBRARY_DIR "/cmake/pciprovider-platform/pciprovider-platform-config.cmake",
      "share/pciprovider/registration/pciprovider.mof",
      "share/pciprovider/registration/pciprovider.reg",
      "share/pciprovider/registration/hostsystemprovider.mof",
      "share/pciprovider/registration/hostsystemprovider.reg",
      "share/man/man1/pcicim.1",
      "share/man/man8/pciprovider-register.8",
      "share/doc/pciprovider/administration.md"};
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
  const Outcome counted = inCleanEnvironment(onSample("count") + " 2>/dev/null");
  EXPECT_EQ(counted.status, 0);
  EXPECT_THAT(linesOf(counted.out), Contains("    33  Zelmar_PCIPort"));
  EXPECT_THAT(linesOf(counted.out), Contains("    46  Zelmar_PCISystemDevice"));

  const Outcome loaded = inCleanEnvironment("LD_DEBUG=files " + onSample("count") + " 2>&1");
  EXPECT_THAT(loaded.out, HasSubstr((kProviders / "libpciprovider.so").string()));
  const std::string buildTree = BUILD_DIRECTORY;
  for (const std::string& line : linesOf(loaded.out)) {
    EXPECT_TRUE(line.find(buildTree + "/lib") == std::string::npos &&
                line.find(buildTree + "/bin") == std::string::npos)
        << line;
  }
}

TEST(Install, ClassesComeFromTheInstallation) {
  const Outcome outcome =
      inCleanEnvironment("strace -f -e trace=openat " + onSample("classes") + " 2>&1");
  if (outcome.status == 127) GTEST_SKIP() << "strace is not installed";
  EXPECT_THAT(outcome.out, HasSubstr((kStage / "share/pciprovider/mof").string()));
  EXPECT_THAT(outcome.out, Not(HasSubstr(SOURCE_DIRECTORY "/schema")));
}

TEST(Install, InstallationCanBeMoved) {
  const TemporaryDirectory elsewhere;
  fs::copy(kStage, elsewhere.path() / "moved",
           fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  const fs::path pcicim = elsewhere.path() / "moved/bin/pcicim";
  const Outcome outcome =
      inCleanEnvironment("LD_DEBUG=files " + quoted(pcicim) + " --inventory " +
                         quoted(SAMPLES_DIRECTORY "/q35-pcie-switches.txt") + " count 2>&1");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr((elsewhere.path() / "moved" / LIBRARY_DIR).string()));
  EXPECT_THAT(outcome.out, Not(HasSubstr(kStage.string())));
}

TEST(Install, MissingProviderIsNamedWithThePlacesLookedAt) {
  const TemporaryDirectory elsewhere;
  fs::copy(kStage, elsewhere.path() / "moved",
           fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  fs::remove(elsewhere.path() / "moved" / PROVIDER_DIR / "libpciprovider.so");
  const Outcome outcome =
      inCleanEnvironment(quoted(elsewhere.path() / "moved/bin/pcicim") + " count 2>&1");
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
  EXPECT_FALSE(anyFileMentions(kStage / "sbin", "@"));
}

}  // namespace
}  // namespace shipping
