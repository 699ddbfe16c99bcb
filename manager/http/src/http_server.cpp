#include <http/http_server.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <list>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "client_address.h"
#include "http_access.h"
#include "http_connection.h"
#include "http_connections.h"
#include "http_listener.h"
#include "tls_context.h"
#include "work_queue.h"

#include <unistd.h>

namespace cimom {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

/// Clients that get a 503 when the server is full; connections beyond them close without one.
constexpr std::size_t kMostTurnedAway = 64;
/// What is left for connections whose time to leave is over.
constexpr std::chrono::seconds kLastTime{1};

}  // namespace

/// One thread, that of run(), reads and writes for all connections; the workers' threads have the
/// whole requests.
class CimXmlHttpServer::Implementation {
 public:
  Implementation(const CimXmlService& service, const HttpSettings& settings)
      : workers_(std::max(settings.limits.requests, 1U), settings.limits.waiting),
        shared_{service,        settings.limits, namesOf(settings), accessOf(settings),
                settings.pages, workers_} {}
  /// Connections that a stop has left end with the context, before the registries that know them.
  ~Implementation() { workers_.finish(); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  int adopt(int listeningSocket) {
    return listeners_.emplace_back(context_).adopt(listeningSocket);
  }

  std::chrono::milliseconds timeLeft() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(stopDeadline_ - Clock::now());
    return std::max(left, std::chrono::milliseconds(0));
  }

  bool run(int stopDescriptor, int leaveDescriptor) {
    using Descriptor = net::posix::stream_descriptor;
    stopSignal_.assign(duplicate(stopDescriptor));
    stopSignal_.async_wait(Descriptor::wait_read,
                           [this](const error_code&) { stop(shared_.limits.stopTime); });
    if (leaveDescriptor >= 0) {
      leaveSignal_.assign(duplicate(leaveDescriptor));
      leaveSignal_.async_wait(Descriptor::wait_read, [this](const error_code& error) {
        if (!error) leave();
      });
    }
    for (HttpListener& listener : listeners_) {
      listener.start([this](HttpListener::Socket socket) { take(std::move(socket)); },
                     [this](const error_code& error) {
                       failure_ = error;
                       stopSignal_.cancel();
                     });
    }
    const bool isDone = runContext();
    // Nothing is written any more: workers that wait for that need not.
    for (const auto& connection : connections_.all()) connection->abandon();
    if (failure_) {
      throw std::system_error(failure_.value(), std::generic_category(), "accept");
    }
    return isDone;
  }

 private:
  using Clock = std::chrono::steady_clock;

  static int duplicate(int descriptor) {
    const int copy = dup(descriptor);
    if (copy < 0) throw std::system_error(errno, std::generic_category(), "dup");
    return copy;
  }

  ServedNames namesOf(const HttpSettings& settings) {
    if (settings.tlsCertificate.empty()) return ServedNames(settings.serverNames);
    tls_.emplace(settings.tlsCertificate, settings.tlsKey);
    return ServedNames(settings.serverNames,
                       [this](const std::string& name) { return tls_->certifies(name); });
  }

  HttpAccess* accessOf(const HttpSettings& settings) {
    if (settings.passwordFile.empty()) return nullptr;
    return &access_.emplace(settings.passwordFile, settings.limits);
  }

  /// Nothing that goes wrong with one client, want of memory included, concerns the others: its
  /// connection ends with the handler that threw.
  bool runContext() {
    for (;;) {
      try {
        while (!shared_.stopping && context_.run_one() > 0) {
          if (shared_.leaving && connections_.count() == 0) stop(kLastTime);
        }
        context_.run_until(stopDeadline_);
        return context_.stopped();
      } catch (const std::exception&) {
        continue;
      }
    }
  }

  /// What waits in the kernel is for the next process.
  void leave() {
    if (shared_.stopping) return;
    shared_.leaving = true;
    for (HttpListener& listener : listeners_) listener.close();
    leaveEnd_.expires_after(shared_.limits.stopTime);
    leaveEnd_.async_wait([this](const error_code& cancelled) {
      if (!cancelled) stop(kLastTime);
    });
  }

  /// What waits in the kernel is taken still: its requests may have arrived whole.
  void stop(std::chrono::seconds time) {
    if (shared_.stopping) return;
    stopDeadline_ = Clock::now() + time;
    shared_.stopping = true;
    leaveEnd_.cancel();
    stopSignal_.cancel();
    if (leaveSignal_.is_open()) leaveSignal_.cancel();
    shared_.service.shutDown();
    for (HttpListener& listener : listeners_) {
      if (!shared_.leaving) listener.takeWaiting();
      listener.close();
    }
    for (const auto& connection : connections_.all()) connection->stop();
  }

  void take(HttpListener::Socket socket) noexcept {
    try {
      error_code ignored;
      const auto client = clientOf(socket.remote_endpoint(ignored).address());
      const bool isRefused = isFullFor(client);
      HttpConnections& holder = isRefused ? turnedAway_ : connections_;
      if (isRefused && turnedAway_.count() >= kMostTurnedAway) return;
      const auto connection = std::make_shared<HttpConnection>(
          std::move(socket), tls_ ? &tls_->get() : nullptr, client, shared_, holder);
      holder.add(connection, client);
      isRefused ? connection->turnAway() : connection->serve();
    } catch (...) {
      // The connection is closed; no response can be sent.
    }
  }

  bool isFullFor(const HttpConnections::Address& client) const {
    const HttpLimits& limits = shared_.limits;
    return connections_.count() >= std::max(limits.connections, 1U) ||
           connections_.countOf(client) >= std::max(limits.connectionsPerClient, 1U);
  }

  // What connections refer to comes first, and goes last.
  HttpConnections connections_;
  HttpConnections turnedAway_;
  std::optional<TlsContext> tls_;
  std::optional<HttpAccess> access_;
  net::io_context context_{1};
  WorkQueue workers_;
  HttpSharedState shared_;
  std::list<HttpListener> listeners_;
  net::posix::stream_descriptor stopSignal_{context_};
  net::posix::stream_descriptor leaveSignal_{context_};
  net::steady_timer leaveEnd_{context_};
  Clock::time_point stopDeadline_;
  error_code failure_;
};

CimXmlHttpServer::CimXmlHttpServer(const CimXmlService& service, const HttpSettings& settings)
    : implementation_(std::make_unique<Implementation>(service, settings)) {}

CimXmlHttpServer::~CimXmlHttpServer() = default;

int CimXmlHttpServer::listen(const std::string& address, int port) {
  return adopt(openListeningSocket(address, port));
}

int CimXmlHttpServer::adopt(int listeningSocket) {
  return implementation_->adopt(listeningSocket);
}

bool CimXmlHttpServer::run(int stopDescriptor, int leaveDescriptor) {
  return implementation_->run(stopDescriptor, leaveDescriptor);
}

std::chrono::milliseconds CimXmlHttpServer::timeLeft() const {
  return implementation_->timeLeft();
}

bool isLoopback(const std::string& address) {
  net::io_context context;
  try {
    const auto endpoints = resolveListener(context, address, 0);
    return std::ranges::all_of(endpoints, [](const auto& entry) {
      return unmapped(entry.endpoint().address()).is_loopback();
    });
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("cannot listen at " + address + ": " + error.what());
  }
}

}  // namespace cimom
