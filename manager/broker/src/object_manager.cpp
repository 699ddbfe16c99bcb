// Sends each request to the providers of its class. A dispatcher picks them in alphabetical order
// of their classes (for instances those of the class and of its subclasses, for one instance that
// of the class itself, for associations those of the filter's class and of its subclasses) and
// calls each within a RequestScope of its own; what it returns goes to the sink of the request at
// once. Safe from any number of threads once all providers are loaded. A status other than OK
// always becomes a CimError, and a property list always narrows what is returned (keys stay).
#include <broker/broker.h>
#include <broker/object_manager.h>
#include <broker/request_scope.h>
#include <model/cim_error.h>
#include <model/names.h>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

#include "loaded_providers.h"
#include "name_set.h"
#include "property_array.h"
#include "repeated_get.h"

namespace cimom {

namespace {

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

/// Passes what the providers of a request hand over on to its sink, once at a time whatever their
/// threads; what is no Object the request did not ask for.
template <class Object>
class SinkReceiver final : public AnswerReceiver {
 public:
  using Sink = std::function<void(Object&&)>;
  /// `sink` outlives the receiver.
  explicit SinkReceiver(const Sink& sink) : sink_(sink) {}

  void receive(Instance&& instance) override { pass(std::move(instance)); }
  void receive(ObjectPath&& path) override { pass(std::move(path)); }
  void receiveDone() override {}

  /// Throws what the sink threw, if it did.
  void rethrowFailure() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  template <class Given>
  void pass(Given&& given) {
    if constexpr (std::is_same_v<Given, Object>) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (failure_) std::rethrow_exception(failure_);
      try {
        sink_(std::forward<Given>(given));
      } catch (...) {
        failure_ = std::current_exception();
        throw;
      }
    }
  }

  const Sink& sink_;
  std::mutex mutex_;
  std::exception_ptr failure_;
};

}  // namespace

/// Finds the providers of a request and calls each in a request of its own.
class ObjectManager::Dispatcher {
 public:
  Dispatcher(const ClassRepository& repository, Operations& operations)
      : repository_(repository), broker_(repository, &operations), providers_(repository) {}

  LoadedProviders& providers() { return providers_; }
  const CMPIBroker* broker() const { return broker_.record(); }

