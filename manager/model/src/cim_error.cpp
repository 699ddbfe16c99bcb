#include <model/cim_error.h>

#include <algorithm>
#include <iterator>

namespace cimom {

namespace {

struct NamedCode {
  int code;
  const char* name;
};

constexpr NamedCode kNames[] = {
    {CMPI_RC_OK, "CIM_ERR_SUCCESS"},
    {CMPI_RC_ERR_FAILED, "CIM_ERR_FAILED"},
    {CMPI_RC_ERR_ACCESS_DENIED, "CIM_ERR_ACCESS_DENIED"},
    {CMPI_RC_ERR_INVALID_NAMESPACE, "CIM_ERR_INVALID_NAMESPACE"},
    {CMPI_RC_ERR_INVALID_PARAMETER, "CIM_ERR_INVALID_PARAMETER"},
    {CMPI_RC_ERR_INVALID_CLASS, "CIM_ERR_INVALID_CLASS"},
    {CMPI_RC_ERR_NOT_FOUND, "CIM_ERR_NOT_FOUND"},
    {CMPI_RC_ERR_NOT_SUPPORTED, "CIM_ERR_NOT_SUPPORTED"},
    {CMPI_RC_ERR_ALREADY_EXISTS, "CIM_ERR_ALREADY_EXISTS"},
    {CMPI_RC_ERR_NO_SUCH_PROPERTY, "CIM_ERR_NO_SUCH_PROPERTY"},
    {CMPI_RC_ERR_TYPE_MISMATCH, "CIM_ERR_TYPE_MISMATCH"},
    {CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, "CIM_ERR_QUERY_LANGUAGE_NOT_SUPPORTED"},
    {CMPI_RC_ERR_INVALID_QUERY, "CIM_ERR_INVALID_QUERY"},
    {CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "CIM_ERR_METHOD_NOT_AVAILABLE"},
    {CMPI_RC_ERR_METHOD_NOT_FOUND, "CIM_ERR_METHOD_NOT_FOUND"},
    // The C interface has no names for these of CIM.
    {21, "CIM_ERR_INVALID_ENUMERATION_CONTEXT"},
    {22, "CIM_ERR_INVALID_OPERATION_TIMEOUT"},
    {23, "CIM_ERR_PULL_HAS_BEEN_ABANDONED"},
    {25, "CIM_ERR_FILTERED_ENUMERATION_NOT_SUPPORTED"},
    {26, "CIM_ERR_CONTINUATION_ON_ERROR_NOT_SUPPORTED"},
    {27, "CIM_ERR_SERVER_LIMITS_EXCEEDED"},
    {28, "CIM_ERR_SERVER_IS_SHUTTING_DOWN"},
};

}  // namespace

std::string statusName(CMPIrc code) {
  const auto named = std::ranges::find(kNames, static_cast<int>(code), &NamedCode::code);
  if (named != std::end(kNames)) return named->name;
  return "CIM_ERR_FAILED (CMPI code " + std::to_string(static_cast<int>(code)) + ")";
}

CimError::CimError(CMPIrc code, const std::string& text)
    : std::runtime_error(statusName(code) + (text.empty() ? "" : ": " + text)),
      code_(code),
      text_(text) {}

std::string CimError::name() const {
  return statusName(code_);
}

}  // namespace cimom
