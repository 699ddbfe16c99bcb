#include "context_object.h"

#include <utility>

#include "cmpi_values.h"
#include "named_values.h"
#include "text_pool.h"

namespace cimom {
namespace {

CMPIData contextGetEntry(const CMPIContext* handle, const char* name, CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  if (object != nullptr && name != nullptr) {
    for (const StoredNamed& entry : object->entries) {
      if (entry.name.view() != name) continue;
      setStatus(status, CMPI_RC_OK);
      return dataFrom(entry.value);
    }
  }
  return notFound(status, CMPI_RC_ERR_NOT_FOUND, "the context has no such entry");
}

CMPIStatus contextAddEntry(const CMPIContext* handle, const char* name, const CMPIValue* value,
                           CMPIType type) {
  ContextObject* object = get<ContextObject>(handle);
  if (object == nullptr || name == nullptr) return badHandle();
  auto entry = valueFrom(value, type);
  if (!entry) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->entries, requestTexts().get(name), std::move(*entry));
  return okStatus();
}

}  // namespace

const CMPIContextFT ContextObject::table = {200,
                                            releaseObject<ContextObject>,
                                            cloneObject<ContextObject>,
                                            contextGetEntry,
                                            valueAt<ContextObject>,
                                            valueCount<ContextObject>,
                                            contextAddEntry};

}  // namespace cimom
