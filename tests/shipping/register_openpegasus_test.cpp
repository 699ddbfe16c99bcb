// Registration with OpenPegasus, whose commands are replaced by scripts (managers/openpegasus) with
// the failures that the real ones have. The tests let a registration fail in each of these ways,
// which the command has to find and to name; removal has to leave the files that were there before.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "register_fixture.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;

const char* const kModule = "openpegasus/modules/PCIProviderModule";

class RegisterOpenPegasus : public Register {
 protected:
  std::string compilations() const {
    std::string lines;
    for (const std::string& name : mofNames()) {
      lines += "cimmof -uc -aV -n root/cimv2 " + mof(name).string() + '\n';
    }
    return lines;
  }
  std::string registrationLine() const {
    return "cimmof -n root/PG_InterOp " + (data() / "registration/pciprovider.mof").string() + '\n';
  }
  std::string classText(const std::string& name) const {
    return contentOf(classFile("root/cimv2", name));
  }
  /// Expects a run that ends before anything is changed.
  void expectRefused(const std::string& options, const testing::Matcher<std::string>& message) {
    const Files before = kept();
    forgetCalls();
    const Outcome outcome = runWithErrors(options);
    EXPECT_EQ(outcome.status, 1) << options;
    EXPECT_THAT(outcome.out, message) << options;
    EXPECT_EQ(calls(), "") << options;
    EXPECT_EQ(kept(), before) << options;
  }
};

TEST_F(RegisterOpenPegasus, DryRunPrintsExactlyWhatItIsThenAsked) {
  installOpenPegasus();
  const Files before = kept();
  const Outcome dry = run("--dry-run");
  EXPECT_EQ(dry.status, 0);
  EXPECT_EQ(dry.out, compilations() + registrationLine());
  EXPECT_EQ(kept(), before);
  EXPECT_EQ(calls(), "");

  const Outcome real = run("");
  EXPECT_EQ(real.status, 0);
  EXPECT_EQ(real.out, dry.out);
  EXPECT_EQ(calls(), dry.out);
  EXPECT_THAT(kept(), Contains(Key(kModule)));
  EXPECT_THAT(classText("Zelmar_PCIPort"), HasSubstr("class Zelmar_PCIPort : CIM_PCIPort {"));
}

TEST_F(RegisterOpenPegasus, SecondRunReplacesTheRegistration) {
  installOpenPegasus();
  run("");
  const Files before = kept();
  forgetCalls();
  const Outcome again = run("");
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out,
            compilations() + "cimprovider -r -m PCIProviderModule\n" + registrationLine());
  EXPECT_EQ(calls(), again.out);
  EXPECT_EQ(kept(), before);
}

TEST_F(RegisterOpenPegasus, ClassesAreReplacedWhateverTheirVersion) {
  installOpenPegasus();
  run("");
  const std::string right = classText("Zelmar_PCIPortGroup");
  for (const char* version : {"0.9.0", "1.0.0", "99.0.0"}) {
    write(classFile("root/cimv2", "Zelmar_PCIPortGroup"),
          std::string("[Version(\"") + version + "\")]\nclass Zelmar_PCIPortGroup {\n};\n");
    EXPECT_EQ(run("").status, 0) << version;
    EXPECT_EQ(classText("Zelmar_PCIPortGroup"), right) << version;
  }
}

// --- What goes wrong while it compiles

TEST_F(RegisterOpenPegasus, FileThatFailsIsNamedThoughLaterOnesCompile) {
  installOpenPegasus();
  const std::string content = contentOf(mof("Zelmar_PCIBridge"));
  write(mof("Zelmar_PCIBridge"), content + "class Zelmar_Broken : CIM_ManagedElement {\n");
  expectFailure("", {"cimmof failed on " + mof("Zelmar_PCIBridge").string()});
  EXPECT_EQ(linesOf(calls()).size(), 2U) << calls();
}

