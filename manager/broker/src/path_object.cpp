#include "path_object.h"

#include <string>
#include <utility>

#include "cmpi_values.h"
#include "named_values.h"
#include "not_supported.h"
#include "string_object.h"
#include "text_pool.h"

namespace cimom {
namespace {

template <SharedText StoredPath::*Member>
CMPIStatus setPathText(const CMPIObjectPath* handle, const char* text) {
  PathObject* object = get<PathObject>(handle);
  if (object == nullptr) return badHandle();
  object->path.*Member = requestTexts().get(text != nullptr ? text : "");
  return okStatus();
}

template <SharedText StoredPath::*Member>
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
  if (!key || key->isArray()) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->path.keys, requestTexts().get(name), std::move(*key));
  object->firstKey = nullptr;
  return okStatus();
}

CMPIData pathGetKey(const CMPIObjectPath* handle, const char* name, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle);
  if (object == nullptr || name == nullptr) {
    return notFound(status, CMPI_RC_ERR_INVALID_PARAMETER, "no path or no key name");
  }
  const StoredValue* key = findNamed(object->path.keys, name);
  if (key == nullptr) {
    return notFound(status, CMPI_RC_ERR_NOT_FOUND, std::string("the path has no key ") + name);
  }
  setStatus(status, CMPI_RC_OK);
  const bool isReady = object->firstKey != nullptr && key == &object->path.keys.front().value;
  return isReady ? stringData(object->firstKey) : dataFrom(*key);
}

CMPIStatus pathCopyNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  PathObject* object = get<PathObject>(handle);
  const PathObject* from = get<PathObject>(source);
  if (object == nullptr || from == nullptr) return badHandle();
  object->path.nameSpace = from->path.nameSpace;
  return okStatus();
}

CMPIStatus pathCopyHostAndNameSpace(const CMPIObjectPath* handle, const CMPIObjectPath* source) {
  PathObject* object = get<PathObject>(handle);
  const PathObject* from = get<PathObject>(source);
  if (object == nullptr || from == nullptr) return badHandle();
  object->path.nameSpace = from->path.nameSpace;
  object->path.host = from->path.host;
  return okStatus();
}

CMPIString* pathToString(const CMPIObjectPath* handle, CMPIStatus* status) {
  const PathObject* object = get<PathObject>(handle, status);
  return object != nullptr ? makeString(toText(toModel(object->path))) : nullptr;
}

}  // namespace

const CMPIObjectPathFT PathObject::table = {
    200,
    releaseObject<PathObject>,
    cloneObject<PathObject>,
    setPathText<&StoredPath::nameSpace>,
    getPathText<&StoredPath::nameSpace>,
    setPathText<&StoredPath::host>,
    getPathText<&StoredPath::host>,
    setPathText<&StoredPath::className>,
    getPathText<&StoredPath::className>,
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

CMPIObjectPath* makePath(StoredPath path) {
  return make<PathObject>(std::move(path));
}

const StoredPath* pathOf(const CMPIObjectPath* path) {
  const PathObject* object = get<PathObject>(path);
  return object != nullptr ? &object->path : nullptr;
}

}  // namespace cimom
