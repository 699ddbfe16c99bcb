#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cimom {

/// A text that is no URL of a server; what() says why.
class UrlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where a CIM server is, and as whom to ask it.
struct ServerUrl {
  bool isEncrypted = false;
  /// Empty: as nobody.
  std::string user;
  /// A name or a numeric address, an IPv6 one without its brackets.
  std::string host;
  std::uint16_t port = 0;
  /// HOST[:PORT] as it was written; what the server is called in errors.
  std::string name;

  /// HOST:PORT for the Host header, IPv6 addresses in brackets.
  std::string authority() const;
};

/// Reads http[s]://[USER@]HOST[:PORT], a '/' behind it let pass; %XX in the user is decoded. The
/// ports of CIM are 5988 and, with TLS, 5989 (DMTF DSP0200). Throws UrlError, also for a password:
/// other users see a command line. Safe from any thread.
ServerUrl parseServerUrl(std::string_view text);

}  // namespace cimom
