#include "path_object.h"

#include <memory>
#include <string>

#include "cmpi_values.h"
#include "named_values.h"
#include "not_supported.h"
#include "string_object.h"

namespace cimom {
namespace {

template <std::string ObjectPath::*Member>
CMPIStatus setPathText(const CMPIObjectPath* handle, const char* text) {
  PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return badHandle();
  object->path.*Member = text != nullptr ? text : "";
  return okStatus();
}

template <std::string ObjectPath::*Member>
CMPIString* getPathText(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle, status);
  return object != nullptr ? makeString(object->path.*Member) : nullptr;
}

CMPIStatus pathAddKey(const CMPIObjectPath* handle, const char* name, const CMPIValue* value,
                      CMPIType type) {
  PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return badHandle();
  if (name == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  auto key = valueFrom(value, type);
  if (!key || key->isArray) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->path.keys, name, std::move(*key));
  return okStatus();
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

CMPIStatus pathCopyNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  PathObject* object = get<PathObject>(handle);
  const PathObject* from = get<PathObject>(source);
  if (object == nullptr || from == nullptr) return badHandle();
  object->path.nameSpace = from->path.nameSpace;
  return okStatus();
}

CMPIStatus pathCopyHostAndNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  const CMPIStatus status = pathCopyNameSpace(handle, source);
  if (status.rc == CMPI_RC_OK) {
    get<PathObject>(handle)->path.host = get<PathObject>(source)->path.host;
  }
  return status;
}

CMPIString* pathToString(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle, status);
  return object != nullptr ? makeString(toText(object->path)) : nullptr;
}

}  // namespace

const CMPIObjectPathFT PathObject::table = {
    200,
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
    valueAt<PathObject>,
    valueCount<PathObject>,
    pathCopyNameSpace,
    pathCopyHostAndNameSpace,
    notSupported<decltype(CMPIObjectPathFT::getClassQualifier)>(),
    notSupported<decltype(CMPIObjectPathFT::getPropertyQualifier)>(),
    notSupported<decltype(CMPIObjectPathFT::getMethodQualifier)>(),
    notSupported<decltype(CMPIObjectPathFT::getParameterQualifier)>(),
    pathToString};

CMPIObjectPath* makePath(ObjectPath path) {
  return keep(std::make_unique<PathObject>(std::move(path)));
}

const ObjectPath* pathOf(const CMPIObjectPath* path) {
  const PathObject* object = get<PathObject>(path);
  return object != nullptr ? &object->path : nullptr;
}

}  // namespace cimom
