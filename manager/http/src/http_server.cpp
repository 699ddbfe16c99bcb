#include <http/http_server.h>
#include <model/names.h>

#include <httplib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "descriptor.h"
#include "http_connection.h"
#include "work_queue.h"

#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace cimom {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kRequestsPerConnection = 100;
/// Refused clients that are still told so; beyond them connections are closed without a word.
constexpr std::size_t kRefusedWaiting = 64;
/// How often a connection that waits for its next request makes room for others.
constexpr milliseconds kIdleSlice{50};
constexpr milliseconds kDescriptorsExhausted{50};

void setStatus(httplib::Response& response, int status, const char* reason) {
  response.status = status;
  response.set_content(std::string(reason) + "\n", "text/plain");
}

bool hasPrefix(std::string_view line, std::string_view prefix) {
  return line.size() >= prefix.size() && sameName(line.substr(0, prefix.size()), prefix);
}

/// Ranges and compression are of no use to CIM clients, and their handling in the HTTP library
/// costs more time, stack and memory than a client may take. The head ends with a line feed.
std::string withoutRefusedHeaders(std::string_view head) {
  std::string kept;
  while (!head.empty()) {
    // The library takes a lone line feed for the end of a line, too.
    const std::string_view line = head.substr(0, head.find('\n') + 1);
    if (!hasPrefix(line, "range:") && !hasPrefix(line, "accept-encoding:")) kept += line;
    head.remove_prefix(line.size());
  }
  return kept;
}

std::optional<std::string> headerOf(const httplib::Request& request, const char* name) {
  if (!request.has_header(name)) return std::nullopt;
  return request.get_header_value(name);
}

std::string mediaType(std::string_view contentType) {
  std::string type(contentType.substr(0, contentType.find(';')));
  type.erase(type.find_last_not_of(" \t") + 1);
  return type;
}

bool isUtf8(std::string contentType) {
  std::ranges::transform(contentType, contentType.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  const std::size_t charset = contentType.find("charset=");
  if (charset == std::string::npos) return true;
  const std::string name = contentType.substr(charset + 8, 7);
  return name.starts_with("utf-8") || name.starts_with("\"utf-8\"") || name == "us-asci";
}

bool isLength(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// True when something follows the head that the HTTP library reads for some methods only.
bool hasBody(const httplib::Request& request) {
  const std::string length = request.get_header_value("Content-Length");
  return request.has_header("Transfer-Encoding") || (!length.empty() && length != "0");
}

/// True when a decimal number of any length is above the limit.
bool isAbove(std::string_view number, std::size_t limit) {
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
  const std::string bound = std::to_string(limit);
  return number.size() != bound.size() ? number.size() > bound.size() : number > bound;
}

Descriptor newEvent() {
  Descriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event) throw std::system_error(errno, std::generic_category(), "eventfd");
  return event;
}

struct AddressList {
  addrinfo* first = nullptr;

  AddressList(const std::string& address, int port) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    const int error = getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &first);
    if (error != 0) throw std::runtime_error(gai_strerror(error));
  }
  ~AddressList() {
    if (first != nullptr) freeaddrinfo(first);
  }
  AddressList(const AddressList&) = delete;
  AddressList& operator=(const AddressList&) = delete;
};

/// Empty with errno set when the address cannot be listened at.
Descriptor listenAt(const addrinfo& address) {
  constexpr int kBacklog = 64;
  Descriptor made(
      socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol));
  const int on = 1;
  const bool listens = made &&
                       setsockopt(made.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                       bind(made.number(), address.ai_addr, address.ai_addrlen) == 0 &&
                       ::listen(made.number(), kBacklog) == 0;
  const int error = errno;
  if (!listens) made = Descriptor();
  errno = error;
  return made;
}

Descriptor listenAtAny(const addrinfo* address) {
  Descriptor listener;
  for (; address != nullptr && !listener; address = address->ai_next) {
    listener = listenAt(*address);
  }
  if (!listener) throw std::runtime_error(std::strerror(errno));
  return listener;
}

