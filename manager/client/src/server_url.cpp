#include <client/server_url.h>
#include <model/names.h>

#include <algorithm>
#include <charconv>

namespace cimom {
namespace {

constexpr std::uint16_t kPlainPort = 5988;
constexpr std::uint16_t kEncryptedPort = 5989;

int hexDigit(char c) {
  int value = 0;
  const auto [end, error] = std::from_chars(&c, &c + 1, value, 16);
  return error == std::errc() ? value : -1;
}

std::string decoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
    if (high < 0 || low < 0) throw UrlError("the user's name has a '%' without two digits");
    out += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return out;
}

void takeScheme(std::string_view& rest, ServerUrl& url) {
  const std::size_t end = rest.find("://");
  const std::string_view scheme = rest.substr(0, end);
  url.isEncrypted = sameName(scheme, "https");
  if (end == std::string_view::npos || (!url.isEncrypted && !sameName(scheme, "http"))) {
    throw UrlError("a URL begins with http:// or https://");
  }
  rest.remove_prefix(end + 3);
}

void takeUser(std::string_view& rest, ServerUrl& url) {
  const std::size_t end = rest.rfind('@');
  if (end == std::string_view::npos) return;
  const std::string_view user = rest.substr(0, end);
  if (user.find(':') != std::string_view::npos) {
    throw UrlError(
        "a password does not belong into a URL, which others can see; it is read from "
        "--password-file, PCICIM_PASSWORD or the terminal");
  }
  url.user = decoded(user);
  // Between user and password a header has a colon.
  if (url.user.empty() || url.user.find(':') != std::string::npos) {
    throw UrlError("the URL has no user's name that can be sent before its '@'");
  }
  rest.remove_prefix(end + 1);
}

bool isHostCharacter(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > ' ' && byte < 0x7f &&
         std::string_view("/?#@[]\\<>\"%").find(c) == std::string::npos;
}

/// The host; what is behind it stays.
std::string takeHost(std::string_view& rest) {
  const bool isBracketed = rest.starts_with('[');
  const std::size_t end = isBracketed ? rest.find(']') : std::min(rest.find(':'), rest.size());
  if (end == std::string_view::npos) throw UrlError("the URL's address has no ']'");
  std::string host(rest.substr(isBracketed ? 1 : 0, isBracketed ? end - 1 : end));
  if (host.empty() || !std::ranges::all_of(host, isHostCharacter)) {
    throw UrlError("the URL names no host");
  }
  rest.remove_prefix(isBracketed ? end + 1 : end);
  return host;
}

void readPort(std::string_view rest, ServerUrl& url) {
  if (rest.empty()) {
    url.port = url.isEncrypted ? kEncryptedPort : kPlainPort;
    return;
  }
  const char* end = rest.data() + rest.size();
  const auto [stop, error] = std::from_chars(rest.data() + 1, end, url.port);
  if (rest.front() != ':' || rest.size() < 2 || error != std::errc() || stop != end ||
      url.port == 0) {
    throw UrlError("the URL has no port from 1 to 65535 behind its host");
  }
}

}  // namespace

std::string ServerUrl::authority() const {
  const bool isIpv6 = host.find(':') != std::string::npos;
  return (isIpv6 ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

ServerUrl parseServerUrl(std::string_view text) {
  ServerUrl url;
  takeScheme(text, url);
  takeUser(text, url);
  if (text.ends_with('/')) text.remove_suffix(1);
  if (text.find('/') != std::string_view::npos) {
    throw UrlError("a URL ends behind host and port: the namespace belongs to the path");
  }
  url.name = text;
  url.host = takeHost(text);
  readPort(text, url);
  return url;
}

}  // namespace cimom
