#include "tls_context.h"

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace cimom {
namespace {

namespace ssl = boost::asio::ssl;
using boost::system::error_code;

/// The library's own message about a file that is not there has no reason in it.
void requireReadable(const std::string& path) {
  std::ifstream file(path);
  const bool isRead = file.is_open() && file.peek() != std::ifstream::traits_type::eof();
  if (isRead) return;
  const std::string reason =
      file.is_open() ? "it is empty" : std::generic_category().message(errno);
  throw std::runtime_error("cannot read " + path + ": " + reason);
}

[[noreturn]] void refuse(const std::string& what, const std::string& path,
                         const error_code& error) {
  throw std::runtime_error("no usable " + what + " in " + path + ": " + error.message());
}

}  // namespace

TlsContext::TlsContext(const std::string& certificate, const std::string& key)
    : context_(ssl::context::tls_server) {
  requireReadable(certificate);
  requireReadable(key);
  SSL_CTX* native = context_.native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
  SSL_CTX_set_options(native, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
  error_code error;
  // A key with a passphrase would be asked for at the terminal.
  context_.set_password_callback([](std::size_t, ssl::context::password_purpose) { return ""; },
                                 error);
  context_.use_private_key_file(key, ssl::context::pem, error);
  if (error) refuse("private key without a passphrase", key, error);
  context_.use_certificate_chain_file(certificate, error);
  if (error) refuse("certificate", certificate, error);
  if (SSL_CTX_check_private_key(native) != 1) {
    throw std::runtime_error("the key in " + key + " is not that of the certificate in " +
                             certificate);
  }
}

bool TlsContext::certifies(const std::string& name) const {
  // The native handle is not changed by asking.
  X509* certificate = SSL_CTX_get0_certificate(const_cast<ssl::context&>(context_).native_handle());
  return X509_check_host(certificate, name.data(), name.size(), 0, nullptr) == 1 ||
         X509_check_ip_asc(certificate, name.c_str(), 0) == 1;
}

}  // namespace cimom
