// A mark is a place in the memory of a request. What the provider makes behind it ends with its
// release, so that the memory of a long answer is used again for each of its objects.
#include <cstdlib>
#include <cstring>

#include "broker_tables.h"
#include "not_supported.h"
#include "string_object.h"

namespace cimom {
namespace {

void* mftMark(const CMPIBroker*, CMPIStatus* status) {
  void* mark = markRequest();
  setStatus(status, mark != nullptr
                        ? okStatus()
                        : CMPIStatus{CMPI_RC_ERR_FAILED, makeString("the answer is not taken")});
  return mark;
}
CMPIStatus mftReleaseMark(const CMPIBroker*, const void* mark) {
  return releaseToMark(mark) ? okStatus() : badHandle();
}

void* mftMalloc(const CMPIBroker*, size_t size) {
  return std::malloc(size);
}
void* mftCalloc(const CMPIBroker*, size_t count, size_t size) {
  return std::calloc(count, size);
}
void* mftRealloc(const CMPIBroker*, void* ptr, size_t size) {
  return std::realloc(ptr, size);
}
char* mftStrDup(const CMPIBroker*, const char* str) {
  return str != nullptr ? strdup(str) : nullptr;
}
void mftFree(const CMPIBroker*, void* ptr) {
  std::free(ptr);
}

/// Frees an object that its holder cloned; objects of a request are the request's to release.
template <class Object>
void mftRelease(const CMPIBroker*, Object* object) {
  if (object != nullptr) object->ft->release(object);
}

CMPIBrokerMemFT makeTable() {
  using FT = CMPIBrokerMemFT;
  FT table{};
  table.ftVersion = 200;
  table.mark = mftMark;
  table.release = mftReleaseMark;
  table.cmpiMalloc = mftMalloc;
  table.cmpiCalloc = mftCalloc;
  table.cmpiRealloc = mftRealloc;
  table.cmpiStrDup = mftStrDup;
  table.cmpiFree = mftFree;
  table.freeInstance = mftRelease<CMPIInstance>;
  table.freeObjectPath = mftRelease<CMPIObjectPath>;
  table.freeArgs = notSupported<decltype(FT::freeArgs)>();
  table.freeString = mftRelease<CMPIString>;
  table.freeArray = mftRelease<CMPIArray>;
  table.freeDateTime = notSupported<decltype(FT::freeDateTime)>();
  table.freeSelectExp = notSupported<decltype(FT::freeSelectExp)>();
  return table;
}

}  // namespace

const CMPIBrokerMemFT& memoryTable() {
  static const CMPIBrokerMemFT table = makeTable();
  return table;
}

}  // namespace cimom
