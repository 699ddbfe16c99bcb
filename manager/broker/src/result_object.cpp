#include "result_object.h"

#include <memory>

#include "instance_object.h"
#include "not_supported.h"
#include "path_object.h"

namespace cimom {
namespace {

CMPIStatus resultReturnInstance(const CMPIResult* handle, const CMPIInstance* instance) {
  ResultObject* result = get<ResultObject>(handle);
  const InstanceObject* object = get<InstanceObject>(instance);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  result->answers->instances.push_back(object->instance);
  return okStatus();
}

CMPIStatus resultReturnObjectPath(const CMPIResult* handle, const CMPIObjectPath* path) {
  ResultObject* result = get<ResultObject>(handle);
  const PathObject* object = get<PathObject>(path);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  result->answers->paths.push_back(object->path);
  return okStatus();
}

CMPIStatus resultReturnData(const CMPIResult* handle, const CMPIValue* value, CMPIType type) {
  if (value == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  if (type == CMPI_instance) return resultReturnInstance(handle, value->inst);
  if (type == CMPI_ref) return resultReturnObjectPath(handle, value->ref);
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIStatus resultReturnDone(const CMPIResult* handle) {
  ResultObject* result = get<ResultObject>(handle);
  if (result == nullptr) return badHandle();
  ++result->answers->doneCount;
  return okStatus();
}

}  // namespace

const CMPIResultFT ResultObject::table = {200,
                                          releaseObject<ResultObject>,
                                          cloneObject<ResultObject>,
                                          resultReturnData,
                                          resultReturnInstance,
                                          resultReturnObjectPath,
                                          resultReturnDone,
                                          notSupported<decltype(CMPIResultFT::returnError)>()};

}  // namespace cimom
