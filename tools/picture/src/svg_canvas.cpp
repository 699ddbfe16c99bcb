#include <picture/markup.h>
#include <picture/palette.h>
#include <picture/picture.h>

#include <array>
#include <charconv>
#include <utility>

namespace pcicim {
namespace {

constexpr std::string_view kCorner = "3";

std::string colour(std::uint32_t rgb) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "#";
  for (int shift = 20; shift >= 0; shift -= 4) text += kDigits[rgb >> shift & 0xf];
  return text;
}

struct NamedTextStyle {
  TextStyle style;
  std::string_view name;
};

/// In the order of TextStyle.
constexpr std::array kTextStyles{
    NamedTextStyle{TextStyle::kTitle, "title"},     NamedTextStyle{TextStyle::kSummary, "summary"},
    NamedTextStyle{TextStyle::kHeading, "heading"}, NamedTextStyle{TextStyle::kName, "name"},
    NamedTextStyle{TextStyle::kNote, "note"},       NamedTextStyle{TextStyle::kTab, "tab-text"}};

std::string_view nameOf(TextStyle style) {
  return kTextStyles[static_cast<std::size_t>(style)].name;
}

std::string coloursOf(bool isDark) {
  const BoxColours& page = isDark ? kDarkPage : kLightPage;
  std::string css =
      ".page{fill:" + colour(page.fill) + "}\ntext{fill:" + colour(page.stroke) + "}\n";
  for (const BoxStyle& style : kBoxStyles) {
    const BoxColours& colours = isDark ? style.dark : style.light;
    css += '.';
    css += style.name;
    css += "{fill:" + colour(colours.fill) + ";stroke:" + colour(colours.stroke) + "}\n";
  }
  return css;
}

std::string makeStyle() {
  std::string css = "\ntext{font-family:Arial,\"Liberation Sans\",\"DejaVu Sans\",sans-serif}\n";
  for (const NamedTextStyle& named : kTextStyles) {
    css += '.';
    css += named.name;
    css += "{font-size:" + std::to_string(fontSize(named.style)) + "px";
    css += isBold(named.style) ? ";font-weight:bold}\n" : "}\n";
  }
  css += ".tab-text{text-anchor:middle}\n.empty{stroke-dasharray:4 3}\n" + coloursOf(false);
  return css + "@media (prefers-color-scheme:dark){\n" + coloursOf(true) + "}\n";
}

class SvgCanvas : public Canvas {
 public:
  explicit SvgCanvas(ByteSink sink) : sink_(std::move(sink)) {}

  void start(int width, int height, const std::string& title) override {
    out_ = "<svg xmlns=\"http://www.w3.org/2000/svg\"";
    attribute("width", width);
    attribute("height", height);
    out_ += " viewBox=\"0 0 " + std::to_string(width) + ' ' + std::to_string(height) +
            "\">\n<title>" + markupText(title) + "</title>\n<style>" + svgStyle() +
            "</style>\n<rect class=\"page\"";
    attribute("width", width);
    attribute("height", height);
    out_ += "/>\n";
  }

  void beginGroup(const Group& group) override {
    out_ += "<g";
    if (!group.address.empty()) out_ += " data-address=\"" + markupText(group.address) + '"';
    out_ += "><title>" + markupText(group.title) + "</title>\n";
    handOverSome();
  }

  void endGroup() override { out_ += "</g>\n"; }

  void box(const Rect& place, Paint paint, bool isDashed) override {
    out_ += "<rect class=\"";
    out_ += styleOf(paint).name;
    out_ += isDashed ? " empty\"" : "\"";
    attribute("x", place.x);
    attribute("y", place.y);
    attribute("width", place.width);
    attribute("height", place.height);
    out_ += " rx=\"";
    out_ += kCorner;
    out_ += "\"/>\n";
    handOverSome();
  }

  void text(const Label& label) override {
    out_ += "<text class=\"";
    out_ += nameOf(label.style);
    out_ += '"';
    attribute("x", isCentred(label.style) ? label.x + label.width / 2 : label.x);
    attribute("y", label.y);
    out_ += '>' + markupText(label.text) + "</text>\n";
    handOverSome();
  }

  void finish() override {
    out_ += "</svg>\n";
    sink_(out_);
    out_.clear();
  }

 private:
  void attribute(std::string_view name, int value) {
    out_ += ' ';
    out_ += name;
    out_ += "=\"" + std::to_string(value) + '"';
  }

  void handOverSome() {
    constexpr std::size_t kSome = 65536;
    if (out_.size() < kSome) return;
    sink_(out_);
    out_.clear();
  }

  ByteSink sink_;
  std::string out_;
};

}  // namespace

const std::string& svgStyle() {
  static const std::string kStyle = makeStyle();
  return kStyle;
}

std::unique_ptr<Canvas> svgCanvas(const ByteSink& sink) {
  return std::make_unique<SvgCanvas>(sink);
}

}  // namespace pcicim
