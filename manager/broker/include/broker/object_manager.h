#pragma once

#include <cmpi/cmpi.h>

#include <broker/instance_finder.h>
#include <model/operations.h>
#include <mof/class_repository.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cimom {

/// An object manager inside the process: it loads CMPI providers from shared objects and carries
/// requests to them.
///
///     ObjectManager manager(repository);
///     manager.loadProvider("libpciprovider.so");
///     for (const Instance& device : manager.enumerateInstances({.className = "Zelmar_PCIDevice"}))
///
/// Load providers first, from one thread; then any number of threads may send requests. Requests
/// throw CimError with the provider's code and text. The namespace of a request is that of its
/// path, "root/cimv2" where the path names none.
class ObjectManager final : public Operations {
 public:
  explicit ObjectManager(std::shared_ptr<const ClassRepository> repository);
  /// Cleans up every provider and closes the libraries.
  ~ObjectManager() override;
  ObjectManager(const ObjectManager&) = delete;
  ObjectManager& operator=(const ObjectManager&) = delete;

  /// Opens a provider library. It serves each class of the repository for which it exports a
  /// factory; the first library that does so serves the class. Throws CimError (FAILED) naming the
  /// file when it cannot be opened or serves no class.
  void loadProvider(const std::filesystem::path& library);

  /// The classes that the loaded libraries serve, in alphabetical order.
  std::vector<std::string> servedClasses() const;

  // Each listing also returns all objects of its answer where no sink is given.
  using Operations::associatorNames;
  using Operations::associators;
  using Operations::enumerateInstanceNames;
  using Operations::enumerateInstances;
  using Operations::referenceNames;
  using Operations::references;

  /// As their providers hand them over, narrowed to the listed properties (keys stay). An error of
  /// one provider ends a request; those after it are not asked.
  void enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                          const InstanceSink& sink) override;
  void enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) override;

  /// What the provider of the path's class hands over; the first, where there are several.
  /// NOT_FOUND when it returns OK without an instance.
  Instance getInstance(const ObjectPath& path,
                       const PropertyList& properties = std::nullopt) override;
  /// The same for a client that asks for many names which may not be there: nothing when the
  /// provider returns OK without an instance. A status of the provider's own is thrown, NOT_FOUND
  /// too.
  std::optional<Instance> findInstance(const ObjectPath& path,
                                       const PropertyList& properties = std::nullopt);

  /// For a client that asks for thousands of such names: one question costs a third. `key` is the
  /// one key that paths have. Throws what findInstance throws before it asks the provider.
  std::unique_ptr<InstanceFinder> instanceFinder(const std::string& className,
                                                 const std::string& key,
                                                 const PropertyList& properties);

  /// Association requests go to each association class that a provider serves, or, with a class
  /// given (assocClass; for references resultClass), to it and its subclasses. Filters go to the
  /// providers as they are, and nothing is filtered afterwards.
  void associators(const ObjectPath& path, const AssociationFilter& filter,
                   const PropertyList& properties, const InstanceSink& sink) override;
  void associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                       const PathSink& sink) override;
  void references(const ObjectPath& path, const AssociationFilter& filter,
                  const PropertyList& properties, const InstanceSink& sink) override;
  void referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                      const PathSink& sink) override;

  /// The broker that providers of this manager receive. Lives as long as the manager.
  const CMPIBroker* broker() const;

 private:
  class Dispatcher;
  std::shared_ptr<const ClassRepository> repository_;
  std::unique_ptr<Dispatcher> dispatcher_;
};

}  // namespace cimom
