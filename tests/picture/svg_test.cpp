#include <picture/palette.h>
#include <picture/picture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <pugixml.hpp>
#include <stdexcept>
#include <string>

#include "made_machine.h"

namespace picturetest {
namespace {

std::string svgOf(const pcicim::Machine& machine) {
  std::string svg;
  pcicim::draw(pcicim::layOut(machine),
               *pcicim::svgCanvas([&svg](std::string_view part) { svg += part; }));
  return svg;
}

pugi::xml_document parsed(const std::string& svg) {
  pugi::xml_document document;
  const auto result = document.load_string(svg.c_str());
  if (!result) throw std::runtime_error(result.description());
  return document;
}

pcicim::Machine hostileMachine() {
  pcicim::Machine machine = machineOf({function("0000:00:00.0", "")});
  machine.hostName = "</title><script>alert(1)</script>";
  machine.functions[0].name = "<b onload='x'>&\x1b[31m\xff\xe2\x80\xae]]>";
  return machine;
}

TEST(Svg, ShowsHostileTextAsText) {
  const std::string svg = svgOf(hostileMachine());
  const auto document = parsed(svg);
  EXPECT_TRUE(document.select_nodes("//script | //b").empty());
  EXPECT_STREQ(document.child("svg").child("title").child_value(),
               "PCI topology of </title><script>alert(1)</script>");
  const std::string title = document.select_node("//g[@data-address]/title").node().child_value();
  EXPECT_EQ(title, "0000:00:00.0 <b onload='x'>&\\x1b[31m\\xff\\u{202e}]]>");
  for (const char c : svg) EXPECT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20);
}

TEST(Svg, IsTheSameEachTimeAndHoldsTheStyleThatIsToldForPolicies) {
  const std::string svg = svgOf(hostileMachine());
  EXPECT_EQ(svg, svgOf(hostileMachine()));
  EXPECT_NE(svg.find("<style>" + pcicim::svgStyle() + "</style>"), std::string::npos);
  EXPECT_EQ(svg.find("style=\""), std::string::npos);
}

TEST(Svg, HandsOverALargePictureInParts) {
  std::vector<pcicim::Function> functions;
  for (unsigned i = 0; i < 2000; ++i) {
    functions.push_back(function(pcicim::addressText({i / 256, i % 256, 0, 0}), ""));
  }
  std::string svg;
  std::size_t largest = 0;
  pcicim::draw(pcicim::layOut(machineOf(std::move(functions))),
               *pcicim::svgCanvas([&](std::string_view part) {
                 svg += part;
                 largest = std::max(largest, part.size());
               }));
  EXPECT_EQ(parsed(svg).select_nodes("//g[@data-address]").size(), 2000U);
  EXPECT_LT(largest, svg.size() / 4);
}

double luminance(std::uint32_t rgb) {
  const auto part = [rgb](int shift) {
    const double value = (rgb >> shift & 0xff) / 255.0;
    return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * part(16) + 0.7152 * part(8) + 0.0722 * part(0);
}

double contrast(std::uint32_t one, std::uint32_t other) {
  const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
  return (light + 0.05) / (dark + 0.05);
}

// Web Content Accessibility Guidelines 2.1, 1.4.3 and 1.4.6.
TEST(Palette, LetsTextBeReadOnEveryColour) {
  EXPECT_GE(contrast(pcicim::kLightPage.fill, pcicim::kLightPage.stroke), 7);
  EXPECT_GE(contrast(pcicim::kDarkPage.fill, pcicim::kDarkPage.stroke), 7);
  for (const pcicim::BoxStyle& style : pcicim::kBoxStyles) {
    EXPECT_GE(contrast(style.light.fill, pcicim::kLightPage.stroke), 7) << style.name;
    EXPECT_GE(contrast(style.dark.fill, pcicim::kDarkPage.stroke), 7) << style.name;
  }
}

TEST(Palette, IsInTheOrderThatItIsLookedUpBy) {
  for (const pcicim::BoxStyle& style : pcicim::kBoxStyles) {
    EXPECT_EQ(pcicim::styleOf(style.paint).name, style.name);
  }
}

}  // namespace
}  // namespace picturetest
