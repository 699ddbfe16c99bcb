#pragma once

#include <broker/object_manager.h>
#include <cmpi/cmpi.h>
#include <model/value.h>
#include <mof/class_repository.h>

#include <decorated_broker.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Requests to the built provider library as an object manager sends them: through the factories
/// and tables of the C interface, with everything that comes back recorded in its order.
namespace requests {

enum class Operation {
  kEnumInstanceNames,
  kEnumInstances,
  kGetInstance,
  kAssociators,
  kAssociatorNames,
  kReferences,
  kReferenceNames
};

/// All operations of an instance class, and those that an association class adds.
const std::vector<Operation>& instanceOperations();
const std::vector<Operation>& associationOperations();
const char* nameOf(Operation operation);

struct Request {
  Operation operation;
  /// The class whose provider is asked.
  std::string className;
  /// The class path, the instance's path or the source.
  cimom::ObjectPath path;
  /// For references, resultClass and role count.
  cimom::AssociationFilter filter = {};
  cimom::PropertyList properties = std::nullopt;
};

/// What a provider did with a request.
struct Outcome {
  CMPIrc status = CMPI_RC_OK;
  std::string message;
  /// What it handed over: briefOf for a path, the same in brackets for an instance, and "done".
  std::vector<std::string> events;
  std::vector<cimom::Instance> instances;
  std::vector<cimom::ObjectPath> paths;
  /// The dones that the object manager took.
  unsigned donesTaken = 0;

  /// The events without "done".
  std::vector<std::string> answers() const;
};

/// A path in a few characters: "Zelmar_PCIPort:D-ep" for an object with an id or a name,
/// "Zelmar_PCIControlledBy(Zelmar_PCIDevice:D,Zelmar_PCIPort:D-ep)" for an association.
std::string briefOf(const cimom::ObjectPath& path);

/// A path in "root/cimv2" with keys of text.
cimom::ObjectPath pathOf(const std::string& className,
                         const std::vector<std::pair<std::string, std::string>>& keys = {});
/// The path of a device or port by its id alone.
cimom::ObjectPath byDeviceId(const std::string& className, const std::string& deviceId);
/// An association's path with two references.
cimom::ObjectPath pairOf(const std::string& className, const std::string& firstRole,
                         const cimom::ObjectPath& first, const std::string& secondRole,
                         const cimom::ObjectPath& second);

/// Names of the properties in order, and one as text ("(unset)" when it is not there).
std::vector<std::string> propertyNames(const cimom::Instance& instance);
std::string textOf(const cimom::Instance& instance, const std::string& property);
/// Names of the keys in order.
std::vector<std::string> keyNames(const cimom::ObjectPath& path);

/// Whether the request goes to an association record.
bool isAssociationOperation(Operation operation);

/// Sends a request to a record. With a decorated broker, the request's own objects carry its
/// tables.
Outcome sendTo(CMPIInstanceMI* mi, const Request& request,
               test_support::DecoratedBroker* broker = nullptr);
Outcome sendTo(CMPIAssociationMI* mi, const Request& request,
               test_support::DecoratedBroker* broker = nullptr);

/// Classes, the schema's and those that tests derive from them.
std::shared_ptr<const cimom::ClassRepository> testClasses();

/// A provider library, open as long as this object lives.
class ProviderLibrary {
 public:
  /// `broker` serves the factories that are not given another.
  ProviderLibrary(const char* file, const CMPIBroker* broker);
  ~ProviderLibrary();
  ProviderLibrary(const ProviderLibrary&) = delete;
  ProviderLibrary& operator=(const ProviderLibrary&) = delete;

  /// The exported symbol of that name; null when there is none.
  void* symbol(const std::string& name) const;

  /// Calls a factory.
  CMPIInstanceMI* instanceMI(const std::string& className, const CMPIBroker* broker = nullptr);
  CMPIAssociationMI* associationMI(const std::string& className,
                                   const CMPIBroker* broker = nullptr);

  /// Calls the class's factory where that was not done for a request before, as object managers
  /// do, and sends the request; from any number of threads. With a decorated broker, the factory
  /// gets it, and the request's own objects are decorated too; a provider keeps the broker that it
  /// was made with.
  Outcome send(const Request& request, test_support::DecoratedBroker* broker = nullptr);

 private:
  CMPIInstanceMI* rememberedInstanceMI(const std::string& className, const CMPIBroker* broker);
  CMPIAssociationMI* rememberedAssociationMI(const std::string& className,
                                             const CMPIBroker* broker);

  const CMPIBroker* broker_;
  void* library_;
  std::mutex mutex_;
  std::map<std::string, CMPIInstanceMI*> instanceMIs_;
  std::map<std::string, CMPIAssociationMI*> associationMIs_;
};

/// The loaded provider library with an object manager whose broker it uses.
class ProviderUnderTest {
 public:
  /// Loads `library` (PROVIDER_LIBRARY in most tests) and the computer system's provider.
  explicit ProviderUnderTest(const char* library);

  cimom::ObjectManager& manager() { return *manager_; }

  // As those of the library.
  void* symbol(const std::string& name) const { return library_.symbol(name); }
  CMPIInstanceMI* instanceMI(const std::string& className, const CMPIBroker* broker = nullptr) {
    return library_.instanceMI(className, broker);
  }
  CMPIAssociationMI* associationMI(const std::string& className,
                                   const CMPIBroker* broker = nullptr) {
    return library_.associationMI(className, broker);
  }
  Outcome send(const Request& request, test_support::DecoratedBroker* broker = nullptr) {
    return library_.send(request, broker);
  }

 private:
  std::unique_ptr<cimom::ObjectManager> manager_;
  ProviderLibrary library_;
};

}  // namespace requests
