#include "broker_objects.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>

namespace cimom {

/// What a request owns.
struct BrokerObject {
  virtual ~BrokerObject() = default;
  /// Clones belong to whoever made them and die by their release.
  bool isClone = false;
};

class RequestScope::Arena {
 public:
  void adopt(std::unique_ptr<BrokerObject> object) { objects_.push_back(std::move(object)); }

 private:
  std::vector<std::unique_ptr<BrokerObject>> objects_;
};

namespace {

thread_local RequestScope* innermost = nullptr;

}  // namespace

struct ArenaAccess {
  /// Objects made outside a request live until their thread ends.
  static RequestScope::Arena& current() {
    static thread_local RequestScope::Arena outsideRequests;
    return innermost != nullptr ? *innermost->arena_ : outsideRequests;
  }
};

namespace {

template <class Object>
auto* keep(std::unique_ptr<Object> object) {
  auto* handle = &object->handle;
  ArenaAccess::current().adopt(std::move(object));
  return handle;
}

template <class Record>
CMPIStatus badHandle(const Record*) {
  return {CMPI_RC_ERR_INVALID_HANDLE, nullptr};
}

struct StringObject : BrokerObject {
  using Record = CMPIString;
  static const CMPIStringFT table;
  explicit StringObject(std::string value) : handle{this, &table}, text(std::move(value)) {}
  StringObject(const StringObject& other)
      : BrokerObject(other), handle{this, &table}, text(other.text) {}
  StringObject& operator=(const StringObject&) = delete;
  Record handle;
  std::string text;
};

struct ArrayObject : BrokerObject {
  using Record = CMPIArray;
  static const CMPIArrayFT table;
  explicit ArrayObject(Value content) : handle{this, &table}, value(std::move(content)) {}
  ArrayObject(const ArrayObject& other)
      : BrokerObject(other), handle{this, &table}, value(other.value) {}
  ArrayObject& operator=(const ArrayObject&) = delete;
  Record handle;
  Value value;
};

struct PathObject : BrokerObject {
  using Record = CMPIObjectPath;
  static const CMPIObjectPathFT table;
  explicit PathObject(ObjectPath value) : handle{this, &table}, path(std::move(value)) {}
  PathObject(const PathObject& other)
      : BrokerObject(other), handle{this, &table}, path(other.path) {}
  PathObject& operator=(const PathObject&) = delete;
  Record handle;
  ObjectPath path;
};

struct InstanceObject : BrokerObject {
  using Record = CMPIInstance;
  static const CMPIInstanceFT table;
  InstanceObject(Instance value, const ClassRepository* classes)
      : handle{this, &table}, instance(std::move(value)), repository(classes) {}
  InstanceObject(const InstanceObject& other)
      : BrokerObject(other),
        handle{this, &table},
        instance(other.instance),
        repository(other.repository),
        filter(other.filter) {}
  InstanceObject& operator=(const InstanceObject&) = delete;
  Record handle;
  Instance instance;
  const ClassRepository* repository;
  PropertyList filter;
};

struct EnumerationObject : BrokerObject {
  using Record = CMPIEnumeration;
  static const CMPIEnumerationFT table;
  EnumerationObject() : handle{this, &table} {}
  EnumerationObject(const EnumerationObject& other)
      : BrokerObject(other), handle{this, &table}, elements(other.elements), next(other.next) {}
  EnumerationObject& operator=(const EnumerationObject&) = delete;
  Record handle;
  std::vector<CMPIData> elements;
  std::size_t next = 0;
};

struct ContextObject : BrokerObject {
  using Record = CMPIContext;
  static const CMPIContextFT table;
  ContextObject() : handle{this, &table} {}
  ContextObject(const ContextObject& other)
      : BrokerObject(other), handle{this, &table}, entries(other.entries) {}
  ContextObject& operator=(const ContextObject&) = delete;
  Record handle;
  std::vector<NamedValue> entries;
};

struct ResultObject : BrokerObject {
  using Record = CMPIResult;
  static const CMPIResultFT table;
  explicit ResultObject(RequestAnswers& where) : handle{this, &table}, answers(&where) {}
  ResultObject(const ResultObject& other)
      : BrokerObject(other), handle{this, &table}, answers(other.answers) {}
  ResultObject& operator=(const ResultObject&) = delete;
  Record handle;
  RequestAnswers* answers;
};

/// The object behind a handle; null when the handle is null or not of this broker.
template <class Object>
Object* get(const typename Object::Record* handle) {
  if (handle == nullptr || handle->hdl == nullptr) return nullptr;
  return static_cast<Object*>(handle->hdl);
}

template <class Object>
CMPIStatus releaseObject(typename Object::Record* handle) {
  Object* object = get<Object>(handle);
  if (object == nullptr) return badHandle(handle);
  if (object->isClone) delete object;
  return {CMPI_RC_OK, nullptr};
}

template <class Object>
typename Object::Record* cloneObject(const typename Object::Record* handle, CMPIStatus* status) {
  const Object* object = get<Object>(handle);
  if (object == nullptr) {
    setStatus(status, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  auto copy = std::make_unique<Object>(*object);
  copy->isClone = true;
  return &copy.release()->handle;
}

// Values

struct TypePair {
  CMPIType cmpi;
  CimType cim;
};

constexpr TypePair kTypes[] = {
    {CMPI_boolean, CimType::kBoolean}, {CMPI_char16, CimType::kChar16},
    {CMPI_uint8, CimType::kUint8},     {CMPI_uint16, CimType::kUint16},
    {CMPI_uint32, CimType::kUint32},   {CMPI_uint64, CimType::kUint64},
    {CMPI_sint8, CimType::kSint8},     {CMPI_sint16, CimType::kSint16},
    {CMPI_sint32, CimType::kSint32},   {CMPI_sint64, CimType::kSint64},
    {CMPI_real32, CimType::kReal32},   {CMPI_real64, CimType::kReal64},
    {CMPI_string, CimType::kString},   {CMPI_chars, CimType::kString},
    {CMPI_ref, CimType::kReference},
};

CMPIType cmpiTypeOf(CimType type) {
  if (type == CimType::kDateTime) return CMPI_string;
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypePair& pair) { return pair.cim == type; });
  return found->cmpi;
}

std::optional<Scalar> scalarFrom(const CMPIValue& value, CMPIType type) {
  switch (type) {
    case CMPI_boolean:
      return value.boolean != 0;
    case CMPI_char16:
      return std::uint64_t{value.char16};
    case CMPI_uint8:
      return std::uint64_t{value.uint8};
    case CMPI_uint16:
      return std::uint64_t{value.uint16};
    case CMPI_uint32:
      return std::uint64_t{value.uint32};
    case CMPI_uint64:
      return std::uint64_t{value.uint64};
    case CMPI_sint8:
      return std::int64_t{value.sint8};
    case CMPI_sint16:
      return std::int64_t{value.sint16};
    case CMPI_sint32:
      return std::int64_t{value.sint32};
    case CMPI_sint64:
      return std::int64_t{value.sint64};
    case CMPI_real32:
      return static_cast<double>(value.real32);
    case CMPI_real64:
      return value.real64;
    case CMPI_string: {
      const StringObject* text = get<StringObject>(value.string);
      return text != nullptr ? Scalar(text->text) : Scalar();
    }
    case CMPI_ref: {
      const PathObject* path = get<PathObject>(value.ref);
      return path != nullptr ? Scalar(std::make_shared<const ObjectPath>(path->path)) : Scalar();
    }
    default:
      return std::nullopt;
  }
}

/// The value that a caller hands over; nothing when its type is not a CIM type.
std::optional<Value> valueFrom(const CMPIValue* value, CMPIType type) {
  const auto cimType = cimTypeOf(type);
  if (!cimType) return std::nullopt;
  const bool isArray = (type & CMPI_ARRAY) != 0;
  if (value == nullptr) return Value::null(*cimType, isArray);
  if (isArray) {
    const ArrayObject* array = get<ArrayObject>(value->array);
    return array != nullptr ? array->value : Value::null(*cimType, true);
  }
  // Text comes as the pointer itself, not as the address of a value that holds it.
  if (type == CMPI_chars) return Value::text(reinterpret_cast<const char*>(value));
  const auto scalar = scalarFrom(*value, type);
  if (!scalar) return std::nullopt;
  if (std::holds_alternative<std::monostate>(*scalar)) return Value::null(*cimType);
  Value single = Value::null(*cimType);
  single.isNull = false;
  single.elements.push_back(*scalar);
  return single;
}

template <class Number>
Number numberOf(const Scalar& scalar) {
  if (const auto* number = std::get_if<std::uint64_t>(&scalar)) return static_cast<Number>(*number);
  if (const auto* number = std::get_if<std::int64_t>(&scalar)) return static_cast<Number>(*number);
  if (const auto* number = std::get_if<double>(&scalar)) return static_cast<Number>(*number);
  return Number{};
}

CMPIData dataFrom(const Scalar& scalar, CimType type) {
  CMPIData data = nullData(cmpiTypeOf(type));
  if (std::holds_alternative<std::monostate>(scalar)) return data;
  data.state = CMPI_goodValue;
  switch (data.type) {
    case CMPI_boolean:
      data.value.boolean = std::holds_alternative<bool>(scalar) && std::get<bool>(scalar) ? 1 : 0;
      break;
    case CMPI_char16:
      data.value.char16 = numberOf<CMPIChar16>(scalar);
      break;
    case CMPI_uint8:
      data.value.uint8 = numberOf<CMPIUint8>(scalar);
      break;
    case CMPI_uint16:
      data.value.uint16 = numberOf<CMPIUint16>(scalar);
      break;
    case CMPI_uint32:
      data.value.uint32 = numberOf<CMPIUint32>(scalar);
      break;
    case CMPI_uint64:
      data.value.uint64 = numberOf<CMPIUint64>(scalar);
      break;
    case CMPI_sint8:
      data.value.sint8 = numberOf<CMPISint8>(scalar);
      break;
    case CMPI_sint16:
      data.value.sint16 = numberOf<CMPISint16>(scalar);
      break;
    case CMPI_sint32:
      data.value.sint32 = numberOf<CMPISint32>(scalar);
      break;
    case CMPI_sint64:
      data.value.sint64 = numberOf<CMPISint64>(scalar);
      break;
    case CMPI_real32:
      data.value.real32 = numberOf<CMPIReal32>(scalar);
      break;
    case CMPI_real64:
      data.value.real64 = numberOf<CMPIReal64>(scalar);
      break;
    case CMPI_string:
      data.value.string = makeString(toText(scalar));
      break;
    case CMPI_ref:
      if (const auto* path = std::get_if<std::shared_ptr<const ObjectPath>>(&scalar)) {
        data.value.ref = makePath(**path);
      } else {
        data.state = CMPI_nullValue;
      }
      break;
    default:
      break;
  }
  return data;
}

CMPIData dataFrom(const Value& value) {
  if (value.isArray) {
    CMPIData data = nullData(static_cast<CMPIType>(CMPI_ARRAY | cmpiTypeOf(value.type)));
    if (value.isNull) return data;
    data.state = CMPI_goodValue;
    data.value.array = keep(std::make_unique<ArrayObject>(value));
    return data;
  }
  if (value.isNull || value.elements.empty()) return nullData(cmpiTypeOf(value.type));
  return dataFrom(value.elements.front(), value.type);
}

CMPIData notFound(CMPIStatus* status, CMPIrc code, const std::string& text) {
  setStatus(status, {code, makeString(text)});
  CMPIData data = nullData(CMPI_null);
  data.state = CMPI_nullValue | CMPI_notFound;
  return data;
}

CMPIData dataAt(const std::vector<NamedValue>& values, CMPICount index, CMPIString** name,
                CMPIStatus* status) {
  if (index >= values.size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  if (name != nullptr) *name = makeString(values[index].name);
  return dataFrom(values[index].value);
}

void putNamed(std::vector<NamedValue>& values, const char* name, Value value) {
  const auto found = std::find_if(values.begin(), values.end(), [&](const NamedValue& candidate) {
    return sameName(candidate.name, name);
  });
  if (found != values.end()) {
    found->value = std::move(value);
  } else {
    values.push_back({name, std::move(value)});
  }
}

// Strings

char* stringCharPtr(const CMPIString* handle, CMPIStatus* status) {
  StringObject* string = get<StringObject>(handle);
  setStatus(status, string != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return string != nullptr ? string->text.data() : nullptr;
}

// Arrays

CMPICount arraySize(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  setStatus(status, array != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return array != nullptr ? static_cast<CMPICount>(array->value.elements.size()) : 0;
}

CMPIType arrayType(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  setStatus(status, array != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return array != nullptr ? cmpiTypeOf(array->value.type) : CMPIType{CMPI_null};
}

CMPIData arrayElementAt(const CMPIArray* handle, CMPICount index, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr || index >= array->value.elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "array index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(array->value.elements[index], array->value.type);
}

CMPIStatus arraySetElementAt(const CMPIArray* handle, CMPICount index, const CMPIValue* value,
                             CMPIType type) {
  ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr) return badHandle(handle);
  if (index >= array->value.elements.size()) return {CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
  const auto element = valueFrom(value, type);
  if (!element || element->isArray || element->type != array->value.type) {
    return {CMPI_RC_ERR_TYPE_MISMATCH, nullptr};
  }
  array->value.elements[index] = element->isNull ? Scalar() : element->elements.front();
  return {CMPI_RC_OK, nullptr};
}

// Object paths

template <std::string ObjectPath::*Member>
CMPIStatus setPathText(const CMPIObjectPath* handle, const char* text) {
  PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return badHandle(handle);
  object->path.*Member = text != nullptr ? text : "";
  return {CMPI_RC_OK, nullptr};
}

template <std::string ObjectPath::*Member>
CMPIString* getPathText(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? makeString(object->path.*Member) : nullptr;
}

CMPIStatus pathAddKey(const CMPIObjectPath* handle, const char* name, const CMPIValue* value,
                      CMPIType type) {
  PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return badHandle(handle);
  if (name == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  auto key = valueFrom(value, type);
  if (!key || key->isArray) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->path.keys, name, std::move(*key));
  return {CMPI_RC_OK, nullptr};
}

CMPIData pathGetKey(const CMPIObjectPath* handle, const char* name, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  if (object == nullptr || name == nullptr) {
    return notFound(status, CMPI_RC_ERR_INVALID_PARAMETER, "no path or no key name");
  }
  const Value* key = object->path.findKey(name);
  if (key == nullptr) {
    return notFound(status, CMPI_RC_ERR_NOT_FOUND, std::string("the path has no key ") + name);
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(*key);
}

CMPIData pathGetKeyAt(const CMPIObjectPath* handle, CMPICount index, CMPIString** name,
                      CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return notFound(status, CMPI_RC_ERR_INVALID_HANDLE, "no path");
  return dataAt(object->path.keys, index, name, status);
}

CMPICount pathKeyCount(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? static_cast<CMPICount>(object->path.keys.size()) : 0;
}

CMPIStatus pathCopyNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  PathObject* object = get<PathObject>(handle);
  const PathObject* from = get<PathObject>(source);
  if (object == nullptr || from == nullptr) return badHandle(handle);
  object->path.nameSpace = from->path.nameSpace;
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus pathCopyHostAndNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  const CMPIStatus status = pathCopyNameSpace(handle, source);
  if (status.rc == CMPI_RC_OK) {
    get<PathObject>(handle)->path.host = get<PathObject>(source)->path.host;
  }
  return status;
}

CMPIData pathClassQualifier(const CMPIObjectPath*, const char*, CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullData(CMPI_null);
}

CMPIData pathMemberQualifier(const CMPIObjectPath*, const char*, const char*, CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullData(CMPI_null);
}

CMPIData pathParameterQualifier(const CMPIObjectPath*, const char*, const char*, const char*,
                                CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullData(CMPI_null);
}

CMPIString* pathToString(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? makeString(toText(object->path)) : nullptr;
}

// Instances

CMPIData instanceGetProperty(const CMPIInstance* handle, const char* name, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle);
  const Value* value =
      object != nullptr && name != nullptr ? object->instance.findProperty(name) : nullptr;
  if (value == nullptr) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "the instance has no such property");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(*value);
}

CMPIData instanceGetPropertyAt(const CMPIInstance* handle, CMPICount index, CMPIString** name,
                               CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return notFound(status, CMPI_RC_ERR_INVALID_HANDLE, "no instance");
  return dataAt(object->instance.properties, index, name, status);
}

CMPICount instancePropertyCount(const CMPIInstance* handle, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? static_cast<CMPICount>(object->instance.properties.size()) : 0;
}

bool listed(const std::vector<std::string>& names, const std::string& name) {
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& candidate) { return sameName(candidate, name); });
}

CMPIStatus instanceSetProperty(const CMPIInstance* handle, const char* name, const CMPIValue* value,
                               CMPIType type) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle(handle);
  if (name == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  const std::string& className = object->instance.path.className;
  const PropertyDeclaration* declared = object->repository->findProperty(className, name);
  if (declared == nullptr) {
    return {CMPI_RC_ERR_NO_SUCH_PROPERTY,
            makeString("class " + className + " has no property " + name)};
  }
  auto given = valueFrom(value, type);
  const bool fits = given && given->isArray == declared->isArray &&
                    (given->type == declared->type ||
                     (given->type == CimType::kString && declared->type == CimType::kDateTime));
  if (!fits) {
    return {CMPI_RC_ERR_TYPE_MISMATCH,
            makeString("property " + className + "." + name + " is of type " +
                       std::string(typeName(declared->type)))};
  }
  if (declared->isKey) putNamed(object->instance.path.keys, declared->name.c_str(), *given);
  if (object->filter && !listed(*object->filter, name)) return {CMPI_RC_OK, nullptr};
  putNamed(object->instance.properties, name, std::move(*given));
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus instanceSetPropertyWithOrigin(const CMPIInstance* handle, const char* name,
                                         const CMPIValue* value, CMPIType type, const char*) {
  return instanceSetProperty(handle, name, value, type);
}

CMPIObjectPath* instanceGetObjectPath(const CMPIInstance* handle, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? makePath(object->instance.path) : nullptr;
}

void appendNames(std::vector<std::string>& names, const char** list) {
  if (list == nullptr) return;
  for (; *list != nullptr; ++list) names.emplace_back(*list);
}

CMPIStatus instanceSetPropertyFilter(const CMPIInstance* handle, const char** properties,
                                     const char** keys) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle(handle);
  object->filter.reset();
  if (properties == nullptr) return {CMPI_RC_OK, nullptr};
  std::vector<std::string> kept;
  appendNames(kept, properties);
  appendNames(kept, keys);
  std::erase_if(object->instance.properties,
                [&](const NamedValue& property) { return !listed(kept, property.name); });
  object->filter = std::move(kept);
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus instanceSetObjectPath(const CMPIInstance* handle, const CMPIObjectPath* path) {
  InstanceObject* object = get<InstanceObject>(handle);
  const PathObject* source = get<PathObject>(path);
  if (object == nullptr || source == nullptr) return badHandle(handle);
  object->instance.path = source->path;
  return {CMPI_RC_OK, nullptr};
}

// Enumerations

CMPIData enumerationGetNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  EnumerationObject* object = get<EnumerationObject>(handle);
  if (object == nullptr || object->next >= object->elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_MORE_ELEMENTS, "no more elements");
  }
  setStatus(status, CMPI_RC_OK);
  return object->elements[object->next++];
}

CMPIBoolean enumerationHasNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  const EnumerationObject* object = get<EnumerationObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr && object->next < object->elements.size() ? 1 : 0;
}

