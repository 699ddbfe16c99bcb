#pragma once

#include <string>
#include <vector>

namespace pcicim {

/// The listening sockets that the service manager passes to this process (LISTEN_PID, LISTEN_FDS);
/// none when it passes nothing. They are not passed on to further programs. Throws
/// std::runtime_error when one is no listening TCP socket. Call once: the variables are removed.
std::vector<int> passedSockets();

/// Tells the service manager at NOTIFY_SOCKET how this process is, in lines of `NAME=VALUE`; does
/// nothing where there is none.
void notifyServiceManager(const std::string& state);

/// An address that a socket listens at, as numbers.
struct SocketAddress {
  std::string host;
  int port = 0;
};

/// Throws std::system_error.
SocketAddress addressOf(int listeningSocket);

}  // namespace pcicim
