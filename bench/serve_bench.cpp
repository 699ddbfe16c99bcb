// What `pcicim serve` spends on an instance that it delivers: CPU time, bytes sent, and the memory
// by which an answer makes the server grow.
// Usage: serve_bench INVENTORY CLASS
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "served.h"

namespace {

using served::Connection;
using served::Server;

std::string requestFor(const std::string& className) {
  const std::string body =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
      "<MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>"
      "<IMETHODCALL NAME=\"EnumerateInstances\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
      "<NAMESPACE NAME=\"cimv2\"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME=\"ClassName\">"
      "<CLASSNAME NAME=\"" +
      className + "\"/></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
  return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n"
         "Content-Type: application/xml; charset=\"utf-8\"\r\nCIMOperation: MethodCall\r\n"
         "CIMProtocolVersion: 1.0\r\nCIMMethod: EnumerateInstances\r\n"
         "CIMObject: root/cimv2\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

struct Delivery {
  std::size_t bytes = 0;
  std::size_t instances = 0;
};

Delivery enumerate(const Server& server, const std::string& className) {
  static const std::string kMark = "<INSTANCE ";
  const Connection connection(server.port());
  connection.send(requestFor(className));
  Delivery delivery;
  std::string rest;
  connection.receive([&](const std::string& piece) {
    delivery.bytes += piece.size();
    // A mark may be cut in two by the end of a piece.
    const std::string text = rest + piece;
    for (std::string::size_type at = 0; (at = text.find(kMark, at)) != std::string::npos; ++at) {
      ++delivery.instances;
    }
    rest = text.substr(text.size() - std::min(text.size(), kMark.size() - 1));
  });
  if (delivery.instances == 0) throw std::runtime_error("no instances of " + className);
  return delivery;
}

void measure(const char* inventory, const std::string& className) {
  const Server server(inventory);
  const double memoryBefore = server.peakKilobytes();
  enumerate(server, className);
  const double memoryAfter = server.peakKilobytes();
  const double before = server.cpuSeconds();
  const Delivery delivery = enumerate(server, className);
  const double cpu = server.cpuSeconds() - before;
  const auto instances = static_cast<double>(delivery.instances);
  std::printf("instances %zu\ncpu_us %.2f\nsent_bytes %.0f\ngrown_bytes %.0f\n", delivery.instances,
              cpu * 1e6 / instances, static_cast<double>(delivery.bytes) / instances,
              (memoryAfter - memoryBefore) * 1024 / instances);
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) {
    std::cerr << "usage: serve_bench INVENTORY CLASS\n";
    return 2;
  }
  try {
    measure(words[1], words[2]);
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "serve_bench: " << failure.what() << '\n';
    return 1;
  }
}