int portOf(const Descriptor& listener) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  std::array<char, NI_MAXSERV> port{};
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (getsockname(listener.number(), generic, &length) != 0 ||
      getnameinfo(generic, length, nullptr, 0, port.data(), port.size(), NI_NUMERICSERV) != 0) {
    throw std::runtime_error("the port is unknown");
  }
  return std::stoi(port.data());
}

/// The HTTP library's view of a connection.
class ConnectionStream : public httplib::Stream {
 public:
  explicit ConnectionStream(HttpConnection& connection) : connection_(connection) {}

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* target, std::size_t size) override { return connection_.read(target, size); }
  ssize_t write(const char* text, std::size_t size) override {
    return connection_.write({text, size}) ? static_cast<ssize_t>(size) : -1;
  }
  // Nobody here asks who the client is.
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  socket_t socket() const override { return connection_.socket(); }

 private:
  HttpConnection& connection_;
};

/// Reads one request after the other from a connection and answers it: the HTTP library's server
/// without its sockets and threads.
class RequestHandler : public httplib::Server {
 public:
  RequestHandler(const CimXmlService& service, const HttpLimits& limits)
      : service_(service), limits_(limits) {
    set_keep_alive_timeout(limits.idleTime.count());
    set_keep_alive_max_count(kRequestsPerConnection);
    set_expect_100_continue_handler([this](const auto& request, auto& response) {
      return refuses(request, response) ? response.status : 100;
    });
    set_pre_routing_handler([this](const auto& request, auto& response) {
      return refuses(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    set_post_routing_handler([](const auto& /*request*/, auto& response) { sayClose(response); });
    Post(".*", [this](const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader& reader) { post(request, response, reader); });
    Options(".*", [](const httplib::Request&, httplib::Response& response) { options(response); });
  }

  /// Answers one request whose head has been read; false when the connection must end.
  bool answer(HttpConnection& connection, bool isLast) {
    current_ = {&connection, isLast};
    connection.replaceHead(withoutRefusedHeaders(connection.head()));
    // Chunks of a byte each take six bytes: room for a body as large as is allowed in most forms.
    connection.limitBody(limits_.bodyBytes * 2 + kHttpHeadBytes);
    ConnectionStream stream(connection);
    bool closed = isLast;
    const bool answered = process_request(stream, isLast, closed, nullptr);
    return answered && !closed && !current_.mustClose;
  }

 private:
  /// What the handlers, which the HTTP library calls, know of the request that their thread is at.
  struct Current {
    HttpConnection* connection = nullptr;
    bool mustClose = false;
  };

  bool refuses(const httplib::Request& request, httplib::Response& response) const {
    if (request.method == "OPTIONS") {
      if (hasBody(request)) setStatus(response, 400, "OPTIONS comes without a body.");
    } else if (request.method != "POST") {
      response.set_header("Allow", "POST, OPTIONS");
      setStatus(response, 405, "CIM operations come by POST.");
    } else if (request.path != "/cimom" && request.path != "/") {
      setStatus(response, 404, "CIM operations are at /cimom.");
    } else {
      refuseBody(request, response);
    }
    return response.status >= 400;
  }

  void refuseBody(const httplib::Request& request, httplib::Response& response) const {
    const std::string type = request.get_header_value("Content-Type");
    const std::string length = request.get_header_value("Content-Length");
    const bool isChunked = sameName(request.get_header_value("Transfer-Encoding"), "chunked");
    if (!sameName(mediaType(type), "application/xml") && !sameName(mediaType(type), "text/xml")) {
      setStatus(response, 415, "CIM-XML is of type application/xml or text/xml.");
    } else if (request.has_header("Content-Encoding") || !isUtf8(type)) {
      setStatus(response, 415, "CIM-XML comes in UTF-8 and not compressed.");
    } else if (request.has_header("Transfer-Encoding") ? !isChunked : length.empty()) {
      setStatus(response, 411, "The length of the request is not given.");
    } else if (isChunked ? !length.empty() : !isLength(length)) {
      setStatus(response, 400, "The length of the request is not clear.");
    } else if (!isChunked && isAbove(length, limits_.bodyBytes)) {
      setStatus(response, 413, "The request is too large.");
    }
  }

  void post(const httplib::Request& request, httplib::Response& response,
            const httplib::ContentReader& reader) const {
    std::string body;
    bool tooLarge = false;
    const bool whole = reader([&](const char* bytes, std::size_t count) {
      tooLarge = count > limits_.bodyBytes - body.size();
      if (!tooLarge) body.append(bytes, count);
      return !tooLarge;
    });
    if (tooLarge) {
      setStatus(response, 413, "The request is too large.");
    } else if (!whole) {
      current_.connection->isTooSlow()
          ? setStatus(response, 408, "The request did not arrive in time.")
          : setStatus(response, 400, "The request is incomplete.");
    } else {
      reply(response, service_.answer(headersOf(request), body));
    }
  }

  static CimXmlHeaders headersOf(const httplib::Request& request) {
    return {headerOf(request, "CIMOperation"), headerOf(request, "CIMProtocolVersion"),
            headerOf(request, "CIMMethod"), headerOf(request, "CIMObject"),
            headerOf(request, "CIMBatch")};
  }

  static void reply(httplib::Response& response, CimXmlReply reply) {
    if (reply.status != 200) {
      if (!reply.cimError.empty()) response.set_header("CIMError", reply.cimError);
      return setStatus(response, reply.status, reply.text.c_str());
    }
    response.status = 200;
    response.body = std::move(reply.text);
    response.set_header("Content-Type", "application/xml; charset=\"utf-8\"");
    response.set_header("CIMOperation", "MethodResponse");
  }

  /// What DMTF DSP0200 lets a client ask for before its first operation.
  static void options(httplib::Response& response) {
    response.status = 200;
    response.set_header("Allow", "POST, OPTIONS");
    response.set_header("Opt", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=77");
    response.set_header("77-CIMProtocolVersion", "1.0");
    response.set_header("77-CIMSupportedFunctionalGroups", "basic-read, association-traversal");
    response.set_header("77-CIMValidation", "loosely-validating");
  }

  /// After a refusal nobody can tell where the next request would start.
  static void sayClose(httplib::Response& response) {
    if (response.status < 400) return;
    current_.mustClose = true;
    response.headers.erase("Keep-Alive");
    response.headers.erase("Connection");
    response.set_header("Connection", "close");
  }

  const CimXmlService& service_;
  const HttpLimits limits_;
  static thread_local Current current_;
};

thread_local RequestHandler::Current RequestHandler::current_;

void writeRefusal(HttpConnection& connection, const char* status) {
  connection.write(std::string("HTTP/1.1 ") + status +
                   "\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
  connection.finish();
}

}  // namespace

class CimXmlHttpServer::Implementation {
 public:
  Implementation(const CimXmlService& service, const HttpLimits& limits)
      : limits_(limits), handler_(service, limits), stopped_(newEvent()) {}

  int listen(const std::string& address, int port) {
    try {
      const AddressList addresses(address, port);
      listener_ = listenAtAny(addresses.first);
      return portOf(listener_);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error("cannot listen at " + address + ", port " + std::to_string(port) +
                               ": " + error.what());
    }
  }

  void run(int stopDescriptor) {
    WorkQueue refused(1, kRefusedWaiting);
    WorkQueue requests(std::max(limits_.requests, 1U), limits_.waiting);
    const StopAtEnd stop{*this};
    while (waitForClient(stopDescriptor)) {
      Descriptor client(accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC));
      if (client) {
        take(std::make_shared<Descriptor>(std::move(client)), requests, refused);
      } else {
        passOver(errno);
      }
    }
  }

 private:
  /// Declared after the queues, so that threads that wait for clients end before they are joined.
  struct StopAtEnd {
    Implementation& server;
    ~StopAtEnd() { server.stop(); }
  };

  void stop() {
    stopping_ = true;
    listener_ = Descriptor();
    eventfd_write(stopped_.number(), 1);
  }

  bool waitForClient(int stopDescriptor) const {
    pollfd waited[] = {{listener_.number(), POLLIN, 0}, {stopDescriptor, POLLIN, 0}};
    while (poll(waited, 2, -1) < 0) {
      if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
    }
    return waited[1].revents == 0;
  }

  /// A client that has gone again is no trouble, and want of descriptors or memory passes.
  static void passOver(int error) {
    if (error == EBADF || error == EINVAL || error == ENOTSOCK || error == EOPNOTSUPP) {
      throw std::system_error(error, std::generic_category(), "accept");
    }
    if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
      poll(nullptr, 0, static_cast<int>(kDescriptorsExhausted.count()));
    }
  }

  void take(const std::shared_ptr<Descriptor>& client, WorkQueue& requests, WorkQueue& refused) {
    if (requests.offer(
            [this, client, &requests] { guarded(&Implementation::serve, client, requests); })) {
      return;
    }
    refused.offer(
        [this, client, &requests] { guarded(&Implementation::refuse, client, requests); });
  }

  using Task = void (Implementation::*)(HttpConnection&, const WorkQueue&);

  /// Nothing that goes wrong with one client, want of memory included, concerns the others.
  void guarded(Task task, const std::shared_ptr<Descriptor>& client, const WorkQueue& requests) {
    try {
      HttpConnection connection(std::move(*client), stopped_.number());
      (this->*task)(connection, requests);
    } catch (...) {
      // The connection is closed; there is nobody to tell.
    }
  }

  void refuse(HttpConnection& connection, const WorkQueue& /*requests*/) {
    writeRefusal(connection, "503 Service Unavailable");
  }

  void serve(HttpConnection& connection, const WorkQueue& requests) {
    for (std::size_t count = 1; hasRequest(connection, requests, count == 1); ++count) {
      switch (connection.readHead(limits_.requestTime)) {
        case HttpConnection::HeadResult::kNobody:
          return;
        case HttpConnection::HeadResult::kTooSlow:
          return writeRefusal(connection, "408 Request Timeout");
        case HttpConnection::HeadResult::kTooLarge:
          return writeRefusal(connection, "431 Request Header Fields Too Large");
        case HttpConnection::HeadResult::kRead:
          break;
      }
      if (connection.head().starts_with("M-POST ")) {
        return writeRefusal(connection, "501 Not Implemented");
      }
      const bool isLast = count == kRequestsPerConnection || stopping_ || requests.hasWaiting();
      if (!handler_.answer(connection, isLast)) return connection.finish();
    }
  }

  /// Waits for the next request, no longer than others let it.
  bool hasRequest(HttpConnection& connection, const WorkQueue& requests, bool isFirst) const {
    const auto deadline = HttpConnection::Clock::now() + limits_.idleTime;
    while (!stopping_ && HttpConnection::Clock::now() < deadline) {
      if (connection.waitForRequest(kIdleSlice)) return true;
      if (!isFirst && requests.hasWaiting()) return false;
    }
    return false;
  }

  const HttpLimits limits_;
  RequestHandler handler_;
  Descriptor listener_;
  /// Can be read once the server is to stop.
  Descriptor stopped_;
  std::atomic<bool> stopping_ = false;
};

CimXmlHttpServer::CimXmlHttpServer(const CimXmlService& service, const HttpLimits& limits)
    : implementation_(std::make_unique<Implementation>(service, limits)) {}

CimXmlHttpServer::~CimXmlHttpServer() = default;

int CimXmlHttpServer::listen(const std::string& address, int port) {
  return implementation_->listen(address, port);
}

void CimXmlHttpServer::run(int stopDescriptor) {
  implementation_->run(stopDescriptor);
}

}  // namespace cimom
