#include "result_object.h"

#include <utility>

#include "instance_object.h"
#include "not_supported.h"
#include "path_object.h"

namespace cimom {
namespace {

/// What is left of the latest copy that this thread handed over.
template <class Model>
Model& usedBefore() {
  static thread_local Model copy;
  return copy;
}

void copyTo(Instance& model, const InstanceObject& object) {
  copyTo(model.path, object.path);
  copyTo(model.properties, object.properties);
}

void copyTo(ObjectPath& model, const PathObject& object) {
  copyTo(model, object.path);
}

/// A copy of the object goes to the receiver: the provider may go on with its own. What the
/// receiver leaves of the copy is used for the next one. What it throws becomes a status: no
/// exception crosses the interface.
template <class Model, class Object>
CMPIStatus handOver(const ResultObject& result, const Object& object) noexcept {
  try {
    // The receiver may send requests of its own, which then have no copy to use again.
    Model copy = std::exchange(usedBefore<Model>(), {});
    copyTo(copy, object);
    result.receiver->receive(static_cast<Model&&>(copy));
    usedBefore<Model>() = std::move(copy);
    return okStatus();
  } catch (...) {
    noteRefusal();
    return {CMPI_RC_ERR_FAILED, nullptr};
  }
}

CMPIStatus resultReturnInstance(const CMPIResult* handle, const CMPIInstance* instance) {
  const ResultObject* result = get<ResultObject>(handle);
  const InstanceObject* object = get<InstanceObject>(instance);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  if (!object->filter) object->layout->noteCount(object->properties.size());
  return handOver<Instance>(*result, *object);
}

CMPIStatus resultReturnObjectPath(const CMPIResult* handle, const CMPIObjectPath* path) {
  const ResultObject* result = get<ResultObject>(handle);
  const PathObject* object = get<PathObject>(path);
  if (result == nullptr || object == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  return handOver<ObjectPath>(*result, *object);
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
  try {
    result->receiver->receiveDone();
    return okStatus();
  } catch (...) {
    return {CMPI_RC_ERR_FAILED, nullptr};
  }
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
