#pragma once

#include <http/http_server.h>

#include <array>
#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "http_messages.h"
#include "password_file.h"

namespace cimom {

/// What a client shows for itself.
struct HttpLogin {
  std::string user;
  std::string password;
};

/// The login of HTTP basic authentication in a request's head; nothing where there is none, or none
/// that can be read.
std::optional<HttpLogin> loginOf(const HttpRequest& head);

/// Decides who may ask. Safe from any thread.
class HttpAccess {
 public:
  using Address = boost::asio::ip::address;

  /// Throws as PasswordFile does.
  HttpAccess(const std::string& passwordFile, const HttpLimits& limits);

  /// True when the login was right before; takes no time.
  bool isKnown(const HttpLogin& login) const;
  /// False when the client has failed too often of late; no login of it is checked then.
  bool mayTry(const Address& client) const;
  /// True when the login is right and the client may try. Takes the time of the password's hash:
  /// for workers.
  bool verify(const HttpLogin& login, const Address& client);

 private:
  using Clock = std::chrono::steady_clock;
  using Digest = std::array<unsigned char, 32>;
  struct Failures {
    unsigned count = 0;
    Clock::time_point last;
  };

  Digest digestOf(const HttpLogin& login) const;
  void remember(const HttpLogin& login, const Address& client);
  void countFailure(const Address& client);
  void forgetOldFailures(Clock::time_point now);

  PasswordFile passwords_;
  const unsigned mostFailures_;
  const std::chrono::seconds pause_;
  /// A key of this process alone: what it remembers of passwords is worth nothing elsewhere.
  Digest key_{};
  mutable std::mutex mutex_;
  std::map<std::string, Digest> known_;
  std::map<Address, Failures> failures_;
};

}  // namespace cimom
