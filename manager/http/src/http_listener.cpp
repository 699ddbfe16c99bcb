#include "http_listener.h"

#include <array>
#include <boost/asio/error.hpp>
#include <boost/asio/strand.hpp>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <netdb.h>

namespace cimom {
namespace {

namespace net = boost::asio;
using boost::system::error_code;

constexpr int kBacklog = 64;
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

}  // namespace

HttpListener::HttpListener(net::io_context& context)
    : context_(context), acceptor_(context), pause_(context) {}

int HttpListener::listen(const std::string& address, int port) {
  // To the resolver no name at all means every address.
  if (address.empty()) throw std::runtime_error(gai_strerror(EAI_NONAME));
  error_code error;
  Tcp::resolver resolver(context_);
  const auto endpoints =
      resolver.resolve(address, std::to_string(port),
                       Tcp::resolver::passive | Tcp::resolver::numeric_service, error);
  if (error) throw std::runtime_error(resolverReason(error));
  for (const auto& entry : endpoints) {
    error = open(entry.endpoint());
    if (!error) return acceptor_.local_endpoint().port();
  }
  throw std::runtime_error(error.message());
}

error_code HttpListener::open(const Tcp::endpoint& endpoint) {
  error_code error;
  error_code ignored;
  acceptor_.close(ignored);
  acceptor_.open(endpoint.protocol(), error);
  if (!error) closeInChildren(acceptor_.native_handle());
  if (!error) acceptor_.set_option(Tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor_.bind(endpoint, error);
  if (!error) acceptor_.listen(kBacklog, error);
  return error;
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

void HttpListener::accept() {
  acceptor_.async_accept(
      net::make_strand(context_),
      [this](const error_code& error, Socket socket) { onAccept(error, std::move(socket)); });
}

void HttpListener::onAccept(const error_code& error, Socket socket) {
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
  if (!error) {
    closeInChildren(socket.native_handle());
    take_(std::move(socket));
  }
  accept();
}

}  // namespace cimom
