#include "service_manager.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace pcicim {
namespace {

constexpr int kFirstPassed = 3;

/// The number that a variable holds; 0 where it holds none.
int numberIn(const char* variable) {
  const char* text = std::getenv(variable);
  if (text == nullptr) return 0;
  const std::string_view digits = text;
  int number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() ? number : 0;
}

int socketOption(int descriptor, int option) {
  int value = -1;
  socklen_t size = sizeof value;
  return getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

void checkListening(int descriptor) {
  const int family = socketOption(descriptor, SO_DOMAIN);
  const bool isTcp =
      (family == AF_INET || family == AF_INET6) && socketOption(descriptor, SO_TYPE) == SOCK_STREAM;
  if (!isTcp || socketOption(descriptor, SO_ACCEPTCONN) != 1) {
    throw std::runtime_error("descriptor " + std::to_string(descriptor) +
                             " was passed and is no listening TCP socket");
  }
}

}  // namespace

std::vector<int> passedSockets() {
  const int count = numberIn("LISTEN_PID") == getpid() ? numberIn("LISTEN_FDS") : 0;
  for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(variable);
  std::vector<int> sockets;
  for (int descriptor = kFirstPassed; descriptor < kFirstPassed + count; ++descriptor) {
    checkListening(descriptor);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    sockets.push_back(descriptor);
  }
  return sockets;
}

void notifyServiceManager(const std::string& state) {
  const char* place = std::getenv("NOTIFY_SOCKET");
  if (place == nullptr) return;
  const std::string_view path = place;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return;
  path.copy(address.sun_path, path.size());
  // A name that is in no file system.
  if (path.front() == '@') address.sun_path[0] = '\0';
  const int made = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (made < 0) return;
  sendto(made, state.data(), state.size(), MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address),
         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size()));
  close(made);
}

SocketAddress addressOf(int listeningSocket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  char host[NI_MAXHOST];
  char port[NI_MAXSERV];
  if (getsockname(listeningSocket, general, &size) != 0 ||
      getnameinfo(general, size, host, sizeof host, port, sizeof port,
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    throw std::system_error(errno, std::generic_category(), "getsockname");
  }
  return {host, std::stoi(port)};
}

}  // namespace pcicim
