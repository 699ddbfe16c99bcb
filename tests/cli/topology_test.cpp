#include <topology/topology.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include <topology/topology_reader.h>
#include "tree_text.h"

namespace clitest {
namespace {

using pcicim::Function;
using pcicim::Record;

Function function(const std::string& address, const std::string& parent,
                  Function::Kind kind = Function::Kind::kDevice) {
  Function result;
  result.kind = kind;
  result.address = address;
  result.parent = parent;
  result.name = "Name of " + address;
  return result;
}

std::string drawn(std::vector<Function> functions) {
  std::ostringstream out;
  pcicim::printTree(std::move(functions), out);
  return out.str();
}

TEST(ParseAddress, ReadsSegmentsOfAnyWidth) {
  EXPECT_EQ(pcicim::parseAddress("0000:1f:03.7"), (pcicim::Address{0, 0x1f, 3, 7}));
  EXPECT_EQ(pcicim::parseAddress("10000:00:1f.0"), (pcicim::Address{0x10000, 0, 0x1f, 0}));
  EXPECT_EQ(pcicim::parseAddress("ff:1f.0"), (pcicim::Address{0, 0xff, 0x1f, 0}));
}

TEST(ParseAddress, RefusesEverythingElse) {
  for (const char* text :
       {"", ".", ":", "0", "00:", "00:00", "00:00.", ":00:00.0", "0000:000:00.0", "00:00.00",
        "00:00.g", "-1:00:00.0", "0x0:00:00.0", "00:00.0 ", "10000000000000000:00:00.0"}) {
    EXPECT_FALSE(pcicim::parseAddress(text)) << text;
  }
}

TEST(AddressText, IsWhatParseAddressReads) {
  for (const char* text : {"0000:00:00.0", "ffff:ff:1f.7", "123456789abcdef0:01:02.3"}) {
    EXPECT_EQ(pcicim::addressText(*pcicim::parseAddress(text)), text);
  }
}

TEST(PrintTree, SortsByAddressAndIndentsByParent) {
  EXPECT_EQ(drawn({function("0000:01:00.1", "0000:00:01.0"), function("0000:00:02.0", ""),
                   function("0000:01:00.0", "0000:00:01.0"), function("0000:00:01.0", "")}),
            "Segment 0000, bus 00\n"
            "|- 0000:00:01.0  Name of 0000:00:01.0\n"
            "|  |- 0000:01:00.0  Name of 0000:01:00.0\n"
            "|  `- 0000:01:00.1  Name of 0000:01:00.1\n"
            "`- 0000:00:02.0  Name of 0000:00:02.0\n");
}

TEST(PrintTree, KeepsWhatCannotBePlacedApart) {
  const std::string text =
      drawn({function("0000:00:02.0", ""), function("0000:05:00.0", "lost"),
             function("0000:07:00.0", "0000:08:00.0"), function("0000:08:00.0", "0000:07:00.0"),
             function("0000:08:01.0", "0000:07:00.0"), function("no address", "")});
  EXPECT_EQ(text,
            "Segment 0000, bus 00\n"
            "`- 0000:00:02.0  Name of 0000:00:02.0\n"
            "Not placed (no such parent, or no readable address)\n"
            "|- 0000:05:00.0  Name of 0000:05:00.0 (parent lost)\n"
            "`- no address  Name of no address\n"
            "Not placed (each behind the other, in a circle)\n"
            "`- 0000:07:00.0  Name of 0000:07:00.0 (parent 0000:08:00.0)\n"
            "   |- 0000:08:00.0  Name of 0000:08:00.0\n"
            "   `- 0000:08:01.0  Name of 0000:08:01.0\n");
}

TEST(PrintTree, AFunctionThatIsItsOwnParentIsACircleOfOne) {
  EXPECT_EQ(parsePcicimTree(drawn({function("0000:01:00.0", "0000:01:00.0")})),
            (Parents{{"0000:01:00.0", ""}}));
}

/// Takes what is too much to keep.
class ByteCounter : public std::streambuf {
 public:
  std::size_t count = 0;

