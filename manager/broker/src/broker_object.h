#pragma once

#include <cmpi/cmpi.h>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

/// What all objects behind the broker's handles have in common. Each kind has a file of its own,
/// which holds the functions of its table; what a make function returns belongs to the thread's
/// request and is released at its end.
namespace cimom {

class NameSet;
class TextPool;

/// What a request owns.
struct BrokerObject {
  BrokerObject() = default;
  BrokerObject(const BrokerObject&) noexcept {}
  BrokerObject& operator=(const BrokerObject&) = delete;
  virtual ~BrokerObject() = default;

  /// Clones belong to the caller that made them and end with their release.
  bool isClone() const noexcept { return next == this; }
  void markAsClone() noexcept { next = this; }

  /// The object of the same request that was made before this one.
  BrokerObject* next = nullptr;
};

/// Objects hold pointers and nothing wider.
inline constexpr std::size_t kObjectAlignment = alignof(void*);

/// Memory of the innermost request of this thread, for one object; what begins there goes to
/// `adopt`, which lets it end with the request.
void* placeForObject(std::size_t size);
void adopt(BrokerObject& object) noexcept;
/// The texts that objects of that request share.
TextPool& requestTexts();
/// The latest filter of properties in that request; null before the first.
std::shared_ptr<const NameSet>& latestFilter();

/// A mark of that request, which lives as long as it. Null once its answer is not taken any more:
/// the provider need not go on.
void* markRequest();
/// Ends what the request has made since the mark; false for a mark that is none of its, or released
/// already. Objects that were made before must not refer to those that end.
bool releaseToMark(const void* mark) noexcept;
/// Remembers that an object of its answer was not taken.
void noteRefusal() noexcept;

/// Makes an object of the innermost request of this thread.
template <class Object, class... Arguments>
typename Object::Record* make(Arguments&&... arguments) {
  static_assert(alignof(Object) <= kObjectAlignment);
  auto* object = new (placeForObject(sizeof(Object))) Object(std::forward<Arguments>(arguments)...);
  adopt(*object);
  return &object->handle;
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
  if (object->isClone()) delete object;
  return okStatus();
}

template <class Object>
typename Object::Record* cloneObject(const typename Object::Record* handle, CMPIStatus* status) {
  const Object* object = get<Object>(handle, status);
  if (object == nullptr) return nullptr;
  auto* copy = new Object(*object);
  copy->markAsClone();
  return &copy->handle;
}

}  // namespace cimom
