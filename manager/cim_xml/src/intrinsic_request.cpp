// Requests as clients send them, written as DMTF DSP0201 has them.
#include <cim_xml/intrinsic_request.h>

#include <utility>

#include "value_elements.h"
#include "xml_writer.h"

namespace cimom {
namespace {

void writeText(XmlWriter& writer, const std::string& text) {
  const XmlElement element(writer, "VALUE");
  writer.text(text);
}

template <typename Write>
std::string parameterText(const char* name, Write write) {
  XmlWriter writer = XmlWriter::fragment();
  {
    XmlElement element(writer, "IPARAMVALUE");
    element.attribute("NAME", name);
    write(writer);
  }
  return writer.take();
}

}  // namespace

IntrinsicRequest::IntrinsicRequest(std::string method, std::string nameSpace)
    : method_(std::move(method)), nameSpace_(std::move(nameSpace)) {}

IntrinsicRequest& IntrinsicRequest::className(const char* parameter, const std::string& name) {
  if (name.empty()) return *this;
  parameters_ += parameterText(parameter, [&](XmlWriter& writer) { writeClassName(writer, name); });
  return *this;
}

IntrinsicRequest& IntrinsicRequest::path(const char* parameter, const ObjectPath& path) {
  parameters_ +=
      parameterText(parameter, [&](XmlWriter& writer) { writeInstanceName(writer, path); });
  return *this;
}

IntrinsicRequest& IntrinsicRequest::text(const char* parameter, const std::string& text) {
  if (text.empty()) return *this;
  parameters_ += parameterText(parameter, [&](XmlWriter& writer) { writeText(writer, text); });
  return *this;
}

IntrinsicRequest& IntrinsicRequest::boolean(const char* parameter, bool value) {
  return text(parameter, value ? "TRUE" : "FALSE");
}

IntrinsicRequest& IntrinsicRequest::number(const char* parameter, std::uint32_t number) {
  return text(parameter, std::to_string(number));
}

IntrinsicRequest& IntrinsicRequest::properties(const PropertyList& names) {
  if (!names) return *this;
  parameters_ += parameterText("PropertyList", [&](XmlWriter& writer) {
    const XmlElement array(writer, "VALUE.ARRAY");
    for (const std::string& name : *names) writeText(writer, name);
  });
  return *this;
}

std::string IntrinsicRequest::message(const std::string& id) const {
  XmlWriter writer;
  {
    XmlElement root(writer, "CIM");
    root.attribute("CIMVERSION", "2.0").attribute("DTDVERSION", "2.0");
    XmlElement message(writer, "MESSAGE");
    message.attribute("ID", id).attribute("PROTOCOLVERSION", "1.0");
    const XmlElement request(writer, "SIMPLEREQ");
    XmlElement call(writer, "IMETHODCALL");
    call.attribute("NAME", method_);
    writeLocalNameSpacePath(writer, nameSpace_);
    writer.elements(parameters_);
  }
  return writer.take();
}

}  // namespace cimom
