#include <zelcppc/CmpiString.h>

namespace zelInt {

namespace {

const char* charactersOf(const CMPIString* string) {
  if (string == nullptr || string->ft == nullptr) return "";
  const char* text = string->ft->getCharPtr(string, nullptr);
  return text != nullptr ? text : "";
}

}  // namespace

CmpiString::CmpiString(const CMPIString* string) : text_(charactersOf(string)) {}

}  // namespace zelInt
