#pragma once

#include <model/operations.h>
#include <mof/class_repository.h>

#include <string>
#include <vector>

namespace cimom {

/// The namespace in which clients find out what they talk to, and another name for it.
constexpr const char* kInteropNamespace = "interop";
constexpr const char* kInteropAlias = "root/interop";

/// What there is to say of an object manager.
struct ObjectManagerFacts {
  /// The host that it runs on.
  std::string systemName;
  std::string version;
  /// All that it serves, the interop namespace too.
  std::vector<std::string> nameSpaces;
  bool asksForPasswords = false;
};

/// The instances of the interop namespace, by which an object manager tells of itself:
/// CIM_ObjectManager, CIM_Namespace for each namespace, CIM_CIMXMLCommunicationMechanism. Nothing
/// associates them, and no profile is registered. A class that the repository does not have has no
/// instance. Safe from any number of threads.
class InteropOperations final : public Operations {
 public:
  /// The repository outlives this.
  InteropOperations(const ClassRepository& repository, const ObjectManagerFacts& facts);

  using Operations::associatorNames;
  using Operations::associators;
  using Operations::enumerateInstanceNames;
  using Operations::enumerateInstances;
  using Operations::referenceNames;
  using Operations::references;

  Instance getInstance(const ObjectPath& path, const PropertyList& properties) override;
  void enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                          const InstanceSink& sink) override;
  void enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) override;

  /// These find nothing.
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const PropertyList& properties, const InstanceSink& sink) override;
  void associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink) override;
  void references(const ObjectPath& path, const AssociationFilter& filter,
                  const PropertyList& properties, const InstanceSink& sink) override;
  void referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                      const PathSink& sink) override;

 private:
  void add(Instance instance);
  Instance narrowed(const Instance& instance, const PropertyList& properties) const;

  const ClassRepository& repository_;
  std::vector<Instance> instances_;
};

}  // namespace cimom
