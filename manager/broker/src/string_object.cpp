#include "string_object.h"

#include <utility>

#include "text_pool.h"

namespace cimom {
namespace {

char* stringCharPtr(const CMPIString* handle, CMPIStatus* status) {
  const StringObject* string = get<StringObject>(handle, status);
  return string != nullptr ? string->text.characters() : nullptr;
}

}  // namespace

const CMPIStringFT StringObject::table = {200, releaseObject<StringObject>,
                                          cloneObject<StringObject>, stringCharPtr};

CMPIString* makeString(std::string_view text) {
  return make<StringObject>(SharedText(text));
}

CMPIString* makeString(SharedText text) {
  return requestTexts().string(std::move(text),
                               [](SharedText own) { return make<StringObject>(std::move(own)); });
}

}  // namespace cimom
