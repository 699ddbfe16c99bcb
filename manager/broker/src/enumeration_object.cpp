#include "enumeration_object.h"

#include <memory>
#include <utility>

#include "cmpi_values.h"
#include "instance_object.h"
#include "not_supported.h"
#include "path_object.h"

namespace cimom {
namespace {

CMPIData enumerationGetNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  EnumerationObject* object = get<EnumerationObject>(handle);
  if (object == nullptr || object->next >= object->elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_MORE_ELEMENTS, "no more elements");
  }
  setStatus(status, CMPI_RC_OK);
  return object->elements[object->next++];
}

CMPIBoolean enumerationHasNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  const EnumerationObject* object = get<EnumerationObject>(handle, status);
  return object != nullptr && object->next < object->elements.size() ? 1 : 0;
}

}  // namespace

const CMPIEnumerationFT EnumerationObject::table = {
    200,
    releaseObject<EnumerationObject>,
    cloneObject<EnumerationObject>,
    enumerationGetNext,
    enumerationHasNext,
    notSupported<decltype(CMPIEnumerationFT::toArray)>()};

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

CMPIEnumeration* makeEnumeration(std::vector<Instance> instances,
                                 const ClassRepository& repository) {
  auto enumeration = std::make_unique<EnumerationObject>();
  for (Instance& instance : instances) {
    CMPIData data = nullData(CMPI_instance);
    data.state = CMPI_goodValue;
    data.value.inst = makeInstance(std::move(instance), repository);
    enumeration->elements.push_back(data);
  }
  return keep(std::move(enumeration));
}

}  // namespace cimom
