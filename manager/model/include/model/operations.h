#pragma once

#include <model/cim_error.h>
#include <model/value.h>

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

/// The seven operations on instances, as every client of an object manager asks for them: the
/// command, CIM-XML requests, and providers through their broker. Each throws CimError when the
/// request fails.
class Operations {
 public:
  virtual ~Operations() = default;

  /// Instances of the path's class and of its subclasses.
  virtual std::vector<Instance> enumerateInstances(const ObjectPath& classPath,
                                                   const PropertyList& properties) = 0;
  virtual std::vector<ObjectPath> enumerateInstanceNames(const ObjectPath& classPath) = 0;

  virtual Instance getInstance(const ObjectPath& path, const PropertyList& properties) = 0;

  /// The instances that associations link with the one of that path.
  virtual std::vector<Instance> associators(const ObjectPath& path, const AssociationFilter& filter,
                                            const PropertyList& properties) = 0;
  virtual std::vector<ObjectPath> associatorNames(const ObjectPath& path,
                                                  const AssociationFilter& filter) = 0;

  /// The association instances that refer to that path; of the filter, resultClass and role count.
  virtual std::vector<Instance> references(const ObjectPath& path, const AssociationFilter& filter,
                                           const PropertyList& properties) = 0;
  virtual std::vector<ObjectPath> referenceNames(const ObjectPath& path,
                                                 const AssociationFilter& filter) = 0;
};

}  // namespace cimom
