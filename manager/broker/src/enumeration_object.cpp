#include "enumeration_object.h"

#include <utility>

#include "cmpi_values.h"
#include "instance_object.h"
#include "not_supported.h"
#include "path_object.h"
#include "text_pool.h"

namespace cimom {
namespace {

CMPIData enumerationGetNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  EnumerationObject* object = get<EnumerationObject>(handle);
  if (object == nullptr || object->position >= object->elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_MORE_ELEMENTS, "no more elements");
  }
  setStatus(status, CMPI_RC_OK);
  return object->elements[object->position++];
}

CMPIBoolean enumerationHasNext(const CMPIEnumeration* handle, CMPIStatus* status) {
  const EnumerationObject* object = get<EnumerationObject>(handle, status);
  return object != nullptr && object->position < object->elements.size() ? 1 : 0;
}

}  // namespace

const CMPIEnumerationFT EnumerationObject::table = {
    200,
    releaseObject<EnumerationObject>,
    cloneObject<EnumerationObject>,
    enumerationGetNext,
    enumerationHasNext,
    notSupported<decltype(CMPIEnumerationFT::toArray)>()};

CMPIEnumeration* makeEnumeration(const std::vector<ObjectPath>& paths) {
  std::vector<CMPIData> elements;
  for (const ObjectPath& path : paths) {
    CMPIData data = nullData(CMPI_ref);
    data.state = CMPI_goodValue;
    data.value.ref = makePath(fromModel(path, requestTexts()));
    elements.push_back(data);
  }
  return make<EnumerationObject>(std::move(elements));
}

CMPIEnumeration* makeEnumeration(const std::vector<Instance>& instances, ClassLayouts& layouts) {
  std::vector<CMPIData> elements;
  for (const Instance& instance : instances) {
    CMPIData data = nullData(CMPI_instance);
    data.state = CMPI_goodValue;
    data.value.inst = makeInstance(instance, layouts.of(instance.path.className));
    elements.push_back(data);
  }
  return make<EnumerationObject>(std::move(elements));
}

}  // namespace cimom
