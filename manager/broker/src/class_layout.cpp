#include "class_layout.h"

#include <model/names.h>
#include <mof/mof_error.h>

#include <mutex>
#include <utility>

namespace cimom {

ClassLayout::ClassLayout(ClassLayouts& owner, const ClassRepository& classes,
                         const std::string& className)
    : owner_(&owner), places_(classes.allProperties(className).size()) {
  const auto& declared = classes.allProperties(className);
  properties_.reserve(declared.size());
  for (const PropertyDeclaration& property : declared) {
    places_.add(property.name, properties_.size());
    properties_.push_back(
        {SharedText(property.name), property.type, property.isArray, property.isKey});
  }
}

const ClassLayout::Property* ClassLayout::find(std::string_view name) const noexcept {
  const std::size_t index = places_.find(name, [&](std::size_t candidate) {
    return sameName(properties_[candidate].name.view(), name);
  });
  return index != NamePlaces::none ? &properties_[index] : nullptr;
}

const ClassLayout* ClassLayouts::find(std::string_view className) {
  if (const ClassLayout* made = findMade(className)) return made;
  const ClassDeclaration* declared = classes_.find(className);
  if (declared == nullptr) return nullptr;
  // Names come from clients too, who may write them in any number of ways.
  if (const ClassLayout* made = findMade(declared->name)) return made;
  // Made first, since reading the class may throw: it then does so at each question.
  auto layout = std::make_unique<const ClassLayout>(*this, classes_, declared->name);
  const std::unique_lock lock(mutex_);
  return layouts_.try_emplace(declared->name, std::move(layout)).first->second.get();
}

const ClassLayout* ClassLayouts::findMade(std::string_view className) {
  const std::shared_lock lock(mutex_);
  const auto found = layouts_.find(className);
  return found != layouts_.end() ? found->second.get() : nullptr;
}

const ClassLayout& ClassLayouts::of(std::string_view className) {
  try {
    const ClassLayout* found = find(className);
    return found != nullptr ? *found : none_;
  } catch (const MofError&) {
    return none_;
  }
}

}  // namespace cimom
