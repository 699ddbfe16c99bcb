#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"

namespace clitest {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kSame = 0;
constexpr int kDifferent = 1;
constexpr int kTrouble = 2;

std::filesystem::path switches() {
  return sample("q35-pcie-switches.txt");
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

/// An inventory without the functions whose addresses begin so.
std::string without(const std::string& inventory, const std::string& begin) {
  std::string rest;
  for (std::size_t at = 0; at < inventory.size();) {
    const std::size_t end = std::min(inventory.find("\n\n", at), inventory.size() - 2) + 2;
    if (inventory.compare(at, begin.size(), begin) != 0) {
      rest += inventory.substr(at, end - at);
    }
    at = end;
  }
  return rest;
}

/// The network card behind the switch's first port, behind its last one.
std::string withMovedCard() {
  return replaced(readFile(switches()), "0000:03:00.0", "0000:09:00.0");
}

constexpr const char* kMovedCard =
    "moved: 0000:03:00.0 Intel Corporation 82574L Gigabit Network Connection to 0000:09:00.0 "
    "(slot 14, was 11; behind 0000:02:03.0, was behind 0000:02:00.0; 0000:02:00.0 is now empty; "
    "0000:02:03.0 is no longer empty)\n";

Outcome diff(const std::string& before, const std::string& after, Arguments more = {}) {
  more.insert(more.begin(), {"diff", before, after});
  return runPcicim(more);
}

/// A command line for a shell, with `$0` for the command.
Outcome inShell(const std::string& line) {
  return runProgram("/bin/bash", {"-c", line, PCICIM_PROGRAM});
}

/// Answers of a saved machine in a file.
class SavedFile {
 public:
  explicit SavedFile(const std::filesystem::path& inventory, const Arguments& more = {}) {
    Arguments arguments{"save", file_.path()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    outcome_ = runOn(inventory, arguments);
  }
  const Outcome& outcome() const { return outcome_; }
  std::string path() const { return file_.path(); }
  std::string text() const { return readFile(file_.path()); }

 private:
  TemporaryFile file_{""};
  Outcome outcome_;
};

TEST(Diff, TellsNothingOfTheSameMachine) {
  const Outcome outcome = diff(switches(), switches());
  EXPECT_EQ(outcome.status, kSame);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");
}

TEST(Diff, TellsACardInAnotherSlotInOneLine) {
  const TemporaryFile moved(withMovedCard());
  const Outcome outcome = diff(switches(), moved.path());
  EXPECT_EQ(outcome.status, kDifferent);
  EXPECT_EQ(outcome.out, kMovedCard);
  EXPECT_EQ(outcome.err, "");
}

TEST(Diff, TellsACardThatIsGoneOrNew) {
  const TemporaryFile gone(without(readFile(switches()), "0000:81:00.0"));
  EXPECT_EQ(diff(switches(), gone.path()).out,
            "gone: 0000:81:00.0 Red Hat, Inc. Virtio 1.0 network device (slot 4; 0000:80:00.0 is "
            "now empty)\n");
  EXPECT_EQ(diff(gone.path(), switches()).out,
            "new: 0000:81:00.0 Red Hat, Inc. Virtio 1.0 network device (slot 4; 0000:80:00.0 is "
            "no longer empty)\n");
}

TEST(Diff, TellsARenumberedBusAsSuch) {
  const std::string head = "0000:80:00.0 ";
  const auto renumbered = [&](const std::string& inventory) {
    std::string text = replaced(inventory, head, "0000:90:00.0 ");
    text = replaced(text, "80 81 81 00", "90 91 91 00");
    return text.find("0000:81:00.0 ") == std::string::npos
               ? text
               : replaced(text, "0000:81:00.0 ", "0000:91:00.0 ");
  };
  const TemporaryFile after(renumbered(readFile(switches())));
  EXPECT_EQ(diff(switches(), after.path()).out, "buses 80-81 are now 90-91\n");
  const TemporaryFile without81(renumbered(without(readFile(switches()), "0000:81:00.0")));
  EXPECT_EQ(diff(switches(), without81.path()).out,
            "buses 80-81 are now 90-91\n"
            "gone: 0000:81:00.0 Red Hat, Inc. Virtio 1.0 network device (slot 4; 0000:90:00.0 is "
            "now empty)\n");
}

TEST(Diff, GivesChangesAsJson) {
  const TemporaryFile moved(withMovedCard());
  const Outcome outcome = diff(switches(), moved.path(), {"--format", "json"});
  EXPECT_EQ(outcome.status, kDifferent);
  const auto json = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(json["before"]["source"], switches().string());
  ASSERT_EQ(json["changes"].size(), 1U);
  EXPECT_EQ(json["changes"][0]["change"], "moved");
  EXPECT_EQ(json["changes"][0]["address"], "0000:03:00.0");
  EXPECT_EQ(json["changes"][0]["newAddress"], "0000:09:00.0");
  const Outcome same = diff(switches(), switches(), {"--format", "json"});
  EXPECT_EQ(same.status, kSame);
  EXPECT_TRUE(nlohmann::json::parse(same.out)["changes"].empty());
}

TEST(Diff, SaysWhatValuesMean) {
  const SavedFile saved(switches());
  const TemporaryFile changed(
      replaced(saved.text(), "\"Capabilities\":[6,7,13]", "\"Capabilities\":[6,7,15]"));
  EXPECT_EQ(diff(saved.path(), changed.path()).out,
            "changed: 0000:03:00.0 Intel Corporation 82574L Gigabit Network Connection: "
            "Capabilities + 15 (Supports PCIe Gen 3), - 13 (Supports PCIe)\n");
}

TEST(Diff, ComparesWhatWasSavedWithInventories) {
  const SavedFile saved(switches());
  ASSERT_EQ(saved.outcome().status, 0) << saved.outcome().err;
  EXPECT_EQ(diff(saved.path(), saved.path()).status, kSame);
  EXPECT_EQ(diff(saved.path(), switches()).status, kSame);
  const TemporaryFile moved(withMovedCard());
  EXPECT_EQ(diff(saved.path(), moved.path()).out, kMovedCard);
  const SavedFile savedMoved(moved.path(), {"--without-associations"});
  EXPECT_EQ(diff(switches(), savedMoved.path()).out, kMovedCard);
}

TEST(Diff, FindsEverySampleUnchangedInWhatWasSavedOfIt) {
  for (const auto& entry : std::filesystem::directory_iterator(SAMPLES_DIRECTORY)) {
    if (entry.path().extension() == ".txt") {
      const SavedFile saved(entry.path());
      const Outcome outcome = diff(entry.path(), saved.path());
      EXPECT_EQ(outcome.status, kSame) << entry.path() << outcome.out << outcome.err;
    }
  }
}

TEST(Diff, ReadsOneSideFromStandardInput) {
  const TemporaryFile moved(withMovedCard());
  const SavedFile saved(switches());
  const std::string file = moved.path();
  EXPECT_EQ(inShell("cat " + switches().string() + " | \"$0\" diff - " + file).out, kMovedCard);
  EXPECT_EQ(inShell("\"$0\" diff - " + file + " < " + switches().string()).out, kMovedCard);
  EXPECT_EQ(inShell("cat " + saved.path() + " | \"$0\" diff - " + file).out, kMovedCard);
  EXPECT_EQ(
      inShell("\"$0\" --inventory " + switches().string() + " save - | \"$0\" diff - " + file).out,
      kMovedCard);
  const Outcome both = diff("-", "-");
  EXPECT_EQ(both.status, kTrouble);
  EXPECT_EQ(both.err, "pcicim: standard input can be one side, not both\n");
}

TEST(Diff, ReadsBothSidesFromPipes) {
  const TemporaryFile moved(withMovedCard());
  const Outcome outcome = inShell("\"$0\" diff <(cat " + switches().string() + ") <(cat " +
                                  moved.path().string() + ")");
  EXPECT_EQ(outcome.out, kMovedCard);
  EXPECT_EQ(outcome.status, kDifferent);
}

TEST(Diff, ComparesThisHost) {
  const TemporaryFile empty("");
  // A sysfs of a host without PCI.
  const std::filesystem::path sysfs = empty.path().string() + ".sysfs";
  std::filesystem::create_directories(sysfs / "bus");
  const Environment noHost{{"QARCTL_SYSFS_ROOT", sysfs},
                           // Not this one: that is what the word is for.
                           {"QARCTL_PCI_DUMP", switches()}};
  const Outcome outcome = runPcicim({"diff", empty.path(), "live:"}, noHost);
  std::filesystem::remove_all(sysfs);
  EXPECT_EQ(outcome.status, kSame) << outcome.out << outcome.err;
  const Outcome missing =
      runPcicim({"diff", empty.path(), "live:"}, {{"QARCTL_SYSFS_ROOT", "/nonexistent"}});
  EXPECT_EQ(missing.status, kTrouble);
  EXPECT_THAT(missing.err, HasSubstr("pcicim: /nonexistent"));
}

TEST(Diff, SaysWhichSideCannotBeRead) {
  const TemporaryFile other("no inventory\n");
  for (const bool first : {true, false}) {
    const auto with = [first](const std::string& side) {
      return first ? diff(side, switches()) : diff(switches(), side);
    };
    const Outcome missing = with("/nonexistent");
    EXPECT_EQ(missing.status, kTrouble);
    EXPECT_EQ(missing.err, "pcicim: /nonexistent: No such file or directory\n");
    const Outcome directory = with("/tmp");
    EXPECT_EQ(directory.status, kTrouble);
    EXPECT_EQ(directory.err, "pcicim: /tmp: Is a directory\n");
    const Outcome wrong = with(other.path());
    EXPECT_EQ(wrong.status, kTrouble);
    EXPECT_EQ(wrong.out, "");
    EXPECT_THAT(wrong.err,
                HasSubstr("pcicim: " + other.path().string() + ": no PCI function could be read"));
  }
}

TEST(Diff, SaysWhereSavedAnswersAreDamaged) {
  const SavedFile saved(switches());
  const std::string text = saved.text();
  const TemporaryFile cut(text.substr(0, text.size() / 2));
  const Outcome outcome = diff(cut.path(), switches());
  EXPECT_EQ(outcome.status, kTrouble);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, StartsWith("pcicim: " + cut.path().string() + ", line "));
  const TemporaryFile other("{}");
  EXPECT_THAT(
      diff(switches(), other.path()).err,
      StartsWith("pcicim: " + other.path().string() + ", line 1: not what `pcicim save` writes"));
}

TEST(Diff, FailsWhenItsAnswerCannotBeWritten) {
  const TemporaryFile moved(withMovedCard());
  for (const char* format : {"text", "json"}) {
    const Outcome outcome = inShell("\"$0\" diff " + switches().string() + " " +
                                    moved.path().string() + " --format " + format + " >/dev/full");
    EXPECT_EQ(outcome.status, kTrouble);
    EXPECT_EQ(outcome.err, "pcicim: cannot write the answer: No space left on device\n");
  }
}

TEST(Diff, TakesTwoSidesAndNoInventoryBeside) {
  EXPECT_EQ(runPcicim({"diff", switches()}).status, kTrouble);
  const Outcome outcome = runOn(switches(), {"diff", switches(), switches()});
  EXPECT_EQ(outcome.status, kTrouble);
  EXPECT_THAT(outcome.err, HasSubstr("not by --inventory or --url"));
}

TEST(Diff, WritesNothingOfANameAsControl) {
  const SavedFile saved(switches());
  const TemporaryFile renamed(
      replaced(saved.text(), "Realtek Semiconductor", "\\u001b[31mRealtek\\nSemiconductor"));
  EXPECT_THAT(diff(saved.path(), renamed.path()).out,
              HasSubstr(" is now \\x1b[31mRealtek\\x0aSemiconductor"));
}

TEST(Diff, ComparesMachinesOfThousandsOfFunctions) {
  constexpr unsigned kFunctions = 2'000;
  const TemporaryFile before(machineOf(kFunctions));
  const TemporaryFile after(machineOf(kFunctions - 1));
  const Outcome outcome = diff(before.path(), after.path());
  EXPECT_EQ(outcome.status, kDifferent);
  EXPECT_THAT(outcome.out, StartsWith("gone: "));
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1) << outcome.out;
}

TEST(Save, WritesAllClassesAndWhatIsInNoEnumeration) {
  const SavedFile saved(switches());
  EXPECT_EQ(saved.outcome().out, "");
  const auto json = nlohmann::json::parse(saved.text());
  EXPECT_EQ(json["format"], "pcicim-answers");
  EXPECT_EQ(json["version"], 1);
  EXPECT_EQ(json["source"], switches().string());
  EXPECT_EQ(json["namespace"], "root/cimv2");
  EXPECT_EQ(json["time"].get<std::string>().size(), std::string("2026-01-31T12:00:00Z").size());
  const auto counts = nlohmann::json::parse(runOn(switches(), {"count", "--json"}).out);
  ASSERT_EQ(json["classes"].size(), counts.size());
  for (const auto& [name, count] : counts.items()) {
    EXPECT_EQ(json["classes"][name].size(), count) << name;
  }
  const auto& member = json["classes"]["Zelmar_PCIMemberOfCollection"][0]["path"];
  EXPECT_EQ(member["Collection"]["@class"], "Zelmar_PCIPortGroup");
  EXPECT_EQ(json["unlisted"].size(), 9U);
}

TEST(Save, NamesTheHost) {
  const TemporaryFile file("");
  ASSERT_EQ(
      runPcicim({"--inventory", switches(), "--host-name", "node7", "save", file.path()}).status,
      0);
  EXPECT_EQ(nlohmann::json::parse(readFile(file.path()))["host"], "node7");
}

TEST(Save, LeavesAssociationsOutWhenToldTo) {
  const SavedFile saved(switches(), {"--without-associations"});
  EXPECT_EQ(nlohmann::json::parse(saved.text())["classes"].size(), 5U);
}

TEST(Save, ReplacesAFileAndKeepsItsMode) {
  const TemporaryFile file("before");
  ASSERT_EQ(chmod(file.path().c_str(), 0640), 0);
  ASSERT_EQ(runOn(switches(), {"save", file.path()}).status, 0);
  EXPECT_THAT(readFile(file.path()), StartsWith("{\"format\":\"pcicim-answers\""));
  struct stat facts {};
  ASSERT_EQ(stat(file.path().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777, 0640U);
}

TEST(Save, LeavesAFileAsItIsWhenTheHostCannotBeRead) {
  const TemporaryFile file("before");
  EXPECT_EQ(runOn("/nonexistent", {"save", file.path()}).status, 1);
  EXPECT_EQ(readFile(file.path()), "before");
}

TEST(Save, FailsWhenNothingTakesTheAnswers) {
  const Outcome full = runOn(switches(), {"save", "/dev/full"});
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "pcicim: cannot write /dev/full: No space left on device\n");
  const Outcome out = inShell("\"$0\" --inventory " + switches().string() + " save - >/dev/full");
  EXPECT_EQ(out.status, 1);
  EXPECT_EQ(out.err, "pcicim: cannot write the answer: No space left on device\n");
  EXPECT_EQ(runOn(switches(), {"save", "/nonexistent/file"}).status, 1);
}

}  // namespace
}  // namespace clitest
