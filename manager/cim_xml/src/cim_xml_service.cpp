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

/// What `perform` writes, or the error that it ends with, never a part of either.
template <typename Perform>
void writeOutcome(XmlWriter& writer, Perform perform) {
  const XmlWriter::Mark start = writer.mark();
  try {
    perform();
  } catch (const CimError& error) {
    writer.rewind(start);
    writeError(writer, error.code(), error.text().empty() ? error.name() : error.text());
  } catch (const std::exception& error) {
    writer.rewind(start);
    writeError(writer, CMPI_RC_ERR_FAILED, error.what());
  }
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

CimXmlReply CimXmlService::answer(const CimXmlHeaders& headers, std::string_view body) const {
  try {
    checkHeaders(headers);
    const CimMessage message = readMessage(body);
    compareHeaders(headers, message);
    XmlWriter writer(responseBytes_);
    {
      XmlElement root(writer, "CIM");
      root.attribute("CIMVERSION", "2.0").attribute("DTDVERSION", "2.0");
      XmlElement element(writer, "MESSAGE");
      element.attribute("ID", message.id).attribute("PROTOCOLVERSION", "1.0");
      const XmlElement response(writer, "SIMPLERSP");
      XmlElement method(writer, message.isIntrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE");
      method.attribute("NAME", message.method);
      writeOutcome(writer, [&] { perform(message, writer); });
    }
    return {200, "", writer.take()};
  } catch (const HttpRefusal& refusal) {
    return {refusal.status(), refusal.cimError(), refusal.what()};
  }
}

void CimXmlService::perform(const CimMessage& message, XmlWriter& writer) const {
  const OperationEntry& entry = requireOperation(message);
  const NamedPlace* named = findPlace(message.nameSpace);
  if (named == nullptr) fail(CMPI_RC_ERR_INVALID_NAMESPACE, "no namespace " + message.nameSpace);
  RequestParameters parameters(message.call, named->place.name, named->place.repository);
  OperationCall call{named->place, *contexts_, parameters, writer};
  carryOut(entry, call);
}

}  // namespace cimom
