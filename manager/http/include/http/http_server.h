#pragma once

#include <cim_xml/cim_xml_service.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace cimom {

/// What one client may take of the server.
struct HttpLimits {
  /// Bytes of a request's body; more is answered with 413.
  std::size_t bodyBytes = std::size_t{1} << 20;
  /// For a request to arrive whole, counted from its first byte; a slower one is answered with
  /// 408. An answer gets the same time and a second more for every 64 KiB of it. What the
  /// providers take is not counted.
  std::chrono::seconds requestTime{30};
  /// How long a connection may stay open between requests.
  std::chrono::seconds idleTime{5};
  /// Requests answered at the same time, at least 1; each takes a thread.
  unsigned requests = 8;
  /// Whole requests that wait beyond those; the next is answered with 503.
  unsigned waiting = 32;
  /// Open connections, at least 1. The one that has waited longest for its next request makes room
  /// for a new one; where there is none such, the new one is answered with 503.
  unsigned connections = 128;
};

/// Serves CIM-XML over HTTP/1.1 without encryption and without asking who the client is.
///
/// Takes POST at /cimom and at /; OPTIONS returns what the server can do, other methods are
/// answered with 405 (M-POST with 501, upon which clients use POST). A request head of more than 16
/// KiB is answered with 431, a body in an encoding with 415, one of unknown length with 411.
///
///     CimXmlHttpServer server(service);
///     const int port = server.listen("127.0.0.1", 5988);
///     server.run(stopDescriptor);
class CimXmlHttpServer {
 public:
  /// The service outlives the server.
  explicit CimXmlHttpServer(const CimXmlService& service, const HttpLimits& limits = {});
  ~CimXmlHttpServer();
  CimXmlHttpServer(const CimXmlHttpServer&) = delete;
  CimXmlHttpServer& operator=(const CimXmlHttpServer&) = delete;

  /// Starts to listen at a numeric address or a host's name, at any free port for port 0, and
  /// returns the port. Throws std::runtime_error that names the address and the reason. Once only.
  int listen(const std::string& address, int port);

  /// Serves until the descriptor can be read, which it leaves unread: then takes no more
  /// connections, finishes the requests that have arrived whole, and returns. Call after listen(),
  /// once only. Throws std::system_error when no more connections can be taken at all.
  void run(int stopDescriptor);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace cimom
