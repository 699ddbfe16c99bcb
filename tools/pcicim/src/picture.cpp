#include "picture.h"

#include <dlfcn.h>
#include <picture/cairo_module.h>
#include <picture/picture.h>

#include <algorithm>
#include <array>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "output.h"
#include "session.h"
#include "whole_file.h"

namespace pcicim {
namespace {

constexpr std::string_view kStandardOutput = "-";

struct Suffix {
  std::string_view text;
  PictureFormat format;
};

constexpr std::array kSuffixes{Suffix{".svg", PictureFormat::kSvg},
                               Suffix{".png", PictureFormat::kPng},
                               Suffix{".pdf", PictureFormat::kPdf}};

bool hasSuffix(std::string_view name, std::string_view suffix) {
  const auto isSame = [](char left, char right) {
    return (left >= 'A' && left <= 'Z' ? static_cast<char>(left - 'A' + 'a') : left) == right;
  };
  return name.size() > suffix.size() &&
         std::equal(suffix.rbegin(), suffix.rend(), name.rbegin(),
                    [&](char right, char left) { return isSame(left, right); });
}

/// The module with cairo, opened for as long as the object lives.
class CairoModule {
 public:
  CairoModule() : handle_(dlopen(place().c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) refuse();
  }
  ~CairoModule() { dlclose(handle_); }
  CairoModule(const CairoModule&) = delete;
  CairoModule& operator=(const CairoModule&) = delete;

  std::unique_ptr<Canvas> canvas(CairoFormat format, const ByteSink& sink) const {
    auto* make = reinterpret_cast<CairoCanvasMaker*>(dlsym(handle_, "pcicim_cairo_canvas"));
    if (make == nullptr) refuse();
    std::unique_ptr<Canvas> canvas(make(format, &sink));
    if (!canvas) throw std::bad_alloc();
    return canvas;
  }

 private:
  static std::string place() {
    return findInstalled("pcicim-cairo.so", PCICIM_MODULE_DIRECTORY).string();
  }
  [[noreturn]] static void refuse() {
    const char* reason = dlerror();
    throw std::runtime_error(std::string("no PNG or PDF without cairo: ") +
                             (reason != nullptr ? reason : "the module lacks its function"));
  }

  void* handle_;
};

void drawWithCairo(const Layout& layout, CairoFormat format, const ByteSink& sink) {
  const CairoModule module;
  draw(layout, *module.canvas(format, sink));
}

void drawAs(PictureFormat format, const Layout& layout, const ByteSink& sink) {
  switch (format) {
    case PictureFormat::kSvg:
      return draw(layout, *svgCanvas(sink));
    case PictureFormat::kPng:
      return drawWithCairo(layout, CairoFormat::kPng, sink);
    case PictureFormat::kPdf:
      return drawWithCairo(layout, CairoFormat::kPdf, sink);
  }
}

}  // namespace

PictureFormat pictureFormat(const Options& options) {
  if (options.pictureFormat) return *options.pictureFormat;
  if (options.target == kStandardOutput) return PictureFormat::kSvg;
  const auto* const found =
      std::find_if(kSuffixes.begin(), kSuffixes.end(),
                   [&](const Suffix& suffix) { return hasSuffix(options.target, suffix.text); });
  if (found == kSuffixes.end()) {
    throw std::runtime_error("cannot tell the format of " + options.target +
                             ": end its name in .svg, .png or .pdf, or give --format");
  }
  return found->format;
}

void savePicture(Machine machine, const Options& options, std::ostream& out) {
  const PictureFormat format = pictureFormat(options);
  if (options.target == kStandardOutput) {
    drawAs(format, layOut(std::move(machine)), [&out](std::string_view bytes) {
      if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        throw OutputFailure();
      }
    });
    return;
  }
  WholeFile file(options.target);
  drawAs(format, layOut(std::move(machine)),
         [&file](std::string_view bytes) { file.write(bytes); });
  file.keep();
}

}  // namespace pcicim
