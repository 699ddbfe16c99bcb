#pragma once

#include <model/cim_type.h>
#include <mof/class_repository.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "name_set.h"
#include "shared_text.h"

namespace cimom {

class ClassLayouts;

/// What instances of a class may hold, with the names that they share. Any number of threads may
/// read it.
class ClassLayout {
 public:
  struct Property {
    SharedText name;
    CimType type = CimType::kString;
    bool isArray = false;
    bool isKey = false;
  };

  /// Of a class of the repository; for an empty name, of no class.
  ClassLayout(ClassLayouts& owner, const ClassRepository& classes, const std::string& className);

  /// Where the layouts of other classes are.
  ClassLayouts& owner() const noexcept { return *owner_; }

  /// The property of that name in any case; null when the class has none. Lives as long as the
  /// layout.
  const Property* find(std::string_view name) const noexcept;

  /// How many properties the latest instance had before any filter: most instances of a class have
  /// as many as the one before.
  std::size_t usualCount() const noexcept { return usualCount_.load(std::memory_order_relaxed); }
  void noteCount(std::size_t count) const noexcept {
    usualCount_.store(count, std::memory_order_relaxed);
  }

 private:
  ClassLayouts* owner_;
  std::vector<Property> properties_;
  NamePlaces places_;
  mutable std::atomic<std::size_t> usualCount_ = 0;
};

/// The layouts of a repository's classes, each made when it is first asked for. For any number of
/// threads.
class ClassLayouts {
 public:
  /// The repository outlives this object.
  explicit ClassLayouts(const ClassRepository& classes)
      : classes_(classes), none_(*this, classes, "") {}
  ClassLayouts(const ClassLayouts&) = delete;
  ClassLayouts& operator=(const ClassLayouts&) = delete;

  /// Null for an unknown class. Lives as long as this object.
  const ClassLayout* find(std::string_view className);
  /// The same; for a class that is unknown or cannot be read, a layout without properties.
  const ClassLayout& of(std::string_view className);

 private:
  const ClassLayout* findMade(std::string_view className);

  const ClassRepository& classes_;
  const ClassLayout none_;
  std::shared_mutex mutex_;
  /// By the name as it is declared.
  std::map<std::string, std::unique_ptr<const ClassLayout>, std::less<>> layouts_;
};

}  // namespace cimom
