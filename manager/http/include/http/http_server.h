#pragma once

#include <cim_xml/cim_xml_service.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace cimom {

/// What one client may take of the server.
struct HttpLimits {
  /// Bytes of a request's body; more is answered with 413.
  std::size_t bodyBytes = std::size_t{1} << 20;
  /// For a request to arrive whole, counted from its first byte, with TLS from the beginning of the
  /// handshake; a slower one is answered with 408. A client that takes nothing of its answer for
  /// this long loses the rest. What the providers take is not counted.
  std::chrono::seconds requestTime{30};
  /// How long a connection may stay open between requests; responses promise it.
  std::chrono::seconds idleTime{5};
  /// Requests answered at the same time, at least 1; each takes a thread.
  unsigned requests = 8;
  /// Whole requests that wait beyond those, three quarters of them from one address; the next is
  /// answered with 503. One that has waited for two seconds ends a long response whose client is
  /// slow, of the address that has most of them; after 20 seconds, one of its own address, too.
  unsigned waiting = 32;
  /// Open connections, at least 1; a client beyond them is answered with 503. When more than half
  /// are open, connections end with their response, so that idle ones never hold all.
  unsigned connections = 128;
  /// How many of those may come from one address (one network of 64 bits with IPv6).
  unsigned connectionsPerClient = 64;
  /// How long requests that have arrived whole may take after a stop.
  std::chrono::seconds stopTime{30};

  /// After so many wrong passwords in a row an address is answered with 429 until `loginPause` has
  /// passed without another. What the server has accepted before is accepted all the same.
  unsigned loginFailures = 10;
  std::chrono::seconds loginPause{60};
  /// How long the answer to a wrong password is held back.
  std::chrono::milliseconds loginDelay{1000};
};

class PageService;

struct HttpSettings {
  HttpLimits limits{};
  /// Names and addresses by which clients may call the server, beside localhost, the address that
  /// they are connected to, and what the certificate names. Requests for others are refused: a web
  /// page can make a browser connect to any address, but not choose the name in its requests.
  std::vector<std::string> serverNames{};
  /// Files in PEM, both or neither: with them the server speaks TLS alone.
  std::string tlsCertificate{};
  std::string tlsKey{};
  /// File with lines of `user:hash`; empty: nobody is asked for a password.
  std::string passwordFile{};
  /// Pages for browsers, under the same rules as CIM requests; they outlive the server. Null: none.
  PageService* pages = nullptr;
};

/// Serves CIM-XML over HTTP/1.1, plain or with TLS 1.2 and later, with HTTP basic authentication
/// where there is a password file.
///
/// Takes POST at /cimom and at /, GET and HEAD for the pages where there are any; OPTIONS returns
/// what the server can do, other methods are answered with 405 (M-POST with 501, upon which clients
/// use POST). A request head of more than 16 KiB is answered with 431, a body in an encoding with
/// 415, one of unknown length with 411, one for another server with 421, one that a web page caused
/// with 403.
///
///     CimXmlHttpServer server(service, {});
///     const int port = server.listen("127.0.0.1", 5988);
///     const bool isClean = server.run(stopDescriptor);
class CimXmlHttpServer {
 public:
  /// The service outlives the server. Throws std::runtime_error when a file of the settings cannot
  /// be used, with its name and the line, or when the threads for requests cannot be made.
  CimXmlHttpServer(const CimXmlService& service, const HttpSettings& settings);
  /// Waits for requests that are being answered, without a bound.
  ~CimXmlHttpServer();
  CimXmlHttpServer(const CimXmlHttpServer&) = delete;
  CimXmlHttpServer& operator=(const CimXmlHttpServer&) = delete;

  /// Starts to listen at a numeric address (also in brackets) or a host's name, at any free port
  /// for port 0, and returns the port. Throws std::runtime_error that names the address and the
  /// reason.
  int listen(const std::string& address, int port);

  /// Takes over a TCP socket that listens already, to serve there too, and returns its port. Throws
  /// std::runtime_error. Like listen(), before run().
  int adopt(int listeningSocket);

  /// Serves until the descriptor can be read, which it leaves unread: then takes no more
  /// connections, answers the requests that have arrived whole, and returns true; false when
  /// HttpLimits::stopTime was not enough for them. Call after listen(), once only. Throws
  /// std::system_error when no more connections can be taken at all.
  ///
  /// A second descriptor that can be read says that another process serves at the same sockets from
  /// now on: no more connections are taken, those that are open end as their promises allow, each
  /// with the answer to its next request, and run returns when all have, within the stop time.
  [[nodiscard]] bool run(int stopDescriptor, int leaveDescriptor = -1);

  /// What run() has left of the stop time; 0 when nothing. For the thread of run(), after it.
  std::chrono::milliseconds timeLeft() const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// A listening TCP socket at the address and port, as CimXmlHttpServer::listen has them; the caller
/// closes it, or hands it to CimXmlHttpServer::adopt. Throws as listen does.
int openListeningSocket(const std::string& address, int port);

/// True when everything that the address or name stands for is reached from this host alone. Throws
/// std::runtime_error that names the address and the reason when it stands for nothing.
bool isLoopback(const std::string& address);

}  // namespace cimom
