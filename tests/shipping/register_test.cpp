#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<std::string> kOpenPegasus{"cimmof", "cimprovider", "cimcli", "cimconfig"};
const std::vector<std::string> kSfcb{"sfcbstage", "sfcbunstage", "sfcbrepos"};

/// The installed script in a world of its own: the search path holds the commands that the test
/// puts there, and the few of the system that the script and the stand-ins use.
class Register : public testing::Test {
 protected:
  Register() {
    for (const char* name : {"sh", "sed", "sort", "grep", "tr", "cat", "readlink", "dirname",
                             "basename", "ln", "rm", "cp", "ls", "mkdir", "env"}) {
      fs::create_symlink(fs::path("/usr/bin") / name, bin() / name);
    }
    fs::create_directory(state());
  }

  void install(const std::vector<std::string>& commands) {
    for (const std::string& name : commands) fs::create_symlink(FAKE_MANAGER, bin() / name);
  }

  Outcome run(const std::string& options) const { return shell(commandLine(options)); }
  /// Standard output and standard error together.
  Outcome runWithErrors(const std::string& options) const {
    return shell(commandLine(options) + " 2>&1");
  }

  std::string calls() const {
    return fs::exists(state() / "calls") ? contentOf(state() / "calls") : "";
  }
  void forgetCalls() { fs::remove(state() / "calls"); }

  /// What the managers keep.
  std::vector<std::string> kept() const {
    std::vector<std::string> files = filesBelow(state());
    std::erase(files, "calls");
    return files;
  }

  void setVariable(const std::string& assignment) { variables_ += ' ' + quoted(assignment); }

  /// A directory in which a manager is told to look for libraries.
  fs::path searched() const {
    fs::create_directory(directory_.path() / "searched");
    return directory_.path() / "searched";
  }

  fs::path sfcbConfigFor(const std::string& directories) const {
    const fs::path file = directory_.path() / "sfcb.cfg";
    shell("printf 'httpPort: 5988\\nproviderDirs: %s\\n' " + quoted(directories) + " >" +
          quoted(file));
    return file;
  }

  fs::path bin() const {
    fs::create_directory(directory_.path() / "bin");
    return directory_.path() / "bin";
  }
  fs::path state() const { return directory_.path() / "state"; }

  std::string commandLine(const std::string& options) const {
    return "env -i PATH=" + quoted(bin()) + " FAKE_STATE=" + quoted(state()) + variables_ + ' ' +
           quoted(STAGE "/sbin/pciprovider-register") + " --sfcb-staging " +
           quoted(state() / "stage") + ' ' + options;
  }

 private:
  TemporaryDirectory directory_;
  std::string variables_;
};

const std::string kMof = STAGE "/share/pciprovider/mof/";
const std::string kRegistration = STAGE "/share/pciprovider/registration/";

std::string mofFiles() {
  std::string files;
  for (const char* name : {"Zelmar_PCIAssociations", "Zelmar_PCIBridge", "Zelmar_PCIDevice",
                           "Zelmar_PCIPort", "Zelmar_PCIPortGroup", "Zelmar_PCIeSwitch"}) {
    files += ' ' + kMof + name + ".mof";
  }
  return files;
}

// --- OpenPegasus

std::string openPegasusCommands() {
  return "cimmof -uc -n root/cimv2" + mofFiles() + "\ncimmof -n root/PG_InterOp " + kRegistration +
         "pciprovider.mof\n";
}

