// Sends each request to the providers of its class. A dispatcher picks them in alphabetical order
// of their classes (for instances those of the class and of its subclasses, for one instance that
// of the class itself, for associations those of the filter's class and of its subclasses) and
// calls each within a RequestScope of its own; what it returns is copied out before the scope ends.
// Safe from any number of threads once all providers are loaded. A status other than OK always
// becomes a CimError, and a property list always narrows what is returned (keys stay).
#include <broker/broker.h>
#include <broker/object_manager.h>
#include <broker/request_scope.h>
#include <model/cim_error.h>
#include <model/names.h>

#include <iterator>
#include <optional>
#include <utility>

#include "loaded_providers.h"
#include "property_array.h"

namespace cimom {

namespace {

void throwUnlessOk(const CMPIStatus& status, const std::string& className) {
  if (status.rc == CMPI_RC_OK) return;
  const std::string text = messageOf(status);
  throw CimError(status.rc, text.empty() ? "the provider of " + className + " reports it" : text);
}

const char* filterText(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

/// The path for the provider of the class.
ObjectPath named(const ObjectPath& path, const std::string& className) {
  ObjectPath copy = path;
  copy.className = className;
  if (copy.nameSpace.empty()) copy.nameSpace = kDefaultNameSpace;
  return copy;
}

template <class Answer>
void append(std::vector<Answer>& all, std::vector<Answer>&& more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

/// Finds the providers of a request and calls each in a request of its own.
class ObjectManager::Dispatcher {
 public:
  Dispatcher(const ClassRepository& repository, Operations& operations)
      : repository_(repository), broker_(repository, &operations), providers_(repository) {}

  LoadedProviders& providers() { return providers_; }
  const CMPIBroker* broker() const { return broker_.record(); }

  template <class Operation>
  std::vector<ObjectPath> names(const ObjectPath& path, Operation operation) {
    std::vector<ObjectPath> all;
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      append(all, call(provider.instance, named(path, name), operation).paths);
    });
    return all;
  }

  template <class Operation>
  std::vector<Instance> instances(const ObjectPath& path, const PropertyList& properties,
                                  Operation operation) {
    std::vector<Instance> all;
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      append(all, call(provider.instance, named(path, name), operation).instances);
    });
    narrow(all, properties);
    return all;
  }

  template <class Operation>
  std::optional<Instance> instance(const ObjectPath& path, const PropertyList& properties,
                                   Operation operation) {
    checkRequest(path);
    const auto found = providers_.byClass().find(path.className);
    if (found == providers_.byClass().end() || !found->second.instance.exists()) {
      throwNoProvider(path);
    }
    RequestAnswers answers = call(found->second.instance, named(path, path.className), operation);
    if (answers.instances.empty()) return std::nullopt;
    answers.instances.resize(1);
    narrow(answers.instances, properties);
    return std::move(answers.instances.front());
  }

  template <class Operation>
  std::vector<ObjectPath> linkedNames(const ObjectPath& path, const std::string& associationClass,
                                      Operation operation) {
    std::vector<ObjectPath> all;
    forEachAssociationProvider(path, associationClass, [&](ClassProvider& provider) {
      append(all, call(provider.association, named(path, path.className), operation).paths);
    });
    return all;
  }

  template <class Operation>
  std::vector<Instance> linkedInstances(const ObjectPath& path, const std::string& associationClass,
                                        const PropertyList& properties, Operation operation) {
    std::vector<Instance> all;
    forEachAssociationProvider(path, associationClass, [&](ClassProvider& provider) {
      append(all, call(provider.association, named(path, path.className), operation).instances);
    });
    narrow(all, properties);
    return all;
  }

 private:
  template <class Record, class Operation>
  RequestAnswers call(ProviderFactory<Record>& factory, const ObjectPath& path,
                      Operation operation) {
    Record& record = factory.record(broker());
    RequestScope scope;
    RequestAnswers answers;
    CMPIStatus status{CMPI_RC_OK, nullptr};
    guarded("the provider of " + path.className, [&] {
      status = operation(record, scope.newContext(path.nameSpace, 0), scope.newResult(answers),
                         scope.newPath(path));
    });
    throwUnlessOk(status, path.className);
    return answers;
  }

  template <class Visit>
  void forEachInstanceProvider(const ObjectPath& path, Visit visit) {
    checkRequest(path);
    bool any = false;
    for (auto& [name, provider] : providers_.byClass()) {
      if (!provider.instance.exists() || !repository_.isA(name, path.className)) continue;
      any = true;
      visit(name, provider);
    }
    if (!any) throwNoProvider(path);
  }

  /// Visits the providers of the association class and of its subclasses, or all where none is
  /// given.
  template <class Visit>
  void forEachAssociationProvider(const ObjectPath& path, const std::string& associationClass,
                                  Visit visit) {
    checkRequest(path);
    if (!associationClass.empty()) requireClass(associationClass);
    for (auto& [name, provider] : providers_.byClass()) {
      if (!provider.association.exists()) continue;
      if (associationClass.empty() || repository_.isA(name, associationClass)) visit(provider);
    }
  }

