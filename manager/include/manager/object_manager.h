#pragma once

#include <manager/error.h>
#include <manager/repository.h>
#include <manager/value.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cimom {

class Upcalls;

/// The names that a client asks for; without a list, all properties.
using PropertyList = std::optional<std::vector<std::string>>;

/// The filters of an association request; an empty text is a filter that was not given. They go to
/// the providers as they are, and nothing is filtered afterwards.
struct AssociationFilter {
  std::string assocClass;
  std::string resultClass;
  std::string role;
  std::string resultRole;
};

/// An object manager inside the process: it loads CMPI providers from shared objects and carries
/// requests to them.
///
/// Load providers first, from one thread; then any number of threads may send requests. Requests
/// throw CimError with the provider's code and text. The namespace of a request is that of its
/// path, "root/cimv2" where the path names none.
class ObjectManager {
 public:
  explicit ObjectManager(std::shared_ptr<const ClassRepository> repository);
  /// Cleans up every provider and closes the libraries.
  ~ObjectManager();
  ObjectManager(const ObjectManager&) = delete;
  ObjectManager& operator=(const ObjectManager&) = delete;

  /// Opens a provider library. It serves each class of the repository for which it exports a
  /// factory; the first library that does so serves the class. Throws CimError (FAILED) naming the
  /// file when it cannot be opened or serves no class.
  void loadProvider(const std::filesystem::path& library);

  /// The classes that the loaded libraries serve, in alphabetical order.
  std::vector<std::string> servedClasses() const;

  /// Instances of the class and of its subclasses, as their providers answer, narrowed to the
  /// listed properties (keys stay).
  std::vector<Instance> enumerateInstances(const ObjectPath& classPath,
                                           const PropertyList& properties = std::nullopt);
  std::vector<ObjectPath> enumerateInstanceNames(const ObjectPath& classPath);

  /// What the provider of the path's class answers; the first, where it answers several. NOT_FOUND
  /// when it answers OK without an instance.
  Instance getInstance(const ObjectPath& path, const PropertyList& properties = std::nullopt);

  /// Association requests go to each association class that a provider serves, or, with a class
  /// given (assocClass; for references resultClass), to it and its subclasses.
  std::vector<Instance> associators(const ObjectPath& path, const AssociationFilter& filter,
                                    const PropertyList& properties = std::nullopt);
  std::vector<ObjectPath> associatorNames(const ObjectPath& path, const AssociationFilter& filter);
  std::vector<Instance> references(const ObjectPath& path, const AssociationFilter& filter,
                                   const PropertyList& properties = std::nullopt);
  std::vector<ObjectPath> referenceNames(const ObjectPath& path, const AssociationFilter& filter);

  const ClassRepository& repository() const;

  /// The requests above for whoever takes them from anywhere. Lives as long as the manager.
  Upcalls& requests();

  /// The broker that providers of this manager receive. Lives as long as the manager.
  const CMPIBroker* broker() const;

 private:
  class Providers;
  std::shared_ptr<const ClassRepository> repository_;
  std::unique_ptr<Providers> providers_;
};

}  // namespace cimom