TEST_F(Register, DryRunPrintsExactlyWhatOpenPegasusIsThenAsked) {
  install(kOpenPegasus);
  const Outcome dry = run("--dry-run");
  EXPECT_EQ(dry.status, 0);
  EXPECT_EQ(dry.out, openPegasusCommands());
  EXPECT_THAT(kept(), IsEmpty());
  EXPECT_EQ(calls(), "");

  const Outcome real = run("");
  EXPECT_EQ(real.status, 0);
  EXPECT_EQ(real.out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(kept(), Contains("modules/PCIProviderModule"));
  EXPECT_THAT(kept(), Contains("classes/Zelmar_PCIPort"));
}

TEST_F(Register, SecondRunReplacesTheRegistrationOfOpenPegasus) {
  install(kOpenPegasus);
  run("");
  const auto before = kept();
  forgetCalls();
  const Outcome again = run("");
  EXPECT_EQ(again.status, 0);
  EXPECT_THAT(again.out, HasSubstr("\ncimprovider -r -m PCIProviderModule\n"
                                   "cimmof -n root/PG_InterOp "));
  EXPECT_EQ(calls(), again.out);
  EXPECT_EQ(kept(), before);
}

TEST_F(Register, RemoveLeavesOpenPegasusAsItWas) {
  install(kOpenPegasus);
  shell("mkdir -p " + quoted(state() / "classes") + " && touch " +
        quoted(state() / "classes/CIM_PCIPort"));
  const auto before = kept();
  run("--host-system");
  EXPECT_THAT(kept(), Contains("modules/HostSystemProviderModule"));

  const auto registered = kept();
  forgetCalls();
  const Outcome dry = run("--remove --host-system --dry-run");
  EXPECT_EQ(kept(), registered);
  EXPECT_EQ(calls(), "");
  const Outcome real = run("--remove --host-system");
  EXPECT_EQ(real.status, 0);
  EXPECT_EQ(real.out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(linesOf(dry.out), Contains("cimcli dc -n root/cimv2 Zelmar_PCIControlledBy"));
  EXPECT_EQ(linesOf(dry.out).size(), 2U + 11U) << dry.out;
  EXPECT_EQ(kept(), before);

  EXPECT_EQ(run("--remove").out, "");
}

TEST_F(Register, WithoutCimcliTheClassesStayAndThatIsSaid) {
  install({"cimmof", "cimprovider"});
  run("");
  const Outcome removed = runWithErrors("--remove");
  EXPECT_EQ(removed.status, 0);
  EXPECT_THAT(removed.out, HasSubstr("without its command cimcli the classes stay"));
  EXPECT_THAT(kept(), Not(Contains("modules/PCIProviderModule")));
  EXPECT_THAT(kept(), Contains("classes/Zelmar_PCIPort"));
}

TEST_F(Register, StoppedServerIsNoServerWithoutRegistration) {
  install(kOpenPegasus);
  run("");
  const auto registered = kept();
  forgetCalls();
  setVariable("FAKE_STOPPED=yes");
  const std::string links = " --link-into " + quoted(searched());
  for (const std::string& options : {"--remove" + links, links, "--remove --dry-run" + links}) {
    const Outcome outcome = runWithErrors(options);
    EXPECT_EQ(outcome.status, 1) << options;
    EXPECT_THAT(outcome.out, HasSubstr("is cimserver running?")) << options;
  }
  EXPECT_THAT(filesBelow(searched()), IsEmpty());
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(kept(), registered);
}

TEST_F(Register, InteropNamespaceCanBeChosen) {
  install(kOpenPegasus);
  EXPECT_THAT(run("--dry-run --interop-namespace root/interop").out,
              HasSubstr("\ncimmof -n root/interop "));
}

// --- sfcb

std::string sfcbCommands(const std::string& stager, const fs::path& stage) {
  return stager + " -s " + stage.string() + " -n root/cimv2 -r " + kRegistration +
         "pciprovider.reg" + mofFiles() + "\nsfcbrepos -f -s " + stage.string() + "\n";
}

TEST_F(Register, DryRunPrintsExactlyWhatSfcbIsThenAsked) {
  install(kSfcb);
  const Outcome dry = run("--dry-run");
  EXPECT_EQ(dry.status, 0);
  EXPECT_EQ(dry.out, sfcbCommands("sfcbstage", state() / "stage"));
  EXPECT_THAT(kept(), IsEmpty());

  const Outcome real = run("");
  EXPECT_EQ(real.status, 0);
  EXPECT_EQ(real.out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(kept(), Contains("repository/regs/pciprovider.reg"));
}

TEST_F(Register, SecondRunChangesNothingInSfcb) {
  install(kSfcb);
  run("");
  const auto before = kept();
  EXPECT_EQ(run("").status, 0);
  EXPECT_EQ(kept(), before);
}

TEST_F(Register, RemoveLeavesSfcbAsItWas) {
  install(kSfcb);
  shell("mkdir -p " + quoted(state() / "stage/regs") + " && touch " +
        quoted(state() / "stage/regs/other.reg"));
  run("");
  const Outcome dry = run("--remove --dry-run");
  EXPECT_EQ(dry.out, sfcbCommands("sfcbunstage", state() / "stage"));
  forgetCalls();
  EXPECT_EQ(run("--remove").out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(kept(), testing::ElementsAre("repository/regs/other.reg", "stage/regs/other.reg"));
  EXPECT_EQ(run("--remove").out, "");
}

TEST_F(Register, CompanionIsStagedWithItsOwnClassOnly) {
  install(kSfcb);
  const std::vector<std::string> lines = linesOf(run("--dry-run --host-system").out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], "sfcbstage -s " + (state() / "stage").string() + " -n root/cimv2 -r " +
                          kRegistration + "hostsystemprovider.reg " + kMof +
                          "OMC_UnitaryComputerSystem.mof");
}

// --- Which manager

TEST_F(Register, BothManagersAreServedUnlessOneIsNamed) {
  install(kOpenPegasus);
  install(kSfcb);
  const std::string openPegasus = openPegasusCommands();
  const std::string sfcb = sfcbCommands("sfcbstage", state() / "stage");
  EXPECT_EQ(run("--dry-run").out, openPegasus + sfcb);
  EXPECT_EQ(run("--dry-run --manager sfcb").out, sfcb);
  EXPECT_EQ(run("--dry-run --manager openpegasus").out, openPegasus);
}

TEST_F(Register, WithoutAManagerItSaysWhatItLookedFor) {
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("no object manager found"));
  EXPECT_THAT(outcome.out, HasSubstr("cimprovider (OpenPegasus)"));
  EXPECT_THAT(outcome.out, HasSubstr("sfcbrepos (sfcb)"));
}

TEST_F(Register, MissingCommandOfAManagerIsNamed) {
  install({"cimprovider"});
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("openpegasus: the command cimmof is not on the search path"));
}

TEST_F(Register, FailingCommandStopsTheRunAndIsNamed) {
  install(kSfcb);
  setVariable("FAKE_FAILURE=sfcbstage");
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("sfcbstage failed"));
  EXPECT_THAT(calls(), Not(HasSubstr("sfcbrepos")));
}

