#include <manager/broker.h>
#include <manager/object_manager.h>
#include <manager/property_array.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

#include <dlfcn.h>

namespace cimom {

namespace {

constexpr char kDefaultNameSpace[] = "root/cimv2";
constexpr int kOldestInterface = 100;

/// An opened shared object, closed at the end.
class Library {
 public:
  explicit Library(const std::filesystem::path& file)
      : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
      const char* reason = dlerror();
      throw CimError(CMPI_RC_ERR_FAILED, "cannot open provider library " + file.string() + ": " +
                                             (reason != nullptr ? reason : "unknown reason"));
    }
  }
  ~Library() { dlclose(handle_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  void* symbol(const std::string& name) const { return dlsym(handle_, name.c_str()); }

 private:
  void* handle_;
};

std::string messageOf(const CMPIStatus& status) {
  if (status.msg == nullptr) return {};
  const char* text = status.msg->ft->getCharPtr(status.msg, nullptr);
  return text != nullptr ? text : "";
}

void throwUnlessOk(const CMPIStatus& status, const std::string& className) {
  if (status.rc == CMPI_RC_OK) return;
  const std::string text = messageOf(status);
  throw CimError(status.rc, text.empty() ? "the provider of " + className + " reports it" : text);
}

/// What a provider throws, against its interface, becomes an error that names who failed.
template <class Call>
void guarded(const std::string& who, Call call) {
  try {
    call();
  } catch (const std::exception& failure) {
    throw CimError(CMPI_RC_ERR_FAILED, who + " failed: " + failure.what());
  } catch (...) {
    throw CimError(CMPI_RC_ERR_FAILED, who + " failed");
  }
}

/// One factory of a library with the record that it makes on the first request. The factories of a
/// class share a mutex: providers test for their one object and make it without a lock of their
/// own.
template <class Record>
class Factory {
 public:
  Factory() = default;
  Factory(void* symbol, std::string name, std::shared_ptr<std::mutex> creation)
      : create_(reinterpret_cast<Create>(symbol)),
        name_(std::move(name)),
        creation_(std::move(creation)) {}

  bool exists() const { return create_ != nullptr; }

  Record& record(const CMPIBroker* broker) {
    const std::lock_guard<std::mutex> lock(*creation_);
    if (record_ == nullptr) record_ = make(broker);
    return *record_;
  }

  void cleanup() {
    if (record_ == nullptr) return;
    RequestScope scope;
    try {
      record_->ft->cleanup(record_, scope.newContext(kDefaultNameSpace, 0), 1);
    } catch (...) {
      // All is over; the other providers still want their turn.
    }
    record_ = nullptr;
  }

 private:
  using Create = Record* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);

  Record* make(const CMPIBroker* broker) {
    RequestScope scope;
    CMPIStatus status{CMPI_RC_OK, nullptr};
    Record* made = nullptr;
    guarded("factory " + name_,
            [&] { made = create_(broker, scope.newContext(kDefaultNameSpace, 0), &status); });
    if (status.rc != CMPI_RC_OK) throw CimError(status.rc, messageOf(status));
    if (made == nullptr || made->ft == nullptr || made->ft->ftVersion < kOldestInterface) {
      throw CimError(CMPI_RC_ERR_FAILED, "factory " + name_ + " gave no usable record");
    }
    return made;
  }

  Create create_ = nullptr;
  std::string name_;
  Record* record_ = nullptr;
  std::shared_ptr<std::mutex> creation_;
};

struct ClassProvider {
  std::shared_ptr<std::mutex> creation = std::make_shared<std::mutex>();
  Factory<CMPIInstanceMI> instance;
  Factory<CMPIAssociationMI> association;
};

const char* filterText(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

}  // namespace

class ObjectManager::Providers : public Upcalls {
 public:
  explicit Providers(const ClassRepository& repository)
      : repository_(repository), broker_(repository, this) {}

  ~Providers() override {
    for (auto& [name, provider] : byClass_) {
      provider.instance.cleanup();
      provider.association.cleanup();
    }
  }

  const CMPIBroker* broker() const { return broker_.record(); }

  void load(const std::filesystem::path& file) {
    auto library = std::make_unique<Library>(file);
    std::size_t served = 0;
    for (const std::string& name : repository_.classNames()) {
      if (take(*library, name)) ++served;
    }
    if (served == 0) {
      throw CimError(CMPI_RC_ERR_FAILED,
                     file.string() + " holds no provider of a class of the schema");
    }
    libraries_.push_back(std::move(library));
  }

  std::vector<std::string> servedClasses() const {
    std::vector<std::string> names;
    for (const auto& [name, provider] : byClass_) names.push_back(name);
    return names;
  }

