#pragma once

#include <model/cim_error.h>
#include <model/value.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cimom {

/// The names that a client asks for; without a list, all properties.
using PropertyList = std::optional<std::vector<std::string>>;

/// The filters of an association request; an empty text is a filter that was not given.
struct AssociationFilter {
  std::string assocClass;
  std::string resultClass;
  std::string role;
  std::string resultRole;
};

/// What takes the objects of an answer, one after the other, and owns them from then on.
using InstanceSink = std::function<void(Instance&&)>;
using PathSink = std::function<void(ObjectPath&&)>;

/// The seven operations on instances, as every client of an object manager asks for them: the
/// command, CIM-XML requests, and providers through their broker. Each throws CimError when the
/// request fails.
///
/// A listing hands each object to a sink as soon as there is one, in the order of the answer, and
/// keeps none back. The sink is called once at a time, on the thread of the request or on one on
/// which a provider returns the object, and no more after the listing has returned or thrown. What
/// it was given before an error stands, so that whoever must not show a part of an answer holds
/// the objects until the listing has returned. A sink that throws gets nothing further: the
/// provider sees that its object was not taken, and the listing throws the sink's exception once
/// the provider has returned.
///
/// Without a sink a listing returns all objects of the answer, or throws.
class Operations {
 public:
  virtual ~Operations() = default;

  virtual Instance getInstance(const ObjectPath& path, const PropertyList& properties) = 0;

  /// Instances of the path's class and of its subclasses.
  virtual void enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                                  const InstanceSink& sink) = 0;
  std::vector<Instance> enumerateInstances(const ObjectPath& classPath,
                                           const PropertyList& properties = std::nullopt);
  virtual void enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) = 0;
  std::vector<ObjectPath> enumerateInstanceNames(const ObjectPath& classPath);

  /// The instances that associations link with the one of that path.
  virtual void associators(const ObjectPath& path, const AssociationFilter& filter,
                           const PropertyList& properties, const InstanceSink& sink) = 0;
  std::vector<Instance> associators(const ObjectPath& path, const AssociationFilter& filter,
                                    const PropertyList& properties = std::nullopt);
  virtual void associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                               const PathSink& sink) = 0;
  std::vector<ObjectPath> associatorNames(const ObjectPath& path, const AssociationFilter& filter);

  /// The association instances that refer to that path; of the filter, resultClass and role count.
  virtual void references(const ObjectPath& path, const AssociationFilter& filter,
                          const PropertyList& properties, const InstanceSink& sink) = 0;
  std::vector<Instance> references(const ObjectPath& path, const AssociationFilter& filter,
                                   const PropertyList& properties = std::nullopt);
  virtual void referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                              const PathSink& sink) = 0;
  std::vector<ObjectPath> referenceNames(const ObjectPath& path, const AssociationFilter& filter);
};

}  // namespace cimom
