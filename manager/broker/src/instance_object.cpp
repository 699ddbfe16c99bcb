#include "instance_object.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cmpi_values.h"
#include "named_values.h"
#include "path_object.h"
#include "string_object.h"
#include "text_pool.h"

namespace cimom {
namespace {

CMPIData instanceGetProperty(const CMPIInstance* handle, const char* name, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle);
  const StoredValue* value =
      object != nullptr && name != nullptr ? findNamed(object->properties, name) : nullptr;
  if (value == nullptr) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "the instance has no such property");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(*value);
}

bool fits(const StoredValue& given, const ClassLayout::Property& declared) {
  return given.isArray() == declared.isArray &&
         (given.type() == declared.type ||
          (given.type() == CimType::kString && declared.type == CimType::kDateTime));
}

CMPIStatus unknownProperty(const InstanceObject& object, std::string_view name) {
  return {CMPI_RC_ERR_NO_SUCH_PROPERTY, makeString("class " + object.path.className.string() +
                                                   " has no property " + std::string(name))};
}

CMPIStatus mismatch(const InstanceObject& object, std::string_view name, CimType declared) {
  return {CMPI_RC_ERR_TYPE_MISMATCH,
          makeString("property " + object.path.className.string() + "." + std::string(name) +
                     " is of type " + std::string(typeName(declared)))};
}

CMPIStatus instanceSetProperty(const CMPIInstance* handle, const char* name, const CMPIValue* value,
                               CMPIType type) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle();
  if (name == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  const std::string_view asked = name;
  const ClassLayout::Property* declared = object->layout->find(asked);
  if (declared == nullptr) return unknownProperty(*object, asked);
  auto given = valueFrom(value, type);
  if (!given || !fits(*given, *declared)) return mismatch(*object, asked, declared->type);
  if (declared->isKey) putNamed(object->path.keys, declared->name, *given);
  if (object->filter && !object->filter->holds(asked)) return okStatus();
  const bool isUsual = declared->name.view() == asked;
  putNamed(object->properties, isUsual ? declared->name : requestTexts().get(asked),
           std::move(*given));
  return okStatus();
}

CMPIStatus instanceSetPropertyWithOrigin(const CMPIInstance* handle, const char* name,
                                         const CMPIValue* value, CMPIType type, const char*) {
  return instanceSetProperty(handle, name, value, type);
}

CMPIObjectPath* instanceGetObjectPath(const CMPIInstance* handle, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle, status);
  return object != nullptr ? makePath(object->path) : nullptr;
}

/// Calls `visit` with each name of the lists, while it returns true.
template <class Visit>
bool forEachName(const char** properties, const char** keys, Visit visit) {
  for (const char** list : {properties, keys}) {
    for (; list != nullptr && *list != nullptr; ++list) {
      if (!visit(*list)) return false;
    }
  }
  return true;
}

bool areNames(const NameSet& set, const char** properties, const char** keys) {
  auto next = set.names().begin();
  const auto end = set.names().end();
  return forEachName(properties, keys,
                     [&](const char* name) { return next != end && *next++ == name; }) &&
         next == end;
}

/// Providers filter one instance after the other by the same names, which these then share.
std::shared_ptr<const NameSet> filterOf(const char** properties, const char** keys) {
  std::shared_ptr<const NameSet>& latest = latestFilter();
  if (latest && areNames(*latest, properties, keys)) return latest;
  std::vector<std::string> names;
  forEachName(properties, keys, [&names](const char* name) {
    names.emplace_back(name);
    return true;
  });
  latest = std::make_shared<const NameSet>(std::move(names));
  return latest;
}

CMPIStatus instanceSetPropertyFilter(const CMPIInstance* handle, const char** properties,
                                     const char** keys) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle();
  object->filter.reset();
  if (properties == nullptr) return okStatus();
  object->filter = filterOf(properties, keys);
  object->layout->noteCount(object->properties.size());
  std::erase_if(object->properties, [object](const StoredNamed& property) {
    return !object->filter->holds(property.name.view());
  });
  object->properties.shrink_to_fit();
  return okStatus();
}

CMPIStatus instanceSetObjectPath(const CMPIInstance* handle, const CMPIObjectPath* path) {
  InstanceObject* object = get<InstanceObject>(handle);
  const PathObject* source = get<PathObject>(path);
  if (object == nullptr || source == nullptr) return badHandle();
  object->path = source->path;
  object->layout = &object->layout->owner().of(object->path.className.view());
  return okStatus();
}

}  // namespace

const CMPIInstanceFT InstanceObject::table = {200,
                                              releaseObject<InstanceObject>,
                                              cloneObject<InstanceObject>,
                                              instanceGetProperty,
                                              valueAt<InstanceObject>,
                                              valueCount<InstanceObject>,
                                              instanceSetProperty,
                                              instanceGetObjectPath,
                                              instanceSetPropertyFilter,
                                              instanceSetObjectPath,
                                              instanceSetPropertyWithOrigin};

CMPIInstance* makeInstance(const Instance& instance, const ClassLayout& layout) {
  TextPool& texts = requestTexts();
  return make<InstanceObject>(fromModel(instance.path, texts),
                              fromModel(instance.properties, texts), &layout);
}

}  // namespace cimom
