#include "checked_operations.h"

#include <model/cim_error.h>
#include <model/names.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_set>
#include <utility>
#include <variant>

#include "suggestion.h"

namespace pcicim {
namespace {

using cimom::AssociationFilter;
using cimom::Instance;
using cimom::NamedValue;
using cimom::ObjectPath;
using cimom::PropertyList;
using cimom::Value;

/// Null for what is no reference.
const ObjectPath* referred(const Value* value) {
  if (value == nullptr || value->isNull || value->elements.size() != 1) {
    return nullptr;
  }
  const auto* path = std::get_if<std::shared_ptr<const ObjectPath>>(&value->elements.front());
  return path == nullptr ? nullptr : path->get();
}

std::string textOf(const Value& value) {
  return value.elements.empty() ? "" : cimom::toText(value.elements.front());
}

std::string lowerCase(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return name;
}

/// The same text for two names of one object, whatever the order and case of their keys.
std::string identity(const std::string& className, const std::vector<NamedValue>& keys) {
  std::set<std::pair<std::string, std::string>> sorted;
  for (const auto& [name, value] : keys) {
    sorted.emplace(lowerCase(name), textOf(value));
  }
  std::string text = lowerCase(className);
  for (const auto& [name, value] : sorted) {
    text.append(1, '\0').append(name).append(1, '\0').append(value);
  }
  return text;
}

std::string identity(const ObjectPath& path) {
  return identity(path.className, path.keys);
}

/// Published classes are meant before the standard's.
std::vector<std::string> candidates(const cimom::ClassRepository& classes) {
  std::vector<std::string> names = classes.classNames();
  std::stable_partition(names.begin(), names.end(),
                        [](const std::string& name) { return !name.starts_with("CIM_"); });
  return names;
}

/// Without reading the class.
void requireClass(const cimom::ClassRepository& classes, const std::string& name) {
  if (!classes.contains(name)) refuseClass(classes, name);
}

}  // namespace

void refuseClass(const cimom::ClassRepository& classes, const std::string& name) {
  throw cimom::CimError(CMPI_RC_ERR_INVALID_CLASS,
                        "unknown class " + name + suggestion(name, candidates(classes)));
}

/// The objects that an object is linked with in the roles that were asked for.
class CheckedOperations::Links {
 public:
  /// `askFor` hands the identity of every object over that the association of that name leads to.
  using AskFor = std::function<void(const std::string&, const std::function<void(std::string&&)>&)>;

  Links(const CheckedOperations& operations, const ObjectPath& path,
        const AssociationFilter& filter, const AskFor& askFor)
      : operations_(operations), path_(path), filter_(filter) {
    if (filter.role.empty() && filter.resultRole.empty()) {
      return;
    }
    wanted_.emplace();
    AssociationFilter links;
    links.resultClass = filter.assocClass;
    operations.asked_.references(path, links, std::nullopt,
                                 [this](Instance&& link) { take(link); });
    for (const std::string& association : operations.associationsWithRoles(filter)) {
      askFor(association, [this](std::string&& object) {
        if (!referred_.contains(object)) {
          wanted_->insert(std::move(object));
        }
      });
    }
  }

  bool hold(const Instance& instance) const {
    return !wanted_ || wanted_->contains(operations_.identityOf(instance));
  }

  bool hold(const ObjectPath& path) const { return !wanted_ || wanted_->contains(identity(path)); }

 private:
  void take(const Instance& link) {
    for (const NamedValue& from : link.properties) {
      if (!operations_.refersTo(&from.value, path_)) {
        continue;
      }
      for (const NamedValue& to : link.properties) {
        const ObjectPath* other = referred(&to.value);
        if (&to == &from || other == nullptr) {
          continue;
        }
        const std::string& object = *referred_.insert(identity(*other)).first;
        if (plays(from, filter_.role) && plays(to, filter_.resultRole)) {
          wanted_->insert(object);
        }
      }
    }
  }

