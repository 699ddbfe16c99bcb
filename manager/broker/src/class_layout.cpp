#include "class_layout.h"

#include <model/names.h>
#include <mof/mof_error.h>

#include <bit>
#include <mutex>
#include <utility>

#include "name_set.h"

namespace cimom {

ClassLayout::ClassLayout(ClassLayouts& owner, const ClassRepository& classes,
                         const std::string& className)
    : owner_(&owner) {
  const auto& declared = classes.allProperties(className);
  places_.resize(std::bit_ceil(2 * declared.size() + 1));
  properties_.reserve(declared.size());
  for (const PropertyDeclaration& property : declared) {
    properties_.push_back(
        {SharedText(property.name), property.type, property.isArray, property.isKey});
    std::size_t place = NameHash()(property.name) % places_.size();
    while (places_[place] != 0) place = (place + 1) % places_.size();
    places_[place] = static_cast<std::uint32_t>(properties_.size());
  }
}

const ClassLayout::Property* ClassLayout::find(std::string_view name) const noexcept {
  const std::size_t mask = places_.size() - 1;
  for (std::size_t place = NameHash()(name) & mask; places_[place] != 0;
       place = (place + 1) & mask) {
    const Property& property = properties_[places_[place] - 1];
    if (sameName(property.name.view(), name)) return &property;
  }
  return nullptr;
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
