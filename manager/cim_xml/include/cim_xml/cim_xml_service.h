#pragma once

#include <cim_xml/pull_limits.h>
#include <model/operations.h>
#include <mof/class_repository.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// Takes the parts of a long response message, one behind the other, on the thread that answers. It
/// may wait; what it throws ends the request.
using CimXmlSink = std::function<void(std::string_view part)>;

/// Why a response ends that went out in part already.
struct CimXmlLateError {
  /// Of DMTF DSP0200's status codes.
  int code = 0;
  std::string text;
};

/// What goes back over HTTP.
struct CimXmlReply {
  /// 200 also for operations that failed: the failure is then in the message.
  int status = 200;
  /// Value of the CIMError header; empty where there is none to send.
  std::string cimError;
  /// With status 200 the response message in XML, otherwise a sentence for a person. Empty when the
  /// message went to the sink.
  std::string text;
  bool isStreamed = false;
  /// Set where the message that went to the sink is not whole and must not be used.
  std::optional<CimXmlLateError> lateError = {};
};

/// A namespace beside the main one.
struct FurtherNamespace {
  /// The name that paths carry.
  std::string name;
  /// Another name under which clients may ask for it.
  std::string alias;
  /// What is asked there; outlives the service.
  Operations* operations = nullptr;
};

struct CimXmlSettings {
  /// The namespace of the operations.
  std::string nameSpace = "root/cimv2";
  /// What paths name as their host where the provider names none.
  std::string hostName;
  /// They have the same classes as the main one, but operations of their own.
  std::vector<FurtherNamespace> further = {};
  PullLimits pull = {};
  /// Bytes of a response in one piece; what would take more ends with SERVER_LIMITS_EXCEEDED.
  std::size_t responseBytes = std::size_t{512} << 20;
  /// Bytes from which on a response goes to the sink, where there is one, as it is made.
  std::size_t wholeBytes = std::size_t{64} << 10;
};

class EnumerationContexts;
class XmlWriter;
struct CimMessage;

/// CIM operations over CIM-XML: request messages in, response messages out. What HTTP is to carry
/// is fixed by DMTF DSP0200 (operations, headers, error codes), DSP0201 and DSP0203 (the elements).
///
/// Carries out the operations that read: classes, declarations of qualifiers, instances, one
/// property, associations between instances and between classes, and answers about instances in
/// parts (pulled enumerations). All others, methods among them, fail with CIM_ERR_NOT_SUPPORTED.
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
  /// Closes what clients are still pulling, and waits until the operations have returned.
  ~CimXmlService();
  CimXmlService(const CimXmlService&) = delete;
  CimXmlService& operator=(const CimXmlService&) = delete;

  /// Never throws for anything in the request; at most for want of memory. Safe from
  /// any number of threads if `operations` are. Without a sink every response is one piece; with
  /// one those that are longer than CimXmlSettings::wholeBytes, but for parts of pulled
  /// enumerations, go there while they are made, so that their length takes no memory.
  CimXmlReply answer(const CimXmlHeaders& headers, std::string_view body,
                     const CimXmlSink& sink = {}) const;

  /// Closes what clients are still pulling: they get SERVER_IS_SHUTTING_DOWN from now on, and so
  /// does who opens another enumeration. All else is answered on. Safe from any thread.
  void shutDown() const;
  /// After shutDown(): true once no operation runs any more for what was pulled, false when that
  /// takes longer. The service must not be destroyed before, or it waits on.
  bool waitForPulled(std::chrono::milliseconds longest) const;

 private:
  struct NamedPlace;
  const NamedPlace* findPlace(std::string_view nameSpace) const;
  void perform(const CimMessage& message, XmlWriter& writer, const CimXmlSink& sink) const;

  std::size_t responseBytes_;
  std::size_t wholeBytes_;
  /// Of addresses that do not change, since producers refer to them.
  std::deque<NamedPlace> places_;
  std::unique_ptr<EnumerationContexts> contexts_;
};

}  // namespace cimom
