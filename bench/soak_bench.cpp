// Sends `pcicim serve` a million requests of all kinds from eight clients, and fails when one is
// not answered or when the server's memory goes on growing. Usage: soak_bench INVENTORY [REQUESTS]
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "served.h"

namespace {

using served::Connection;
using served::Server;

constexpr std::size_t kRequests = 1'000'000;
constexpr unsigned kClients = 8;
constexpr std::size_t kRequestsPerConnection = 50;
/// Of a half of the run to the other; the heap's own ups and downs.
constexpr double kMostGrownKilobytes = 1024;

struct Call {
  const char* operation;
  std::string parameters;
  /// What its answer has.
  const char* mark;
};

std::string className(const char* parameter, const char* name) {
  return std::string("<IPARAMVALUE NAME=\"") + parameter + "\"><CLASSNAME NAME=\"" + name +
         "\"/></IPARAMVALUE>";
}

std::string portGroup(const char* parameter) {
  return std::string("<IPARAMVALUE NAME=\"") + parameter +
         "\"><INSTANCENAME CLASSNAME=\"Zelmar_PCIPortGroup\"><KEYBINDING NAME=\"InstanceID\">"
         "<KEYVALUE>Zelmar:bus-0</KEYVALUE></KEYBINDING></INSTANCENAME></IPARAMVALUE>";
}

const std::vector<Call>& calls() {
  static const std::vector<Call> all{
      {"GetInstance", portGroup("InstanceName"), "<INSTANCE "},
      {"EnumerateInstances", className("ClassName", "Zelmar_PCIPortGroup"), "<INSTANCE "},
      {"EnumerateInstanceNames", className("ClassName", "Zelmar_PCIDevice"), "<INSTANCENAME "},
      {"EnumerateInstances", className("ClassName", "Zelmar_PCIDevice"), "<INSTANCE "},
      {"Associators", portGroup("ObjectName"), "<IRETURNVALUE>"},
      {"ReferenceNames", portGroup("ObjectName"), "<IRETURNVALUE>"},
      {"GetClass", className("ClassName", "Zelmar_PCIPort"), "<CLASS "},
      {"EnumerateInstances", className("ClassName", "No_Class"), "<ERROR "},
      // Left open: the next one of these is refused once there are too many.
      {"OpenEnumerateInstances",
       className("ClassName", "Zelmar_PCIPort") +
           "<IPARAMVALUE NAME=\"OperationTimeout\"><VALUE>1</VALUE></IPARAMVALUE>"
           "<IPARAMVALUE NAME=\"MaxObjectCount\"><VALUE>2</VALUE></IPARAMVALUE>",
       "IMETHODRESPONSE"},
  };
  return all;
}

std::string textOf(const Call& call, bool isLast) {
  const std::string body =
      std::string(
          "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" "
          "DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>"
          "<IMETHODCALL NAME=\"") +
      call.operation +
      "\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
      "</LOCALNAMESPACEPATH>" +
      call.parameters + "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
  return std::string("POST /cimom HTTP/1.1\r\nHost: localhost\r\n") +
         (isLast ? "Connection: close\r\n" : "") +
         "Content-Type: application/xml\r\nCIMOperation: MethodCall\r\nCIMMethod: " +
         call.operation +
         "\r\nCIMObject: root/cimv2\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

std::size_t countOf(std::string_view mark, std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(mark, at)) != std::string_view::npos; ++at) ++count;
  return count;
}

/// Sends that many requests, one behind the other, on a connection of their own.
void askInARow(const Server& server, std::size_t first, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) {
    all += textOf(calls()[(first + i) % calls().size()], i + 1 == count);
  }
  const Connection connection(server.port());
  connection.send(all);
  std::string answers;
  connection.receive([&](const std::string& piece) { answers += piece; });
  if (countOf("</CIM>", answers) != count) {
    throw std::runtime_error("of " + std::to_string(count) + " requests were answered " +
                             std::to_string(countOf("</CIM>", answers)));
  }
  for (const Call& call : calls()) {
    if (count >= calls().size() && answers.find(call.mark) == std::string::npos) {
      throw std::runtime_error(std::string("nothing was answered to ") + call.operation);
    }
  }
}

/// The clients' share of so many requests.
void ask(const Server& server, std::size_t requests) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  std::vector<std::thread> clients;
  for (unsigned i = 0; i < kClients; ++i) {
    clients.emplace_back([&] {
      try {
        for (std::size_t at = 0; (at = next.fetch_add(kRequestsPerConnection)) < requests;) {
          askInARow(server, at, std::min(kRequestsPerConnection, requests - at));
        }
      } catch (...) {
        const std::lock_guard lock(mutex);
        failure = std::current_exception();
        next = requests;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  if (failure) std::rethrow_exception(failure);
}

int soak(const char* inventory, std::size_t requests) {
  const Server server(inventory);
  ask(server, requests / 2);
  const double before = server.kilobytes();
  const double cpuBefore = server.cpuSeconds();
  ask(server, requests - requests / 2);
  const double grown = server.kilobytes() - before;
  const auto half = static_cast<double>(requests - requests / 2);
  std::printf("requests %zu\ncpu_us %.1f\nmemory_kib %.0f\ngrown_kib %.0f\n", requests,
              (server.cpuSeconds() - cpuBefore) * 1e6 / half, before, grown);
  return grown < kMostGrownKilobytes ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
  if (count != 2 && count != 3) {
    std::cerr << "usage: soak_bench INVENTORY [REQUESTS]\n";
    return 2;
  }
  try {
    return soak(words[1], count == 3 ? std::strtoul(words[2], nullptr, 10) : kRequests);
  } catch (const std::exception& failure) {
    std::cerr << "soak_bench: " << failure.what() << '\n';
    return 1;
  }
}
