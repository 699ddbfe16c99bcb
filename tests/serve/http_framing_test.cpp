// What a request looks like on the wire: forms of HTTP/1.1 that are rare and legal are read, and
// what could mean one thing to the server and another to a proxy before it is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http_client.h"
#include "raw_client.h"
#include "running_server.h"

namespace servetest {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";
constexpr char kBad[] = "HTTP/1.1 400 ";

/// A POST put together line by line; the test replaces the parts that it is about.
struct WireRequest {
  std::string start = "POST /cimom HTTP/1.1\r\n";
  std::string host = "Host: localhost\r\n";
  std::string type = "Content-Type: application/xml\r\n";
  std::string object = "CIMObject: root%2Fcimv2\r\n";
  std::string length;
  std::string extra;
  std::string body = getThing("a").body();

  std::string text() const {
    const std::string stated =
        length.empty() ? "Content-Length: " + std::to_string(body.size()) + "\r\n" : length;
    return start + host + type + "CIMOperation: MethodCall\r\nCIMMethod: GetInstance\r\n" + object +
           stated + extra + "Connection: close\r\n\r\n" + body;
  }
};

class HttpFraming : public testing::Test {
 protected:
  std::string send(const std::string& text) const {
    RawClient raw(server.port());
    EXPECT_TRUE(raw.send(text));
    return raw.receiveAll();
  }
  std::string send(const WireRequest& request) const { return send(request.text()); }

