#pragma once

#include <cmpi/cmpi.h>

#include <memory>

/// What all objects behind the broker's handles have in common. Each kind has a file of its own,
/// which holds the functions of its table; what a make function returns belongs to the thread's
/// request and is released at its end.
namespace cimom {

/// What a request owns.
struct BrokerObject {
  virtual ~BrokerObject() = default;
  /// Clones belong to the caller that made them and end with their release.
  bool isClone = false;
};

/// Hands the object over to the innermost request of this thread.
void adopt(std::unique_ptr<BrokerObject> object);

template <class Object>
typename Object::Record* keep(std::unique_ptr<Object> object) {
  auto* handle = &object->handle;
  adopt(std::move(object));
  return handle;
}

/// Writes the status where the caller wants one.
inline void setStatus(CMPIStatus* status, CMPIStatus value) {
  if (status != nullptr) *status = value;
}
inline void setStatus(CMPIStatus* status, CMPIrc code) {
  setStatus(status, CMPIStatus{code, nullptr});
}

inline CMPIStatus okStatus() {
  return {CMPI_RC_OK, nullptr};
}
inline CMPIStatus badHandle() {
  return {CMPI_RC_ERR_INVALID_HANDLE, nullptr};
}

/// The object behind a handle; null when the handle is null or names none.
template <class Object>
Object* get(const typename Object::Record* handle) {
  if (handle == nullptr || handle->hdl == nullptr) return nullptr;
  return static_cast<Object*>(handle->hdl);
}

/// The same, with a status that says whether there is one.
template <class Object>
Object* get(const typename Object::Record* handle, CMPIStatus* status) {
  Object* object = get<Object>(handle);
  setStatus(status, object != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return object;
}

template <class Object>
CMPIStatus releaseObject(typename Object::Record* handle) {
  Object* object = get<Object>(handle);
  if (object == nullptr) return badHandle();
  if (object->isClone) delete object;
  return okStatus();
}

template <class Object>
typename Object::Record* cloneObject(const typename Object::Record* handle, CMPIStatus* status) {
  const Object* object = get<Object>(handle, status);
  if (object == nullptr) return nullptr;
  auto copy = std::make_unique<Object>(*object);
  copy->isClone = true;
  return &copy.release()->handle;
}

}  // namespace cimom
