#include "request_message.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "xml_check.h"

namespace cimom {
namespace {

constexpr int kBadRequest = 400;
constexpr int kNotImplemented = 501;

[[noreturn]] void refuseShape(const std::string& reason) {
  throw HttpRefusal(kBadRequest, "request-not-loosely-valid", reason);
}

[[noreturn]] void refuseMismatch(const std::string& what) {
  throw HttpRefusal(kBadRequest, "header-mismatch", what + " differ between headers and message");
}

bool isVersion(std::string_view text, char major) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return text.size() > 2 && text[0] == major && text[1] == '.' &&
         std::ranges::all_of(text.substr(2), isDigit);
}

void requireVersion(const std::string& text, char major, const char* cimError) {
  if (!isVersion(text, major)) throw HttpRefusal(kNotImplemented, cimError, "version " + text);
}

pugi::xml_node requireChild(pugi::xml_node parent, const char* name) {
  const pugi::xml_node child = parent.child(name);
  if (!child) refuseShape(std::string("no ") + name + " in " + parent.name());
  return child;
}

std::string requireAttribute(pugi::xml_node element, const char* name) {
  const pugi::xml_attribute attribute = element.attribute(name);
  if (!attribute) refuseShape(std::string("no ") + name + " at " + element.name());
  return attribute.value();
}

pugi::xml_document parse(std::string_view body) {
  try {
    checkXml(body);
  } catch (const XmlError& error) {
    throw HttpRefusal(kBadRequest, "request-not-well-formed", error.what());
  }
  pugi::xml_document document;
  const pugi::xml_parse_result result =
      document.load_buffer(body.data(), body.size(),
                           pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
  if (!result) {
    throw HttpRefusal(kBadRequest, "request-not-well-formed", result.description());
  }
  return document;
}

std::string readNameSpace(pugi::xml_node parent) {
  const pugi::xml_node path = requireChild(parent, "LOCALNAMESPACEPATH");
  std::string name = requireAttribute(requireChild(path, "NAMESPACE"), "NAME");
  for (auto part = path.child("NAMESPACE").next_sibling("NAMESPACE"); part;
       part = part.next_sibling("NAMESPACE")) {
    name += '/' + requireAttribute(part, "NAME");
  }
  return name;
}

pugi::xml_node readSimpleRequest(pugi::xml_node message) {
  if (message.child("MULTIREQ")) {
    throw HttpRefusal(kNotImplemented, "multiple-requests-unsupported", "one request at a time");
  }
  return requireChild(message, "SIMPLEREQ");
}

void readMethodTarget(CimMessage& message) {
  const pugi::xml_node classPath = message.call.child("LOCALCLASSPATH");
  const pugi::xml_node path =
      classPath ? classPath : requireChild(message.call, "LOCALINSTANCEPATH");
  message.nameSpace = readNameSpace(path);
  message.className = classPath ? requireAttribute(requireChild(path, "CLASSNAME"), "NAME")
                                : requireAttribute(requireChild(path, "INSTANCENAME"), "CLASSNAME");
}

void readCall(CimMessage& message, pugi::xml_node request) {
  message.call = request.child("IMETHODCALL");
  message.isIntrinsic = !message.call.empty();
  if (message.isIntrinsic) {
    message.nameSpace = readNameSpace(message.call);
  } else {
    message.call = requireChild(request, "METHODCALL");
    readMethodTarget(message);
  }
  message.method = requireAttribute(message.call, "NAME");
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const auto letter = static_cast<char>(c | 0x20);
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/// Headers carry what is not plain ASCII as %XX.
std::string decoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escaped = text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
                         hexDigit(text[i + 2]) >= 0;
    if (escaped) {
      out += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

/// The header's object without its keys: NAMESPACE or NAMESPACE:CLASS.
std::string namedObject(const std::string& header) {
  std::string object = decoded(header);
  object.erase(0, std::min(object.find_first_not_of('/'), object.size()));
  if (const auto colon = object.find(':'); colon != std::string::npos) {
    object.resize(std::min(object.find('.', colon), object.size()));
  }
  return object;
}

}  // namespace

CimMessage readMessage(std::string_view body) {
  CimMessage message;
  message.document = parse(body);
  const pugi::xml_node root = requireChild(message.document, "CIM");
  requireVersion(requireAttribute(root, "CIMVERSION"), '2', "unsupported-cim-version");
  requireVersion(requireAttribute(root, "DTDVERSION"), '2', "unsupported-dtd-version");
  const pugi::xml_node element = requireChild(root, "MESSAGE");
  message.id = requireAttribute(element, "ID");
  message.protocolVersion = requireAttribute(element, "PROTOCOLVERSION");
  requireVersion(message.protocolVersion, '1', "unsupported-protocol-version");
  readCall(message, readSimpleRequest(element));
  return message;
}

void checkHeaders(const CimXmlHeaders& headers) {
  if (!headers.operation) {
    throw HttpRefusal(kBadRequest, "", "no CIM operation: the header CIMOperation is missing");
  }
  if (!sameName(*headers.operation, "MethodCall")) {
    throw HttpRefusal(kBadRequest, "unsupported-operation", "CIMOperation is not MethodCall");
  }
  if (headers.protocolVersion) {
    requireVersion(*headers.protocolVersion, '1', "unsupported-protocol-version");
  }
  if (headers.batch) {
    throw HttpRefusal(kNotImplemented, "multiple-requests-unsupported", "one request at a time");
  }
}

void compareHeaders(const CimXmlHeaders& headers, const CimMessage& message) {
  if (headers.protocolVersion && *headers.protocolVersion != message.protocolVersion) {
    refuseMismatch("protocol versions");
  }
  if (!headers.method || !sameName(decoded(*headers.method), message.method)) {
    refuseMismatch("methods");
  }
  const std::string object =
      message.nameSpace + (message.isIntrinsic ? "" : ":" + message.className);
  if (!headers.object || !sameName(namedObject(*headers.object), object)) {
    refuseMismatch("objects");
  }
}

}  // namespace cimom
