#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::UnorderedElementsAre;

std::string debianArchitecture() {
  return linesOf(shell("dpkg --print-architecture").out).front();
}

/// Without anything that a compiler made a package suits every machine.
std::string architectureOf(const std::string& package) {
  return package == "pcicim-service" ? "all" : debianArchitecture();
}

/// One package as CPack made it, unpacked.
class Package {
 public:
  explicit Package(const std::string& name)
      : name_(name),
        file_(fs::path(PACKAGES) /
              (name + '_' + PROJECT_VERSION "-1_" + architectureOf(name) + ".deb")) {
    EXPECT_EQ(shell("dpkg-deb -x " + quoted(file_) + ' ' + quoted(content()) + " && dpkg-deb -e " +
                    quoted(file_) + ' ' + quoted(control()))
                  .status,
              0)
        << file_;
  }

  const std::string& name() const { return name_; }
  const fs::path& file() const { return file_; }
  fs::path content() const { return directory_.path() / "content"; }
  fs::path control() const { return directory_.path() / "control"; }

  std::string field(const std::string& field) const {
    const std::string text = shell("dpkg-deb -f " + quoted(file_) + ' ' + field).out;
    return text.empty() ? text : text.substr(0, text.size() - 1);
  }

  bool contains(const std::string& path) const {
    return fs::exists(fs::symlink_status(content() / path));
  }

 private:
  TemporaryDirectory directory_;
  std::string name_;
  fs::path file_;
};

class EveryPackage : public testing::TestWithParam<const char*> {
 protected:
  const Package package_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Debian, EveryPackage,
                         testing::Values("pciprovider", "libzelcppc1", "libqarctl1",
                                         "pciprovider-tools", "pcicim-service", "pciprovider-dev"),
                         [](const auto& test) {
                           std::string name = test.param;
                           std::ranges::replace(name, '-', '_');
                           return name;
                         });

TEST_P(EveryPackage, ControlFieldsAreComplete) {
  EXPECT_EQ(package_.field("Package"), GetParam());
  EXPECT_EQ(package_.field("Version"), PROJECT_VERSION "-1");
  EXPECT_EQ(package_.field("Source"), "pciprovider");
  EXPECT_EQ(package_.field("Architecture"), architectureOf(GetParam()));
  EXPECT_EQ(package_.field("Priority"), "optional");
  EXPECT_THAT(package_.field("Section"), MatchesRegex("admin|libs|libdevel"));
  EXPECT_THAT(package_.field("Maintainer"), MatchesRegex(".+ <[^ ]+@[^ ]+>"));
  EXPECT_THAT(package_.field("Installed-Size"), MatchesRegex("[1-9][0-9]*"));
}

TEST_P(EveryPackage, DescriptionIsASynopsisAndAText) {
  const std::vector<std::string> lines = linesOf(package_.field("Description"));
  ASSERT_GE(lines.size(), 2U);
  EXPECT_LE(lines.front().size(), 80U);
  EXPECT_THAT(lines.front(), Not(testing::EndsWith(".")));
  for (std::size_t i = 1; i < lines.size(); ++i) {
    EXPECT_THAT(lines[i], MatchesRegex(" [^ ].*")) << "shown verbatim, not as running text";
    EXPECT_LE(lines[i].size(), 80U) << lines[i];
  }
}

TEST_P(EveryPackage, HoldsCopyrightAndAChangelogOfItsVersion) {
  const fs::path documents = package_.content() / "usr/share/doc" / GetParam();
  EXPECT_THAT(contentOf(documents / "copyright"), HasSubstr("Copyright: "));
  const Outcome version = shell("gzip -dc " + quoted(documents / "changelog.Debian.gz") +
                                " | dpkg-parsechangelog -l - -S Version");
  EXPECT_EQ(version.out, PROJECT_VERSION "-1\n");
}