  std::vector<Instance> enumerateInstances(const ObjectPath& path,
                                           const PropertyList& properties) override {
    std::vector<Instance> all;
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      PropertyArray list(properties);
      RequestAnswers answers =
          call(provider.instance, named(path, name),
               [&](CMPIInstanceMI& mi, const CMPIContext* context, CMPIResult* result,
                   CMPIObjectPath* cop) {
                 return mi.ft->enumerateInstances(&mi, context, result, cop, list.get());
               });
      append(all, answers.instances, properties);
    });
    return all;
  }

  std::vector<ObjectPath> enumerateInstanceNames(const ObjectPath& path) override {
    std::vector<ObjectPath> all;
    forEachInstanceProvider(path, [&](const std::string& name, ClassProvider& provider) {
      RequestAnswers answers =
          call(provider.instance, named(path, name),
               [](CMPIInstanceMI& mi, const CMPIContext* context, CMPIResult* result,
                  CMPIObjectPath* cop) {
                 return mi.ft->enumerateInstanceNames(&mi, context, result, cop);
               });
      append(all, answers.paths);
    });
    return all;
  }

  Instance getInstance(const ObjectPath& path, const PropertyList& properties) override {
    checkRequest(path);
    const auto provider = byClass_.find(path.className);
    if (provider == byClass_.end() || !provider->second.instance.exists()) throwNoProvider(path);
    PropertyArray list(properties);
    RequestAnswers answers =
        call(provider->second.instance, named(path, path.className),
             [&](CMPIInstanceMI& mi, const CMPIContext* context, CMPIResult* result,
                 CMPIObjectPath* cop) {
               return mi.ft->getInstance(&mi, context, result, cop, list.get());
             });
    if (answers.instances.empty()) throw CimError(CMPI_RC_ERR_NOT_FOUND, toText(path));
    std::vector<Instance> one;
    answers.instances.resize(1);
    append(one, answers.instances, properties);
    return std::move(one.front());
  }

  std::vector<Instance> associators(const ObjectPath& path, const AssociationFilter& filter,
                                    const PropertyList& properties) override {
    std::vector<Instance> all;
    PropertyArray list(properties);
    askAssociations(
        path, filter.assocClass,
        [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
            CMPIObjectPath* cop) {
          return mi.ft->associators(&mi, context, result, cop, filterText(filter.assocClass),
                                    filterText(filter.resultClass), filterText(filter.role),
                                    filterText(filter.resultRole), list.get());
        },
        [&](RequestAnswers& answers) { append(all, answers.instances, properties); });
    return all;
  }

  std::vector<ObjectPath> associatorNames(const ObjectPath& path,
                                          const AssociationFilter& filter) override {
    std::vector<ObjectPath> all;
    askAssociations(
        path, filter.assocClass,
        [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
            CMPIObjectPath* cop) {
          return mi.ft->associatorNames(&mi, context, result, cop, filterText(filter.assocClass),
                                        filterText(filter.resultClass), filterText(filter.role),
                                        filterText(filter.resultRole));
        },
        [&](RequestAnswers& answers) { append(all, answers.paths); });
    return all;
  }

  std::vector<Instance> references(const ObjectPath& path, const AssociationFilter& filter,
                                   const PropertyList& properties) override {
    std::vector<Instance> all;
    PropertyArray list(properties);
    askAssociations(
        path, filter.resultClass,
        [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
            CMPIObjectPath* cop) {
          return mi.ft->references(&mi, context, result, cop, filterText(filter.resultClass),
                                   filterText(filter.role), list.get());
        },
        [&](RequestAnswers& answers) { append(all, answers.instances, properties); });
    return all;
  }

  std::vector<ObjectPath> referenceNames(const ObjectPath& path,
                                         const AssociationFilter& filter) override {
    std::vector<ObjectPath> all;
    askAssociations(
        path, filter.resultClass,
        [&](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
            CMPIObjectPath* cop) {
          return mi.ft->referenceNames(&mi, context, result, cop, filterText(filter.resultClass),
                                       filterText(filter.role));
        },
        [&](RequestAnswers& answers) { append(all, answers.paths); });
    return all;
  }

 private:
  bool take(const Library& library, const std::string& className) {
    ClassProvider& provider = byClass_[className];
    const bool instance = takeFactory(library, className + "_Create_InstanceMI", provider.instance,
                                      provider.creation);
    const bool association = takeFactory(library, className + "_Create_AssociationMI",
                                         provider.association, provider.creation);
    if (!provider.instance.exists() && !provider.association.exists()) byClass_.erase(className);
    return instance || association;
  }

  template <class Record>
  static bool takeFactory(const Library& library, const std::string& name, Factory<Record>& factory,
                          const std::shared_ptr<std::mutex>& creation) {
    void* symbol = library.symbol(name);
    if (symbol == nullptr) return false;
    if (!factory.exists()) factory = Factory<Record>(symbol, name, creation);
    return true;
  }

  /// Calls a provider in a request of its own.
  template <class Record, class Operation>
  RequestAnswers call(Factory<Record>& factory, const ObjectPath& path, Operation operation) {
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

  static ObjectPath named(const ObjectPath& path, const std::string& className) {
    ObjectPath copy = path;
    copy.className = className;
    if (copy.nameSpace.empty()) copy.nameSpace = kDefaultNameSpace;
    return copy;
  }

  void checkRequest(const ObjectPath& path) const {
    if (!path.nameSpace.empty() && !sameName(path.nameSpace, kDefaultNameSpace)) {
      throw CimError(CMPI_RC_ERR_INVALID_NAMESPACE, path.nameSpace);
    }
    if (repository_.find(path.className) == nullptr) {
      throw CimError(CMPI_RC_ERR_INVALID_CLASS, "unknown class " + path.className);
    }
  }

  [[noreturn]] static void throwNoProvider(const ObjectPath& path) {
    throw CimError(CMPI_RC_ERR_NOT_SUPPORTED, "no provider serves class " + path.className);
  }

  template <class Visit>
  void forEachInstanceProvider(const ObjectPath& path, Visit visit) {
    checkRequest(path);
    bool any = false;
    for (auto& [name, provider] : byClass_) {
      if (!provider.instance.exists() || !repository_.isA(name, path.className)) continue;
      any = true;
      visit(name, provider);
    }
    if (!any) throwNoProvider(path);
  }

  template <class Operation, class Take>
  void askAssociations(const ObjectPath& path, const std::string& associationClass,
                       Operation operation, Take take) {
    checkRequest(path);
    if (!associationClass.empty() && repository_.find(associationClass) == nullptr) {
      throw CimError(CMPI_RC_ERR_INVALID_CLASS, "unknown class " + associationClass);
    }
    for (auto& [name, provider] : byClass_) {
      if (!provider.association.exists()) continue;
      if (!associationClass.empty() && !repository_.isA(name, associationClass)) continue;
      RequestAnswers answers = call(provider.association, named(path, path.className), operation);
      take(answers);
    }
  }

  static void append(std::vector<ObjectPath>& all, std::vector<ObjectPath>& more) {
    all.insert(all.end(), std::make_move_iterator(more.begin()),
               std::make_move_iterator(more.end()));
  }

  /// Providers need not narrow their instances; the manager does what is left to do.
  void append(std::vector<Instance>& all, std::vector<Instance>& more,
              const PropertyList& properties) const {
    for (Instance& instance : more) {
      if (properties) narrow(instance, *properties);
      all.push_back(std::move(instance));
    }
  }

  void narrow(Instance& instance, const std::vector<std::string>& wanted) const {
    const auto holds = [](const std::vector<std::string>& names, const std::string& name) {
      return std::any_of(names.begin(), names.end(),
                         [&](const std::string& candidate) { return sameName(candidate, name); });
    };
    const auto& keys = repository_.keys(instance.path.className);
    std::erase_if(instance.properties, [&](const NamedValue& property) {
      return !holds(wanted, property.name) && !holds(keys, property.name);
    });
  }

  const ClassRepository& repository_;
  Broker broker_;
  // Closed last: the records of the providers lie in the libraries.
  std::vector<std::unique_ptr<Library>> libraries_;
  std::map<std::string, ClassProvider, NameLess> byClass_;
};