  static bool plays(const NamedValue& reference, const std::string& role) {
    return role.empty() || cimom::sameName(reference.name, role);
  }

  const CheckedOperations& operations_;
  const ObjectPath& path_;
  const AssociationFilter& filter_;
  /// What references lead to, in whatever role.
  std::unordered_set<std::string> referred_;
  /// Nothing where every role will do.
  std::optional<std::unordered_set<std::string>> wanted_;
};

CheckedOperations::CheckedOperations(cimom::Operations& asked,
                                     const cimom::ClassRepository& classes)
    : asked_(asked), classes_(classes) {}

Instance CheckedOperations::getInstance(const ObjectPath& path, const PropertyList& properties) {
  requireClass(classes_, path.className);
  check(properties, {path.className}, path.className);
  return asked_.getInstance(path, properties);
}

void CheckedOperations::enumerateInstances(const ObjectPath& classPath,
                                           const PropertyList& properties,
                                           const cimom::InstanceSink& sink) {
  requireClass(classes_, classPath.className);
  check(properties, withSubclasses(classPath.className), classPath.className);
  asked_.enumerateInstances(classPath, properties, sink);
}

void CheckedOperations::enumerateInstanceNames(const ObjectPath& classPath,
                                               const cimom::PathSink& sink) {
  requireClass(classes_, classPath.className);
  asked_.enumerateInstanceNames(classPath, sink);
}

void CheckedOperations::associators(const ObjectPath& path, const AssociationFilter& filter,
                                    const PropertyList& properties,
                                    const cimom::InstanceSink& sink) {
  check(filter);
  check(properties, withSubclasses(filter.resultClass),
        filter.resultClass.empty() ? "any class" : filter.resultClass);
  const Links links(*this, path, filter, [&](const auto& association, const auto& take) {
    AssociationFilter one;
    one.assocClass = association;
    asked_.associators(path, one, PropertyList(std::in_place),
                       [&](Instance&& object) { take(identityOf(object)); });
  });
  AssociationFilter all;
  all.assocClass = filter.assocClass;
  asked_.associators(path, all, properties, [&](Instance&& instance) {
    if (isWanted(instance.path.className, filter.resultClass) && links.hold(instance)) {
      sink(std::move(instance));
    }
  });
}

void CheckedOperations::associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                                        const cimom::PathSink& sink) {
  check(filter);
  const Links links(*this, path, filter, [&](const auto& association, const auto& take) {
    AssociationFilter one;
    one.assocClass = association;
    asked_.associatorNames(path, one, [&](ObjectPath&& object) { take(identity(object)); });
  });
  AssociationFilter all;
  all.assocClass = filter.assocClass;
  asked_.associatorNames(path, all, [&](ObjectPath&& name) {
    if (isWanted(name.className, filter.resultClass) && links.hold(name)) {
      sink(std::move(name));
    }
  });
}

void CheckedOperations::references(const ObjectPath& path, const AssociationFilter& filter,
                                   const PropertyList& properties,
                                   const cimom::InstanceSink& sink) {
  check(filter);
  check(properties, withSubclasses(filter.resultClass),
        filter.resultClass.empty() ? "any class" : filter.resultClass);
  AssociationFilter all;
  all.resultClass = filter.resultClass;
  asked_.references(path, all, properties, [&](Instance&& link) {
    if (isWanted(link.path.className, filter.resultClass) &&
        (filter.role.empty() || refersTo(link.findProperty(filter.role), path))) {
      sink(std::move(link));
    }
  });
}

void CheckedOperations::referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                                       const cimom::PathSink& sink) {
  check(filter);
  AssociationFilter all;
  all.resultClass = filter.resultClass;
  asked_.referenceNames(path, all, [&](ObjectPath&& link) {
    if (isWanted(link.className, filter.resultClass) &&
        (filter.role.empty() || refersTo(link.findKey(filter.role), path))) {
      sink(std::move(link));
    }
  });
}

