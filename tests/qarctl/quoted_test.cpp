// Saved inventories out of mail and indented blocks.
#include "host_fixture.h"

#include <sstream>

namespace qarctltest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class Quoted : public HostTest {};

std::string marked(const std::string& text, const std::string& mark,
                   const std::string& markOfEmptyLines) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    result += (line.empty() ? markOfEmptyLines : mark + line) + '\n';
  }
  return result;
}

std::vector<std::string> describeAll(const Devices& devices) {
  std::vector<std::string> texts;
  for (const auto& device : devices) texts.push_back(describe(*device));
  return texts;
}

TEST_F(Quoted, TextSaysWhatTheTextWithoutMarksSays) {
  const std::string text = MadeFunction("00:01.0").bridge(1, 1).text() + "\tFlags: fast\n" +
                           "01:00.0 x\n\tPhysical Slot: 4\n" +
                           MadeFunction("").express(0).hexLines() + "\n";
  const auto expected = describeAll(readInventory(text));
  for (const auto& [mark, empty] :
       {std::pair("> ", ">"), std::pair("> ", ""), std::pair(">", ">"), std::pair(">> ", ">>"),
        std::pair("> > ", "> >"), std::pair("    ", ""), std::pair("\t", "\t"),
        std::pair("  ", "  ")}) {
    EXPECT_EQ(describeAll(readInventory(marked(text, mark, empty))), expected) << mark;
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Quoted, TextStandsBetweenOtherText) {
  const std::string quoted = marked(MadeFunction("00:01.0").text(), "> ", ">");
  EXPECT_THAT(addressesOf(readInventory("You wrote:\n" + quoted + "And then?\n")),
              ElementsAre("0000:00:01.0"));
  ASSERT_THAT(logLines(), SizeIs(1));
  EXPECT_THAT(logLines()[0].text, HasSubstr("; 1 more line could not be read"));
}

TEST_F(Quoted, RowsWithoutTheMarkAreNotTheFunctions) {
  const auto function = MadeFunction("00:01.0").capability(0x01, 0x40);
  const std::string text =
      marked(function.address() + " x\n" + function.hexLines(0, 64), "> ", ">");
  EXPECT_FALSE(readInventory(text + function.hexLines(64)).at(0)->HasCapability(0x01));
}

TEST_F(Quoted, TextMayBeFollowedByMoreWithoutMarks) {
  const std::string quoted = marked(MadeFunction("00:01.0").text(), "> ", ">");
  EXPECT_THAT(addressesOf(readInventory(quoted + MadeFunction("00:02.0").text())),
              ElementsAre("0000:00:01.0", "0000:00:02.0"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Quoted, AnAddressAmongDecodeTextIsNoFunction) {
  const Devices devices = readInventory(MadeFunction("00:01.0").text() + "\t00:05.0 x\n" +
                                        MadeFunction("00:02.0").text());
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0"));
}

}  // namespace
}  // namespace qarctltest
