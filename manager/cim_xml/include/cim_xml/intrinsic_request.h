#pragma once

#include <model/operations.h>
#include <model/value.h>

#include <cstdint>
#include <string>

namespace cimom {

/// A request for an intrinsic operation as a client puts it together: its parameters in the order
/// in which they are added. One that has an empty text is not sent.
///
///     IntrinsicRequest request("EnumerateInstanceNames", "root/cimv2");
///     request.className("ClassName", "Zelmar_PCIDevice");
///     post(request.method(), request.nameSpace(), request.message("1"));
class IntrinsicRequest {
 public:
  IntrinsicRequest(std::string method, std::string nameSpace);

  IntrinsicRequest& className(const char* parameter, const std::string& name);
  /// INSTANCENAME, with the keys as they are.
  IntrinsicRequest& path(const char* parameter, const ObjectPath& path);
  IntrinsicRequest& text(const char* parameter, const std::string& text);
  IntrinsicRequest& boolean(const char* parameter, bool value);
  IntrinsicRequest& number(const char* parameter, std::uint32_t number);
  /// Sends nothing without a list.
  IntrinsicRequest& properties(const PropertyList& names);

  const std::string& method() const noexcept { return method_; }
  const std::string& nameSpace() const noexcept { return nameSpace_; }
  /// The whole message (CIM 2.0, protocol 1.0), under that id.
  std::string message(const std::string& id) const;

 private:
  std::string method_;
  std::string nameSpace_;
  /// IPARAMVALUE elements.
  std::string parameters_;
};

}  // namespace cimom
