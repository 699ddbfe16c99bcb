#include "context_object.h"

#include <memory>
#include <utility>

#include "cmpi_values.h"

namespace cimom {
namespace {

CMPIData contextGetEntry(const CMPIContext* handle, const char* name, CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  if (object != nullptr && name != nullptr) {
    for (const NamedValue& entry : object->entries) {
      if (entry.name != name) continue;
      setStatus(status, CMPI_RC_OK);
      return dataFrom(entry.value);
    }
  }
  return notFound(status, CMPI_RC_ERR_NOT_FOUND, "the context has no such entry");
}

CMPIData contextGetEntryAt(const CMPIContext* handle, CMPICount index, CMPIString** name,
                           CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle);
  if (object == nullptr) return notFound(status, CMPI_RC_ERR_INVALID_HANDLE, "no context");
  return dataAt(object->entries, index, name, status);
}

CMPICount contextEntryCount(const CMPIContext* handle, CMPIStatus* status) {
  const ContextObject* object = get<ContextObject>(handle, status);
  return object != nullptr ? static_cast<CMPICount>(object->entries.size()) : 0;
}

CMPIStatus contextAddEntry(const CMPIContext* handle, const char* name, const CMPIValue* value,
                           CMPIType type) {
  ContextObject* object = get<ContextObject>(handle);
  if (object == nullptr || name == nullptr) return badHandle();
  auto entry = valueFrom(value, type);
  if (!entry) return {CMPI_RC_ERR_INVALID_DATA_TYPE, nullptr};
  putNamed(object->entries, name, std::move(*entry));
  return okStatus();
}

}  // namespace

const CMPIContextFT ContextObject::table = {200,
                                            releaseObject<ContextObject>,
                                            cloneObject<ContextObject>,
                                            contextGetEntry,
                                            contextGetEntryAt,
                                            contextEntryCount,
                                            contextAddEntry};

}  // namespace cimom
