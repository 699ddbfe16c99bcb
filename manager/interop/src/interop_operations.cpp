#include <interop/interop_operations.h>
#include <model/cim_error.h>
#include <model/names.h>

#include <algorithm>
#include <utility>

#include "manager_instances.h"

namespace cimom {
namespace {

bool isSameValue(const Value& left, const Value& right) {
  return left.elements == right.elements;
}

bool isNamedBy(const ObjectPath& own, const ObjectPath& asked) {
  if (!sameName(own.className, asked.className) || own.keys.size() != asked.keys.size()) {
    return false;
  }
  return std::ranges::all_of(own.keys, [&](const NamedValue& key) {
    const Value* value = asked.findKey(key.name);
    return value != nullptr && isSameValue(*value, key.value);
  });
}

}  // namespace

InteropOperations::InteropOperations(const ClassRepository& repository,
                                     const ObjectManagerFacts& facts)
    : repository_(repository) {
  for (Instance& instance : managerInstances(facts)) add(std::move(instance));
}

/// A schema of another version may lack a class or a property.
void InteropOperations::add(Instance instance) {
  const std::string& className = instance.path.className;
  if (!repository_.contains(className)) return;
  std::erase_if(instance.properties, [&](const NamedValue& property) {
    return repository_.findProperty(className, property.name) == nullptr;
  });
  instances_.push_back(std::move(instance));
}

Instance InteropOperations::narrowed(const Instance& instance,
                                     const PropertyList& properties) const {
  Instance copy = instance;
  if (!properties) return copy;
  std::erase_if(copy.properties, [&](const NamedValue& property) {
    return !holdsName(*properties, property.name) && copy.path.findKey(property.name) == nullptr;
  });
  return copy;
}

Instance InteropOperations::getInstance(const ObjectPath& path, const PropertyList& properties) {
  const auto found = std::ranges::find_if(
      instances_, [&](const Instance& instance) { return isNamedBy(instance.path, path); });
  if (found == instances_.end()) throw CimError(CMPI_RC_ERR_NOT_FOUND, toText(path));
  return narrowed(*found, properties);
}

void InteropOperations::enumerateInstances(const ObjectPath& classPath,
                                           const PropertyList& properties,
                                           const InstanceSink& sink) {
  for (const Instance& instance : instances_) {
    if (repository_.isA(instance.path.className, classPath.className)) {
      sink(narrowed(instance, properties));
    }
  }
}

void InteropOperations::enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) {
  enumerateInstances(classPath, std::nullopt,
                     [&](Instance&& instance) { sink(std::move(instance.path)); });
}

void InteropOperations::associators(const ObjectPath& /*path*/, const AssociationFilter& /*filter*/,
                                    const PropertyList& /*properties*/,
                                    const InstanceSink& /*sink*/) {}

void InteropOperations::associatorNames(const ObjectPath& /*path*/,
                                        const AssociationFilter& /*filter*/,
                                        const PathSink& /*sink*/) {}

void InteropOperations::references(const ObjectPath& /*path*/, const AssociationFilter& /*filter*/,
                                   const PropertyList& /*properties*/,
                                   const InstanceSink& /*sink*/) {}

void InteropOperations::referenceNames(const ObjectPath& /*path*/,
                                       const AssociationFilter& /*filter*/,
                                       const PathSink& /*sink*/) {}

}  // namespace cimom
