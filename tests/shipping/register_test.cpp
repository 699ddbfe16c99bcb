// The registration command over both managers: which one it serves, where libraries have to be, the
// links that it makes, and its command line. The managers' commands are replaced by scripts that
// keep their state in files and note each call, so that a test sees what was changed, and that
// nothing was where a check failed. Every test has directories of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "register_fixture.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::StartsWith;

// --- Which manager

TEST_F(Register, BothManagersAreServedUnlessOneIsNamed) {
  installOpenPegasus();
  installSfcb();
  const std::string openPegasus = run("--dry-run --manager openpegasus").out;
  const std::string sfcb = run("--dry-run --manager sfcb").out;
  EXPECT_THAT(openPegasus, StartsWith("cimmof -uc "));
  EXPECT_THAT(sfcb, StartsWith("sfcbstage "));
  EXPECT_EQ(run("--dry-run").out, openPegasus + sfcb);
}

TEST_F(Register, NothingIsChangedInOneManagerWhereTheOtherIsNotReady) {
  installOpenPegasus();
  installSfcb();
  fs::remove_all(sfcbSchema());
  EXPECT_EQ(run("").status, 1);
  EXPECT_EQ(calls(), "");
}

TEST_F(Register, WithoutAManagerItSaysWhatItLookedFor) {
  expectFailure("", {"no object manager found", "cimprovider (OpenPegasus)", "sfcbrepos (sfcb)"});
}

TEST_F(Register, MissingCommandOfAManagerIsNamed) {
  installOpenPegasus({"cimprovider"});
  expectFailure("", {"openpegasus: the command cimmof is not on the search path"});
}

// --- Where the manager finds the libraries

TEST_F(Register, LibraryOutsideTheSearchPathStopsItBeforeAnyChange) {
  installOpenPegasus();
  setVariable("FAKE_PROVIDER_DIRS=" + searched().string() + ":/nowhere");
  expectFailure("",
                {"openpegasus does not find libpciprovider.so", searched().string() + " /nowhere"});
  EXPECT_EQ(calls(), "");

  setVariable("FAKE_PROVIDER_DIRS=/nowhere:" STAGE "/" PROVIDER_DIR);
  EXPECT_EQ(run("").status, 0);
}

TEST_F(Register, RelativeDirectoryDoesNotHideTheRightOneBesideIt) {
  installOpenPegasus();
  const std::string cannotTell = "cannot tell where it looks for libpciprovider.so";
  for (const char* directories :
       {"lib:" STAGE "/" PROVIDER_DIR, STAGE "/" PROVIDER_DIR ":lib:lib64"}) {
    setVariable(std::string("FAKE_PROVIDER_DIRS=") + directories);
    const Outcome outcome = runWithErrors("");
    EXPECT_EQ(outcome.status, 0) << directories;
    EXPECT_THAT(outcome.out, Not(HasSubstr(cannotTell))) << directories;
  }
  // The script itself runs in the root directory, the manager does not.
  for (const std::string& directories :
       {std::string("lib:/nowhere"), fs::path(STAGE "/" PROVIDER_DIR).relative_path().string()}) {
    setVariable("FAKE_PROVIDER_DIRS=" + directories);
    EXPECT_THAT(runWithErrors("--dry-run").out, HasSubstr(cannotTell)) << directories;
  }
}

TEST_F(Register, SearchPathOfSfcbIsThatOfItsConfiguration) {
  installSfcb();
  const std::string config = "--sfcb-config " + quoted(sfcbConfigFor(searched()));
  expectFailure(config, {"sfcb does not find libpciprovider.so"});
  EXPECT_EQ(calls(), "");

  sfcbConfigFor(searched().string() + "  " STAGE "/" PROVIDER_DIR);
  EXPECT_EQ(run(config).status, 0);
  EXPECT_EQ(run("--sfcb-config /nowhere/sfcb.cfg").status, 1);
}

TEST_F(Register, ConfigurationOfSfcbIsLookedForBelowItsPrefix) {
  installSfcb();
  fs::create_directories(sfcbPrefix() / "etc/sfcb");
  fs::rename(sfcbConfigFor(searched()), sfcbPrefix() / "etc/sfcb/sfcb.cfg");
  EXPECT_THAT(runWithErrors("").out, HasSubstr("sfcb does not find libpciprovider.so"));
}

// --- Links

/// The loader as object managers use it, without a search path from the environment.
Outcome load(const fs::path& library) {
  return shell("env -i " LOAD_LIBRARY " " + quoted(library) + " 2>&1");
}

const std::vector<std::string> kPlatformLibraries{"libzelcppc.so.1", "libqarctl.so.1"};

std::string platformLibrary(const std::string& name) {
  return STAGE "/" LIBRARY_DIR "/" + name;
}