 protected:
  int_type overflow(int_type character) override {
    ++count;
    return traits_type::not_eof(character);
  }
  std::streamsize xsputn(const char*, std::streamsize size) override {
    count += static_cast<std::size_t>(size);
    return size;
  }
};

TEST(PrintTree, PrintsAChainOfParentsDeeperThanAnyStack) {
  constexpr std::size_t kDepth = 30'000;
  std::vector<Function> functions;
  std::size_t expected = std::string_view("Segment 0000, bus 00\n").size();
  for (unsigned i = 0; i < kDepth; ++i) {
    const std::string address = pcicim::addressText({i, 0, 0, 0});
    functions.push_back(function(address, i == 0 ? "" : functions.back().address));
    expected += 3 * i + ("`- " + address + "  Name of " + address + '\n').size();
  }
  ByteCounter counter;
  std::ostream out(&counter);
  pcicim::printTree(std::move(functions), out);
  EXPECT_EQ(counter.count, expected);
}

TEST(PrintTree, PrintsACircleOfManyOnce) {
  constexpr unsigned kLength = 30'000;
  std::vector<Function> functions;
  for (unsigned i = 0; i < kLength; ++i) {
    functions.push_back(function(pcicim::addressText({i, 0, 0, 0}),
                                 pcicim::addressText({(i + 1) % kLength, 0, 0, 0})));
  }
  // Its first function comes first, under the one that it names.
  functions.front().name = "first";
  ByteCounter counter;
  std::ostream out(&counter);
  pcicim::printTree(std::move(functions), out);
  const std::size_t heading =
      std::string_view("Not placed (each behind the other, in a circle)\n").size();
  const std::size_t line = std::string_view("`- 0000:00:00.0  Name of 0000:00:00.0\n").size();
  const std::size_t first =
      std::string_view("`- 0000:00:00.0  first (parent 0001:00:00.0)\n").size();
  EXPECT_EQ(counter.count,
            heading + first + (kLength - 1) * line + std::size_t{3} * kLength * (kLength - 1) / 2);
}

TEST(PrintTree, OfFunctionsWithOneAddressTheFirstTakesTheChildren) {
  Function second = function("0000:00:01.0", "");
  second.name = "second";
  EXPECT_EQ(drawn({function("0000:00:01.0", ""), second, function("0000:01:00.0", "0000:00:01.0")}),
            "Segment 0000, bus 00\n"
            "|- 0000:00:01.0  Name of 0000:00:01.0\n"
            "|  `- 0000:01:00.0  Name of 0000:01:00.0\n"
            "`- 0000:00:01.0  second\n");
}

TEST(PrintTree, NothingOfANameReachesTheTerminalAsControl) {
  Function hostile = function("0000:00:00.0", "");
  hostile.name = "red\x1b[31m\nline";
  EXPECT_EQ(drawn({hostile}), "Segment 0000, bus 00\n`- 0000:00:00.0  red\\x1b[31m\\x0aline\n");
}

/// Serves functions of its own; `enumerated` ones show in the enumeration of devices.
class ScriptedSource : public pcicim::TopologySource {
 public:
  void add(const std::string& address, const std::string& parent, bool enumerated,
           const std::string& classCode = "2") {
    functions_.push_back({{{"DeviceID", address},
                           {"ParentDeviceID", parent},
                           {"ClassCode", classCode},
                           {"DeviceNumber", "3"},
                           {"ElementName", "Acme Widget #3"}},
                          enumerated});
  }
  /// A bridge from one PCI bus to another.
  void addBridge(const std::string& address, const std::string& secondaryBus) {
    add(address, "", true, "6");
    functions_.back().first["SubClassCode"] = "4";
    functions_.back().first["SecondaryBusNumber"] = secondaryBus;
  }
  void addPortName(const std::string& name) { ports_.push_back(Record{{"DeviceID", name}}); }