TEST_P(EveryPackage, FilesAreWhatTheirSumsSay) {
  EXPECT_EQ(shell("cd " + quoted(package_.content()) + " && md5sum --quiet -c " +
                  quoted(package_.control() / "md5sums"))
                .status,
            0);
  std::vector<std::string> listed;
  for (const std::string& line : linesOf(contentOf(package_.control() / "md5sums"))) {
    listed.push_back(line.substr(line.find(' ') + 2));
  }
  std::vector<std::string> files = filesBelow(package_.content());
  std::erase_if(
      files, [this](const std::string& file) { return fs::is_symlink(package_.content() / file); });
  EXPECT_THAT(listed, testing::UnorderedElementsAreArray(files));
}

TEST_P(EveryPackage, BelongsToRootWithTheUsualPermissions) {
  const std::vector<std::string> entries =
      linesOf(shell("dpkg-deb -c " + quoted(package_.file())).out);
  ASSERT_FALSE(entries.empty());
  EXPECT_THAT(entries, Each(MatchesRegex("(drwxr-xr-x|-rw-r--r--|-rwxr-xr-x|lrwxrwxrwx) "
                                         "root/root .*")));
}

// Only the service has something to stop.
TEST_P(EveryPackage, RunsNoScriptsButThoseOfTheService) {
  EXPECT_FALSE(fs::exists(package_.control() / "preinst"));
  for (const char* script : {"postinst", "prerm", "postrm"}) {
    EXPECT_EQ(fs::exists(package_.control() / script), package_.name() == "pcicim-service")
        << script;
  }
}

TEST_P(EveryPackage, ProgramsAndLibrariesAreStrippedAndSearchNowhereElse) {
  for (const std::string& file : filesBelow(package_.content())) {
    const fs::path path = package_.content() / file;
    if (fs::is_symlink(path) || !contentOf(path).starts_with("\177ELF")) continue;
    EXPECT_THAT(shell("readelf -S " + quoted(path)).out, Not(HasSubstr(".debug_info"))) << file;
    EXPECT_THAT(shell("readelf -d " + quoted(path)).out,
                AllOf(Not(HasSubstr("RUNPATH")), Not(HasSubstr("RPATH")), HasSubstr("NEEDED")))
        << file;
  }
}

TEST_P(EveryPackage, NothingNamesTheMachineThatBuiltIt) {
  EXPECT_FALSE(anyFileMentions(package_.content(), SOURCE_DIRECTORY));
  EXPECT_FALSE(anyFileMentions(package_.content(), BUILD_DIRECTORY));
  EXPECT_FALSE(anyFileMentions(package_.control(), BUILD_DIRECTORY));
}

const std::string kFromThis = " (>= " PROJECT_VERSION ")";
const std::string kBeforeTheNext = " (<< " + std::to_string(std::stoi(PROJECT_VERSION) + 1) + "~)";

TEST(Packages, EachDependsOnWhatItsFilesNeed) {
  EXPECT_THAT(Package("pciprovider").field("Depends"),
              AllOf(HasSubstr("libzelcppc1" + kFromThis), HasSubstr("libqarctl1" + kFromThis),
                    HasSubstr("libc6 (>= "), HasSubstr("libstdc++6 (>= ")));
  EXPECT_THAT(
      Package("libqarctl1").field("Depends"),
      AllOf(HasSubstr("libpci3 (>= "), HasSubstr("libc6 (>= "), HasSubstr("libstdc++6 (>= ")));
  EXPECT_THAT(Package("libzelcppc1").field("Depends"), HasSubstr("libstdc++6 (>= "));
  EXPECT_THAT(Package("pciprovider-tools").field("Depends"),
              AllOf(HasSubstr("pciprovider" + kFromThis), HasSubstr("libstdc++6 (>= ")));
  EXPECT_EQ(Package("pciprovider-dev").field("Depends"),
            "libzelcppc1" + kFromThis + ", libqarctl1" + kFromThis);
}

// Otherwise an upgrade of one package would take away the rest.
TEST_P(EveryPackage, TakesLaterVersionsOfTheOthers) {
  EXPECT_THAT(package_.field("Depends"), Not(HasSubstr("(= ")));
  for (const char* other : {"pciprovider", "pciprovider-tools"}) {
    const std::string depends = package_.field("Depends");
    if (depends.find(other + kFromThis) == std::string::npos) continue;
    EXPECT_THAT(depends, HasSubstr(other + kBeforeTheNext));
  }
}

