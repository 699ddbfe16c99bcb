#include "PathText.h"

#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiBroker.h>

#include "Integer.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace zelInt {

namespace {

constexpr std::size_t kMostBytesOfParts = 1024;
constexpr std::size_t kMostBytesOfText = 2048;
constexpr std::size_t kCutTextLength = 512;
constexpr std::string_view kCutMark = "...";
// Paths in keys nest as deep as a client likes; no association needs more than one level.
constexpr unsigned kDeepestPath = 8;
// The longest number has 20 digits, or as a real a few more.
constexpr std::size_t kBytesOfNumber = 24;

std::string_view textOf(const CmpiString& text) {
  return text.charPtr();
}

bool isText(const CmpiData& value) {
  return value.type() == CMPI_string || value.type() == CMPI_chars;
}

/// Adds up the parts of a path, and stops as soon as they are too long.
class PathMeasure {
 public:
  bool fits(const CmpiObjectPath& path, unsigned depth = 0) {
    addPlain(textOf(path.getNameSpace()).size());
    addPlain(textOf(path.getClassName()).size());
    const CMPICount count = path.getKeyCount();
    for (CMPICount index = 0; index < count && isWithin(); ++index) {
      CMPIString* name = nullptr;
      const CmpiData value = path.getKeyAt(index, &name);
      addPlain(textOf(CmpiString(name)).size());
      if (!addValue(value, depth)) return false;
    }
    return isWithin();
  }

 private:
  bool isWithin() const { return parts_ <= kMostBytesOfParts && text_ <= kMostBytesOfText; }

  void addPlain(std::size_t length) {
    parts_ += length;
    text_ += length + kBytesOfSeparators;
  }

  /// What one quote takes: it is escaped once for each path around it, which doubles it.
  static std::size_t bytesOfQuote(unsigned depth) { return std::size_t{1} << depth; }

  bool addValue(const CmpiData& value, unsigned depth) {
    text_ += 2 * bytesOfQuote(depth);
    if (value.type() == CMPI_ref) {
      if (value.isNull()) return isWithin();
      return depth < kDeepestPath && isWithin() && fits(CmpiObjectPath(value), depth + 1);
    }
    if (isText(value)) {
      addText(textOf(CmpiString(value)), depth);
    } else {
      text_ += kBytesOfNumber;
    }
    return isWithin();
  }

  void addText(std::string_view text, unsigned depth) {
    addPlain(text.size());
    if (!isWithin()) return;
    for (const char c : text) {
      if (c == '"' || c == '\\') text_ += bytesOfQuote(depth + 1);
    }
  }

  static constexpr std::size_t kBytesOfSeparators = 1;

  std::size_t parts_ = 0;
  std::size_t text_ = 0;
};

/// Writes a path until its length is reached.
class PathWriter {
 public:
  void write(const CmpiObjectPath& path, unsigned depth = 0) {
    const CmpiString nameSpace = path.getNameSpace();
    add(textOf(nameSpace));
    if (!textOf(nameSpace).empty()) add(":");
    add(textOf(path.getClassName()));
    const CMPICount count = path.getKeyCount();
    for (CMPICount index = 0; index < count && !isFull(); ++index) {
      CMPIString* name = nullptr;
      const CmpiData value = path.getKeyAt(index, &name);
      add(index == 0 ? "." : ",");
      add(textOf(CmpiString(name)));
      add("=");
      addValue(value, depth);
    }
  }

  std::string cutText() && {
    std::size_t end = std::min(text_.size(), kCutTextLength - kCutMark.size());
    // Not within a character of several bytes.
    while (end > 0 && end < text_.size() && (static_cast<unsigned char>(text_[end]) >> 6U) == 2U) {
      --end;
    }
    text_.resize(end);
    return std::move(text_.append(kCutMark));
  }

 private:
  bool isFull() const { return text_.size() >= kCutTextLength; }

  void add(std::string_view text) {
    if (!isFull()) text_ += text.substr(0, kCutTextLength - text_.size());
  }

  void addValue(const CmpiData& value, unsigned depth) {
    if (isText(value)) {
      add("\"");
      add(textOf(CmpiString(value)));
      add("\"");
    } else if (value.type() == CMPI_ref && !value.isNull()) {
      add("\"");
      addPath(CmpiObjectPath(value), depth + 1);
      add("\"");
    } else if (const auto integer = integerOf(value.raw())) {
      add((integer->negative ? "-" : "") + std::to_string(integer->magnitude));
    }
  }

  void addPath(const CmpiObjectPath& path, unsigned depth) {
    if (depth > kDeepestPath) {
      add(kCutMark);
    } else {
      write(path, depth);
    }
  }

  std::string text_;
};

}  // namespace

bool fitsManagersText(const CmpiObjectPath& path) {
  return PathMeasure().fits(path);
}

CmpiString cutPathText(const CmpiObjectPath& path) {
  PathWriter writer;
  writer.write(path);
  const CMPIBroker& broker = CmpiBroker::current();
  const std::string text = std::move(writer).cutText();
  return CmpiString(askBrokerFor<&CMPIBrokerEncFT::newString>("string", "newString", broker,
                                                              broker.eft, text.c_str()));
}

}  // namespace zelInt
