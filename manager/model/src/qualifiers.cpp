#include <model/qualifiers.h>

#include <mutex>
#include <utility>

namespace cimom {

class Qualifiers::Content {
 public:
  explicit Content(QualifierMap map) : map_(std::move(map)) {}
  explicit Content(std::function<QualifierMap()> read) : read_(std::move(read)) {}

  const QualifierMap& map() {
    std::call_once(once_, [this] {
      if (read_) map_ = read_();
      // What the function holds on to, such as the text, may be large.
      read_ = nullptr;
    });
    return map_;
  }

 private:
  std::once_flag once_;
  std::function<QualifierMap()> read_;
  QualifierMap map_;
};

Qualifiers::Qualifiers(QualifierMap map)
    : content_(map.empty() ? nullptr : std::make_shared<Content>(std::move(map))) {}

Qualifiers Qualifiers::onDemand(std::function<QualifierMap()> read) {
  Qualifiers qualifiers;
  qualifiers.content_ = std::make_shared<Content>(std::move(read));
  return qualifiers;
}

const QualifierMap& Qualifiers::map() const {
  static const QualifierMap kNone;
  return content_ ? content_->map() : kNone;
}

}  // namespace cimom