void CheckedOperations::check(const AssociationFilter& filter) const {
  for (const std::string* name : {&filter.assocClass, &filter.resultClass}) {
    if (!name->empty()) {
      requireClass(classes_, *name);
    }
  }
  checkRole(filter.role);
  checkRole(filter.resultRole);
}

std::vector<std::string> CheckedOperations::associationsWithRoles(
    const AssociationFilter& filter) const {
  std::vector<std::string> names;
  for (const std::string& name : withSubclasses(filter.assocClass)) {
    const bool hasRoles = std::ranges::all_of(
        std::array{&filter.role, &filter.resultRole}, [&](const std::string* role) {
          const auto* property = classes_.findProperty(name, *role);
          return role->empty() ||
                 (property != nullptr && property->type == cimom::CimType::kReference);
        });
    const auto* declaration = classes_.find(name);
    if (hasRoles && declaration != nullptr && declaration->isAssociation &&
        classes_.subclasses(name, false).empty()) {
      names.push_back(name);
    }
  }
  return names;
}

/// By its properties: a path of its own is not always there.
std::string CheckedOperations::identityOf(const Instance& instance) const {
  std::vector<NamedValue> keys;
  for (const std::string& name : classes_.keys(instance.path.className)) {
    if (const Value* value = instance.findProperty(name)) {
      keys.push_back({name, *value});
    }
  }
  return identity(instance.path.className, keys);
}

void CheckedOperations::checkRole(const std::string& role) const {
  if (role.empty()) {
    return;
  }
  std::vector<std::string> roles;
  for (const std::string& name : classes_.classNames()) {
    for (const auto& property : classes_.allProperties(name)) {
      if (property.type == cimom::CimType::kReference) {
        roles.push_back(property.name);
      }
    }
  }
  if (!cimom::holdsName(roles, role)) {
    throw cimom::CimError(CMPI_RC_ERR_INVALID_PARAMETER,
                          "no association has a role " + role + suggestion(role, roles));
  }
}

void CheckedOperations::check(const PropertyList& properties,
                              const std::vector<std::string>& classNames,
                              const std::string& of) const {
  if (!properties) {
    return;
  }
  for (const std::string& wanted : *properties) {
    const bool isKnown = std::any_of(classNames.begin(), classNames.end(), [&](const auto& name) {
      return classes_.findProperty(name, wanted) != nullptr;
    });
    if (isKnown) {
      continue;
    }
    std::vector<std::string> names;
    for (const std::string& className : classNames) {
      for (const auto& property : classes_.allProperties(className)) {
        names.push_back(property.name);
      }
    }
    std::string reason = "no property ";
    reason.append(wanted).append(" of ").append(of).append(suggestion(wanted, names));
    throw cimom::CimError(CMPI_RC_ERR_INVALID_PARAMETER, reason);
  }
}

std::vector<std::string> CheckedOperations::withSubclasses(const std::string& className) const {
  std::vector<std::string> names = classes_.subclasses(className, true);
  if (!className.empty()) {
    names.push_back(className);
  }
  return names;
}

bool CheckedOperations::isWanted(const std::string& className,
                                 const std::string& wantedClass) const {
  return wantedClass.empty() || classes_.isA(className, wantedClass);
}

/// The path may lack keys that the provider does not need.
bool CheckedOperations::refersTo(const Value* reference, const ObjectPath& path) const {
  const ObjectPath* other = referred(reference);
  return other != nullptr &&
         (classes_.isA(other->className, path.className) ||
          classes_.isA(path.className, other->className)) &&
         std::all_of(path.keys.begin(), path.keys.end(), [other](const NamedValue& key) {
           const Value* value = other->findKey(key.name);
           return value != nullptr && textOf(*value) == textOf(key.value);
         });
}

}  // namespace pcicim