  void instances(std::string_view className, const std::vector<std::string>&,
                 const pcicim::RecordSink& sink) override {
    for (const auto& [record, enumerated] : functions_) {
      const bool isBridge = record.text("ClassCode") == "6";
      if (enumerated && className == (isBridge ? "Zelmar_PCIBridge" : "Zelmar_PCIDevice")) {
        sink(record);
      }
    }
  }
  void names(std::string_view, const pcicim::RecordSink& sink) override {
    for (const Record& port : ports_) sink(port);
  }
  std::optional<Record> instance(std::string_view, const std::string& deviceId,
                                 const std::vector<std::string>&) override {
    asked.push_back(deviceId);
    for (const auto& entry : functions_) {
      if (entry.first.text("DeviceID") == deviceId) {
        return entry.first;
      }
    }
    return std::nullopt;
  }

  std::vector<std::string> asked;

 private:
  std::vector<std::pair<Record, bool>> functions_;
  std::vector<Record> ports_;
};

const Function* find(const std::vector<Function>& functions, const std::string& address) {
  const auto found = std::find_if(functions.begin(), functions.end(),
                                  [&](const Function& one) { return one.address == address; });
  return found == functions.end() ? nullptr : &*found;
}

TEST(Record, HasWhatWasSetSinceItWasCleared) {
  Record record{{"DeviceID", "0000:00:03.0"}, {"ElementName", "Acme Widget"}};
  record["DeviceID"] += "-ep";
  EXPECT_EQ(record.text("DeviceID"), "0000:00:03.0-ep");
  EXPECT_EQ(record.text("deviceid"), "");
  record.clear();
  EXPECT_EQ(record.text("DeviceID"), "");
  record["PhysicalSlot"] = "3";
  EXPECT_EQ(record["ElementName"], "");
  EXPECT_EQ(record.text("PhysicalSlot"), "3");
}

TEST(Record, TakesTheSameNamesInAnyOrder) {
  Record record{{"DeviceID", "1"}, {"ElementName", "2"}, {"PhysicalSlot", "3"}};
  record.clear();
  record["PhysicalSlot"] = "4";
  record["DeviceID"] = "5";
  record["PhysicalSlot"] += "4";
  EXPECT_EQ(record.text("PhysicalSlot"), "44");
  EXPECT_EQ(record.text("DeviceID"), "5");
  EXPECT_EQ(record.text("ElementName"), "");
}

TEST(ReadTopology, DropsTheDeviceNumberFromNames) {
  ScriptedSource source;
  source.add("0000:00:03.0", "", true);
  const auto functions = pcicim::readTopology(source);
  ASSERT_EQ(functions.size(), 1U);
  EXPECT_EQ(functions[0].name, "Acme Widget");
}

TEST(ReadTopology, AsksForSwitchPortsByTheNamesOfPorts) {
  ScriptedSource source;
  source.add("0000:00:03.0", "", true);
  source.add("0000:02:00.0", "0000:00:03.0", false, "6");
  source.addPortName("0000:00:03.0-ep");
  source.addPortName("0000:02:00.0-ep");
  source.addPortName("-ep");
  const auto functions = pcicim::readTopology(source);
  ASSERT_EQ(functions.size(), 2U);
  EXPECT_EQ(functions[1].kind, Function::Kind::kSwitchPort);
}

TEST(ReadTopology, AsksForParentsAndTheirParents) {
  ScriptedSource source;
  source.add("0000:05:00.0", "0000:04:00.0", true);
  source.add("0000:04:00.0", "0000:03:00.0", false, "6");
  source.add("0000:03:00.0", "", false, "6");
  const auto functions = pcicim::readTopology(source);
  EXPECT_EQ(functions.size(), 3U);
  ASSERT_NE(find(functions, "0000:03:00.0"), nullptr);
  EXPECT_EQ(find(functions, "0000:04:00.0")->kind, Function::Kind::kBridge);
}

TEST(ReadTopology, FindsHostAndIsaBridgesBesideOtherFunctions) {
  ScriptedSource source;
  source.add("0000:00:1f.2", "", true);
  source.add("0000:00:1f.0", "", false, "6");
  source.add("0000:00:1f.7", "", false, "6");
  source.add("0000:00:00.0", "", false, "6");
  EXPECT_EQ(pcicim::readTopology(source).size(), 4U);
}

TEST(ReadTopology, FindsBridgesWithoutPortsOnBusesBehindBridges) {
  ScriptedSource source;
  source.addBridge("0000:00:1e.0", "21");
  source.add("0000:15:00.1", "0000:00:1e.0", true);
  source.add("0000:15:00.0", "0000:00:1e.0", false, "6");
  source.addBridge("0000:00:1f.0", "22");
  source.add("0000:16:04.0", "0000:00:1f.0", false, "6");
  EXPECT_EQ(pcicim::readTopology(source).size(), 5U);
}

TEST(ReadTopology, AsksNothingOfABusThatNobodyIsOnOrLeadsTo) {
  ScriptedSource source;
  source.addBridge("0000:00:1e.0", "0");
  source.add("0000:00:03.0", "", true);
  source.add("0000:15:00.0", "", false, "6");
  EXPECT_EQ(pcicim::readTopology(source).size(), 2U);
  for (const std::string& address : source.asked) EXPECT_EQ(address.substr(0, 7), "0000:00");
}

std::vector<std::string> addressesOf(const std::vector<Function>& functions) {
  std::vector<std::string> addresses;
  for (const Function& function : functions) addresses.push_back(function.address);
  return addresses;
}

TEST(ReadTopology, TakesAddressesThatAreWrittenInAnotherWayForOthers) {
  ScriptedSource source;
  source.add("0000:00:1F.0", "", true);
  source.add("00:03.0", "", true);
  source.add("0000:00:1f.0", "", false, "6");
  source.addPortName("00:03.0-ep");
  EXPECT_EQ(pcicim::readTopology(source).size(), 3U);
  EXPECT_EQ(std::count(source.asked.begin(), source.asked.end(), "00:03.0"), 0);
}

TEST(FindLeftOut, AsksOnEveryBusOfSegmentsInUseThatNothingShownIsOn) {
  ScriptedSource source;
  source.add("0002:00:03.0", "", true);
  for (const char* address : {"0000:00:00.0", "0002:00:00.0", "0002:15:00.0", "0002:15:00.3",
                              "0002:15:04.1", "0002:ff:1f.7", "0002:ff:1f.0", "0003:00:00.0"}) {
    source.add(address, "", false, "6");
  }
  const auto leftOut = pcicim::findLeftOut(source, pcicim::readTopology(source));
  EXPECT_EQ(addressesOf(leftOut),
            (std::vector<std::string>{"0000:00:00.0", "0002:15:00.0", "0002:15:00.3",
                                      "0002:ff:1f.0", "0002:ff:1f.7"}));
}

TEST(PrintLeftOut, NamesABusAndHowManyAreThere) {
  Function host = function("0000:3f:00.0", "", Function::Kind::kBridge);
  host.isHostBridge = true;
  Function other = function("0000:40:00.1", "");
  Function bridge = function("0000:40:00.0", "", Function::Kind::kBridge);
  std::ostringstream out;
  pcicim::printLeftOut({other, host, bridge, function("no address", "")}, out);
  EXPECT_EQ(out.str(),
            "1 host bridge alone on bus 3f is not shown.\n"
            "2 functions alone on bus 40 are not shown.\n");
}

TEST(ReadTopology, AsksForAParentThatIsNotThereOnce) {
  ScriptedSource source;
  for (const char* address : {"0000:05:00.0", "0000:05:00.1", "0000:05:00.2"}) {
    source.add(address, "0000:04:00.0", true);
  }
  EXPECT_EQ(pcicim::readTopology(source).size(), 3U);
  EXPECT_EQ(std::count(source.asked.begin(), source.asked.end(), "0000:04:00.0"), 1);
}

}  // namespace
}  // namespace clitest