  RunningServer server;
};

TEST_F(HttpFraming, AnEmptyLineBeforeARequestIsSkipped) {
  EXPECT_THAT(send("\r\n" + WireRequest().text()), StartsWith(kOk));
  EXPECT_THAT(send("\r\n\r\n\r\n" + WireRequest().text()), StartsWith(kOk));
  RawClient raw(server.port());
  ASSERT_TRUE(raw.send(wireText(getThing("a")) + "\r\n"));
  EXPECT_THAT(raw.receiveUntil("</CIM>"), StartsWith(kOk));
  ASSERT_TRUE(raw.send(WireRequest().text()));
  EXPECT_THAT(raw.receiveAll(), StartsWith(kOk));
}

TEST_F(HttpFraming, EmptyLinesCountAsAHead) {
  std::string lines;
  for (int i = 0; i < 20'000; ++i) lines += "\r\n";
  EXPECT_THAT(send(lines), StartsWith("HTTP/1.1 431 "));
}

TEST_F(HttpFraming, ATargetMayNameTheServer) {
  for (const char* target : {"http://localhost/cimom", "http://localhost:5988/cimom",
                             "HTTP://LOCALHOST/", "http://localhost", "/cimom?x=y"}) {
    WireRequest request;
    request.start = "POST " + std::string(target) + " HTTP/1.1\r\n";
    EXPECT_THAT(send(request), StartsWith(kOk)) << target;
  }
  WireRequest elsewhere;
  elsewhere.start = "POST http://localhost/elsewhere HTTP/1.1\r\n";
  EXPECT_THAT(send(elsewhere), StartsWith("HTTP/1.1 404 "));
}

TEST_F(HttpFraming, CharacterSetsThatAreUtf8AreRead) {
  for (const char* type :
       {"application/xml; charset=us-ascii", "application/xml; charset=\"us-ascii\"",
        "text/xml;charset=UTF-8", "text/xml; version=1; charset=\"Utf-8\""}) {
    WireRequest request;
    request.type = "Content-Type: " + std::string(type) + "\r\n";
    EXPECT_THAT(send(request), StartsWith(kOk)) << type;
  }
  for (const char* type : {"text/xml; charset=iso-8859-1", "text/xml; charset=\"utf-16\"",
                           "text/xml; charset=utf-80"}) {
    WireRequest request;
    request.type = "Content-Type: " + std::string(type) + "\r\n";
    EXPECT_THAT(send(request), StartsWith("HTTP/1.1 415 ")) << type;
  }
}

std::string inChunks(const std::string& body, std::size_t size, const std::string& trailers = "") {
  std::string text;
  char length[32];
  for (std::size_t i = 0; i < body.size(); i += size) {
    const std::string part = body.substr(i, size);
    std::snprintf(length, sizeof length, "%zx\r\n", part.size());
    text += length + part + "\r\n";
  }
  return text + "0\r\n" + trailers + "\r\n";
}

WireRequest chunked(const std::string& chunks) {
  WireRequest request;
  request.length = "Transfer-Encoding: chunked\r\n";
  request.body = chunks;
  return request;
}

TEST_F(HttpFraming, FieldsBehindChunksAreReadUpToTheSizeOfAHead) {
  const std::string body = getThing("a").body();
  EXPECT_THAT(send(chunked(inChunks(body, 100, "X-Sum: 1\r\nX-More: 2\r\n"))), StartsWith(kOk));
  std::string many;
  for (int i = 0; i < 200'000; ++i) many += "a:\r\n";
  EXPECT_THAT(send(chunked(inChunks(body, 100, many))), StartsWith("HTTP/1.1 4"));
}

TEST_F(HttpFraming, ABodyInChunksOfOneByteIsRead) {
  std::string body = getThing("a").body();
  body += std::string((std::size_t{1} << 20) - body.size(), ' ');
  EXPECT_THAT(send(chunked(inChunks(body, 1))), StartsWith(kOk));
  EXPECT_THAT(send(chunked(inChunks(body + " ", 1))), StartsWith("HTTP/1.1 413 "));
}

TEST_F(HttpFraming, ChunksThatCouldBeReadInTwoWaysAreRefused) {
  const std::string body = getThing("a").body();
  char size[32];
  std::snprintf(size, sizeof size, "%zx", body.size());
  const std::string plain = size;
  for (const std::string& chunks :
       {"0x" + plain + "\r\n" + body + "\r\n0\r\n\r\n",
        "+" + plain + "\r\n" + body + "\r\n0\r\n\r\n", plain + "\r\n" + body + "0\r\n\r\n",
        plain + "\r\n" + body + "\n0\r\n\r\n", plain + "\n" + body + "\r\n0\r\n\r\n",
        " " + plain + "\r\n" + body + "\r\n0\r\n\r\n"}) {
    EXPECT_THAT(send(chunked(chunks)), StartsWith(kBad)) << chunks.substr(0, 8);
  }
  EXPECT_THAT(send(chunked(plain + "\r\n" + body + "\r\n0\r\n\r\n")), StartsWith(kOk));
}

TEST_F(HttpFraming, HeadersThatCouldBeReadInTwoWaysAreRefused) {
  const auto withExtra = [&](const std::string& extra) {
    WireRequest request;
    request.extra = extra;
    return send(request);
  };
  EXPECT_THAT(withExtra("X: y\r\n"), StartsWith(kOk));
  EXPECT_THAT(withExtra("Content-Length: 5\r\n"), StartsWith(kBad));
  EXPECT_THAT(withExtra("X : y\r\n"), StartsWith(kBad));
  EXPECT_THAT(withExtra(std::string("X: a\0b\r\n", 8)), StartsWith(kBad));
  EXPECT_THAT(withExtra(std::string("X\0Y: a\r\n", 8)), StartsWith(kBad));
  EXPECT_THAT(withExtra("X: a\rb\r\n"), StartsWith(kBad));
}

TEST_F(HttpFraming, OptionsWithASecondLengthAreRefused) {
  const std::string head = "OPTIONS / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n";
  const std::string smuggled = wireText(getThing("smuggled"));
  for (const std::string lengths : {"Content-Length: 0\r\nContent-Length: 0\r\n",
                                    "Content-Length: 0\r\nContent-Length: 500\r\n",
                                    "Content-Length: 0, 0\r\n", "Content-Length: 00\r\n"}) {
    const std::string answer = send(head + lengths + "\r\n" + smuggled);
    EXPECT_THAT(answer, StartsWith(kBad)) << lengths;
    EXPECT_THAT(answer, Not(HasSubstr("200 OK"))) << lengths;
  }
}

TEST_F(HttpFraming, TheNamedObjectIsDecodedOnce) {
  const auto withObject = [&](const std::string& object) {
    WireRequest request;
    request.object = "CIMObject: " + object + "\r\n";
    return send(request);
  };
  EXPECT_THAT(withObject("root/cimv2"), StartsWith(kOk));
  EXPECT_THAT(withObject("root%2Fcimv2"), StartsWith(kOk));
  EXPECT_THAT(withObject("root%2fcim%762"), StartsWith(kOk));
  EXPECT_THAT(withObject("root%252Fcimv2"), HasSubstr("CIMError: header-mismatch\r\n"));
}

TEST_F(HttpFraming, AnswersCarryTheDate) {
  const std::string date =
      "(.|\r|\n)*\r\nDate: (Mon|Tue|Wed|Thu|Fri|Sat|Sun), [0-9]{2} "
      "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) 20[0-9]{2} "
      "[0-9]{2}:[0-9]{2}:[0-9]{2} GMT\r\n(.|\r|\n)*";
  EXPECT_THAT(send(WireRequest()).substr(0, 400), MatchesRegex(date));
  EXPECT_THAT(send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"), MatchesRegex(date));
}

TEST_F(HttpFraming, AnAnswerLeavesInOneWrite) {
  RawClient raw(server.port());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(raw.send(wireText(getThing("a"))));
    const std::string first = raw.receiveOnce();
    EXPECT_THAT(first, StartsWith(kOk));
    EXPECT_THAT(first, testing::EndsWith("</CIM>"));
  }
}

TEST_F(HttpFraming, WhatAClientSentIsEchoedInPartOnly) {
  const std::string name = "Test_" + std::string(500'000, 'x') + "End";
  const CimRequest request = CimRequest("GetClass").className("ClassName", name);
  const std::string answer = send(wireText(request, "Connection: close\r\n"));
  EXPECT_THAT(answer, HasSubstr("no class Test_xxx"));
  EXPECT_LT(answer.size(), 4096U);
  WireRequest version;
  version.extra = "CIMProtocolVersion: " + std::string(12'000, '9') + "\r\n";
  EXPECT_LT(send(version).size(), 4096U);
}

}  // namespace
}  // namespace servetest