CMPIArray* enumerationToArray(const CMPIEnumeration*, CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

// Contexts

CMPIData contextGetEntry(const CMPIContext* handle, const char* name, CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  if (object != nullptr && name != nullptr) {
    for (const NamedValue& entry : object->entries) {
      if (entry.name != name) continue;
      setStatus(status, CMPI_RC_OK);
      return dataFrom(entry.value);
    }
  }
  return notFound(status, CMPI_RC_ERR_NOT_FOUND, "the context has no such entry");
}

CMPIData contextGetEntryAt(const CMPIContext* handle, CMPICount index, CMPIString** name,
                           CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  if (object == nullptr) return notFound(status, CMPI_RC_ERR_INVALID_HANDLE, "no context");
  return dataAt(object->entries, index, name, status);
}

CMPICount contextEntryCount(const CMPIContext* handle, CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object != nullptr ? static_cast<CMPICount>(object->entries.size()) : 0;
}

CMPIStatus contextAddEntry(const CMPIContext* handle, const char* name, const CMPIValue* value,
                           CMPIType type) {
  ContextObject* object = get<ContextObject>(handle);
  if (object == nullptr || name == nullptr) return badHandle(handle);
  auto entry = valueFrom(value, type);
  if (!entry) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->entries, name, std::move(*entry));
  return {CMPI_RC_OK, nullptr};
}

