#include <model/operations.h>

#include <utility>

namespace cimom {
namespace {

/// All that the listing hands to its sink.
template <class Object, class Listing>
std::vector<Object> collect(Listing listing) {
  std::vector<Object> all;
  listing([&all](Object&& object) { all.push_back(std::move(object)); });
  return all;
}

}  // namespace

std::vector<Instance> Operations::enumerateInstances(const ObjectPath& classPath,
                                                     const PropertyList& properties) {
  return collect<Instance>(
      [&](const InstanceSink& sink) { enumerateInstances(classPath, properties, sink); });
}

std::vector<ObjectPath> Operations::enumerateInstanceNames(const ObjectPath& classPath) {
  return collect<ObjectPath>(
      [&](const PathSink& sink) { enumerateInstanceNames(classPath, sink); });
}

std::vector<Instance> Operations::associators(const ObjectPath& path,
                                              const AssociationFilter& filter,
                                              const PropertyList& properties) {
  return collect<Instance>(
      [&](const InstanceSink& sink) { associators(path, filter, properties, sink); });
}

std::vector<ObjectPath> Operations::associatorNames(const ObjectPath& path,
                                                    const AssociationFilter& filter) {
  return collect<ObjectPath>([&](const PathSink& sink) { associatorNames(path, filter, sink); });
}

std::vector<Instance> Operations::references(const ObjectPath& path,
                                             const AssociationFilter& filter,
                                             const PropertyList& properties) {
  return collect<Instance>(
      [&](const InstanceSink& sink) { references(path, filter, properties, sink); });
}

std::vector<ObjectPath> Operations::referenceNames(const ObjectPath& path,
                                                   const AssociationFilter& filter) {
  return collect<ObjectPath>([&](const PathSink& sink) { referenceNames(path, filter, sink); });
}

}  // namespace cimom