ObjectManager::ObjectManager(std::shared_ptr<const ClassRepository> repository)
    : repository_(std::move(repository)), providers_(std::make_unique<Providers>(*repository_)) {}

ObjectManager::~ObjectManager() = default;

void ObjectManager::loadProvider(const std::filesystem::path& library) {
  providers_->load(library);
}

std::vector<std::string> ObjectManager::servedClasses() const {
  return providers_->servedClasses();
}

std::vector<Instance> ObjectManager::enumerateInstances(const ObjectPath& classPath,
                                                        const PropertyList& properties) {
  return providers_->enumerateInstances(classPath, properties);
}

std::vector<ObjectPath> ObjectManager::enumerateInstanceNames(const ObjectPath& classPath) {
  return providers_->enumerateInstanceNames(classPath);
}

Instance ObjectManager::getInstance(const ObjectPath& path, const PropertyList& properties) {
  return providers_->getInstance(path, properties);
}

std::vector<Instance> ObjectManager::associators(const ObjectPath& path,
                                                 const AssociationFilter& filter,
                                                 const PropertyList& properties) {
  return providers_->associators(path, filter, properties);
}

std::vector<ObjectPath> ObjectManager::associatorNames(const ObjectPath& path,
                                                       const AssociationFilter& filter) {
  return providers_->associatorNames(path, filter);
}

std::vector<Instance> ObjectManager::references(const ObjectPath& path,
                                                const AssociationFilter& filter,
                                                const PropertyList& properties) {
  return providers_->references(path, filter, properties);
}

std::vector<ObjectPath> ObjectManager::referenceNames(const ObjectPath& path,
                                                      const AssociationFilter& filter) {
  return providers_->referenceNames(path, filter);
}

const ClassRepository& ObjectManager::repository() const {
  return *repository_;
}

Upcalls& ObjectManager::requests() {
  return *providers_;
}

const CMPIBroker* ObjectManager::broker() const {
  return providers_->broker();
}

}  // namespace cimom
