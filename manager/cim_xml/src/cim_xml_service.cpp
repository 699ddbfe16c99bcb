// One request message in, one response message out. The headers are compared with the message, then
// an operation, found by its method's name, takes its parameters, refuses those that are left, asks
// the repository (classes) or the operations (instances) and writes the result. A failed operation
// rewinds the writer, so that a response holds a result or an error, never both. What is shared
// between requests, beside what the service refers to, is the enumerations that clients pull.
#include <cim_xml/cim_xml_service.h>
#include <model/cim_error.h>
#include <model/names.h>
#include <model/short_text.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "cim_status.h"
#include "enumeration_contexts.h"
#include "operation_table.h"
#include "request_message.h"
#include "request_parameters.h"
#include "xml_writer.h"

namespace cimom {
namespace {

/// Of a response that is handed on as it is made.
constexpr std::size_t kPartBytes = std::size_t{16} << 10;

/// Other codes are CMPI's own and mean nothing to a client.
int cimCode(CMPIrc code) {
  const auto number = static_cast<int>(code);
  const bool isCim = (number >= CMPI_RC_ERR_FAILED && number <= CMPI_RC_ERR_METHOD_NOT_FOUND) ||
                     (number >= kInvalidEnumerationContext && number <= kServerIsShuttingDown);
  return isCim ? number : CMPI_RC_ERR_FAILED;
}

void writeError(XmlWriter& writer, CMPIrc code, const std::string& text) {
  XmlElement(writer, "ERROR")
      .attribute("CODE", std::to_string(cimCode(code)))
      .attribute("DESCRIPTION", shortText(text));
}

/// The error that `perform` ends with; nothing when it ends well.
template <typename Perform>
std::optional<CimError> failureOf(Perform perform) {
  try {
    perform();
    return std::nullopt;
  } catch (const CimError& error) {
    return CimError(error.code(), error.text().empty() ? error.name() : error.text());
  } catch (const std::exception& error) {
    return CimError(CMPI_RC_ERR_FAILED, error.what());
  }
}

/// Writes what `perform` writes, or the error that it ends with, never a part of either. Returns
/// the error where it is too late for that.
template <typename Perform>
std::optional<CimXmlLateError> writeOutcome(XmlWriter& writer, Perform perform) {
  const XmlWriter::Mark start = writer.mark();
  const std::optional<CimError> failure = failureOf(perform);
  if (!failure) return std::nullopt;
  if (writer.hasHandedOn()) return CimXmlLateError{cimCode(failure->code()), failure->text()};
  writer.rewind(start);
  writeError(writer, failure->code(), failure->text());
  return std::nullopt;
}

const OperationEntry& requireOperation(const CimMessage& message) {
  const OperationEntry* entry = message.isIntrinsic ? findOperation(message.method) : nullptr;
  if (entry == nullptr) fail(CMPI_RC_ERR_NOT_SUPPORTED, message.method + " is not supported");
  return *entry;
}

void carryOut(const OperationEntry& entry, OperationCall& call) {
  std::optional<XmlElement> result;
  if (entry.writesReturnValueOnly) result.emplace(call.writer, "IRETURNVALUE");
  entry.carryOut(call);
}

}  // namespace

struct CimXmlService::NamedPlace {
  ServedNamespace place;
  std::string alias;
};

CimXmlService::CimXmlService(const ClassRepository& repository, Operations& operations,
                             CimXmlSettings settings)
    : responseBytes_(settings.responseBytes),
      wholeBytes_(std::min(settings.wholeBytes, settings.responseBytes)),
      contexts_(std::make_unique<EnumerationContexts>(settings.pull)) {
  places_.push_back({{repository, operations, settings.nameSpace, settings.hostName}, ""});
  for (const FurtherNamespace& more : settings.further) {
    places_.push_back({{repository, *more.operations, more.name, settings.hostName}, more.alias});
  }
}

CimXmlService::~CimXmlService() = default;

const CimXmlService::NamedPlace* CimXmlService::findPlace(std::string_view nameSpace) const {
  const auto found = std::ranges::find_if(places_, [&](const NamedPlace& named) {
    return sameName(named.place.name, nameSpace) ||
           (!named.alias.empty() && sameName(named.alias, nameSpace));
  });
  return found != places_.end() ? &*found : nullptr;
}

void CimXmlService::shutDown() const {
  contexts_->shutDown();
}

bool CimXmlService::waitForPulled(std::chrono::milliseconds longest) const {
  return contexts_->waitForProducers(longest);
}

CimXmlReply CimXmlService::answer(const CimXmlHeaders& headers, std::string_view body,
                                  const CimXmlSink& sink) const {
  try {
    checkHeaders(headers);
    const CimMessage message = readMessage(body);
    compareHeaders(headers, message);
    XmlWriter writer(responseBytes_);
    std::optional<CimXmlLateError> lateError;
    {
      XmlElement root(writer, "CIM");
      root.attribute("CIMVERSION", "2.0").attribute("DTDVERSION", "2.0");
      XmlElement element(writer, "MESSAGE");
      element.attribute("ID", message.id).attribute("PROTOCOLVERSION", "1.0");
      const XmlElement response(writer, "SIMPLERSP");
      XmlElement method(writer, message.isIntrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE");
      method.attribute("NAME", message.method);
      lateError = writeOutcome(writer, [&] { perform(message, writer, sink); });
    }
    if (!writer.hasHandedOn()) return {200, "", writer.take()};
    if (!lateError) writer.handOn();
    return {200, "", "", true, std::move(lateError)};
  } catch (const HttpRefusal& refusal) {
    return {refusal.status(), refusal.cimError(), refusal.what()};
  }
}

void CimXmlService::perform(const CimMessage& message, XmlWriter& writer,
                            const CimXmlSink& sink) const {
  const OperationEntry& entry = requireOperation(message);
  const NamedPlace* named = findPlace(message.nameSpace);
  if (named == nullptr) fail(CMPI_RC_ERR_INVALID_NAMESPACE, "no namespace " + message.nameSpace);
  RequestParameters parameters(message.call, named->place.name, named->place.repository);
  // A part of a pulled enumeration is bounded, and lost when it cannot be handed on.
  if (sink && entry.writesReturnValueOnly) writer.handOnBeyond(wholeBytes_, kPartBytes, sink);
  OperationCall call{named->place, *contexts_, parameters, writer};
  carryOut(entry, call);
}

}  // namespace cimom
