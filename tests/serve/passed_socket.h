#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace servetest {

/// A socket that listens at a free port of this host, as a service manager makes it.
class PassedSocket {
 public:
  /// Throws std::system_error.
  explicit PassedSocket(const char* address = "127.0.0.1")
      : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    constexpr int kBacklog = 64;
    sockaddr_in place{};
    place.sin_family = AF_INET;
    inet_pton(AF_INET, address, &place.sin_addr);
    socklen_t size = sizeof place;
    auto* general = reinterpret_cast<sockaddr*>(&place);
    if (bind(descriptor_, general, size) != 0 || ::listen(descriptor_, kBacklog) != 0 ||
        getsockname(descriptor_, general, &size) != 0) {
      throw std::system_error(errno, std::generic_category(), "listen");
    }
    port_ = ntohs(place.sin_port);
  }
  ~PassedSocket() { close(descriptor_); }
  PassedSocket(const PassedSocket&) = delete;
  PassedSocket& operator=(const PassedSocket&) = delete;

  int descriptor() const { return descriptor_; }
  int port() const { return port_; }

 private:
  int descriptor_;
  int port_ = 0;
};

}  // namespace servetest
