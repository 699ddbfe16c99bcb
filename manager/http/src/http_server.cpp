#include <http/http_server.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "http_connection.h"
#include "http_connections.h"
#include "http_listener.h"
#include "work_queue.h"

#include <unistd.h>

namespace cimom {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

/// Clients that get a 503 when the server is full; connections beyond them close without one.
constexpr std::size_t kMostTurnedAway = 64;

}  // namespace

/// One thread, that of run(), reads and writes for all connections; the workers' threads have the
/// whole requests.
class CimXmlHttpServer::Implementation {
 public:
  Implementation(const CimXmlService& service, const HttpLimits& limits)
      : workers_(std::max(limits.requests, 1U), limits.waiting),
        shared_{service, limits, workers_} {}

  int listen(const std::string& address, int port) {
    try {
      return listener_.listen(address, port);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error("cannot listen at " + address + ", port " + std::to_string(port) +
                               ": " + error.what());
    }
  }

  void run(int stopDescriptor) {
    net::posix::stream_descriptor stopSignal(context_, duplicate(stopDescriptor));
    stopSignal.async_wait(net::posix::stream_descriptor::wait_read,
                          [this](const error_code&) { stop(); });
    listener_.start([this](HttpListener::Socket socket) { take(std::move(socket)); },
                    [this, &stopSignal](const error_code& error) {
                      failure_ = error;
                      stopSignal.cancel();
                    });
    runContext();
    if (failure_) {
      throw std::system_error(failure_.value(), std::generic_category(), "accept");
    }
  }

 private:
  static int duplicate(int descriptor) {
    const int copy = dup(descriptor);
    if (copy < 0) throw std::system_error(errno, std::generic_category(), "dup");
    return copy;
  }

  /// Nothing that goes wrong with one client, want of memory included, concerns the others: its
  /// connection ends with the handler that threw.
  void runContext() {
    for (;;) {
      try {
        context_.run();
        return;
      } catch (const std::exception&) {
        continue;
      }
    }
  }

  void stop() {
    shared_.stopping = true;
    listener_.close();
    for (const auto& connection : connections_.all()) connection->stop();
  }

  void take(HttpListener::Socket socket) noexcept {
    try {
      makeRoom();
      const bool isFull = connections_.count() >= std::max(shared_.limits.connections, 1U);
      HttpConnections& holder = isFull ? turnedAway_ : connections_;
      if (isFull && turnedAway_.count() >= kMostTurnedAway) return;
      const auto connection = std::make_shared<HttpConnection>(std::move(socket), shared_, holder);
      holder.add(connection);
      isFull ? connection->turnAway() : connection->serve();
    } catch (...) {
      // The connection is closed; no response can be sent.
    }
  }

  void makeRoom() {
    if (connections_.count() < std::max(shared_.limits.connections, 1U)) return;
    if (const auto idle = connections_.takeLongestIdle()) idle->makeRoom();
  }

  net::io_context context_{1};
  HttpConnections connections_;
  HttpConnections turnedAway_;
  WorkQueue workers_;
  HttpSharedState shared_;
  HttpListener listener_{context_};
  error_code failure_;
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
