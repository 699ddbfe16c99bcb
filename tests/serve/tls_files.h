#pragma once

#include <filesystem>
#include <string>

#include "run_pcicim.h"

namespace servetest {

/// A certificate of its own authority and its key, made by the openssl program for localhost,
/// 127.0.0.1 and pci.example; removed with the object.
class TlsFiles {
 public:
  /// Throws std::runtime_error when they cannot be made.
  TlsFiles();

  std::string certificate() const { return certificate_.path().string(); }
  std::string key() const { return key_.path().string(); }
  /// Writes the key with a passphrase into the file.
  void sealKey(const std::string& path) const;

 private:
  clitest::TemporaryFile certificate_{""};
  clitest::TemporaryFile key_{""};
};

/// A line of a password file, as `htpasswd -B -C 5` writes it.
std::string passwordLine(const std::string& user, const std::string& password);

}  // namespace servetest
