// Registration with sfcb, whose commands are replaced by scripts (managers/sfcb) with the failures
// that the real ones have. The repository is made anew from staged files, so the tests take care
// above all that the namespaces outlive a compilation that fails, and that removal restores what
// was there before.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "register_fixture.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;

class RegisterSfcb : public Register {
 protected:
  std::string stageCommands(const std::string& options = "") const {
    std::string line = "sfcbstage" + options + " -n root/cimv2 -r " +
                       (data() / "registration/pciprovider.reg").string();
    for (const std::string& name : mofNames()) line += ' ' + mof(name).string();
    return line + "\nsfcbrepos -f" + options + '\n';
  }
  std::string unstageCommands(const std::string& options = "") const {
    std::string line = "sfcbunstage" + options + " -n root/cimv2 -r pciprovider.reg";
    for (const std::string& name : mofNames()) line += ' ' + name + ".mof";
    return line + "\nsfcbrepos -f" + options + '\n';
  }
  std::string providerRegister() const { return contentOf(registration() / "providerRegister"); }
  std::string repositoryClasses() const {
    return contentOf(registration() / "repository/root/cimv2/classSchemas");
  }
  /// What a removal has to leave behind, with the options given at registration and removal.
  void expectRemoveUndoesRegister(const std::string& options) {
    const Files before = kept();
    const Files package = contentsBelow(data());
    EXPECT_EQ(run(options).status, 0);
    EXPECT_NE(kept(), before);
    const Outcome dry = run("--remove --dry-run " + options);
    forgetCalls();
    const Outcome real = run("--remove " + options);
    EXPECT_EQ(real.status, 0);
    EXPECT_EQ(real.out, dry.out);
    EXPECT_EQ(calls(), dry.out);
    EXPECT_EQ(kept(), before);
    EXPECT_EQ(contentsBelow(data()), package);
    EXPECT_EQ(run("--remove " + options).out, "");
  }
};

TEST_F(RegisterSfcb, DryRunPrintsExactlyWhatItIsThenAsked) {
  installSfcb();
  const Files before = kept();
  const Outcome dry = run("--dry-run");
  EXPECT_EQ(dry.status, 0);
  EXPECT_EQ(dry.out, stageCommands());
  EXPECT_EQ(kept(), before);

  const Outcome real = run("");
  EXPECT_EQ(real.status, 0);
  EXPECT_EQ(real.out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(providerRegister(), AllOf(HasSubstr("[Zelmar_PCIPort]"), HasSubstr("[Other_Thing]")));
  EXPECT_THAT(repositoryClasses(), HasSubstr("Zelmar_PCIPort CIM_PCIPort\n"));
}

TEST_F(RegisterSfcb, SecondRunChangesNothing) {
  installSfcb();
  run("");
  const Files before = kept();
  EXPECT_EQ(run("").status, 0);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, CompanionIsStagedWithItsOwnClassOnly) {
  installSfcb();
  const std::vector<std::string> lines = linesOf(run("--dry-run --host-system").out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], "sfcbstage -n root/cimv2 -r " +
                          (data() / "registration/hostsystemprovider.reg").string() + ' ' +
                          mof("OMC_UnitaryComputerSystem").string());
}

TEST_F(RegisterSfcb, DirectoriesGivenAreHandedOn) {
  installSfcb();
  const std::string options = " -s " + staging().string();
  EXPECT_EQ(run("--dry-run --sfcb-staging " + staging().string()).out, stageCommands(options));
  fs::rename(sfcbSchema(), searched() / "CIM");
  const Outcome outcome = run("--sfcb-schema " + (searched() / "CIM").string());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(linesOf(outcome.out).back(), "sfcbrepos -f -c " + (searched() / "CIM").string());
}

// --- The way back

TEST_F(RegisterSfcb, RemoveLeavesItAsItWas) {
  installSfcb();
  EXPECT_EQ(runWithErrors("--remove").status, 0);
  EXPECT_EQ(calls(), "");
  expectRemoveUndoesRegister("");
  EXPECT_EQ(calls(), unstageCommands());
}

TEST_F(RegisterSfcb, RemoveTakesTheCompanionToo) {
  installSfcb();
  expectRemoveUndoesRegister("--host-system");
}

