#include "instance_object.h"

#include <memory>
#include <string>
#include <vector>

#include <model/names.h>

#include "cmpi_values.h"
#include "named_values.h"
#include "path_object.h"
#include "string_object.h"

namespace cimom {
namespace {

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

CMPIStatus instanceSetProperty(const CMPIInstance* handle, const char* name, const CMPIValue* value,
                               CMPIType type) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle();
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
  if (object->filter && !holdsName(*object->filter, name)) return okStatus();
  putNamed(object->instance.properties, name, std::move(*given));
  return okStatus();
}

CMPIStatus instanceSetPropertyWithOrigin(const CMPIInstance* handle, const char* name,
                                         const CMPIValue* value, CMPIType type, const char*) {
  return instanceSetProperty(handle, name, value, type);
}

CMPIObjectPath* instanceGetObjectPath(const CMPIInstance* handle, CMPIStatus* status) {
  const InstanceObject* object = get<InstanceObject>(handle, status);
  return object != nullptr ? makePath(object->instance.path) : nullptr;
}

void appendNames(std::vector<std::string>& names, const char** list) {
  if (list == nullptr) return;
  for (; *list != nullptr; ++list) names.emplace_back(*list);
}

CMPIStatus instanceSetPropertyFilter(const CMPIInstance* handle, const char** properties,
                                     const char** keys) {
  InstanceObject* object = get<InstanceObject>(handle);
  if (object == nullptr) return badHandle();
  object->filter.reset();
  if (properties == nullptr) return okStatus();
  std::vector<std::string> kept;
  appendNames(kept, properties);
  appendNames(kept, keys);
  std::erase_if(object->instance.properties,
                [&](const NamedValue& property) { return !holdsName(kept, property.name); });
  object->filter = std::move(kept);
  return okStatus();
}

CMPIStatus instanceSetObjectPath(const CMPIInstance* handle, const CMPIObjectPath* path) {
  InstanceObject* object = get<InstanceObject>(handle);
  const PathObject* source = get<PathObject>(path);
  if (object == nullptr || source == nullptr) return badHandle();
  object->instance.path = source->path;
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

CMPIInstance* makeInstance(Instance instance, const ClassRepository& repository) {
  return keep(std::make_unique<InstanceObject>(std::move(instance), &repository));
}

}  // namespace cimom
