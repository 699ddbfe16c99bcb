#include "result_object.h"

#include <memory>

#include "instance_object.h"
#include "not_supported.h"
#include "path_object.h"

namespace cimom {
namespace {

/// What the receiver throws becomes a status: no exception crosses the interface.
template <class Call>
CMPIStatus handOver(Call call) noexcept {
  try {
    call();
    return okStatus();
  } catch (...) {
    return {CMPI_RC_ERR_FAILED, nullptr};
  }
}

CMPIStatus resultReturnInstance(const CMPIResult* handle, const CMPIInstance* instance) {
  const ResultObject* result = get<ResultObject>(handle);
  const InstanceObject* object = get<InstanceObject>(instance);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  // The provider may go on with its own.
  object->layout->noteCount(object->properties.size());
  return handOver([&] { result->receiver->receive(toModel(*object)); });
}

CMPIStatus resultReturnObjectPath(const CMPIResult* handle, const CMPIObjectPath* path) {
  const ResultObject* result = get<ResultObject>(handle);
  const PathObject* object = get<PathObject>(path);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  return handOver([&] { result->receiver->receive(toModel(object->path)); });
}

CMPIStatus resultReturnData(const CMPIResult* handle, const CMPIValue* value, CMPIType type) {
  if (value == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  if (type == CMPI_instance) return resultReturnInstance(handle, value->inst);
  if (type == CMPI_ref) return resultReturnObjectPath(handle, value->ref);
  return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIStatus resultReturnDone(const CMPIResult* handle) {
  const ResultObject* result = get<ResultObject>(handle);
  if (result == nullptr) return badHandle();
  return handOver([&] { result->receiver->receiveDone(); });
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
