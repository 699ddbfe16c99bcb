#pragma once

#include <picture/canvas.h>

#include <array>
#include <cstdint>
#include <string_view>

namespace pcicim {

/// BoxColours as 0xRRGGBB.
struct BoxColours {
  std::uint32_t fill = 0;
  std::uint32_t stroke = 0;
};

/// How one kind of box looks, on white and on black.
struct BoxStyle {
  Paint paint;
  /// In SVG, the class of the box.
  std::string_view name;
  BoxColours light;
  BoxColours dark;
};

/// In the order of Paint.
inline constexpr std::array kBoxStyles{
    BoxStyle{Paint::kSegment, "segment", {0xf6f8fa, 0xc3cbd4}, {0x1a1f25, 0x3a4450}},
    BoxStyle{Paint::kBus, "bus", {0xe6ebf1, 0xb4c0cd}, {0x232b34, 0x455262}},
    BoxStyle{Paint::kDevice, "device", {0xffffff, 0x8a97a6}, {0x2e3843, 0x6b7b8f}},
    BoxStyle{Paint::kBridge, "bridge", {0xfdf1d0, 0xc3952a}, {0x3a301a, 0xb08a36}},
    BoxStyle{Paint::kSwitch, "switch", {0xdcefdb, 0x559450}, {0x1d3320, 0x5a9a5d}},
    BoxStyle{Paint::kPort, "port", {0xd3eaee, 0x43909c}, {0x18333a, 0x4a96a3}},
    BoxStyle{Paint::kUnplaced, "unplaced", {0xfbe3e0, 0xc2574c}, {0x3d2220, 0xc96d62}},
    BoxStyle{Paint::kTab, "tab", {0xffffff, 0x8a97a6}, {0x14181d, 0x6b7b8f}}};

/// The page, as fill, and the texts on it, as stroke.
inline constexpr BoxColours kLightPage{0xffffff, 0x1b1f24};
inline constexpr BoxColours kDarkPage{0x14181d, 0xe8ebef};

constexpr const BoxStyle& styleOf(Paint paint) {
  return kBoxStyles[static_cast<std::size_t>(paint)];
}

}  // namespace pcicim
