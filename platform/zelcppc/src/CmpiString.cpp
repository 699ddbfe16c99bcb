#include <zelcppc/CmpiStatus.h>
#include <zelcppc/CmpiString.h>

namespace zelInt {

namespace {

const char* charactersOf(const CMPIString* string) {
  if (string == nullptr || string->ft == nullptr) return "";
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const char* text = string->ft->getCharPtr(string, &status);
  CmpiStatus::check(status, "getCharPtr");
  return text != nullptr ? text : "";
}

}  // namespace

CmpiString::CmpiString(const CMPIString* string) : text_(charactersOf(string)) {}

}  // namespace zelInt