TEST_F(Register, RemovalThatFailsCanBeRunAgain) {
  install(kSfcb);
  run("");
  setVariable("FAKE_FAILURE=sfcbunstage");
  const Outcome outcome = runWithErrors("--remove");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("sfcbunstage failed"));
  EXPECT_THAT(outcome.out, HasSubstr("--remove can be run again"));
  setVariable("FAKE_FAILURE=");
  EXPECT_EQ(run("--remove").status, 0);
  EXPECT_THAT(kept(), IsEmpty());
}

TEST_F(Register, RebuildThatFailsAfterRemovalIsLeftToThePerson) {
  install(kSfcb);
  run("");
  setVariable("FAKE_FAILURE=sfcbrepos");
  const Outcome outcome = runWithErrors("--remove");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("sfcbrepos failed"));
  EXPECT_THAT(outcome.out, HasSubstr("it is to be run by hand"));
}

// --- Where the manager finds the libraries

TEST_F(Register, LibraryOutsideTheSearchPathStopsItBeforeAnyChange) {
  install(kOpenPegasus);
  setVariable("FAKE_PROVIDER_DIRS=" + searched().string() + ":/nowhere");
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("openpegasus does not find libpciprovider.so"));
  EXPECT_THAT(outcome.out, HasSubstr(searched().string() + " /nowhere"));
  EXPECT_EQ(calls(), "");

  setVariable("FAKE_PROVIDER_DIRS=/nowhere:" STAGE "/" PROVIDER_DIR);
  EXPECT_EQ(run("").status, 0);
}

TEST_F(Register, SearchPathOfSfcbIsThatOfItsConfiguration) {
  install(kSfcb);
  const std::string config = "--sfcb-config " + quoted(sfcbConfigFor(searched()));
  const Outcome outcome = runWithErrors(config);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("sfcb does not find libpciprovider.so"));
  EXPECT_EQ(calls(), "");

  sfcbConfigFor(searched().string() + "  " STAGE "/" PROVIDER_DIR);
  EXPECT_EQ(run(config).status, 0);
}