  template <class Operation>
  void names(const ObjectPath& path, const PathSink& sink, Operation operation) {
    SinkReceiver<ObjectPath> receiver(sink);
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      call(provider.instance, named(path, name), receiver, operation);
    });
  }

  template <class Operation>
  void instances(const ObjectPath& path, const PropertyList& properties, const InstanceSink& sink,
                 Operation operation) {
    const InstanceSink narrowing = narrowed(properties, sink);
    SinkReceiver<Instance> receiver(narrowing);
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      call(provider.instance, named(path, name), receiver, operation);
    });
  }

  template <class Operation>
  std::optional<Instance> instance(const ObjectPath& path, const PropertyList& properties,
                                   Operation operation) {
    auto& factory = instanceProvider(path);
    std::optional<Instance> first;
    const InstanceSink narrowing = narrowed(properties, [&first](Instance&& instance) {
      if (!first) first = std::move(instance);
    });
    SinkReceiver<Instance> receiver(narrowing);
    call(factory, named(path, path.className), receiver, operation);
    return first;
  }

  std::unique_ptr<InstanceFinder> finder(const std::string& className, const std::string& key,
                                         const PropertyList& properties) {
    ObjectPath path;
    path.className = className;
    CMPIInstanceMI& provider = instanceProvider(path).record(broker());
    path.keys.push_back({key, Value::text("")});
    return std::make_unique<RepeatedGet>(provider, named(path, className), properties,
                                         narrowing(properties));
  }

  template <class Operation>
  void linkedNames(const ObjectPath& path, const std::string& associationClass,
                   const PathSink& sink, Operation operation) {
    SinkReceiver<ObjectPath> receiver(sink);
    forEachAssociationProvider(path, associationClass, [&](ClassProvider& provider) {
      call(provider.association, named(path, path.className), receiver, operation);
    });
  }

  template <class Operation>
  void linkedInstances(const ObjectPath& path, const std::string& associationClass,
                       const PropertyList& properties, const InstanceSink& sink,
                       Operation operation) {
    const InstanceSink narrowing = narrowed(properties, sink);
    SinkReceiver<Instance> receiver(narrowing);
    forEachAssociationProvider(path, associationClass, [&](ClassProvider& provider) {
      call(provider.association, named(path, path.className), receiver, operation);
    });
  }

 private:
  template <class Record, class Object, class Operation>
  void call(ProviderFactory<Record>& factory, const ObjectPath& path,
            SinkReceiver<Object>& receiver, Operation operation) {
    Record& record = factory.record(broker());
    RequestScope scope;
    try {
      CMPIStatus status{CMPI_RC_OK, nullptr};
      guarded("the provider of " + path.className, [&] {
        status = operation(record, scope.newContext(path.nameSpace, 0), scope.newResult(receiver),
                           scope.newPath(path));
      });
      throwUnlessOk(status, path.className);
    } catch (const CimError&) {
      // A provider whose object was not taken may fail for that alone.
      receiver.rethrowFailure();
      throw;
    }
    receiver.rethrowFailure();
  }

  ProviderFactory<CMPIInstanceMI>& instanceProvider(const ObjectPath& path) {
    checkRequest(path);
    const auto found = providers_.byClass().find(path.className);
    if (found == providers_.byClass().end() || !found->second.instance.exists()) {
      throwNoProvider(path);
    }
    return found->second.instance;
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

  /// Providers need not narrow their instances; the manager does what is left to do before it
  /// passes them on.
  InstanceSink narrowed(const PropertyList& wanted, const InstanceSink& sink) const {
    if (!wanted) return sink;
    return [narrow = narrowing(wanted), sink](Instance&& instance) {
      narrow(instance);
      sink(std::move(instance));
    };
  }

  RepeatedGet::Narrow narrowing(const PropertyList& wanted) const {
    if (!wanted) return [](Instance&) {};
    return [this, names = std::make_shared<const NameSet>(*wanted)](Instance& instance) {
      narrow(instance, *names);
    };
  }

  void narrow(Instance& instance, const NameSet& wanted) const {
    const auto& keys = repository_.keys(instance.path.className);
    std::erase_if(instance.properties, [&](const NamedValue& property) {
      return !wanted.holds(property.name) && !holdsName(keys, property.name);
    });
  }

  void checkRequest(const ObjectPath& path) const {
    if (!path.nameSpace.empty() && !sameName(path.nameSpace, kDefaultNameSpace)) {
      throw CimError(CMPI_RC_ERR_INVALID_NAMESPACE, path.nameSpace);
    }
    requireClass(path.className);
  }

  void requireClass(const std::string& name) const {
    if (repository_.contains(name)) return;
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

void ObjectManager::enumerateInstances(const ObjectPath& classPath, const PropertyList& properties,
                                       const InstanceSink& sink) {
  PropertyArray list(properties);
  dispatcher_->instances(classPath, properties, sink, [&](auto& mi, auto... request) {
    return mi.ft->enumerateInstances(&mi, request..., list.get());
  });
}

void ObjectManager::enumerateInstanceNames(const ObjectPath& classPath, const PathSink& sink) {
  dispatcher_->names(classPath, sink, [](auto& mi, auto... request) {
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

std::unique_ptr<InstanceFinder> ObjectManager::instanceFinder(const std::string& className,
                                                              const std::string& key,
                                                              const PropertyList& properties) {
  return dispatcher_->finder(className, key, properties);
}

void ObjectManager::associators(const ObjectPath& path, const AssociationFilter& filter,
                                const PropertyList& properties, const InstanceSink& sink) {
  PropertyArray list(properties);
  dispatcher_->linkedInstances(
      path, filter.assocClass, properties, sink, [&](auto& mi, auto... request) {
        return mi.ft->associators(&mi, request..., filterText(filter.assocClass),
                                  filterText(filter.resultClass), filterText(filter.role),
                                  filterText(filter.resultRole), list.get());
      });
}

void ObjectManager::associatorNames(const ObjectPath& path, const AssociationFilter& filter,
                                    const PathSink& sink) {
  dispatcher_->linkedNames(path, filter.assocClass, sink, [&](auto& mi, auto... request) {
    return mi.ft->associatorNames(&mi, request..., filterText(filter.assocClass),
                                  filterText(filter.resultClass), filterText(filter.role),
                                  filterText(filter.resultRole));
  });
}

void ObjectManager::references(const ObjectPath& path, const AssociationFilter& filter,
                               const PropertyList& properties, const InstanceSink& sink) {
  PropertyArray list(properties);
  dispatcher_->linkedInstances(
      path, filter.resultClass, properties, sink, [&](auto& mi, auto... request) {
        return mi.ft->references(&mi, request..., filterText(filter.resultClass),
                                 filterText(filter.role), list.get());
      });
}

void ObjectManager::referenceNames(const ObjectPath& path, const AssociationFilter& filter,
                                   const PathSink& sink) {
  dispatcher_->linkedNames(path, filter.resultClass, sink, [&](auto& mi, auto... request) {
    return mi.ft->referenceNames(&mi, request..., filterText(filter.resultClass),
                                 filterText(filter.role));
  });
}

}  // namespace cimom
