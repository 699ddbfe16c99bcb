// Goes over a text once, as cheaply as brackets, texts and comments can be told apart, and notes
// where each class and each qualifier is declared. It decides nothing by itself: of whatever it
// does not take for well formed, or does not know, the parser has to judge the whole text.
#include "mof_index.h"

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <model/names.h>

#include "mof_skipper.h"

namespace cimom {
namespace {

class MofIndexer {
 public:
  explicit MofIndexer(const std::shared_ptr<const MofText>& source)
      : source_(source), text_(source->text()), skipper_(text_) {}

  std::optional<MofDocument> index() {
    while (skipper_.skipBlanks()) {
      if (skipper_.atEnd()) return std::move(document_);
      if (!indexDeclaration()) break;
    }
    return std::nullopt;
  }

 private:
  bool indexDeclaration() {
    const std::size_t begin = skipper_.position();
    const bool isQualified = text_[begin] == '[';
    if (isQualified && !(skipper_.skipBrackets() && skipper_.skipBlanks())) return false;
    const std::string_view keyword = skipper_.takeName();
    if (sameName(keyword, "class")) return indexClass(begin);
    return !isQualified && sameName(keyword, "qualifier") && indexQualifier(begin);
  }

  bool indexClass(std::size_t begin) {
    UnreadClass found;
    found.position = skipper_.position();
    found.name = skipper_.takeName();
    if (found.name.empty()) return false;
    if (skipper_.take(':')) {
      found.superclass = skipper_.takeName();
      if (found.superclass.empty()) return false;
    }
    if (skipper_.atEnd() || text_[skipper_.position()] != '{') return false;
    if (!skipper_.skipBrackets() || !skipper_.skipBlanks()) return false;
    if (skipper_.atEnd() || text_[skipper_.position()] != ';') return false;
    if (!skipper_.skipStatement()) return false;
    found.part = partFrom(begin);
    document_.unreadClasses.push_back(std::move(found));
    return true;
  }

  bool indexQualifier(std::size_t begin) {
    if (!skipper_.skipStatement()) return false;
    document_.unreadQualifiers.push_back(partFrom(begin));
    return true;
  }

  MofPart partFrom(std::size_t begin) {
    place_ = placeOf(text_, begin, placed_, place_);
    placed_ = begin;
    return {source_, begin, skipper_.position(), place_};
  }

  std::shared_ptr<const MofText> source_;
  std::string_view text_;
  MofSkipper skipper_;
  /// The last position of which the place was asked for.
  std::size_t placed_ = 0;
  MofPlace place_;
  MofDocument document_;
};

}  // namespace

MofDocument readMof(std::string text, const std::string& file, MofReading reading) {
  if (reading == MofReading::kAtOnce) return parseMof(text, file);
  const auto source = std::make_shared<const MofText>(std::move(text), file);
  if (auto found = MofIndexer(source).index()) return *std::move(found);
  return parseMof(source->text(), file);
}

}  // namespace cimom