TEST_F(Register, LinksAreMadeOnceAndTakenBack) {
  installSfcb();
  const std::string options = "--link-into " + quoted(searched());
  std::string made;
  for (const std::string& name : kPlatformLibraries) {
    made += "ln -s " + platformLibrary(name) + ' ' + (searched() / name).string() + '\n';
  }
  const fs::path link = searched() / "libpciprovider.so";
  made += "ln -s " + installedLibrary("libpciprovider.so") + ' ' + link.string() + '\n';
  EXPECT_THAT(run(options + " --dry-run").out, StartsWith(made));
  EXPECT_TRUE(fs::is_empty(searched()));
  const Outcome real = run(options);
  EXPECT_EQ(real.status, 0);
  EXPECT_THAT(real.out, StartsWith(made));
  EXPECT_EQ(fs::read_symlink(link), installedLibrary("libpciprovider.so"));
  EXPECT_THAT(run(options).out, Not(HasSubstr("ln -s")));

  EXPECT_THAT(run(options + " --remove --dry-run").out,
              EndsWith("rm " + link.string() + "\nrm " + (searched() / "libzelcppc.so.1").string() +
                       "\nrm " + (searched() / "libqarctl.so.1").string() + '\n'));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(run(options + " --remove").status, 0);
  EXPECT_TRUE(fs::is_empty(searched()));
}

TEST_F(Register, LinkedLibrariesLoadWhereTheLoaderKnowsNoneOfThem) {
  installOpenPegasus();
  setVariable("FAKE_PROVIDER_DIRS=lib:" + searched().string());
  const Outcome outcome = runWithErrors("--host-system --link-into " + quoted(searched()));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("Zelmar_PCIDevice has 2 instances"));
  for (const char* name : {"libpciprovider.so", "libhostsystemprovider.so"}) {
    const Outcome loaded = load(searched() / name);
    EXPECT_EQ(loaded.status, 0) << loaded.out;
  }
  // A link alone does not do: that is what the links beside it are for.
  fs::remove(searched() / "libzelcppc.so.1");
  EXPECT_EQ(load(searched() / "libpciprovider.so").status, 1);
}

TEST_F(Register, LinkMadeByHandThatCannotBeLoadedIsFoundBeforeAnyChange) {
  installOpenPegasus();
  setVariable("FAKE_PROVIDER_DIRS=" + searched().string());
  fs::create_symlink(installedLibrary("libpciprovider.so"), searched() / "libpciprovider.so");
  expectFailure(
      "", {"libzelcppc.so.1 cannot be found from there; use --link-into " + searched().string()});
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(run("--link-into " + quoted(searched())).status, 0);
}

TEST_F(Register, DirectoryThatIsNotSearchedIsNoPlaceForLinks) {
  installOpenPegasus();
  setVariable("FAKE_PROVIDER_DIRS=/nowhere");
  expectFailure("--link-into " + quoted(searched()),
                {"add " + searched().string() + " to its configuration"});
  EXPECT_TRUE(fs::is_empty(searched()));
}

