#include "tls_files.h"

#include <crypt.h>

#include <stdexcept>

namespace servetest {

TlsFiles::TlsFiles() {
  const clitest::Outcome made = clitest::runProgram(
      OPENSSL_PROGRAM, {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                        "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
                        "subjectAltName=DNS:localhost,DNS:pci.example,IP:127.0.0.1", "-keyout",
                        key(), "-out", certificate()});
  if (made.status != 0) throw std::runtime_error("no certificate: " + made.err);
}

void TlsFiles::sealKey(const std::string& path) const {
  const clitest::Outcome made = clitest::runProgram(
      OPENSSL_PROGRAM, {"pkey", "-in", key(), "-aes256", "-passout", "pass:secret", "-out", path});
  if (made.status != 0) throw std::runtime_error("no sealed key: " + made.err);
}

std::string passwordLine(const std::string& user, const std::string& password) {
  crypt_data data{};
  char setting[CRYPT_GENSALT_OUTPUT_SIZE];
  if (crypt_gensalt_rn("$2y$", 5, nullptr, 0, setting, sizeof setting) == nullptr) {
    throw std::runtime_error("no salt");
  }
  return user + ':' + crypt_r(password.c_str(), setting, &data) + '\n';
}

}  // namespace servetest
