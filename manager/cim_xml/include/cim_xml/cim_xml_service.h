#pragma once

#include <model/operations.h>
#include <mof/class_repository.h>

#include <optional>
#include <string>
#include <string_view>

namespace cimom {

/// The headers by which a HTTP request announces a CIM operation, as they came; nothing where one
/// was missing.
struct CimXmlHeaders {
  std::optional<std::string> operation;
  std::optional<std::string> protocolVersion;
  std::optional<std::string> method;
  std::optional<std::string> object;
  std::optional<std::string> batch;
};

/// What goes back over HTTP.
struct CimXmlReply {
  /// 200 also for operations that failed: the failure is then in the message.
  int status = 200;
  /// Value of the CIMError header; empty where there is none to send.
  std::string cimError;
  /// With status 200 the response message in XML, otherwise a sentence for a person.
  std::string text;
};

struct CimXmlSettings {
  /// The only namespace there is.
  std::string nameSpace = "root/cimv2";
  /// What paths name as their host where the provider names none.
  std::string hostName;
};

/// CIM operations over CIM-XML: request messages in, response messages out. What HTTP is to carry
/// is fixed by DMTF DSP0200 (operations, headers, error codes), DSP0201 and DSP0203 (the elements).
///
/// Carries out the operations that read: classes, instances, one property, associations between
/// instances and between classes. All others, methods among them, fail with CIM_ERR_NOT_SUPPORTED.
/// LocalOnly counts for classes; for instances it is taken as false, as the standard recommends.
/// The filters of association requests between instances go to the providers and are theirs to
/// follow. Text that is no UTF-8 is read as ISO 8859-1 byte by byte; characters that XML cannot
/// hold become U+FFFD.
///
///     CimXmlService service(repository, manager, {.hostName = "node7"});
///     const CimXmlReply reply = service.answer(headers, body);
///     send(reply.status, reply.cimError, reply.text);
class CimXmlService {
 public:
  /// Repository and operations outlive the service.
  CimXmlService(const ClassRepository& repository, Operations& operations, CimXmlSettings settings);

  /// Never throws for anything in the request; at most for want of memory. Safe from
  /// any number of threads if `operations` are.
  CimXmlReply answer(const CimXmlHeaders& headers, std::string_view body) const;

 private:
  const ClassRepository& repository_;
  Operations& operations_;
  CimXmlSettings settings_;
};

}  // namespace cimom