TEST_F(Register, LinksAreMadeOnceAndTakenBack) {
  install(kSfcb);
  const fs::path link = searched() / "libpciprovider.so";
  const std::string options = "--link-into " + quoted(searched());
  const std::string library = STAGE "/" PROVIDER_DIR "/libpciprovider.so";
  EXPECT_EQ(linesOf(run(options + " --dry-run").out).front(),
            "ln -s " + library + ' ' + link.string());
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_EQ(run(options).status, 0);
  EXPECT_EQ(fs::read_symlink(link), library);
  EXPECT_THAT(run(options).out, Not(HasSubstr("ln -s")));

  EXPECT_EQ(linesOf(run(options + " --remove --dry-run").out).back(), "rm " + link.string());
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(run(options + " --remove").status, 0);
  EXPECT_FALSE(fs::is_symlink(link));
}

TEST_F(Register, WhatBelongsToOthersIsNotOverwrittenByALink) {
  install(kSfcb);
  const fs::path other = searched() / "libpciprovider.so";
  shell("echo other >" + quoted(other));
  const Outcome outcome = runWithErrors("--link-into " + quoted(searched()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("is there already and is not a link to"));
  EXPECT_EQ(calls(), "");
  run("--remove --link-into " + quoted(searched()));
  EXPECT_EQ(contentOf(other), "other\n");
}

TEST_F(Register, LinkToARelativeDirectoryLeadsToTheLibrary) {
  install(kSfcb);
  const std::string here = "cd " + quoted(STAGE "/" PROVIDER_DIR) + " && ";
  const std::string options = "--provider-dir . --link-into " + quoted(searched());
  const fs::path link = searched() / "libpciprovider.so";
  EXPECT_EQ(shell(here + commandLine(options)).status, 0);
  EXPECT_TRUE(fs::exists(link)) << fs::read_symlink(link);
  EXPECT_EQ(shell(here + commandLine(options + " --remove")).status, 0);
  EXPECT_FALSE(fs::is_symlink(link));
}

TEST_F(Register, NoLinkIsMadeWhereOneOfThemCannotBe) {
  install(kSfcb);
  shell("echo other >" + quoted(searched() / "libhostsystemprovider.so"));
  EXPECT_EQ(run("--host-system --link-into " + quoted(searched())).status, 1);
  EXPECT_FALSE(fs::is_symlink(searched() / "libpciprovider.so"));
}

// --- The command line and what it names

TEST_F(Register, PathsWithBlanksAreQuotedAndWork) {
  install(kOpenPegasus);
  const fs::path data = searched() / "it's here";
  fs::copy(STAGE "/share/pciprovider", data, fs::copy_options::recursive);
  const Outcome outcome = run("--data-dir " + quoted(data));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("cimmof -n root/PG_InterOp '" + searched().string() +
                                     R"(/it'\''s here/registration/pciprovider.mof')"));
  EXPECT_THAT(kept(), Contains("modules/PCIProviderModule"));
}

TEST_F(Register, MissingFilesAreNamed) {
  install(kOpenPegasus);
  const Outcome noData = runWithErrors("--data-dir /nowhere");
  EXPECT_EQ(noData.status, 1);
  EXPECT_THAT(noData.out, HasSubstr("cannot read /nowhere/registration/pciprovider.mof"));
  const Outcome noLibrary = runWithErrors("--provider-dir /nowhere");
  EXPECT_EQ(noLibrary.status, 1);
  EXPECT_THAT(noLibrary.out, HasSubstr("cannot read /nowhere/libpciprovider.so"));
  EXPECT_EQ(calls(), "");
}

TEST_F(Register, WrongUseIsToldApartFromFailure) {
  for (const char* options : {"--unknown", "--manager", "--manager other", "word"}) {
    const Outcome outcome = runWithErrors(options);
    EXPECT_EQ(outcome.status, 2) << options;
    EXPECT_THAT(outcome.out, HasSubstr("--help")) << options;
  }
}

TEST_F(Register, HelpNamesEveryOption) {
  const Outcome help = run("--help");
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--dry-run", "--remove", "--manager", "--host-system", "--link-into", "--data-dir",
        "--provider-dir", "--interop-namespace", "--sfcb-config", "--sfcb-staging"}) {
    EXPECT_THAT(help.out, HasSubstr(option));
  }
  EXPECT_THAT(help.out, HasSubstr(STAGE "/" PROVIDER_DIR));
}

}  // namespace
}  // namespace shipping
