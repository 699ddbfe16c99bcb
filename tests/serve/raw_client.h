#pragma once

#include <chrono>
#include <string>

namespace servetest {

/// A connection to a port of this host that sends what the test says, right or wrong.
class RawClient {
 public:
  /// `source` is the address of this host that the connection comes from. Throws std::system_error
  /// when no server listens.
  explicit RawClient(int port, const char* source = "127.0.0.1");
  ~RawClient();
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False when the server has closed the connection.
  bool send(const std::string& text);
  /// Says that nothing more is sent.
  void endSending();

  /// What comes until the server ends the connection; throws std::runtime_error when it has not
  /// done so in time.
  std::string receiveAll(std::chrono::seconds time = std::chrono::seconds(20));
  /// What comes until the text has come; throws std::runtime_error when it does not.
  std::string receiveUntil(const std::string& text,
                           std::chrono::seconds time = std::chrono::seconds(20));
  /// What comes first, as one read returns it; empty at the end of the connection.
  std::string receiveOnce();

 private:
  bool receiveSome(std::string& received, std::chrono::steady_clock::time_point deadline);

  int socket_;
};

}  // namespace servetest
