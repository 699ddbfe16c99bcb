#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace pcicim {

/// A place on the page, in pixels from its upper left corner.
struct Rect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  int right() const noexcept { return x + width; }
  int bottom() const noexcept { return y + height; }
};

/// What a box stands for; decides its colours.
enum class Paint { kSegment, kBus, kDevice, kBridge, kSwitch, kPort, kUnplaced, kTab };

enum class TextStyle { kTitle, kSummary, kHeading, kName, kNote, kTab };

/// Height of the letters of a style, in pixels.
constexpr int fontSize(TextStyle style) {
  switch (style) {
    case TextStyle::kTitle:
      return 18;
    case TextStyle::kHeading:
    case TextStyle::kSummary:
      return 12;
    case TextStyle::kName:
      return 11;
    case TextStyle::kNote:
    case TextStyle::kTab:
      return 10;
  }
  return 0;
}

constexpr bool isBold(TextStyle style) {
  return style == TextStyle::kTitle || style == TextStyle::kHeading;
}

constexpr bool isCentred(TextStyle style) {
  return style == TextStyle::kTab;
}

struct Label {
  /// The left end of the baseline; a tab's text is in the middle of its width.
  int x = 0;
  int y = 0;
  /// What the text has room for; textWidth() of it is no more.
  int width = 0;
  TextStyle style = TextStyle::kName;
  /// UTF-8 without controls, as visibleText() gives it.
  std::string text;
};

/// What belongs to one box, those within it among them.
struct Group {
  Paint paint = Paint::kDevice;
  /// Of the function that the box stands for; empty for a bus or segment.
  std::string address;
  /// The whole of what the box says, without cuts.
  std::string title;
};

/// Takes the bytes of a picture's file as they come.
using ByteSink = std::function<void(std::string_view)>;

/// What a picture is drawn on, which becomes a file: start(), then boxes and texts, those above
/// after those below, then finish(). Groups are within each other. For one thread and one picture.
/// All throw std::runtime_error when there can be no such file, and what the sink throws.
class Canvas {
 public:
  virtual ~Canvas() = default;

  virtual void start(int width, int height, const std::string& title) = 0;
  virtual void beginGroup(const Group& group) = 0;
  virtual void endGroup() = 0;
  virtual void box(const Rect& place, Paint paint, bool isDashed) = 0;
  virtual void text(const Label& label) = 0;
  virtual void finish() = 0;
};

}  // namespace pcicim
