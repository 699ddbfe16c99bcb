#include <cairo/cairo-pdf.h>
#include <cairo/cairo.h>
#include <picture/cairo_module.h>
#include <picture/palette.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace pcicim {
namespace {

/// What cairo takes for one side of an image, and 512 MiB of memory.
constexpr int kLongestSide = 32767;
constexpr long long kMostPixels = 1LL << 27;
/// Below this a PNG is drawn with twice as many pixels, so that its text can be enlarged.
constexpr long long kFewPixels = 1LL << 23;
/// A page's longest side in points, which is what readers of PDF take; 0.75 points are a pixel.
constexpr double kLongestPage = 14400;
constexpr double kPointsPerPixel = 0.75;
constexpr double kCorner = 3;

struct Ends {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};

class CairoCanvas : public Canvas {
 public:
  CairoCanvas(CairoFormat format, const ByteSink& sink) : format_(format), sink_(sink) {}

  /// What cairo still has to say must not reach a sink that may be gone.
  ~CairoCanvas() override {
    context_.reset();
    if (!isFinished_ && surface_ && !failure_) failure_ = std::make_exception_ptr(Abandoned());
  }
  CairoCanvas(const CairoCanvas&) = delete;
  CairoCanvas& operator=(const CairoCanvas&) = delete;

  void start(int width, int height, const std::string& title) override {
    double scale = 0;
    if (format_ == CairoFormat::kPng) {
      scale = imageScale(width, height);
      const auto pixels = [scale](int side) { return static_cast<int>(side * scale); };
      surface_.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels(width), pixels(height)));
    } else {
      scale = std::min(kPointsPerPixel, kLongestPage / std::max(width, height));
      surface_.reset(
          cairo_pdf_surface_create_for_stream(take, this, width * scale, height * scale));
      cairo_pdf_surface_set_metadata(surface_.get(), CAIRO_PDF_METADATA_TITLE, title.c_str());
      // Without it the time of the drawing is in the file, and no two are the same.
      cairo_pdf_surface_set_metadata(surface_.get(), CAIRO_PDF_METADATA_CREATE_DATE, "");
    }
    context_.reset(cairo_create(surface_.get()));
    cairo_scale(context_.get(), scale, scale);
    cairo_set_line_width(context_.get(), 1);
    setColour(kLightPage.fill);
    cairo_paint(context_.get());
    check();
  }

  void beginGroup(const Group& /*group*/) override {}
  void endGroup() override {}

  void box(const Rect& place, Paint paint, bool isDashed) override {
    outline(place);
    setColour(styleOf(paint).light.fill);
    cairo_fill_preserve(context_.get());
    constexpr double kDashes[] = {4, 3};
    cairo_set_dash(context_.get(), kDashes, isDashed ? 2 : 0, 0);
    setColour(styleOf(paint).light.stroke);
    cairo_stroke(context_.get());
  }

  void text(const Label& label) override {
    cairo_t* context = context_.get();
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           isBold(label.style) ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, fontSize(label.style));
    setColour(kLightPage.stroke);
    cairo_text_extents_t extents;
    cairo_text_extents(context, label.text.c_str(), &extents);
    cairo_save(context);
    const double free = label.width - extents.x_advance;
    cairo_translate(context, label.x + (isCentred(label.style) && free > 0 ? free / 2 : 0),
                    label.y);
    // A font that is wider than was reckoned with is narrowed.
    if (free < 0) cairo_scale(context, label.width / extents.x_advance, 1);
    cairo_move_to(context, 0, 0);
    cairo_show_text(context, label.text.c_str());
    cairo_restore(context);
    check();
  }

  void finish() override {
    isFinished_ = true;
    context_.reset();
    if (format_ == CairoFormat::kPng) {
      const cairo_status_t status = cairo_surface_write_to_png_stream(surface_.get(), take, this);
      if (failure_) std::rethrow_exception(failure_);
      if (status != CAIRO_STATUS_SUCCESS) fail(status);
    }
    cairo_surface_finish(surface_.get());
    check();
  }

 private:
  struct Abandoned {};

  static double imageScale(int width, int height) {
    const long long pixels = static_cast<long long>(width) * height;
    if (width > kLongestSide || height > kLongestSide || pixels > kMostPixels) {
      throw std::runtime_error("a PNG of " + std::to_string(width) + " x " +
                               std::to_string(height) + " pixels is too large; draw SVG or PDF");
    }
    return pixels < kFewPixels && 2 * std::max(width, height) <= kLongestSide ? 2 : 1;
  }

  [[noreturn]] static void fail(cairo_status_t status) {
    throw std::runtime_error(std::string("cannot draw: ") + cairo_status_to_string(status));
  }

  void check() const {
    if (failure_) std::rethrow_exception(failure_);
    if (context_ && cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) {
      fail(cairo_status(context_.get()));
    }
    if (cairo_surface_status(surface_.get()) != CAIRO_STATUS_SUCCESS) {
      fail(cairo_surface_status(surface_.get()));
    }
  }

  /// cairo is C: no exception may pass it.
  static cairo_status_t take(void* canvas, const unsigned char* bytes, unsigned length) noexcept {
    auto& self = *static_cast<CairoCanvas*>(canvas);
    if (self.failure_) return CAIRO_STATUS_WRITE_ERROR;
    try {
      self.sink_({reinterpret_cast<const char*>(bytes), length});
      return CAIRO_STATUS_SUCCESS;
    } catch (...) {
      self.failure_ = std::current_exception();
      return CAIRO_STATUS_WRITE_ERROR;
    }
  }

  void setColour(std::uint32_t rgb) {
    constexpr double kFull = 255;
    cairo_set_source_rgb(context_.get(), (rgb >> 16 & 0xff) / kFull, (rgb >> 8 & 0xff) / kFull,
                         (rgb & 0xff) / kFull);
  }

  /// Half a pixel inwards, so that a line of one pixel fills pixels.
  void outline(const Rect& place) {
    cairo_t* context = context_.get();
    const double left = place.x + 0.5 + kCorner;
    const double right = place.right() - 0.5 - kCorner;
    const double top = place.y + 0.5 + kCorner;
    const double bottom = place.bottom() - 0.5 - kCorner;
    constexpr double kQuarter = 1.57079632679489661923;
    cairo_new_sub_path(context);
    cairo_arc(context, right, top, kCorner, -kQuarter, 0);
    cairo_arc(context, right, bottom, kCorner, 0, kQuarter);
    cairo_arc(context, left, bottom, kCorner, kQuarter, 2 * kQuarter);
    cairo_arc(context, left, top, kCorner, 2 * kQuarter, 3 * kQuarter);
    cairo_close_path(context);
  }

  CairoFormat format_;
  const ByteSink& sink_;
  /// What the sink threw.
  std::exception_ptr failure_;
  bool isFinished_ = false;
  std::unique_ptr<cairo_surface_t, Ends> surface_;
  std::unique_ptr<cairo_t, Ends> context_;
};

}  // namespace
}  // namespace pcicim

extern "C" __attribute__((visibility("default"))) pcicim::CairoCanvasMaker pcicim_cairo_canvas;

pcicim::Canvas* pcicim_cairo_canvas(pcicim::CairoFormat format, const pcicim::ByteSink* sink) {
  return new (std::nothrow) pcicim::CairoCanvas(format, *sink);
}
