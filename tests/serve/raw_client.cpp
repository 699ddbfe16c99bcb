#include "raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace servetest {

RawClient::RawClient(int port, const char* source)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in own{};
  own.sin_family = AF_INET;
  sockaddr_in address = own;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<in_port_t>(port));
  inet_pton(AF_INET, source, &own.sin_addr);
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
      connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    close(socket_);
    throw std::system_error(error, std::generic_category(), "connect");
  }
}

RawClient::~RawClient() {
  close(socket_);
}

bool RawClient::send(const std::string& text) {
  return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(text.size());
}

void RawClient::endSending() {
  shutdown(socket_, SHUT_WR);
}

std::string RawClient::receiveAll(std::chrono::seconds time) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  std::string received;
  while (receiveSome(received, deadline)) {
  }
  return received;
}

std::string RawClient::receiveUntil(const std::string& text, std::chrono::seconds time) {
  const auto deadline = std::chrono::steady_clock::now() + time;
  std::string received;
  while (received.find(text) == std::string::npos) {
    if (!receiveSome(received, deadline)) throw std::runtime_error("ended: " + received);
  }
  return received;
}

std::string RawClient::receiveOnce() {
  std::string received;
  receiveSome(received, std::chrono::steady_clock::now() + std::chrono::seconds(20));
  return received;
}

bool RawClient::receiveSome(std::string& received, std::chrono::steady_clock::time_point deadline) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  pollfd waited{socket_, POLLIN, 0};
  if (poll(&waited, 1, std::max(static_cast<int>(left.count()), 0)) <= 0) {
    throw std::runtime_error("nothing more came after: " + received);
  }
  char bytes[65536];
  const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
  if (count > 0) received.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace servetest
