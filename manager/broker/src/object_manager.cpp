#include <broker/broker.h>
#include <broker/object_manager.h>
#include <broker/property_array.h>
#include <broker/request_scope.h>
#include <model/cim_error.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "loaded_providers.h"

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

bool holds(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::any_of(
      names, [&](const std::string& candidate) { return sameName(candidate, name); });
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
  std::vector<Instance> instance(const ObjectPath& path, const PropertyList& properties,
                                 Operation operation) {
    checkRequest(path);
    const auto found = providers_.byClass().find(path.className);
    if (found == providers_.byClass().end() || !found->second.instance.exists()) {
      throwNoProvider(path);
    }
    RequestAnswers answers = call(found->second.instance, named(path, path.className), operation);
    if (!answers.instances.empty()) answers.instances.resize(1);
    narrow(answers.instances, properties);
    return std::move(answers.instances);
  }

  /// What the providers of the association class, or of all, hand over.
  template <class Answer, class Operation>
  std::vector<Answer> linked(const ObjectPath& path, const std::string& associationClass,
                             std::vector<Answer> RequestAnswers::*answers, Operation operation) {
    checkRequest(path);
    if (!associationClass.empty()) requireClass(associationClass);
    std::vector<Answer> all;
    for (auto& [name, provider] : providers_.byClass()) {
      if (!provider.association.exists()) continue;
      if (!associationClass.empty() && !repository_.isA(name, associationClass)) continue;
      append(all, call(provider.association, named(path, path.className), operation).*answers);
    }
    return all;
  }

  /// Providers need not narrow their instances; the manager does what is left to do.
  void narrow(std::vector<Instance>& instances, const PropertyList& wanted) const {
    if (!wanted) return;
    for (Instance& instance : instances) {
      const auto& keys = repository_.keys(instance.path.className);
      std::erase_if(instance.properties, [&](const NamedValue& property) {
        return !holds(*wanted, property.name) && !holds(keys, property.name);
      });
    }
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
  return dispatcher_->instances(
      classPath, properties,
      [&](CMPIInstanceMI& mi, const CMPIContext* context, CMPIResult* result, CMPIObjectPath* cop) {
        return mi.ft->enumerateInstances(&mi, context, result, cop, list.get());
      });
}

std::vector<ObjectPath> ObjectManager::enumerateInstanceNames(const ObjectPath& classPath) {
  return dispatcher_->names(classPath, [](CMPIInstanceMI& mi, const CMPIContext* context,
                                          CMPIResult* result, CMPIObjectPath* cop) {
    return mi.ft->enumerateInstanceNames(&mi, context, result, cop);
  });
}

Instance ObjectManager::getInstance(const ObjectPath& path, const PropertyList& properties) {
  PropertyArray list(properties);
  std::vector<Instance> found = dispatcher_->instance(
      path, properties,
      [&](CMPIInstanceMI& mi, const CMPIContext* context, CMPIResult* result, CMPIObjectPath* cop) {
        return mi.ft->getInstance(&mi, context, result, cop, list.get());
      });
  if (found.empty()) throw CimError(CMPI_RC_ERR_NOT_FOUND, toText(path));
  return std::move(found.front());
}

std::vector<Instance> ObjectManager::associators(const ObjectPath& path,
                                                 const AssociationFilter& filter,
                                                 const PropertyList& properties) {
  PropertyArray list(properties);
  std::vector<Instance> found = dispatcher_->linked(
      path, filter.assocClass, &RequestAnswers::instances,
      [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
          CMPIObjectPath* cop) {
        return mi.ft->associators(&mi, context, result, cop, filterText(filter.assocClass),
                                  filterText(filter.resultClass), filterText(filter.role),
                                  filterText(filter.resultRole), list.get());
      });
  dispatcher_->narrow(found, properties);
  return found;
}

std::vector<ObjectPath> ObjectManager::associatorNames(const ObjectPath& path,
                                                       const AssociationFilter& filter) {
  return dispatcher_->linked(path, filter.assocClass, &RequestAnswers::paths,
                             [&](CMPIAssociationMI& mi, const CMPIContext* context,
                                 CMPIResult* result, CMPIObjectPath* cop) {
                               return mi.ft->associatorNames(
                                   &mi, context, result, cop, filterText(filter.assocClass),
                                   filterText(filter.resultClass), filterText(filter.role),
                                   filterText(filter.resultRole));
                             });
}

std::vector<Instance> ObjectManager::references(const ObjectPath& path,
                                                const AssociationFilter& filter,
                                                const PropertyList& properties) {
  PropertyArray list(properties);
  std::vector<Instance> found = dispatcher_->linked(
      path, filter.resultClass, &RequestAnswers::instances,
      [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
          CMPIObjectPath* cop) {
        return mi.ft->references(&mi, context, result, cop, filterText(filter.resultClass),
                                 filterText(filter.role), list.get());
      });
  dispatcher_->narrow(found, properties);
  return found;
}

std::vector<ObjectPath> ObjectManager::referenceNames(const ObjectPath& path,
                                                      const AssociationFilter& filter) {
  return dispatcher_->linked(path, filter.resultClass, &RequestAnswers::paths,
                             [&](CMPIAssociationMI& mi, const CMPIContext* context,
                                 CMPIResult* result, CMPIObjectPath* cop) {
                               return mi.ft->referenceNames(&mi, context, result, cop,
                                                            filterText(filter.resultClass),
                                                            filterText(filter.role));
                             });
}

}  // namespace cimom
