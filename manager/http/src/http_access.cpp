#include "http_access.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <model/names.h>
#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace cimom {
namespace {

/// Addresses whose failures are remembered; beyond them the oldest is forgotten.
constexpr std::size_t kMostClients = 4096;

/// Throws std::invalid_argument for what is no base64.
std::string decodedBase64(std::string_view text) {
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length = text.size() % 4 != 0 || text.empty()
                         ? -1
                         : EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                           reinterpret_cast<const unsigned char*>(text.data()),
                                           static_cast<int>(text.size()));
  if (length < 0) throw std::invalid_argument("no base64");
  // The padding is decoded as zero bytes.
  const auto padding = std::min<std::ptrdiff_t>(std::count(text.begin(), text.end(), '='), 2);
  bytes.resize(static_cast<std::size_t>(length - padding));
  return bytes;
}

}  // namespace

std::optional<HttpLogin> loginOf(const HttpRequest& head) {
  if (head.count(boost::beast::http::field::authorization) != 1) return std::nullopt;
  const auto value = head[boost::beast::http::field::authorization];
  const std::string_view text(value.data(), value.size());
  constexpr std::string_view kScheme = "Basic ";
  if (!sameName(text.substr(0, kScheme.size()), kScheme)) return std::nullopt;
  try {
    const std::size_t start = std::min(text.find_first_not_of(' ', kScheme.size()), text.size());
    const std::string pair = decodedBase64(text.substr(start));
    const std::size_t colon = pair.find(':');
    if (colon == std::string::npos) return std::nullopt;
    return HttpLogin{pair.substr(0, colon), pair.substr(colon + 1)};
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

HttpAccess::HttpAccess(const std::string& passwordFile, const HttpLimits& limits)
    : passwords_(passwordFile), mostFailures_(limits.loginFailures), pause_(limits.loginPause) {
  if (RAND_bytes(key_.data(), static_cast<int>(key_.size())) != 1) {
    throw std::runtime_error("no random numbers for passwords");
  }
}

bool HttpAccess::isKnown(const HttpLogin& login) const {
  const Digest shown = digestOf(login);
  const std::lock_guard lock(mutex_);
  const auto found = known_.find(login.user);
  return found != known_.end() &&
         CRYPTO_memcmp(found->second.data(), shown.data(), shown.size()) == 0;
}

bool HttpAccess::mayTry(const Address& client) const {
  const std::lock_guard lock(mutex_);
  const auto found = failures_.find(client);
  return found == failures_.end() || found->second.count < mostFailures_ ||
         found->second.last + pause_ <= Clock::now();
}

bool HttpAccess::verify(const HttpLogin& login, const Address& client) {
  // Asked again, since many logins of one client may have come at once.
  if (!mayTry(client)) return false;
  const bool isRight = passwords_.matches(login.user, login.password);
  isRight ? remember(login, client) : countFailure(client);
  return isRight;
}

void HttpAccess::remember(const HttpLogin& login, const Address& client) {
  const Digest shown = digestOf(login);
  const std::lock_guard lock(mutex_);
  known_[login.user] = shown;
  failures_.erase(client);
}

void HttpAccess::countFailure(const Address& client) {
  const Clock::time_point now = Clock::now();
  const std::lock_guard lock(mutex_);
  forgetOldFailures(now);
  Failures& failures = failures_[client];
  ++failures.count;
  failures.last = now;
}

HttpAccess::Digest HttpAccess::digestOf(const HttpLogin& login) const {
  const std::string text = login.user + '\0' + login.password;
  Digest digest{};
  unsigned length = 0;
  const unsigned char* made = HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
                                   reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                                   digest.data(), &length);
  if (made == nullptr || length != digest.size()) throw std::runtime_error("no digest");
  return digest;
}

void HttpAccess::forgetOldFailures(Clock::time_point now) {
  std::erase_if(failures_, [&](const auto& entry) { return entry.second.last + pause_ <= now; });
  if (failures_.size() < kMostClients) return;
  failures_.erase(
      std::ranges::min_element(failures_, {}, [](const auto& entry) { return entry.second.last; }));
}

}  // namespace cimom
