#pragma once

#include <cmpi/cmpi.h>

#include <stdexcept>
#include <string>

namespace cimom {

/// A request that failed, as CIM reports it: a status code with a text. what() reads
/// "CIM_ERR_NOT_FOUND: text".
class CimError : public std::runtime_error {
 public:
  CimError(CMPIrc code, const std::string& text);

  CMPIrc code() const noexcept { return code_; }
  /// The text alone.
  const std::string& text() const noexcept { return text_; }
  /// The code's CIM name, such as "CIM_ERR_NOT_FOUND".
  std::string name() const;

 private:
  CMPIrc code_;
  std::string text_;
};

/// The CIM name of a status code; a code without one reads "CIM_ERR_FAILED (CMPI code 60)".
std::string statusName(CMPIrc code);

}  // namespace cimom