  /// Providers need not narrow their instances; the manager does what is left to do.
  void narrow(std::vector<Instance>& instances, const PropertyList& wanted) const {
    if (!wanted) return;
    for (Instance& instance : instances) {
      const auto& keys = repository_.keys(instance.path.className);
      std::erase_if(instance.properties, [&](const NamedValue& property) {
        return !holdsName(*wanted, property.name) && !holdsName(keys, property.name);
      });
    }
  }

  void checkRequest(const ObjectPath& path) const {
    if (!path.nameSpace.empty() && !sameName(path.nameSpace, kDefaultNameSpace)) {
      throw CimError(CMPI_RC_ERR_INVALID_NAMESPACE, path.nameSpace);
    }
    requireClass(path.className);
  }

  void requireClass(const std::string& name) const {
    if (repository_.find(name) != nullptr) return;
    throw CimError(CMPI_RC_ERR_INVALID_CLASS, "unknown class " + name);
  }

  [[noreturn]] static void throwNoProvider(const ObjectPath& path) {
    throw CimError(CMPI_RC_ERR_NOT_SUPPORTED, "no provider serves class " + path.className);
  }

  const ClassRepository& repository_;
  Broker broker_;
  LoadedProviders providers_;
};

ObjectManager::ObjectManager(std::shared_ptr<const ClassRepository> repository)
    : repository_(std::move(repository)),
      dispatcher_(std::make_unique<Dispatcher>(*repository_, *this)) {}

ObjectManager::~ObjectManager() = default;

void ObjectManager::loadProvider(const std::filesystem::path& library) {
  dispatcher_->providers().load(library);
}

std::vector<std::string> ObjectManager::servedClasses() const {
  std::vector<std::string> names;
  for (const auto& [name, provider] : dispatcher_->providers().byClass()) names.push_back(name);
  return names;
}

const CMPIBroker* ObjectManager::broker() const {
  return dispatcher_->broker();
}

std::vector<Instance> ObjectManager::enumerateInstances(const ObjectPath& classPath,
                                                        const PropertyList& properties) {
  PropertyArray list(properties);
  return dispatcher_->instances(classPath, properties, [&](auto& mi, auto... request) {
    return mi.ft->enumerateInstances(&mi, request..., list.get());
  });
}

std::vector<ObjectPath> ObjectManager::enumerateInstanceNames(const ObjectPath& classPath) {
  return dispatcher_->names(classPath, [](auto& mi, auto... request) {
    return mi.ft->enumerateInstanceNames(&mi, request...);
  });
}

Instance ObjectManager::getInstance(const ObjectPath& path, const PropertyList& properties) {
  std::optional<Instance> found = findInstance(path, properties);
  if (!found) throw CimError(CMPI_RC_ERR_NOT_FOUND, toText(path));
  return *std::move(found);
}

std::optional<Instance> ObjectManager::findInstance(const ObjectPath& path,
                                                    const PropertyList& properties) {
  PropertyArray list(properties);
  return dispatcher_->instance(path, properties, [&](auto& mi, auto... request) {
    return mi.ft->getInstance(&mi, request..., list.get());
  });
}

std::vector<Instance> ObjectManager::associators(const ObjectPath& path,
                                                 const AssociationFilter& filter,
                                                 const PropertyList& properties) {
  PropertyArray list(properties);
  return dispatcher_->linkedInstances(
      path, filter.assocClass, properties, [&](auto& mi, auto... request) {
        return mi.ft->associators(&mi, request..., filterText(filter.assocClass),
                                  filterText(filter.resultClass), filterText(filter.role),
                                  filterText(filter.resultRole), list.get());
      });
}

std::vector<ObjectPath> ObjectManager::associatorNames(const ObjectPath& path,
                                                       const AssociationFilter& filter) {
  return dispatcher_->linkedNames(path, filter.assocClass, [&](auto& mi, auto... request) {
    return mi.ft->associatorNames(&mi, request..., filterText(filter.assocClass),
                                  filterText(filter.resultClass), filterText(filter.role),
                                  filterText(filter.resultRole));
  });
}

std::vector<Instance> ObjectManager::references(const ObjectPath& path,
                                                const AssociationFilter& filter,
                                                const PropertyList& properties) {
  PropertyArray list(properties);
  return dispatcher_->linkedInstances(
      path, filter.resultClass, properties, [&](auto& mi, auto... request) {
        return mi.ft->references(&mi, request..., filterText(filter.resultClass),
                                 filterText(filter.role), list.get());
      });
}

std::vector<ObjectPath> ObjectManager::referenceNames(const ObjectPath& path,
                                                      const AssociationFilter& filter) {
  return dispatcher_->linkedNames(path, filter.resultClass, [&](auto& mi, auto... request) {
    return mi.ft->referenceNames(&mi, request..., filterText(filter.resultClass),
                                 filterText(filter.role));
  });
}

}  // namespace cimom
