#pragma once

#include <qarctl/Export.h>

#include <exception>
#include <string>

namespace HostCtl::Lib {

/// A failure of host control. The text names what failed (the file, for input) and why.
class QARCTL_EXPORT HostCtlException : public std::exception {
 public:
  explicit HostCtlException(std::string message);
  HostCtlException(const HostCtlException&);
  HostCtlException& operator=(const HostCtlException&);
  ~HostCtlException() override;

  /// The text; it lives as long as the exception.
  const char* what() const noexcept override;

 private:
  std::string message_;
};

}  // namespace HostCtl::Lib
