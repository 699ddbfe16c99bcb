#include "http_listener.h"

#include <http/http_server.h>

#include <array>
#include <boost/asio/error.hpp>
#include <boost/asio/strand.hpp>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>

namespace cimom {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

constexpr int kBacklog = 64;
constexpr int kMostWaiting = 2 * kBacklog;
constexpr std::chrono::milliseconds kPauseWithoutResources{50};

/// True for the want of descriptors or memory, which passes.
bool isWant(const error_code& error) {
  return error == net::error::no_descriptors || error == net::error::no_buffer_space ||
         error == net::error::no_memory || error.value() == ENFILE;
}

bool isFinal(const error_code& error) {
  return error == net::error::bad_descriptor || error == net::error::invalid_argument ||
         error == net::error::not_socket || error == net::error::operation_not_supported;
}

/// In the system's own words.
std::string resolverReason(const error_code& error) {
  if (error == net::error::host_not_found) return gai_strerror(EAI_NONAME);
  if (error == net::error::host_not_found_try_again) return gai_strerror(EAI_AGAIN);
  return error.message();
}

void closeInChildren(int descriptor) {
  fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

error_code open(net::ip::tcp::acceptor& acceptor, const net::ip::tcp::endpoint& endpoint) {
  using Acceptor = net::ip::tcp::acceptor;
  error_code error;
  error_code ignored;
  acceptor.close(ignored);
  acceptor.open(endpoint.protocol(), error);
  if (!error) closeInChildren(acceptor.native_handle());
  if (!error) acceptor.set_option(Acceptor::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(kBacklog, error);
  return error;
}

int openAtAnyOf(const std::string& address, int port) {
  net::io_context context;
  net::ip::tcp::acceptor acceptor(context);
  error_code error;
  for (const auto& entry : resolveListener(context, address, port)) {
    error = open(acceptor, entry.endpoint());
    if (!error) return acceptor.release();
  }
  throw std::runtime_error(error.message());
}

}  // namespace

int openListeningSocket(const std::string& address, int port) {
  try {
    return openAtAnyOf(address, port);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("cannot listen at " + address + ", port " + std::to_string(port) +
                             ": " + error.what());
  }
}

net::ip::tcp::resolver::results_type resolveListener(net::io_context& context,
                                                     const std::string& address, int port) {
  const bool isBracketed = address.starts_with('[') && address.ends_with(']');
  const std::string name = isBracketed ? address.substr(1, address.size() - 2) : address;
  // To the resolver no name at all means every address.
  if (name.empty()) throw std::runtime_error(gai_strerror(EAI_NONAME));
  using Resolver = net::ip::tcp::resolver;
  error_code error;
  auto endpoints = Resolver(context).resolve(name, std::to_string(port),
                                             Resolver::passive | Resolver::numeric_service, error);
  if (error) throw std::runtime_error(resolverReason(error));
  return endpoints;
}

HttpListener::HttpListener(net::io_context& context)
    : context_(context), acceptor_(context), pause_(context) {}

int HttpListener::adopt(int listeningSocket) {
  int family = 0;
  socklen_t size = sizeof family;
  getsockopt(listeningSocket, SOL_SOCKET, SO_DOMAIN, &family, &size);
  error_code error;
  acceptor_.assign(family == AF_INET6 ? Tcp::v6() : Tcp::v4(), listeningSocket, error);
  if (error) throw std::runtime_error(error.message());
  return acceptor_.local_endpoint().port();
}

void HttpListener::start(Take take, Fail fail) {
  take_ = std::move(take);
  fail_ = std::move(fail);
  accept();
}

void HttpListener::close() {
  error_code ignored;
  acceptor_.close(ignored);
  pause_.cancel();
}

void HttpListener::takeWaiting() {
  error_code error;
  acceptor_.non_blocking(true, error);
  // Clients that go on connecting do not hold up a stop.
  for (int i = 0; i < kMostWaiting && !error; ++i) {
    Socket socket(net::make_strand(context_));
    acceptor_.accept(socket, error);
    if (!error) take(std::move(socket));
  }
}

void HttpListener::take(Socket socket) {
  closeInChildren(socket.native_handle());
  take_(std::move(socket));
}

void HttpListener::accept() {
  acceptor_.async_accept(
      net::make_strand(context_),
      [this](const error_code& error, Socket socket) { onAccept(error, std::move(socket)); });
}

void HttpListener::onAccept(const error_code& error, Socket socket) {
  // A connection that was taken before the end counts after it too.
  if (!error) take(std::move(socket));
  if (!acceptor_.is_open()) return;
  if (isFinal(error)) return fail_(error);
  if (isWant(error)) {
    pause_.expires_after(kPauseWithoutResources);
    pause_.async_wait([this](const error_code& cancelled) {
      if (!cancelled && acceptor_.is_open()) accept();
    });
    return;
  }
  // Every other error is that of one client which has gone again.
  accept();
}

}  // namespace cimom