/// An installation of its own, for tests that break it.
class RegisterMoved : public Register {
 protected:
  RegisterMoved() {
    fs::copy(STAGE, moved(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }
  fs::path moved() const { return state().parent_path() / "moved"; }
  fs::path provider() const { return moved() / PROVIDER_DIR / "libpciprovider.so"; }
  Outcome runMoved(const std::string& options) const {
    return shell(inWorld(quoted(moved() / "sbin/pciprovider-register") + ' ' + options) + " 2>&1");
  }
};

TEST_F(RegisterMoved, LinkThatCannotBeLoadedIsTakenBack) {
  installSfcb();
  replaceIn(provider(), ":$ORIGIN" + std::string(1, '\0'), ":/nowher" + std::string(1, '\0'));
  const Outcome outcome = runMoved("--link-into " + quoted(searched()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("libpciprovider.so could not be loaded, since"));
  EXPECT_THAT(outcome.out, HasSubstr("add " + provider().parent_path().string() +
                                     " to the configuration of the manager instead"));
  EXPECT_TRUE(fs::is_empty(searched()));
  EXPECT_EQ(calls(), "");
}

TEST_F(RegisterMoved, MissingPlatformLibraryIsFoundBeforeAnyChange) {
  installSfcb();
  fs::remove(moved() / LIBRARY_DIR / "libqarctl.so.1");
  const Outcome outcome = runMoved("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("since libqarctl.so.1 cannot be found from there; install "
                                     "the platform libraries as well"));
  EXPECT_EQ(calls(), "");
}

TEST_F(RegisterMoved, LibrariesInTheirOwnPlaceAreNeitherLinkedNorRemoved) {
  installSfcb();
  const Files before = contentsBelow(moved());
  const std::string options = "--link-into " + quoted(moved() / LIBRARY_DIR);
  EXPECT_EQ(runMoved(options).status, 0);
  EXPECT_EQ(runMoved(options + " --remove").status, 0);
  EXPECT_EQ(contentsBelow(moved()), before);
}

TEST_F(Register, PlatformLibrariesStayLinkedForTheCompanion) {
  installSfcb();
  const std::string options = "--link-into " + quoted(searched());
  run(options + " --host-system");
  EXPECT_EQ(run(options + " --remove").status, 0);
  EXPECT_FALSE(fs::is_symlink(searched() / "libpciprovider.so"));
  EXPECT_EQ(load(searched() / "libhostsystemprovider.so").status, 0);
  EXPECT_EQ(run(options + " --remove --host-system").status, 0);
  EXPECT_TRUE(fs::is_empty(searched()));
}

TEST_F(Register, WhatBelongsToOthersIsNotOverwrittenByALink) {
  installSfcb();
  for (const char* name : {"libpciprovider.so", "libqarctl.so.1"}) {
    const fs::path other = searched() / name;
    write(other, "other\n");
    const Outcome outcome = runWithErrors("--link-into " + quoted(searched()));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(other.string() + " is there already and is not a link to"));
    EXPECT_EQ(calls(), "");
    run("--remove --link-into " + quoted(searched()));
    EXPECT_EQ(contentOf(other), "other\n");
    fs::remove(other);
  }
}

TEST_F(Register, LinkToARelativeDirectoryLeadsToTheLibrary) {
  installSfcb();
  const std::string here = "cd " + quoted(STAGE "/" PROVIDER_DIR) + " && ";
  const std::string options = "--provider-dir . --link-into " + quoted(searched());
  const fs::path link = searched() / "libpciprovider.so";
  EXPECT_EQ(shell(here + commandLine(options)).status, 0);
  EXPECT_TRUE(fs::exists(link)) << fs::read_symlink(link);
  EXPECT_EQ(shell(here + commandLine(options + " --remove")).status, 0);
  EXPECT_FALSE(fs::is_symlink(link));
}

TEST_F(Register, NoLinkIsMadeWhereOneOfThemCannotBe) {
  installSfcb();
  write(searched() / "libhostsystemprovider.so", "other\n");
  EXPECT_EQ(run("--host-system --link-into " + quoted(searched())).status, 1);
  EXPECT_THAT(filesBelow(searched()), testing::ElementsAre("libhostsystemprovider.so"));
}

// --- The command line and what it names

TEST_F(Register, PathsWithBlanksAreQuotedAndWork) {
  installOpenPegasus();
  const fs::path copy = searched() / "it's here";
  fs::copy(data(), copy, fs::copy_options::recursive);
  const Outcome outcome = run("--data-dir " + quoted(copy));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("cimmof -n root/PG_InterOp '" + searched().string() +
                                     R"(/it'\''s here/registration/pciprovider.mof')"));
  EXPECT_THAT(kept(), Contains(Key("openpegasus/modules/PCIProviderModule")));
}

TEST_F(Register, DirectoriesMayBeRelative) {
  installSfcb();
  const std::string here = "cd " + quoted(data() / "mof") + " && ";
  const Outcome outcome = shell(here + commandLine("--data-dir .. --dry-run"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr(' ' + (data() / "mof/..").string() + "/mof/Zelmar_PCIPort"));
}

TEST_F(RegisterMoved, FilesOfItsOwnInstallationAreThoseMeant) {
  installSfcb();
  const Outcome outcome = runMoved("--dry-run");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out,
              HasSubstr((moved() / "share/pciprovider/mof/Zelmar_PCIPort.mof").string()));
}

TEST_F(Register, MissingFilesAreNamed) {
  installOpenPegasus();
  expectFailure("--data-dir /nowhere", {"cannot read /nowhere/registration/pciprovider.mof"});
  expectFailure("--provider-dir /nowhere", {"cannot read /nowhere/libpciprovider.so"});
  EXPECT_EQ(calls(), "");
}

TEST_F(Register, WrongUseIsToldApartFromFailure) {
  for (const char* options : {"--unknown", "--manager", "--manager other", "word", "--manager ''",
                              "--link-into ''", "--sfcb-staging ''"}) {
    const Outcome outcome = runWithErrors(options);
    EXPECT_EQ(outcome.status, 2) << options;
    EXPECT_THAT(outcome.out, HasSubstr("--help")) << options;
  }
}

TEST_F(Register, HelpNamesEveryOption) {
  const Outcome help = run("--help");
  EXPECT_EQ(help.status, 0);
  const std::string manual = contentOf(STAGE "/share/man/man8/pciprovider-register.8");
  for (const std::string option :
       {"dry-run", "remove", "manager", "host-system", "link-into", "data-dir", "provider-dir",
        "interop-namespace", "sfcb-config", "sfcb-staging", "sfcb-schema"}) {
    EXPECT_THAT(help.out, HasSubstr("--" + option));
    std::string escaped = "\\-\\-" + option;
    if (const auto dash = escaped.find('-', 4); dash != std::string::npos) {
      escaped.replace(dash, 1, "\\-");
    }
    EXPECT_THAT(manual, HasSubstr(escaped));
  }
  EXPECT_THAT(help.out, HasSubstr(STAGE "/" PROVIDER_DIR));
}

}  // namespace
}  // namespace shipping
