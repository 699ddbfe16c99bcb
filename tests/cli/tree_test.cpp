#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "made_inventory.h"
#include "run_pcicim.h"
#include "tree_text.h"

namespace clitest {
namespace {

Outcome treeOf(const std::string& inventory) {
  const TemporaryFile file(inventory);
  return runOn(file.path(), {"tree"});
}

Parents parentsOf(const std::string& inventory) {
  const Outcome outcome = treeOf(inventory);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return parsePcicimTree(outcome.out);
}

/// The part of the output between a heading and the next one.
std::string section(const std::string& out, const std::string& heading) {
  const std::size_t begin = out.find(heading + '\n');
  if (begin == std::string::npos) {
    return "";
  }
  std::size_t end = begin;
  do {
    end = out.find('\n', end) + 1;
  } while (end < out.size() && (out[end] == '|' || out[end] == '`' || out[end] == ' '));
  return out.substr(begin, end - begin);
}

std::string line(const std::string& out, const std::string& address) {
  const std::size_t at = out.find("- " + address + ' ');
  return at == std::string::npos ? "" : out.substr(at, out.find('\n', at) - at);
}

class SampleTree : public testing::TestWithParam<const char*> {};

TEST_P(SampleTree, AgreesWithLspciOnWhatSitsBehindWhat) {
  const std::string name = GetParam();
  const Outcome outcome = runOn(sample(name + ".txt"), {"tree"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Parents expected = parseLspciTree(readFile(sample(name + ".tree")));
  ASSERT_GT(expected.size(), 10U);
  EXPECT_EQ(parsePcicimTree(outcome.out), expected);
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleTree,
                         testing::Values("q35-pcie-switches", "i440fx-conventional"));

TEST(Tree, MarksEmptyPortsAndCountsThePortsOfSwitches) {
  const std::string out = runOn(sample("q35-pcie-switches.txt"), {"tree"}).out;
  EXPECT_NE(line(out, "0000:01:00.0").find("[switch, 4 ports]"), std::string::npos) << out;
  EXPECT_NE(line(out, "0000:02:03.0").find("(empty)"), std::string::npos) << out;
  EXPECT_NE(line(out, "0000:06:01.0").find("(empty)"), std::string::npos) << out;
  EXPECT_EQ(line(out, "0000:02:00.0").find("(empty)"), std::string::npos) << out;
  EXPECT_NE(line(out, "0000:02:00.0").find("[port to bus 03]"), std::string::npos) << out;
  EXPECT_NE(line(out, "0000:03:00.0").find("82574L"), std::string::npos) << out;
}

TEST(Tree, KeepsSegmentsWithTheSameBusNumbersApart) {
  const std::string machine =
      MadeFunction("0000:00:01.0").bridge(1, 1).text() + MadeFunction("0000:01:00.0").text() +
      MadeFunction("0001:00:01.0").bridge(1, 1).text() + MadeFunction("0001:01:00.0").text() +
      MadeFunction("10000:01:00.0").text();
  const Parents expected{{"0000:00:01.0", ""},
                         {"0000:01:00.0", "0000:00:01.0"},
                         {"0001:00:01.0", ""},
                         {"0001:01:00.0", "0001:00:01.0"},
                         {"10000:01:00.0", ""}};
  EXPECT_EQ(parentsOf(machine), expected);
}

TEST(Tree, ShowsEachRootBusUnderItsOwnHeading) {
  const std::string out =
      treeOf(MadeFunction("00:02.0").text() + MadeFunction("80:02.0").text()).out;
  EXPECT_NE(section(out, "Segment 0000, bus 00").find("0000:00:02.0"), std::string::npos) << out;
  EXPECT_NE(section(out, "Segment 0000, bus 80").find("0000:80:02.0"), std::string::npos) << out;
}

TEST(Tree, FindsBridgesThatNoClassEnumerates) {
  const std::string machine =
      MadeFunction("00:00.0").classCode(0x0600).text() + MadeFunction("00:02.0").text() +
      MadeFunction("00:03.0").cardBus(4, 4).text() + MadeFunction("04:00.0").text();
  const Parents expected{{"0000:00:00.0", ""},
                         {"0000:00:02.0", ""},
                         {"0000:00:03.0", ""},
                         {"0000:04:00.0", "0000:00:03.0"}};
  EXPECT_EQ(parentsOf(machine), expected);
}

TEST(Tree, ShowsABridgeWithoutABusAsOneThatLeadsNowhere) {
  const Outcome outcome =
      treeOf(MadeFunction("00:01.0").bridge(0, 0).text() + MadeFunction("01:00.0").text());
  EXPECT_NE(line(outcome.out, "0000:00:01.0").find("[bridge, no bus]"), std::string::npos)
      << outcome.out;
  const Parents expected{{"0000:00:01.0", ""}, {"0000:01:00.0", ""}};
  EXPECT_EQ(parsePcicimTree(outcome.out), expected);
}

TEST(Tree, ShowsACircleOnceUnderItsOwnHeading) {
  const std::string machine =
      MadeFunction("00:02.0").text() + MadeFunction("01:00.0").bridge(2, 2).text() +
      MadeFunction("02:00.0").bridge(1, 1).text() + MadeFunction("02:01.0").text();
  const Outcome outcome = treeOf(machine);
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Parents expected{{"0000:00:02.0", ""},
                         {"0000:01:00.0", ""},
                         {"0000:02:00.0", "0000:01:00.0"},
                         {"0000:02:01.0", "0000:01:00.0"}};
  EXPECT_EQ(parsePcicimTree(outcome.out), expected);
  const std::string circle =
      section(outcome.out, "Not placed (each behind the other, in a circle)");
  EXPECT_NE(circle.find("0000:02:01.0"), std::string::npos) << outcome.out;
  EXPECT_EQ(circle.find("0000:00:02.0"), std::string::npos) << outcome.out;
}

TEST(Tree, ShowsBridgesThatClaimTheirOwnBusOnce) {
  const std::string machine = MadeFunction("01:00.0").bridge(1, 1).text() +
                              MadeFunction("01:01.0").bridge(1, 1).text() +
                              MadeFunction("01:02.0").text();
  const Parents parents = parentsOf(machine);
  EXPECT_EQ(parents.size(), 3U);
  EXPECT_EQ(parents.at("0000:01:02.0"), "0000:01:00.0");
}

TEST(Tree, ShowsASwitchPortWithoutItsSwitch) {
  const Outcome outcome = treeOf(MadeFunction("05:00.0").bridge(6, 6).express(6).text() +
                                 MadeFunction("06:00.0").text());
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Parents expected{{"0000:05:00.0", ""}, {"0000:06:00.0", "0000:05:00.0"}};
  EXPECT_EQ(parsePcicimTree(outcome.out), expected);
}

TEST(Tree, ShowsBothFunctionsOfADuplicateAddress) {
  const std::string out =
      treeOf(MadeFunction("00:02.0").text() + MadeFunction("00:02.0").text()).out;
  const std::size_t first = out.find("- 0000:00:02.0 ");
  ASSERT_NE(first, std::string::npos) << out;
  EXPECT_NE(out.find("- 0000:00:02.0 ", first + 1), std::string::npos) << out;
}

std::string hostBridges(const std::vector<std::string>& addresses) {
  std::string machine;
  for (const std::string& address : addresses) {
    machine += MadeFunction(address).classCode(0x0600).text();
  }
  return machine;
}

TEST(Tree, SaysHowManyHostBridgesAloneOnABusItDoesNotShow) {
  const std::string shown = MadeFunction("00:02.0").text();
  const Outcome alone = treeOf(shown);
  ASSERT_EQ(alone.status, 0) << alone.err;
  const Outcome outcome = treeOf(
      shown + hostBridges({"3f:00.0", "3f:00.1", "3f:02.0", "3f:02.7", "3f:1f.0", "3f:1f.3"}));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, alone.out + "6 host bridges alone on bus 3f are not shown.\n");
}

TEST(Tree, ThatShowsNothingSaysWhy) {
  const Outcome outcome = treeOf(hostBridges({"00:00.0", "ff:00.0", "ff:00.1"}));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            "1 host bridge alone on bus 00 is not shown.\n"
            "2 host bridges alone on bus ff are not shown.\n");
}

TEST(Tree, CountsBridgesOfSeveralKindsTogether) {
  const Outcome outcome = treeOf(MadeFunction("0007:00:02.0").text() +
                                 MadeFunction("0007:3f:00.0").classCode(0x0600).text() +
                                 MadeFunction("0007:3f:01.0").classCode(0x0601).text());
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, testing::EndsWith("\n2 bridges alone on bus 0007:3f are not shown.\n"));
}

TEST(Tree, SaysThatThereAreNoFunctionsOfAHostWithoutAnyAlone) {
  EXPECT_EQ(treeOf("").out, "No PCI functions.\n");
  EXPECT_EQ(treeOf(hostBridges({"00:00.0"})).out.find("No PCI functions"), std::string::npos);
}

TEST(Tree, AnswersAnEmptyInventoryWithAHostWithoutPci) {
  const Outcome outcome = treeOf("");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_TRUE(parsePcicimTree(outcome.out).empty()) << outcome.out;
}

}  // namespace
}  // namespace clitest
