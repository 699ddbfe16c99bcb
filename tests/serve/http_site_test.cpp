// Whose requests are answered: those that name this server, and that no web page of another site
// made a browser send.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "raw_client.h"
#include "running_server.h"

namespace servetest {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";
constexpr char kMisdirected[] = "HTTP/1.1 421 ";
constexpr char kForbidden[] = "HTTP/1.1 403 ";

class HttpSite : public testing::Test {
 protected:
  std::string send(const std::string& text) const {
    RawClient raw(server.port());
    EXPECT_TRUE(raw.send(text));
    return raw.receiveAll();
  }
  /// A request with these lines for its host, each with its end.
  std::string withHost(const std::string& lines, const std::string& extra = "",
                       const std::string& start = "POST /cimom HTTP/1.1\r\n") const {
    const std::string body = getThing("a").body();
    return send(start + lines + "Content-Type: application/xml\r\n" + cimHeaders(getThing("a")) +
                extra + "Connection: close\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n" + body);
  }

  RunningServer server{
      cimom::HttpSettings{.serverNames = {"node7.example", "node7", "192.0.2.7", "2001:db8::7"}}};
};

TEST_F(HttpSite, ItsOwnNamesAndAddressesAreServed) {
  const std::string port = std::to_string(server.port());
  for (const char* host :
       {"localhost", "LocalHost:1", "localhost.", "127.0.0.1", "127.0.0.1:80", "127.1.2.3", "[::1]",
        "[::1]:5988", "[::ffff:127.0.0.1]", "node7.example", "NODE7.example:5988", "node7",
        "192.0.2.7", "[2001:db8::7]:5988"}) {
    EXPECT_THAT(withHost("Host: " + std::string(host) + "\r\n"), StartsWith(kOk)) << host;
  }
  EXPECT_THAT(withHost("Host: 127.0.0.1:" + port + "\r\n"), StartsWith(kOk));
}

TEST_F(HttpSite, OtherNamesAreNot) {
  for (const char* host :
       {"attacker.example", "node7.example.attacker.example", "localhost.attacker.example",
        "192.0.2.8", "[2001:db8::8]", "localhost@attacker.example", "attacker.example:5988", "",
        "localhost:x", "localhost:5988:1", "[::1", "::1", "localhost/"}) {
    EXPECT_THAT(withHost("Host: " + std::string(host) + "\r\n"), StartsWith(kMisdirected)) << host;
  }
  EXPECT_THAT(send("OPTIONS / HTTP/1.1\r\nHost: attacker.example\r\n\r\n"),
              StartsWith(kMisdirected));
}

TEST_F(HttpSite, TheNameInTheTargetCounts) {
  EXPECT_THAT(
      withHost("Host: localhost\r\n", "", "POST http://attacker.example/cimom HTTP/1.1\r\n"),
      StartsWith(kMisdirected));
  EXPECT_THAT(withHost("Host: localhost\r\n", "", "POST http://node7/cimom HTTP/1.1\r\n"),
              StartsWith(kOk));
  EXPECT_THAT(withHost("", "", "POST http://attacker.example/cimom HTTP/1.0\r\n"),
              StartsWith(kMisdirected));
}

TEST_F(HttpSite, TheHostIsNamedOnce) {
  EXPECT_THAT(withHost(""), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(withHost("Host: localhost\r\nHost: localhost\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(withHost("", "", "POST /cimom HTTP/1.0\r\n"), StartsWith(kOk));
}

TEST_F(HttpSite, WhatAWebPageOfAnotherSiteSendsIsRefused) {
  const auto from = [&](const std::string& lines) {
    return withHost("Host: localhost:5988\r\n", lines);
  };
  EXPECT_THAT(from("Origin: http://attacker.example\r\n"), StartsWith(kForbidden));
  EXPECT_THAT(from("Origin: null\r\n"), StartsWith(kForbidden));
  EXPECT_THAT(from("Origin: http://localhost:3000\r\n"), StartsWith(kForbidden));
  EXPECT_THAT(from("Origin: http://localhost:5988\r\n"), StartsWith(kOk));
  EXPECT_THAT(from("Sec-Fetch-Site: cross-site\r\n"), StartsWith(kForbidden));
  EXPECT_THAT(from("Sec-Fetch-Site: same-site\r\n"), StartsWith(kForbidden));
  EXPECT_THAT(from("Sec-Fetch-Site: same-origin\r\n"), StartsWith(kOk));
  EXPECT_THAT(from("Sec-Fetch-Site: none\r\n"), StartsWith(kOk));
}

/// The requests that a page may make a browser send to any site are those of forms; for all others
/// the browser asks first, by OPTIONS, and needs permission in the response.
TEST_F(HttpSite, WhatAWebPageMaySendWithoutAskingIsRefused) {
  const std::string body = getThing("a").body();
  for (const char* type :
       {"text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x"}) {
    EXPECT_THAT(
        send("POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: " + std::string(type) +
             "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body),
        StartsWith("HTTP/1.1 415 "))
        << type;
  }
  EXPECT_THAT(send("POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n"
                   "Content-Length: " +
                   std::to_string(body.size()) + "\r\n\r\n" + body),
              StartsWith("HTTP/1.1 400 "));
  const std::string asked = send(
      "OPTIONS /cimom HTTP/1.1\r\nHost: localhost\r\nOrigin: http://attacker.example\r\n"
      "Access-Control-Request-Method: POST\r\n\r\n");
  EXPECT_THAT(asked, StartsWith(kForbidden));
  EXPECT_THAT(asked, Not(HasSubstr("Access-Control-Allow")));
}

}  // namespace
}  // namespace servetest
