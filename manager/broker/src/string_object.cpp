#include "string_object.h"

namespace cimom {
namespace {

char* stringCharPtr(const CMPIString* handle, CMPIStatus* status) {
  StringObject* string = get<StringObject>(handle, status);
  return string != nullptr ? string->text.data() : nullptr;
}

}  // namespace

const CMPIStringFT StringObject::table = {200, releaseObject<StringObject>,
                                          cloneObject<StringObject>, stringCharPtr};

CMPIString* makeString(const std::string& text) {
  return keep(std::make_unique<StringObject>(text));
}

}  // namespace cimom
