#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiString.h>

namespace zelInt {

namespace {

const char* charactersOf(const CMPIString* string) {
  if (string == nullptr || string->ft == nullptr) return "";
  const char* text = ask<&CMPIStringFT::getCharPtr>("getCharPtr", string);
  return text != nullptr ? text : "";
}

}  // namespace

CmpiString::CmpiString(const CMPIString* string) : text_(charactersOf(string)) {}

}  // namespace zelInt
