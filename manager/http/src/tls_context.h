#pragma once

#include <boost/asio/ssl/context.hpp>
#include <string>

namespace cimom {

/// The server's side of TLS 1.2 and later, with its certificate and key.
class TlsContext {
 public:
  /// Files in PEM; the certificate's is followed by those between it and its authority. Throws
  /// std::runtime_error that names the file and the reason.
  TlsContext(const std::string& certificate, const std::string& key);

  boost::asio::ssl::context& get() { return context_; }
  /// True when the certificate is one for the name or address. Safe from any thread.
  bool certifies(const std::string& name) const;

 private:
  boost::asio::ssl::context context_;
};

}  // namespace cimom
