#pragma once

#include <model/mof_value.h>

#include <functional>
#include <memory>

namespace cimom {

/// The qualifiers of one element, which may be text still: then they are read when somebody first
/// looks at them. Copies share what was read. Safe from any thread.
class Qualifiers {
 public:
  /// None.
  Qualifiers() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): a map is what it stands for.
  Qualifiers(QualifierMap map);

  /// Those that `read` returns. It is called when they are first asked for, and again at the next
  /// question if it throws.
  static Qualifiers onDemand(std::function<QualifierMap()> read);

  /// Lives as long as any copy. Throws what reading them throws.
  const QualifierMap& map() const;
  // NOLINTNEXTLINE(google-explicit-constructor): findQualifier and loops take either.
  operator const QualifierMap&() const { return map(); }

 private:
  class Content;

  std::shared_ptr<Content> content_;
};

}  // namespace cimom
