#include <cim_xml/cim_xml_service.h>
#include <mof/class_repository.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "scripted_upcalls.h"
#include "test_classes.h"
#include "xml_check.h"

namespace {

/// Headers that say what the body says, so that they do not end every request.
cimom::CimXmlHeaders headersOf(std::string_view body) {
  pugi::xml_document document;
  document.load_buffer(body.data(), body.size());
  const pugi::xml_node request = document.child("CIM").child("MESSAGE").child("SIMPLEREQ");
  const pugi::xml_node call = request.child("IMETHODCALL");
  std::string object;
  for (const pugi::xml_node part : call.child("LOCALNAMESPACEPATH").children("NAMESPACE")) {
    object += (object.empty() ? "" : "/") + std::string(part.attribute("NAME").value());
  }
  return {"MethodCall", std::nullopt, call.attribute("NAME").value(), object, std::nullopt};
}

test_support::ScriptedUpcalls answeringHost() {
  test_support::ScriptedUpcalls host;
  cimom::ObjectPath path{"", "root/cimv2", "Test_Thing", {{"Id", cimom::Value::text("a")}}};
  host.paths = {path};
  host.instances = {{path, path.keys}};
  return host;
}

}  // namespace

// Any bytes end in a refusal or in a response that is well-formed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto classes = cimom::ClassRepository::parse(servetest::kTestClasses);
  static test_support::ScriptedUpcalls host = answeringHost();
  // Each input has a service of its own: enumerations that others opened would fill it.
  const cimom::CimXmlService service(classes, host, {"root/cimv2", "made.example"});
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  host.seen.clear();
  const cimom::CimXmlReply reply = service.answer(headersOf(body), body);
  if (reply.status == 200) {
    cimom::checkXml(reply.text);
  } else if (reply.status != 400 && reply.status != 501) {
    std::abort();
  }
  return 0;
}
