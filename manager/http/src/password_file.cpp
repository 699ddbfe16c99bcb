#include "password_file.h"

#include <crypt.h>
#include <openssl/crypto.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace cimom {
namespace {

/// The hash of the password in the way of another; empty when it cannot be made.
std::string hashLike(const std::string& hash, const std::string& password) {
  const auto data = std::make_unique<crypt_data>();
  const char* made = crypt_r(password.c_str(), hash.c_str(), data.get());
  std::string result = made == nullptr || *made == '*' ? "" : made;
  OPENSSL_cleanse(data.get(), sizeof *data);
  return result;
}

/// Nothing wrong: empty.
std::string troubleWith(const std::string& hash) {
  switch (crypt_checksalt(hash.c_str())) {
    case CRYPT_SALT_OK:
      break;
    case CRYPT_SALT_METHOD_LEGACY:
      // SHA-256 is not the library's choice for new hashes, and is as slow to guess as SHA-512.
      if (hash.starts_with("$5$")) break;
      return "the hash is of a kind that is too easy to guess (make it with htpasswd -B or "
             "mkpasswd)";
    default:
      return "the hash is of a kind that is not known here (make it with htpasswd -B or mkpasswd)";
  }
  // A hash that is cut short lets nobody in, whatever the password.
  return hashLike(hash, "").size() == hash.size() ? "" : "the hash is not whole";
}

}  // namespace

PasswordFile::PasswordFile(const std::string& path) : secret_(std::random_device{}()) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("cannot read " + path + ": " + std::generic_category().message(errno));
  }
  std::size_t number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    try {
      addLine(line);
    } catch (const std::invalid_argument& error) {
      throw std::runtime_error(path + ", line " + std::to_string(number) + ": " + error.what());
    }
  }
  if (file.bad()) throw std::runtime_error("cannot read " + path + " to its end");
  if (hashes_.empty()) throw std::runtime_error(path + " names no user");
}

void PasswordFile::addLine(const std::string& text) {
  const std::string line = text.ends_with('\r') ? text.substr(0, text.size() - 1) : text;
  if (line.empty() || line.starts_with('#')) return;
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos || colon == 0) {
    throw std::invalid_argument("this is not user:hash");
  }
  const std::string hash = line.substr(colon + 1);
  if (const std::string trouble = troubleWith(hash); !trouble.empty()) {
    throw std::invalid_argument(trouble);
  }
  const std::string user = line.substr(0, colon);
  if (!hashes_.emplace(user, hash).second) {
    throw std::invalid_argument("user " + user + " is named before");
  }
}

bool PasswordFile::matches(const std::string& user, const std::string& password) const {
  const auto found = hashes_.find(user);
  const bool isKnown = found != hashes_.end();
  const std::string& expected = isKnown ? found->second : standInFor(user);
  // The hash function would stop at a NUL and take what is before it for the password.
  const bool isText = password.find('\0') == std::string::npos;
  const std::string made = hashLike(expected, password);
  const bool isSame = made.size() == expected.size() &&
                      CRYPTO_memcmp(made.data(), expected.data(), made.size()) == 0;
  return isSame && isKnown && isText;
}

/// The same one each time, so that the cost of asking does not tell either.
const std::string& PasswordFile::standInFor(const std::string& user) const {
  const std::size_t index = (std::hash<std::string>{}(user) ^ secret_) % hashes_.size();
  return std::next(hashes_.begin(), static_cast<std::ptrdiff_t>(index))->second;
}

}  // namespace cimom
