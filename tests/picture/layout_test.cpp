#include <picture/layout.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include <topology/arrangement.h>
#include "made_machine.h"
#include "text_fit.h"

namespace picturetest {
namespace {

using pcicim::Box;
using pcicim::Function;
using pcicim::Label;
using pcicim::Layout;
using pcicim::Machine;
using pcicim::Paint;
using pcicim::Rect;

bool isInside(const Rect& inner, const Rect& outer) {
  return inner.x > outer.x && inner.y > outer.y && inner.right() < outer.right() &&
         inner.bottom() < outer.bottom();
}

bool isApart(const Rect& one, const Rect& other) {
  return one.x >= other.right() || other.x >= one.right() || one.y >= other.bottom() ||
         other.y >= one.bottom();
}

Rect placeOf(const Label& label) {
  const int size = fontSize(label.style);
  return {label.x, label.y - size + 2, label.width, size};
}

/// What a box holds: labels, tabs and boxes, of which labels may be in tabs.
void expectNothingOverlaps(const Layout& layout) {
  const Rect page{0, 0, layout.width, layout.height};
  std::map<std::optional<std::size_t>, std::vector<Rect>> beside;
  for (const Label& label : layout.labels) beside[std::nullopt].push_back(placeOf(label));
  for (std::size_t i = 0; i < layout.boxes.size(); ++i) {
    const Box& box = layout.boxes[i];
    ASSERT_TRUE(!box.around || *box.around < i);
    const Rect& outer = box.around ? layout.boxes[*box.around].place : page;
    EXPECT_TRUE(isInside(box.place, outer)) << box.title;
    beside[box.around].push_back(box.place);
    for (const Rect& tab : box.tabs) {
      EXPECT_TRUE(isInside(tab, box.place)) << box.title;
      beside[i].push_back(tab);
    }
    for (const Label& label : box.labels) {
      EXPECT_TRUE(isInside(placeOf(label), box.place)) << box.title << ": " << label.text;
      EXPECT_LE(pcicim::textWidth(label.text, label.style), label.width) << label.text;
      if (label.style != pcicim::TextStyle::kTab) beside[i].push_back(placeOf(label));
    }
  }
  for (const Box& box : layout.legend) {
    EXPECT_TRUE(isInside(box.place, page));
    beside[std::nullopt].push_back(box.place);
    for (const Label& label : box.labels) beside[std::nullopt].push_back(placeOf(label));
  }
  for (const auto& [around, places] : beside) {
    for (std::size_t i = 0; i < places.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        EXPECT_TRUE(isApart(places[i], places[j]))
            << "in " << (around ? layout.boxes[*around].title : "the page") << ": " << places[i].x
            << ',' << places[i].y << " and " << places[j].x << ',' << places[j].y;
      }
    }
  }
}

/// The function of the nearest box around that has one.
std::optional<std::size_t> functionAround(const Layout& layout, std::size_t box) {
  for (auto around = layout.boxes[box].around; around; around = layout.boxes[*around].around) {
    if (layout.boxes[*around].function) return layout.boxes[*around].function;
  }
  return std::nullopt;
}

void expectEachFunctionOnceInItsParent(const Layout& layout, const Machine& machine) {
  const pcicim::Arrangement arranged = pcicim::arrange(machine.functions);
  std::map<std::size_t, std::optional<std::size_t>> parents;
  for (std::size_t i = 0; i < arranged.children.size(); ++i) {
    for (const std::size_t child : arranged.children[i]) parents[child] = i;
  }
  std::vector<int> shown(machine.functions.size());
  for (std::size_t i = 0; i < layout.boxes.size(); ++i) {
    if (const auto function = layout.boxes[i].function) {
      ++shown.at(*function);
      EXPECT_EQ(functionAround(layout, i), parents[*function]) << layout.boxes[i].title;
    }
  }
  EXPECT_THAT(shown, testing::Each(1));
  ASSERT_EQ(layout.functions.size(), arranged.functions.size());
  for (std::size_t i = 0; i < layout.functions.size(); ++i) {
    EXPECT_EQ(layout.functions[i].address, arranged.functions[i].address);
  }
}

void expectSound(const Machine& machine) {
  const Layout layout = layOut(machine);
  expectNothingOverlaps(layout);
  expectEachFunctionOnceInItsParent(layout, machine);
}

/// Functions whose parents are any of them, none, or not there.
Machine anyMachine(std::mt19937& random) {
  std::uniform_int_distribution<unsigned> any(0, 1000);
  Machine machine = machineOf({});
  const unsigned count = any(random) % 60;
  const auto address = [](unsigned number) {
    return pcicim::addressText({number % 3, number / 8 % 256, number % 8, 0});
  };
  for (unsigned i = 0; i < count; ++i) {
    const unsigned kind = any(random) % 4;
    const unsigned parent = any(random) % (count + 5);
    Function one =
        function(any(random) % 20 == 0 ? "odd" : address(i),
                 any(random) % 3 == 0 ? "" : address(parent), static_cast<Function::Kind>(kind));
    one.leadsToBus = one.kind == Function::Kind::kBridge && any(random) % 2 == 0;
    if (one.leadsToBus) one.secondaryBus = any(random) % 3;
    if (any(random) % 2 == 0) one.physicalSlot = any(random) * 9;
    one.ports = any(random) % 40;
    one.name = std::string(any(random) % 90, 'W') + ' ' + std::string(any(random) % 90, 'n');
    for (unsigned port = any(random) % 4; port > 0; --port) {
      machine.ports.push_back({static_cast<pcicim::Port::Side>(any(random) % 4), one.address,
                               "Unknown", any(random) % 256});
    }
    machine.functions.push_back(std::move(one));
  }
  return machine;
}

TEST(LayOut, PutsEachFunctionOnceInItsParentAndNothingOverAnything) {
  std::mt19937 random(7);
  for (int round = 0; round < 60 && !testing::Test::HasFailure(); ++round) {
    expectSound(anyMachine(random));
  }
}

TEST(LayOut, IsReadyForAnEmptyHost) {
  Machine machine = machineOf({});
  expectSound(machine);
  machine.leftOut = {function("0000:3f:00.0", ""), function("0000:40:00.0", "")};
  expectSound(machine);
  EXPECT_EQ(layOut(machine).labels.size(), 4U);
}

TEST(LayOut, StaysSoundWithFiveHundredFunctions) {
  Machine machine = machineOf({});
  for (unsigned bus = 1; bus <= 10; ++bus) {
    const std::string above = pcicim::addressText({0, 0, bus, 0});
    machine.functions.push_back(bridge(above, "", bus));
    for (unsigned i = 0; i < 49; ++i) {
      machine.functions.push_back(function(pcicim::addressText({0, bus, i / 8, i % 8}), above));
    }
  }
  expectSound(machine);
  const Layout layout = layOut(machine);
  EXPECT_LT(layout.width, 2 * layout.height);
  EXPECT_LT(layout.height, 2 * layout.width);
}

TEST(LayOut, IsNotHeldUpByAChainOfAnyDepth) {
  Machine machine = machineOf({});
  std::string above;
  for (unsigned i = 0; i < 20000; ++i) {
    std::string address = pcicim::addressText({i / 256, i % 256, 0, 0});
    machine.functions.push_back(function(address, above));
    above = std::move(address);
  }
  const Layout layout = layOut(machine);
  EXPECT_GT(layout.boxes.size(), 20000U);
  EXPECT_EQ(layout.boxes.back().function, 19999U);
}

std::vector<std::string> textsOf(const Layout& layout, const std::string& address) {
  std::vector<std::string> texts;
  for (const Box& box : layout.boxes) {
    if (!box.function || layout.functions[*box.function].address != address) continue;
    for (const Label& label : box.labels) texts.push_back(label.text);
  }
  return texts;
}

TEST(LayOut, ShowsPortsSlotsAndEmptiness) {
  Machine machine =
      machineOf({bridge("0000:00:01.0", "", 1), bridge("0000:00:02.0", "", 2),
                 function("0000:01:00.0", "0000:00:01.0"), bridge("0000:00:03.0", "", 0)});
  machine.functions[2].physicalSlot = 11;
  machine.ports = {{pcicim::Port::Side::kNear, "0000:00:01.0", "PCI", 0},
                   {pcicim::Port::Side::kFar, "0000:00:01.0", "PCI", 0x1a},
                   {pcicim::Port::Side::kEndpoint, "0000:01:00.0", "PCIe", 1}};
  const Layout layout = layOut(machine);
  EXPECT_THAT(
      textsOf(layout, "0000:00:01.0"),
      testing::ElementsAre("PCI, bus 00", "Bridge 00:01.0", "Name of 0000:00:01.0", "PCI, bus 1a"));
  EXPECT_THAT(textsOf(layout, "0000:01:00.0"),
              testing::IsSupersetOf({"PCIe, bus 01", "01:00.0", "slot 11"}));
  EXPECT_THAT(textsOf(layout, "0000:00:02.0"), testing::Contains("empty"));
  EXPECT_THAT(textsOf(layout, "0000:00:03.0"), testing::Contains("no bus, empty"));
  const auto isEmpty = [](const Box& box) { return box.isEmpty; };
  EXPECT_EQ(std::count_if(layout.boxes.begin(), layout.boxes.end(), isEmpty), 2);
}

TEST(LayOut, SaysWhatHasNoPlace) {
  const Layout layout =
      layOut(machineOf({function("0000:05:00.0", "lost"), function("0000:07:00.0", "0000:07:00.0"),
                        function("odd\n", "")}));
  std::vector<std::string> headings;
  for (const Box& box : layout.boxes) {
    if (box.paint == Paint::kUnplaced) headings.push_back(box.title);
  }
  EXPECT_THAT(headings, testing::ElementsAre("Not placed (no such parent, or no readable address)",
                                             "Not placed (each behind the other, in a circle)"));
  EXPECT_THAT(textsOf(layout, "odd\n"), testing::Contains("odd\\x0a"));
}

}  // namespace
}  // namespace picturetest