TEST_F(RegisterOpenPegasus, WarningThatSomethingIsLeftOutIsAFailure) {
  installOpenPegasus();
  run("");
  setVariable("FAKE_STUBBORN=removal");
  expectFailure(
      "", {"Instance already exists: PCIProviderModule",
           "cimmof left out something of " + (data() / "registration/pciprovider.mof").string()});
}

// --- What is read back

TEST_F(RegisterOpenPegasus, WhatIsThereAfterwardsIsTold) {
  installOpenPegasus();
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("PCIProviderModule is registered and OK"));
  EXPECT_THAT(outcome.out, HasSubstr("Zelmar_PCIDevice has 2 instances"));
}

TEST_F(RegisterOpenPegasus, ClassThatStaysAsItWasIsFound) {
  installOpenPegasus();
  setVariable("FAKE_STUBBORN=class");
  write(classFile("root/cimv2", "Zelmar_PCIPortGroup"),
        "[Version(\"0.9.0\")]\nclass Zelmar_PCIPortGroup : CIM_PCIPortGroup {\n"
        "  uint8 BusNumber;\n};\n");
  expectFailure("", {"still has Zelmar_PCIPortGroup of version 0.9.0"});

  write(classFile("root/cimv2", "Zelmar_PCIPortGroup"),
        "class Zelmar_PCIPortGroup : CIM_PCIPortGroup {\n};\n");
  expectFailure("", {"still has another Zelmar_PCIPortGroup, without BusNumber"});
}

TEST_F(RegisterOpenPegasus, ModuleThatIsNotThereIsFound) {
  installOpenPegasus();
  setVariable("FAKE_STUBBORN=module");
  expectFailure("", {"the module PCIProviderModule is not listed"});
}

TEST_F(RegisterOpenPegasus, ModuleThatDoesNotRunIsFound) {
  installOpenPegasus();
  setVariable("FAKE_MODULE_STATUS=Degraded");
  expectFailure("", {"the module PCIProviderModule is Degraded"});
}

TEST_F(RegisterOpenPegasus, ProviderThatIsNotThereIsFound) {
  installOpenPegasus();
  replaceIn(data() / "registration/pciprovider.mof", "ProviderName = \"Zelmar_PCIPort\"",
            "ProviderName = \"Other\"");
  expectFailure("", {"lacks the provider Zelmar_PCIPort "});
}

TEST_F(RegisterOpenPegasus, FirstRequestThatFailsIsAFailure) {
  installOpenPegasus();
  setVariable("FAKE_PROVIDER_DIRS=lib");
  expectFailure(
      "", {"cannot find libpciprovider.so", "the first request, for Zelmar_PCIDevice, failed"});
}

TEST_F(RegisterOpenPegasus, WithoutCimcliTheFirstRequestGoesThroughWbemcli) {
  installOpenPegasus({"cimmof", "cimprovider", "cimconfig", "wbemcli"});
  const Outcome answered = runWithErrors("");
  EXPECT_EQ(answered.status, 0);
  EXPECT_THAT(answered.out, HasSubstr("Zelmar_PCIDevice has 2 instances"));
  EXPECT_THAT(answered.out, HasSubstr("without its command cimcli the classes are not read back"));

  setVariable("FAKE_NO_HTTP=yes");
  const Outcome unanswered = runWithErrors("");
  EXPECT_EQ(unanswered.status, 0);
  EXPECT_THAT(unanswered.out, HasSubstr("wbemcli got no answer"));

  setVariable("FAKE_NO_HTTP=");
  setVariable("FAKE_PROVIDER_DIRS=lib");
  expectFailure("", {"the first request, for Zelmar_PCIDevice, failed"});
}

