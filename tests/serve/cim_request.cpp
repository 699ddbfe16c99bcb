#include "cim_request.h"

#include <sstream>
#include <stdexcept>
#include <utility>

namespace servetest {

CimRequest::CimRequest(std::string operation) : operation_(std::move(operation)) {}

CimRequest& CimRequest::nameSpace(std::string name) {
  nameSpace_ = std::move(name);
  return *this;
}

CimRequest& CimRequest::className(const std::string& parameter, const std::string& name) {
  return xml(parameter, "<CLASSNAME NAME=\"" + escaped(name) + "\"/>");
}

CimRequest& CimRequest::text(const std::string& parameter, const std::string& value) {
  return xml(parameter, "<VALUE>" + escaped(value) + "</VALUE>");
}

CimRequest& CimRequest::flag(const std::string& parameter, bool value) {
  return text(parameter, value ? "TRUE" : "FALSE");
}

CimRequest& CimRequest::names(const std::string& parameter,
                              const std::vector<std::string>& values) {
  std::string list;
  for (const std::string& value : values) list += "<VALUE>" + escaped(value) + "</VALUE>";
  return xml(parameter, "<VALUE.ARRAY>" + list + "</VALUE.ARRAY>");
}

CimRequest& CimRequest::xml(const std::string& parameter, const std::string& element) {
  parameters_ += "<IPARAMVALUE NAME=\"" + parameter + "\">" + element + "</IPARAMVALUE>";
  return *this;
}

std::string CimRequest::body() const {
  std::string place;
  std::istringstream parts(nameSpace_);
  for (std::string part; std::getline(parts, part, '/');) {
    place += "<NAMESPACE NAME=\"" + escaped(part) + "\"/>";
  }
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
         "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"42\" PROTOCOLVERSION=\"1.0\">"
         "<SIMPLEREQ><IMETHODCALL NAME=\"" +
         operation_ + "\"><LOCALNAMESPACEPATH>" + place + "</LOCALNAMESPACEPATH>" + parameters_ +
         "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
}

cimom::CimXmlHeaders CimRequest::headers() const {
  return {"MethodCall", "1.0", operation_, nameSpace_, std::nullopt};
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string instanceName(const std::string& className,
                         const std::vector<std::pair<std::string, std::string>>& keys) {
  std::string bindings;
  for (const auto& [name, value] : keys) {
    bindings += "<KEYBINDING NAME=\"" + name + "\"><KEYVALUE VALUETYPE=\"string\">" +
                escaped(value) + "</KEYVALUE></KEYBINDING>";
  }
  return "<INSTANCENAME CLASSNAME=\"" + className + "\">" + bindings + "</INSTANCENAME>";
}

CimResponse::CimResponse(const std::string& text) : text_(text) {
  const pugi::xml_parse_result result =
      document_.load_string(text.c_str(), pugi::parse_default | pugi::parse_ws_pcdata_single);
  if (!result) throw std::runtime_error(std::string(result.description()) + ": " + text);
  if (!document_.select_node("/CIM/MESSAGE[@ID='42']/SIMPLERSP/*")) {
    throw std::runtime_error("no response: " + text);
  }
}

int CimResponse::errorCode() const {
  return document_.select_node("//ERROR/@CODE").attribute().as_int();
}

std::string CimResponse::errorText() const {
  return document_.select_node("//ERROR/@DESCRIPTION").attribute().value();
}

pugi::xml_node CimResponse::value() const {
  return document_.select_node("//IRETURNVALUE/*").node();
}

std::vector<std::string> CimResponse::select(const std::string& expression) const {
  std::vector<std::string> texts;
  for (const pugi::xpath_node& found : document_.select_nodes(expression.c_str())) {
    texts.emplace_back(found.attribute() ? found.attribute().value() : found.node().text().get());
  }
  return texts;
}

}  // namespace servetest