TEST_F(RegisterSfcb, RemoveKnowsTheStagingDirectoryThatWasGiven) {
  installSfcb();
  fs::copy(staging(), searched() / "stage", fs::copy_options::recursive);
  const std::string options = "--sfcb-staging " + quoted(searched() / "stage");
  const Files staged = contentsBelow(searched());
  expectRemoveUndoesRegister(options);
  EXPECT_EQ(calls(), unstageCommands(" -s " + (searched() / "stage").string()));
  EXPECT_EQ(contentsBelow(searched()), staged);
}

TEST_F(RegisterSfcb, RemoveKnowsTheStagingDirectoryThatIsWrittenIntoTheCommands) {
  installSfcb("local/state");
  expectRemoveUndoesRegister("");
}

TEST_F(RegisterSfcb, RemoveKnowsTheStagingDirectoryBelowThePrefixOfTheCommands) {
  installSfcb("var", false);
  expectRemoveUndoesRegister("");
}

TEST_F(RegisterSfcb, DirectoriesThatCannotBeFoundAreAskedFor) {
  installSfcb("elsewhere", false);
  expectFailure("", {"cannot tell where its staging directory is"});
  EXPECT_EQ(calls(), "");
}

TEST_F(RegisterSfcb, RemoveNeverDeletesWhereItIsCalled) {
  installSfcb();
  run("");
  const Files package = contentsBelow(data());
  fs::remove_all(staging() / "mofs");
  EXPECT_EQ(shell("cd " + quoted(data() / "mof") + " && " + commandLine("--remove")).status, 0);
  EXPECT_THAT(calls(), HasSubstr(unstageCommands()));
  EXPECT_EQ(contentsBelow(data()), package);
}

TEST_F(RegisterSfcb, RemovalThatFailsCanBeRunAgain) {
  installSfcb();
  const Files before = kept();
  run("");
  setVariable("FAKE_FAILURE=sfcbunstage");
  expectFailure("--remove", {"sfcbunstage failed", "--remove can be run again"});
  setVariable("FAKE_FAILURE=");
  EXPECT_EQ(run("--remove").status, 0);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, WhatStaysStagedIsFoundBeforeTheRepositoryIsMadeAnew) {
  installSfcb();
  run("");
  forgetCalls();
  setVariable("FAKE_STUBBORN=removal");
  expectFailure("--remove", {"still staged: " + (staging() / "regs").string(),
                             (staging() / "mofs/root/cimv2/Zelmar_PCIPort.mof").string()});
  EXPECT_THAT(calls(), Not(HasSubstr("sfcbrepos")));
}

TEST_F(RegisterSfcb, WhatStaysRegisteredIsFound) {
  installSfcb();
  run("");
  write(staging() / "regs/other.reg", "[Zelmar_PCIPort]\n   location: other\n#\n");
  expectFailure("--remove", {"providerRegister: Zelmar_PCIPort "});
}

TEST_F(RegisterSfcb, WayThereAndBackByHandIsThatOfTheDocument) {
  installSfcb();
  const Files before = kept();
  const Files package = contentsBelow(data());
  EXPECT_EQ(runByHand(documentedCommands("\nWith sfcb:", "and the way back, with")).status, 0);
  EXPECT_EQ(calls(), stageCommands());
  EXPECT_THAT(providerRegister(), HasSubstr("[Zelmar_PCIPort]"));

  forgetCalls();
  EXPECT_EQ(runByHand(documentedCommands("and the way back, with", "It ends with")).status, 0);
  EXPECT_EQ(calls(), unstageCommands());
  EXPECT_EQ(kept(), before);
  EXPECT_EQ(contentsBelow(data()), package);
}

// --- A standard schema that is too old

TEST_F(RegisterSfcb, MissingSuperclassIsNamedBeforeAnyChange) {
  installSfcb();
  replaceIn(sfcbSchema() / "CIM_Schema.mof", "\nclass CIM_PCIPort : ", "\nclass CIM_OtherPort : ");
  const Files before = kept();
  for (const char* options : {"", "--dry-run"}) {
    const Outcome outcome = runWithErrors(options);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(mof("Zelmar_PCIPort").string()));
    EXPECT_THAT(outcome.out, HasSubstr("superclass CIM_PCIPort of Zelmar_PCIPort"));
    EXPECT_THAT(outcome.out, HasSubstr("CIM 2.22 or later"));
  }
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, SuperclassMayBeAmongTheStagedFiles) {
  installSfcb();
  replaceIn(sfcbSchema() / "CIM_Schema.mof", "\nclass CIM_PCIPort : ", "\nclass CIM_OtherPort : ");
  write(staging() / "mofs/root/cimv2/Ports.mof", "class CIM_PCIPort : CIM_LogicalPort {\r\n};\r\n");
  EXPECT_EQ(run("").status, 0);
}