TEST_F(RegisterOpenPegasus, WithoutAnyClientThatIsSaid) {
  installOpenPegasus({"cimmof", "cimprovider", "cimconfig"});
  const Outcome outcome = runWithErrors("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("neither cimcli nor wbemcli is there"));
}

// --- What is found before anything is changed

TEST_F(RegisterOpenPegasus, InteropNamespaceCanBeChosen) {
  installOpenPegasus();
  const Outcome outcome = run("--interop-namespace root/interop");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(calls(), HasSubstr("\ncimmof -n root/interop "));
}

TEST_F(RegisterOpenPegasus, WrongInteropNamespaceIsNotCreated) {
  installOpenPegasus();
  for (const char* wrong : {"root/nowhere", "root/cimv2"}) {
    expectRefused(std::string("--interop-namespace ") + wrong,
                  AllOf(HasSubstr(std::string(wrong) + " is not the namespace"),
                        HasSubstr("nothing was changed")));
  }
  EXPECT_FALSE(fs::exists(state() / "openpegasus/namespaces/root/nowhere"));
}

TEST_F(RegisterOpenPegasus, InteropNamespaceThatCannotBeLookedAtIsNotTaken) {
  installOpenPegasus({"cimmof", "cimprovider", "cimconfig"});
  expectRefused("--interop-namespace root/interop", HasSubstr("it cannot be told whether"));
}

TEST_F(RegisterOpenPegasus, MissingSuperclassIsNamed) {
  installOpenPegasus();
  fs::remove(classFile("root/cimv2", "CIM_PCIPort"));
  expectRefused("", AllOf(HasSubstr(mof("Zelmar_PCIPort").string()),
                          HasSubstr("superclass CIM_PCIPort of Zelmar_PCIPort"),
                          HasSubstr("CIM 2.22 or later")));
}

TEST_F(RegisterOpenPegasus, StoppedServerIsNoServerWithoutRegistration) {
  installOpenPegasus();
  run("");
  setVariable("FAKE_STOPPED=yes");
  const std::string links = " --link-into " + quoted(searched());
  for (const std::string& options : {"--remove" + links, links, "--remove --dry-run" + links}) {
    expectRefused(options, HasSubstr("is cimserver running?"));
  }
  EXPECT_TRUE(fs::is_empty(searched()));
}

// --- The way back

TEST_F(RegisterOpenPegasus, RemoveLeavesItAsItWas) {
  installOpenPegasus();
  const Files before = kept();
  run("--host-system");
  EXPECT_THAT(kept(), Contains(Key("openpegasus/modules/HostSystemProviderModule")));

  const Files registered = kept();
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

TEST_F(RegisterOpenPegasus, WhatRemoveLeavesBehindIsFound) {
  installOpenPegasus();
  run("");
  setVariable("FAKE_STUBBORN=removal");
  expectFailure("--remove", {"the module PCIProviderModule is still there"});

  fs::remove(state() / kModule);
  expectFailure("--remove", {"still has the class Zelmar_"});
}

TEST_F(RegisterOpenPegasus, WithoutCimcliTheClassesStayAndThatIsSaid) {
  installOpenPegasus({"cimmof", "cimprovider"});
  run("");
  const Outcome removed = runWithErrors("--remove");
  EXPECT_EQ(removed.status, 0);
  EXPECT_THAT(removed.out, HasSubstr("without its command cimcli the classes stay"));
  EXPECT_THAT(kept(), Not(Contains(Key(kModule))));
  EXPECT_TRUE(fs::exists(classFile("root/cimv2", "Zelmar_PCIPort")));
}

TEST_F(RegisterOpenPegasus, WayThereAndBackByHandIsThatOfTheDocument) {
  installOpenPegasus();
  const Files before = kept();
  const Outcome there =
      runByHand(documentedCommands("### By hand", "A registration that is there"));
  EXPECT_EQ(there.status, 0);
  EXPECT_THAT(there.out, testing::ContainsRegex("PCIProviderModule +OK"));
  EXPECT_EQ(calls(), compilations() + registrationLine());
  EXPECT_EQ(runByHand(documentedCommands("The way back:\n\n    cimprovider", "With sfcb:")).status,
            0);
  EXPECT_EQ(kept(), before);
}

}  // namespace
}  // namespace shipping
