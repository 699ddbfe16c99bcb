#include <model/cim_error.h>

namespace cimom {

std::string statusName(CMPIrc code) {
  switch (static_cast<int>(code)) {
    case CMPI_RC_OK:
      return "CIM_ERR_SUCCESS";
    case CMPI_RC_ERR_FAILED:
      return "CIM_ERR_FAILED";
    case CMPI_RC_ERR_ACCESS_DENIED:
      return "CIM_ERR_ACCESS_DENIED";
    case CMPI_RC_ERR_INVALID_NAMESPACE:
      return "CIM_ERR_INVALID_NAMESPACE";
    case CMPI_RC_ERR_INVALID_PARAMETER:
      return "CIM_ERR_INVALID_PARAMETER";
    case CMPI_RC_ERR_INVALID_CLASS:
      return "CIM_ERR_INVALID_CLASS";
    case CMPI_RC_ERR_NOT_FOUND:
      return "CIM_ERR_NOT_FOUND";
    case CMPI_RC_ERR_NOT_SUPPORTED:
      return "CIM_ERR_NOT_SUPPORTED";
    case CMPI_RC_ERR_ALREADY_EXISTS:
      return "CIM_ERR_ALREADY_EXISTS";
    case CMPI_RC_ERR_NO_SUCH_PROPERTY:
      return "CIM_ERR_NO_SUCH_PROPERTY";
    case CMPI_RC_ERR_TYPE_MISMATCH:
      return "CIM_ERR_TYPE_MISMATCH";
    case CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED:
      return "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED";
    case CMPI_RC_ERR_INVALID_QUERY:
      return "CIM_ERR_INVALID_QUERY";
    case CMPI_RC_ERR_METHOD_NOT_AVAILABLE:
      return "CIM_ERR_METHOD_NOT_AVAILABLE";
    case CMPI_RC_ERR_METHOD_NOT_FOUND:
      return "CIM_ERR_METHOD_NOT_FOUND";
    // The C interface has no names for these of CIM.
    case 21:
      return "CIM_ERR_INVALID_ENUMERATION_CONTEXT";
    case 22:
      return "CIM_ERR_INVALID_OPERATION_TIMEOUT";
    case 23:
      return "CIM_ERR_PULL_HAS_BEEN_ABANDONED";
    case 25:
      return "CIM_ERR_FILTERED_ENUMERATION_NOT_SUPPORTED";
    case 26:
      return "CIM_ERR_CONTINUATION_ON_ERROR_NOT_SUPPORTED";
    case 27:
      return "CIM_ERR_SERVER_LIMITS_EXCEEDED";
    case 28:
      return "CIM_ERR_SERVER_IS_SHUTTING_DOWN";
    default:
      return "CIM_ERR_FAILED (CMPI code " + std::to_string(static_cast<int>(code)) + ")";
  }
}

CimError::CimError(CMPIrc code, const std::string& text)
    : std::runtime_error(statusName(code) + (text.empty() ? "" : ": " + text)),
      code_(code),
      text_(text) {}

std::string CimError::name() const {
  return statusName(code_);
}

}  // namespace cimom
