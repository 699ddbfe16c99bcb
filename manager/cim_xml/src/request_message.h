#pragma once

#include <cim_xml/cim_xml_service.h>

#include <pugixml.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cimom {

/// A request that gets no response message, only a HTTP status and perhaps a CIMError header.
class HttpRefusal : public std::runtime_error {
 public:
  HttpRefusal(int status, std::string cimError, const std::string& reason)
      : std::runtime_error(reason), status_(status), cimError_(std::move(cimError)) {}

  int status() const noexcept { return status_; }
  const std::string& cimError() const noexcept { return cimError_; }

 private:
  int status_;
  std::string cimError_;
};

/// A request for one operation.
struct CimMessage {
  pugi::xml_document document;
  std::string id;
  std::string protocolVersion;
  /// False for a method of a class, true for an operation of the object manager.
  bool isIntrinsic = true;
  /// The operation's or the method's name.
  std::string method;
  std::string nameSpace;
  /// Of a method's call alone; empty otherwise.
  std::string className;
  /// The element whose children are the parameters. Lives as long as the document.
  pugi::xml_node call;
};

/// Reads the body. Throws HttpRefusal: it is not well-formed, not a request, more than one
/// request, or of a version other than 2.x (of CIM and of the elements) and 1.x (of the protocol).
CimMessage readMessage(std::string_view body);

/// Throws HttpRefusal unless the headers announce a CIM operation of a version that is spoken.
void checkHeaders(const CimXmlHeaders& headers);

/// Throws HttpRefusal where the headers say another method, object or version than the message.
void compareHeaders(const CimXmlHeaders& headers, const CimMessage& message);

}  // namespace cimom
