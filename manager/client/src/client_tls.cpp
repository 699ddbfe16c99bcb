#include "client_tls.h"

#include <openssl/ssl.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace cimom {
namespace {

namespace ssl = boost::asio::ssl;

/// The library's own message about a file that is not there has no reason in it.
void requireReadable(const std::string& path) {
  std::ifstream file(path);
  if (file.is_open() && file.peek() != std::ifstream::traits_type::eof()) return;
  throw std::runtime_error(
      "cannot read " + path + ": " +
      (file.is_open() ? "it is empty or a directory" : std::generic_category().message(errno)));
}

}  // namespace

ssl::context makeClientTls(const ClientSettings& settings) {
  ssl::context context(ssl::context::tls_client);
  SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
  boost::system::error_code error;
  if (settings.caFile.empty()) {
    context.set_default_verify_paths(error);
  } else {
    requireReadable(settings.caFile);
    context.load_verify_file(settings.caFile, error);
    if (error) {
      throw std::runtime_error("no certificate in " + settings.caFile + ": " + error.message());
    }
  }
  context.set_verify_mode(settings.isInsecure ? ssl::verify_none : ssl::verify_peer, error);
  return context;
}

}  // namespace cimom