TEST_F(RegisterSfcb, SchemaMayBeALinkAndHaveDirectories) {
  installSfcb();
  fs::create_directories(searched() / "CIM/Device");
  fs::rename(sfcbSchema() / "CIM_Schema.mof", searched() / "CIM/Device/CIM_All.mof");
  fs::remove(sfcbSchema());
  fs::create_directory_symlink(searched() / "CIM", sfcbSchema());
  EXPECT_THAT(run("--dry-run").out, HasSubstr("sfcbstage"));
}

TEST_F(RegisterSfcb, SchemaThatIsNotThereIsAskedFor) {
  installSfcb();
  fs::remove_all(sfcbSchema());
  expectFailure("", {"the standard schema is not in " + sfcbSchema().string()});
  EXPECT_EQ(calls(), "");
}

// --- A repository that cannot be made

TEST_F(RegisterSfcb, NamespacesOutliveACompilationThatFails) {
  installSfcb();
  const Files before = kept();
  setVariable("FAKE_FAILURE=sfcbrepos");
  expectFailure("", {"the repository is as it was before",
                     "sfcbrepos failed; what was staged is taken back"});
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, RepositoryWithoutNamespacesIsAFailureWhateverTheStatus) {
  installSfcb();
  const Files before = kept();
  setVariable("FAKE_FAILURE=sfcbrepos");
  setVariable("FAKE_STATUS=0");
  EXPECT_EQ(run("").status, 1);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, NamespacesOutliveARemovalThatFails) {
  installSfcb();
  const Files before = kept();
  run("");
  const std::string registered = providerRegister();
  setVariable("FAKE_FAILURE=sfcbrepos");
  expectFailure("--remove", {"sfcbrepos failed; --remove can be run again"});
  EXPECT_THAT(repositoryClasses(), HasSubstr("Other_Thing"));
  EXPECT_EQ(providerRegister(), registered);

  setVariable("FAKE_FAILURE=");
  EXPECT_EQ(run("--remove").status, 0);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, AnOlderRepositoryIsNotPutBackWhereNothingWasMoved) {
  installSfcb();
  run("");
  ASSERT_TRUE(fs::exists(registration() / "repository.previous"));
  fs::remove_all(sfcbSchema());
  const Outcome outcome = runWithErrors("--remove");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, Not(HasSubstr("no longer what it was")));
  EXPECT_THAT(repositoryClasses(), HasSubstr("Zelmar_PCIPort"));
  EXPECT_TRUE(fs::exists(registration() / "repository.previous"));
}

TEST_F(RegisterSfcb, NamespacesThatWereLostEarlierComeBack) {
  installSfcb();
  const Files before = kept();
  setVariable("FAKE_FAILURE=sfcbrepos");
  EXPECT_EQ(runSfcb("sfcbrepos -f").status, 1);
  EXPECT_FALSE(fs::exists(registration() / "repository/root"));
  expectFailure("", {"the one before it is put back first"});
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, RemoveMendsWhatFilesStagedByHandHaveDone) {
  installSfcb();
  replaceIn(sfcbSchema() / "CIM_Schema.mof", "\nclass CIM_PCIPort : ", "\nclass CIM_OtherPort : ");
  EXPECT_EQ(runSfcb("sfcbrepos -f").status, 0);
  const Files before = kept();
  const Outcome byHand = runByHand(documentedCommands("\nWith sfcb:", "and the way back, with"));
  EXPECT_EQ(byHand.status, 1);
  EXPECT_THAT(byHand.out, HasSubstr("class CIM_PCIPort was referenced but never defined"));
  EXPECT_FALSE(fs::exists(registration() / "repository/root"));

  EXPECT_EQ(run("--remove").status, 0);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, StagingThatFailsIsTakenBack) {
  installSfcb();
  const Files before = kept();
  setVariable("FAKE_FAILURE=sfcbstage");
  expectFailure("", {"sfcbstage failed"});
  EXPECT_THAT(calls(), Not(HasSubstr("sfcbrepos")));
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterSfcb, RegistrationThatIsNotThereIsFound) {
  installSfcb();
  setVariable("FAKE_STUBBORN=module");
  expectFailure("", {"providerRegister lacks Zelmar_"});
}

}  // namespace
}  // namespace shipping
