#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "broker_tables.h"

#include <pthread.h>
#include <time.h>

namespace cimom {

namespace {

// Threads travel as opaque words; a pthread_t fits one.
static_assert(sizeof(pthread_t) == sizeof(void*));
static_assert(sizeof(pthread_key_t) == sizeof(unsigned int));
// Callers start a control word at zero.
static_assert(std::is_same_v<pthread_once_t, int> && PTHREAD_ONCE_INIT == 0);

char* resolveFileName(const char* name) {
  return name != nullptr ? strdup(name) : nullptr;
}

void* newThread(void* (*start)(void*), void* parameter, int detached) {
  pthread_t thread{};
  if (pthread_create(&thread, nullptr, start, parameter) != 0) return nullptr;
  if (detached != 0) pthread_detach(thread);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the interface knows threads as opaque pointers.
  return reinterpret_cast<void*>(thread);
}

pthread_t threadOf(void* thread) {
  return reinterpret_cast<pthread_t>(thread);
}

int joinThread(void* thread, void** returnCode) {
  return pthread_join(threadOf(thread), returnCode);
}

int exitThread(void* returnCode) {
  pthread_exit(returnCode);
}

int cancelThread(void* thread) {
  return pthread_cancel(threadOf(thread));
}

int threadSleep(CMPIUint32 milliseconds) {
  timespec left{static_cast<time_t>(milliseconds / 1000),
                static_cast<long>(milliseconds % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// The word is a pthread_once_t: each has a lock of its own, so an init may use another.
int threadOnce(int* once, void (*init)(void)) {
  if (once == nullptr || init == nullptr) return EINVAL;
  return pthread_once(once, init);
}

int createThreadKey(unsigned int* key, void (*cleanup)(void*)) {
  return pthread_key_create(key, cleanup);
}
int destroyThreadKey(unsigned int key) {
  return pthread_key_delete(key);
}
void* getThreadSpecific(unsigned int key) {
  return pthread_getspecific(key);
}
int setThreadSpecific(unsigned int key, void* value) {
  return pthread_setspecific(key, value);
}

/// A new object that `init` sets up, on the heap, as the interface has it; null where there is
/// none.
template <class Object, class Attributes, int (*init)(Object*, const Attributes*)>
void* newObject(int) {
  std::unique_ptr<Object> object(new (std::nothrow) Object{});
  if (!object || init(object.get(), nullptr) != 0) return nullptr;
  return object.release();
}

template <class Object, int (*destroy)(Object*)>
void destroyObject(void* object) {
  const std::unique_ptr<Object> owned(static_cast<Object*>(object));
  if (owned) destroy(owned.get());
}

pthread_mutex_t* mutexOf(void* mutex) {
  return static_cast<pthread_mutex_t*>(mutex);
}
pthread_cond_t* conditionOf(void* condition) {
  return static_cast<pthread_cond_t*>(condition);
}

void lockMutex(void* mutex) {
  pthread_mutex_lock(mutexOf(mutex));
}
void unlockMutex(void* mutex) {
  pthread_mutex_unlock(mutexOf(mutex));
}

int condWait(void* condition, void* mutex) {
  return pthread_cond_wait(conditionOf(condition), mutexOf(mutex));
}

int timedCondWait(void* condition, void* mutex, timespec* wait) {
  return pthread_cond_timedwait(conditionOf(condition), mutexOf(mutex), wait);
}

int signalCondition(void* condition) {
  return pthread_cond_signal(conditionOf(condition));
}

}  // namespace

const CMPIBrokerExtFT& operatingSystemTable() {
  static const CMPIBrokerExtFT table = {
      200,
      resolveFileName,
      newThread,
      joinThread,
      exitThread,
      cancelThread,
      threadSleep,
      threadOnce,
      createThreadKey,
      destroyThreadKey,
      getThreadSpecific,
      setThreadSpecific,
      newObject<pthread_mutex_t, pthread_mutexattr_t, pthread_mutex_init>,
      destroyObject<pthread_mutex_t, pthread_mutex_destroy>,
      lockMutex,
      unlockMutex,
      newObject<pthread_cond_t, pthread_condattr_t, pthread_cond_init>,
      destroyObject<pthread_cond_t, pthread_cond_destroy>,
      condWait,
      timedCondWait,
      signalCondition};
  return table;
}

}  // namespace cimom
