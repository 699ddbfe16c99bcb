#pragma once

#include <cmpi/cmpi.h>

#include <model/cim_error.h>

#include <exception>
#include <string>

/// What every call into a provider library needs.
namespace cimom {

/// The namespace of what names none.
inline constexpr char kDefaultNameSpace[] = "root/cimv2";

/// The text of a status; empty where it has none.
inline std::string messageOf(const CMPIStatus& status) {
  if (status.msg == nullptr) return {};
  const char* text = status.msg->ft->getCharPtr(status.msg, nullptr);
  return text != nullptr ? text : "";
}

inline void throwUnlessOk(const CMPIStatus& status, const std::string& className) {
  if (status.rc == CMPI_RC_OK) return;
  const std::string text = messageOf(status);
  if (!text.empty()) throw CimError(status.rc, text);
  throw CimError(status.rc, "the provider of " + className + " returned code " +
                                std::to_string(static_cast<int>(status.rc)) + " (" +
                                statusName(status.rc) + ") without a text");
}

/// What a provider throws, against its interface, becomes an error that names who failed.
template <class Call>
void guarded(const std::string& who, Call call) {
  try {
    call();
  } catch (const std::exception& failure) {
    throw CimError(CMPI_RC_ERR_FAILED, who + " failed: " + failure.what());
  } catch (...) {
    throw CimError(CMPI_RC_ERR_FAILED, who + " failed");
  }
}

}  // namespace cimom