TEST(Packages, EachHoldsItsPart) {
  const std::string libraries = "usr/" LIBRARY_DIR "/";
  const Package provider("pciprovider");
  EXPECT_TRUE(provider.contains("usr/" PROVIDER_DIR "/libpciprovider.so"));
  EXPECT_TRUE(provider.contains("usr/" PROVIDER_DIR "/libhostsystemprovider.so"));
  EXPECT_TRUE(provider.contains("usr/sbin/pciprovider-register"));
  EXPECT_TRUE(provider.contains("usr/share/pciprovider/register/sfcb.sh"));
  EXPECT_TRUE(provider.contains("usr/share/pciprovider/registration/pciprovider.reg"));
  EXPECT_TRUE(provider.contains("usr/share/man/man8/pciprovider-register.8.gz"));
  EXPECT_FALSE(provider.contains("usr/share/pciprovider/mof/standard"));
  EXPECT_TRUE(Package("libzelcppc1").contains(libraries + "libzelcppc.so.1"));
  const Package control("libqarctl1");
  EXPECT_TRUE(control.contains(libraries + "libqarctl.so.1"));
  EXPECT_FALSE(control.contains(libraries + "libqarctl.so"));
  const Package tools("pciprovider-tools");
  EXPECT_TRUE(tools.contains("usr/bin/pcicim"));
  EXPECT_TRUE(tools.contains(libraries + "pciprovider/pcicim-cairo.so"));
  EXPECT_THAT(tools.field("Depends"), HasSubstr("libcairo2 (>= "));
  EXPECT_TRUE(tools.contains("usr/share/pciprovider/mof/standard/CIM_Qualifiers.mof"));
  EXPECT_TRUE(tools.contains("usr/share/pciprovider/mof/standard/CIM_Standard.mof"));
  EXPECT_TRUE(tools.contains("usr/share/man/man1/pcicim.1.gz"));
  EXPECT_TRUE(tools.contains("usr/share/bash-completion/completions/pcicim"));
  EXPECT_TRUE(tools.contains("usr/share/zsh/vendor-completions/_pcicim"));
  EXPECT_TRUE(tools.contains("usr/share/doc/pciprovider-tools/samples/q35-pcie-switches.txt"));
  const Package development("pciprovider-dev");
  EXPECT_TRUE(development.contains("usr/include/zelcppc/CmpiInstanceMI.h"));
  EXPECT_TRUE(development.contains("usr/include/zelcppc/ProviderFactory.h"));
  EXPECT_TRUE(development.contains("usr/share/doc/pciprovider-dev/examples/client/CMakeLists.txt"));
  EXPECT_TRUE(development.contains(libraries + "libqarctl.so"));
}

TEST(Packages, NoFileIsInTwoOfThem) {
  std::map<std::string, std::string> owners;
  for (const char* name : {"pciprovider", "libzelcppc1", "libqarctl1", "pciprovider-tools",
                           "pcicim-service", "pciprovider-dev"}) {
    for (const std::string& file : filesBelow(Package(name).content())) {
      const auto [owner, isNew] = owners.emplace(file, name);
      EXPECT_TRUE(isNew) << file << " is in " << owner->second << " and " << name;
    }
  }
}

TEST(ServicePackage, HoldsUnitsThatAreOffAndAConfiguration) {
  const Package service("pcicim-service");
  for (const char* unit : {"pcicim.service", "pcicim.socket"}) {
    EXPECT_TRUE(service.contains(std::string("usr/lib/systemd/system/") + unit));
    EXPECT_THAT(contentOf(service.content() / "usr/lib/systemd/system-preset/80-pcicim.preset"),
                HasSubstr(std::string("\ndisable ") + unit + '\n'));
  }
  EXPECT_TRUE(service.contains("etc/pcicim.conf"));
  EXPECT_EQ(contentOf(service.control() / "conffiles"), "/etc/pcicim.conf\n");
}