// Results

CMPIStatus resultReturnInstance(const CMPIResult* handle, const CMPIInstance* instance) {
  ResultObject* result = get<ResultObject>(handle);
  const InstanceObject* object = get<InstanceObject>(instance);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  result->answers->instances.push_back(object->instance);
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus resultReturnObjectPath(const CMPIResult* handle, const CMPIObjectPath* path) {
  ResultObject* result = get<ResultObject>(handle);
  const PathObject* object = get<PathObject>(path);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  result->answers->paths.push_back(object->path);
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus resultReturnData(const CMPIResult* handle, const CMPIValue* value, CMPIType type) {
  if (value == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  if (type == CMPI_instance) return resultReturnInstance(handle, value->inst);
  if (type == CMPI_ref) return resultReturnObjectPath(handle, value->ref);
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIStatus resultReturnDone(const CMPIResult* handle) {
  ResultObject* result = get<ResultObject>(handle);
  if (result == nullptr) return badHandle(handle);
  ++result->answers->doneCount;
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus resultReturnError(const CMPIResult*, const CMPIError*) {
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

const CMPIStringFT StringObject::table = {200, releaseObject<StringObject>,
                                          cloneObject<StringObject>, stringCharPtr};
const CMPIArrayFT ArrayObject::table = {200,
                                        releaseObject<ArrayObject>,
                                        cloneObject<ArrayObject>,
                                        arraySize,
                                        arrayType,
                                        arrayElementAt,
                                        arraySetElementAt};
const CMPIObjectPathFT PathObject::table = {200,
                                            releaseObject<PathObject>,
                                            cloneObject<PathObject>,
                                            setPathText<&ObjectPath::nameSpace>,
                                            getPathText<&ObjectPath::nameSpace>,
                                            setPathText<&ObjectPath::host>,
                                            getPathText<&ObjectPath::host>,
                                            setPathText<&ObjectPath::className>,
                                            getPathText<&ObjectPath::className>,
                                            pathAddKey,
                                            pathGetKey,
                                            pathGetKeyAt,
                                            pathKeyCount,
                                            pathCopyNameSpace,
                                            pathCopyHostAndNameSpace,
                                            pathClassQualifier,
                                            pathMemberQualifier,
                                            pathMemberQualifier,
                                            pathParameterQualifier,
                                            pathToString};
const CMPIInstanceFT InstanceObject::table = {200,
                                              releaseObject<InstanceObject>,
                                              cloneObject<InstanceObject>,
                                              instanceGetProperty,
                                              instanceGetPropertyAt,
                                              instancePropertyCount,
                                              instanceSetProperty,
                                              instanceGetObjectPath,
                                              instanceSetPropertyFilter,
                                              instanceSetObjectPath,
                                              instanceSetPropertyWithOrigin};
const CMPIEnumerationFT EnumerationObject::table = {200,
                                                    releaseObject<EnumerationObject>,
                                                    cloneObject<EnumerationObject>,
                                                    enumerationGetNext,
                                                    enumerationHasNext,
                                                    enumerationToArray};
const CMPIContextFT ContextObject::table = {200,
                                            releaseObject<ContextObject>,
                                            cloneObject<ContextObject>,
                                            contextGetEntry,
                                            contextGetEntryAt,
                                            contextEntryCount,
                                            contextAddEntry};
const CMPIResultFT ResultObject::table = {200,
                                          releaseObject<ResultObject>,
                                          cloneObject<ResultObject>,
                                          resultReturnData,
                                          resultReturnInstance,
                                          resultReturnObjectPath,
                                          resultReturnDone,
                                          resultReturnError};

}  // namespace

void setStatus(CMPIStatus* status, CMPIStatus value) {
  if (status != nullptr) *status = value;
}

void setStatus(CMPIStatus* status, CMPIrc code) {
  setStatus(status, CMPIStatus{code, nullptr});
}

CMPIData nullData(CMPIType type) {
  CMPIData data{};
  data.type = type;
  data.state = CMPI_nullValue;
  return data;
}

std::optional<CimType> cimTypeOf(CMPIType type) {
  const auto scalar = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  for (const TypePair& pair : kTypes) {
    if (pair.cmpi == scalar) return pair.cim;
  }
  return std::nullopt;
}

CMPIString* makeString(const std::string& text) {
  return keep(std::make_unique<StringObject>(text));
}

CMPIArray* makeArray(CMPICount size, CimType elementType) {
  Value value = Value::null(elementType, true);
  value.isNull = false;
  value.elements.resize(size);
  return keep(std::make_unique<ArrayObject>(std::move(value)));
}

CMPIObjectPath* makePath(ObjectPath path) {
  return keep(std::make_unique<PathObject>(std::move(path)));
}

CMPIInstance* makeInstance(Instance instance, const Broker::State& state) {
  return keep(std::make_unique<InstanceObject>(std::move(instance), state.repository));
}

CMPIEnumeration* makeEnumeration(std::vector<ObjectPath> paths) {
  auto enumeration = std::make_unique<EnumerationObject>();
  for (ObjectPath& path : paths) {
    CMPIData data = nullData(CMPI_ref);
    data.state = CMPI_goodValue;
    data.value.ref = makePath(std::move(path));
    enumeration->elements.push_back(data);
  }
  return keep(std::move(enumeration));
}

CMPIEnumeration* makeEnumeration(std::vector<Instance> instances, const Broker::State& state) {
  auto enumeration = std::make_unique<EnumerationObject>();
  for (Instance& instance : instances) {
    CMPIData data = nullData(CMPI_instance);
    data.state = CMPI_goodValue;
    data.value.inst = makeInstance(std::move(instance), state);
    enumeration->elements.push_back(data);
  }
  return keep(std::move(enumeration));
}

const ObjectPath* pathOf(const CMPIObjectPath* path) {
  const PathObject* object = get<PathObject>(path);
  return object != nullptr ? &object->path : nullptr;
}

const Instance* instanceOf(const CMPIInstance* instance) {
  const InstanceObject* object = get<InstanceObject>(instance);
  return object != nullptr ? &object->instance : nullptr;
}

namespace {

/// Any encapsulated object begins with its handle and its table.
struct AnyHandle {
  void* hdl;
  const void* ft;
};

const void* tableOf(const void* object) {
  return object != nullptr ? static_cast<const AnyHandle*>(object)->ft : nullptr;
}

}  // namespace

const char* objectTypeName(const void* object) {
  const void* table = tableOf(object);
  if (table == &StringObject::table) return "CMPIString";
  if (table == &ArrayObject::table) return "CMPIArray";
  if (table == &PathObject::table) return "CMPIObjectPath";
  if (table == &InstanceObject::table) return "CMPIInstance";
  if (table == &EnumerationObject::table) return "CMPIEnumeration";
  if (table == &ContextObject::table) return "CMPIContext";
  if (table == &ResultObject::table) return "CMPIResult";
  return nullptr;
}

std::optional<std::string> objectText(const void* object) {
  const void* table = tableOf(object);
  if (table == &StringObject::table) {
    return get<StringObject>(static_cast<const CMPIString*>(object))->text;
  }
  if (table == &PathObject::table)
    return toText(*pathOf(static_cast<const CMPIObjectPath*>(object)));
  if (table == &InstanceObject::table) {
    return toText(instanceOf(static_cast<const CMPIInstance*>(object))->path);
  }
  const char* type = objectTypeName(object);
  return type != nullptr ? std::optional<std::string>(type) : std::nullopt;
}

RequestScope::RequestScope() : arena_(std::make_unique<Arena>()), outer_(innermost) {
  innermost = this;
}

RequestScope::~RequestScope() {
  innermost = outer_;
}

CMPIResult* RequestScope::newResult(RequestAnswers& answers) {
  auto object = std::make_unique<ResultObject>(answers);
  CMPIResult* handle = &object->handle;
  arena_->adopt(std::move(object));
  return handle;
}

CMPIContext* RequestScope::newContext(const std::string& nameSpace, CMPIUint32 invocationFlags) {
  auto object = std::make_unique<ContextObject>();
  object->entries = {{"CMPIInitNameSpace", Value::text(nameSpace)},
                     {"CMPIInvocationFlags", Value::number(CimType::kUint32, invocationFlags)}};
  CMPIContext* handle = &object->handle;
  arena_->adopt(std::move(object));
  return handle;
}

CMPIObjectPath* RequestScope::newPath(const ObjectPath& path) {
  auto object = std::make_unique<PathObject>(path);
  CMPIObjectPath* handle = &object->handle;
  arena_->adopt(std::move(object));
  return handle;
}

}  // namespace cimom