TEST(ServicePackage, ItsScriptsNeitherEnableNorStartAnything) {
  const Package service("pcicim-service");
  for (const char* script : {"postinst", "prerm", "postrm"}) {
    const std::string text = contentOf(service.control() / script);
    EXPECT_THAT(text, HasSubstr("set -e\n")) << script;
    EXPECT_THAT(text, Not(testing::ContainsRegex("helper enable|invoke (re)?start"))) << script;
  }
  EXPECT_THAT(contentOf(service.control() / "prerm"),
              HasSubstr("deb-systemd-invoke stop pcicim.socket pcicim.service"));
}

// What systemd itself thinks of the unit; 10 is no protection at all. The unit says what it does
// without, and why.
TEST(ServicePackage, TheServiceIsShutIn) {
  const Package service("pcicim-service");
  const fs::path unit = service.content() / "usr/lib/systemd/system/pcicim.service";
  const Outcome judged =
      shell("systemd-analyze security --offline=true --threshold=20 " + quoted(unit) + " 2>&1");
  EXPECT_EQ(judged.status, 0) << judged.out;
  EXPECT_THAT(judged.out, HasSubstr("Overall exposure level for pcicim.service: "));
}

TEST(ServicePackage, EveryOptionInTheConfigurationIsKnown) {
  const Package service("pcicim-service");
  const std::string help = shell(quoted(BUILD_DIRECTORY "/bin/pcicim") + " serve --help").out;
  std::size_t count = 0;
  for (const std::string& line : linesOf(contentOf(service.content() / "etc/pcicim.conf"))) {
    const auto sign = line.find(" = ");
    if (!line.starts_with('#') || sign == std::string::npos) continue;
    EXPECT_THAT(help, HasSubstr("--" + line.substr(1, sign - 1) + ' ')) << line;
    ++count;
  }
  EXPECT_GE(count, 8U);
}

class EveryLibraryPackage : public testing::TestWithParam<const char*> {
 protected:
  const std::string library_ = std::string("lib") + GetParam();
  const Package package_{library_ + '1'};
};

INSTANTIATE_TEST_SUITE_P(Debian, EveryLibraryPackage, testing::Values("zelcppc", "qarctl"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(EveryLibraryPackage, IsAnnouncedToTheLoaderAndToPackagesThatUseIt) {
  EXPECT_EQ(contentOf(package_.control() / "triggers"), "activate-noawait ldconfig\n");
  EXPECT_EQ(contentOf(package_.control() / "shlibs"),
            library_ + " 1 " + library_ + "1 (>= " PROJECT_VERSION ")\n");
  EXPECT_THAT(
      shell("readelf -d " + quoted(package_.content() / "usr/" LIBRARY_DIR / (library_ + ".so.1")))
          .out,
      HasSubstr("Library soname: [" + library_ + ".so.1]"));
}

// A symbol that is missing breaks programs, one that is not listed lets them depend on too little.
TEST_P(EveryLibraryPackage, ListsTheSymbolsThatItHas) {
  const std::string listed = contentOf(package_.control() / "symbols");
  EXPECT_THAT(listed, testing::StartsWith(library_ + ".so.1 " + library_ + "1 #MINVER#\n"));
  const Outcome compared =
      shell("dpkg-gensymbols -c4 -O/dev/null -v" PROJECT_VERSION " -p" + package_.name() + " -P" +
            quoted(package_.content()) + " -I" + quoted(package_.control() / "symbols") + " -e" +
            quoted(package_.content() / "usr/" LIBRARY_DIR / (library_ + ".so.1")) + " 2>&1");
  EXPECT_EQ(compared.status, 0) << compared.out;
}

// The linker's part; scripts/check-hardening.sh looks at the compiler's, in optimised builds.
TEST_P(EveryPackage, ProgramsAndLibrariesAreHardened) {
  for (const std::string& file : filesBelow(package_.content())) {
    const fs::path path = package_.content() / file;
    if (fs::is_symlink(path) || !contentOf(path).starts_with("\177ELF")) continue;
    EXPECT_THAT(
        shell("readelf -W -l -d " + quoted(path)).out,
        AllOf(HasSubstr("GNU_RELRO"), HasSubstr("BIND_NOW"), HasSubstr("Elf file type is DYN")))
        << file;
  }
}

}  // namespace
}  // namespace shipping
