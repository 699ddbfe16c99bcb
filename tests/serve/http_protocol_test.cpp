// HTTP as the server speaks it: methods and places, types, lengths, chunks, limits of size, and
// connections that go on or end. Ill-formed requests go over a raw connection, well-formed ones
// through a client; the smuggling tests expect that a refused request ends its connection, so that
// nothing behind it is taken for a request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "http_client.h"
#include "raw_client.h"
#include "running_server.h"

namespace servetest {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kXml[] = "application/xml; charset=\"utf-8\"";

class Http : public testing::Test {
 protected:
  std::optional<HttpAnswer> post(const CimRequest& sent, const std::string& path = "/cimom",
                                 const std::string& type = kXml) {
    return client.send("POST", path, announcing(sent, type), sent.body());
  }
  std::optional<HttpAnswer> postBody(const std::string& body, const HttpHeaders& extra = {}) {
    HttpHeaders headers = announcing(request, kXml);
    headers.insert(headers.end(), extra.begin(), extra.end());
    return client.send("POST", "/cimom", headers, body);
  }

  /// What a connection of its own answers to the text until the server ends it.
  std::string sendRaw(const std::string& text) {
    RawClient raw(server.port());
    EXPECT_TRUE(raw.send(text));
    return raw.receiveAll();
  }
  /// A request with the headers given in place of the one that states its length.
  std::string withHeaders(const std::string& headers, const std::string& body) const {
    return "POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n" +
           cimHeaders(request) + headers + "\r\n" + body;
  }

  static constexpr std::size_t kBodyBytes = 4096;
  RunningServer server{{.bodyBytes = kBodyBytes}};
  HttpClient client{server.port()};
  const CimRequest request = getThing("a");
};

TEST_F(Http, AnswersAtBothPlacesAndInBothTypes) {
  for (const char* path : {"/cimom", "/"}) {
    for (const char* type : {kXml, "text/xml", "Text/XML; charset=UTF-8", "application/xml;"}) {
      const auto answer = post(request, path, type);
      ASSERT_TRUE(answer);
      EXPECT_EQ(answer->status, 200U) << path << ' ' << type << ": " << answer->body;
      EXPECT_EQ(answer->header("CIMOperation"), "MethodResponse");
      EXPECT_EQ(answer->header("Content-Type"), kXml);
      EXPECT_EQ(CimResponse(answer->body).select("//INSTANCE/@CLASSNAME").size(), 1U);
    }
  }
}

TEST_F(Http, FailedOperationsAreNoFailureOfHttp) {
  const auto answer = post(CimRequest("DeleteClass"));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200U);
  EXPECT_EQ(CimResponse(answer->body).errorCode(), 7);
}

TEST_F(Http, RefusesWhatIsNoRequestAndSaysWhy) {
  const auto malformed = postBody("<CIM>");
  ASSERT_TRUE(malformed);
  EXPECT_EQ(malformed->status, 400U);
  EXPECT_EQ(malformed->header("CIMError"), "request-not-well-formed");
  EXPECT_EQ(malformed->header("Connection"), "close");
  const auto invalid = postBody("<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>");
  ASSERT_TRUE(invalid);
  EXPECT_EQ(invalid->header("CIMError"), "request-not-loosely-valid");
  const auto mismatch = postBody(CimRequest("GetClass").body());
  ASSERT_TRUE(mismatch);
  EXPECT_EQ(mismatch->header("CIMError"), "header-mismatch");
  const auto bare = client.send("POST", "/cimom", {{"Content-Type", kXml}}, request.body());
  ASSERT_TRUE(bare);
  EXPECT_EQ(bare->status, 400U);
  const auto batch = postBody(
      "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"42\" PROTOCOLVERSION=\"1.0\">"
      "<MULTIREQ/></MESSAGE></CIM>",
      {{"CIMBatch", ""}});
  ASSERT_TRUE(batch);
  EXPECT_EQ(batch->status, 501U);
  EXPECT_EQ(batch->header("CIMError"), "multiple-requests-unsupported");
}

TEST_F(Http, TakesPostAloneAtItsPlacesAlone) {
  const auto get = client.send("GET", "/cimom");
  ASSERT_TRUE(get);
  EXPECT_EQ(get->status, 405U);
  EXPECT_EQ(get->header("Allow"), "POST, OPTIONS");
  EXPECT_EQ(client.send("PUT", "/cimom", {{"Content-Type", kXml}}, "x")->status, 405U);
  EXPECT_EQ(client.send("DELETE", "/cimom")->status, 405U);
  EXPECT_EQ(client.send("HEAD", "/cimom")->status, 405U);
  EXPECT_EQ(post(request, "/elsewhere")->status, 404U);
  EXPECT_EQ(post(request, "/cimom/x")->status, 404U);
  EXPECT_THAT(sendRaw("M-POST /cimom HTTP/1.1\r\nHost: localhost\r\n\r\n"),
              StartsWith("HTTP/1.1 501 "));
}

TEST_F(Http, OptionsTellWhatTheServerCan) {
  const auto answer = client.send("OPTIONS", "/cimom");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200U);
  EXPECT_THAT(answer->header("Opt"), HasSubstr("ns=77"));
  EXPECT_EQ(answer->header("77-CIMProtocolVersion"), "1.0");
  EXPECT_EQ(answer->header("77-CIMSupportedFunctionalGroups"), "basic-read, association-traversal");
}

TEST_F(Http, RefusesOtherTypesAndEncodings) {
  for (const char* type :
       {"text/plain", "application/xml2", "application/json", "application/xml; charset=utf-16"}) {
    const auto answer = post(request, "/cimom", type);
    ASSERT_TRUE(answer) << type;
    EXPECT_EQ(answer->status, 415U) << type;
  }
  EXPECT_EQ(postBody(request.body(), {{"Content-Encoding", "gzip"}})->status, 415U);
  EXPECT_THAT(sendRaw("POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n\r\nx"),
              StartsWith("HTTP/1.1 415 "));
}

TEST_F(Http, TheLengthMustBeClear) {
  const std::string body = request.body();
  const std::string length = "Content-Length: " + std::to_string(body.size());
  EXPECT_THAT(sendRaw(withHeaders("", body)), StartsWith("HTTP/1.1 411 "));
  EXPECT_THAT(sendRaw(withHeaders("Transfer-Encoding: gzip\r\n", body)),
              StartsWith("HTTP/1.1 411 "));
  for (const std::string& wrong :
       {std::string("Content-Length: -1"), std::string("Content-Length: 1x"),
        std::string("Content-Length: +5"), length + "\r\nTransfer-Encoding: chunked"}) {
    EXPECT_THAT(sendRaw(withHeaders(wrong + "\r\n", body)), StartsWith("HTTP/1.1 400 ")) << wrong;
  }
}

TEST_F(Http, TwoLengthsAreNotClear) {
  EXPECT_THAT(sendRaw(withHeaders("Content-Length: 5\r\nContent-Length: 6\r\n", "abcdef")),
              StartsWith("HTTP/1.1 400 "));
}

std::string chunked(const std::string& body, std::size_t size) {
  std::string text;
  char length[32];
  for (std::size_t i = 0; i < body.size(); i += size) {
    const std::string part = body.substr(i, size);
    std::snprintf(length, sizeof length, "%zx\r\n", part.size());
    text += length + part + "\r\n";
  }
  return text + "0\r\n\r\n";
}

TEST_F(Http, OneLengthTwiceIsNotClearEither) {
  const std::string body = request.body();
  const std::string size = std::to_string(body.size());
  for (const std::string& lengths :
       {"Content-Length: " + size + "\r\nContent-Length: " + size + "\r\n",
        "Content-Length: " + size + ", " + size + "\r\n"}) {
    EXPECT_THAT(sendRaw(withHeaders(lengths, body)), StartsWith("HTTP/1.1 400 ")) << lengths;
  }
}

TEST_F(Http, OnlyOneEncodingOfTheLengthIsUnderstood) {
  const std::string chunks = chunked(request.body(), 100);
  const std::string smuggled = wireText(getThing("smuggled"));
  for (const std::string encoding :
       {"Transfer-Encoding: gzip, chunked\r\n", "Transfer-Encoding: chunked, identity\r\n",
        "Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n",
        "Transfer-Encoding: chunked\r\nTransfer-Encoding: x\r\n", "Transfer-Encoding: xchunked\r\n",
        "Transfer-Encoding : chunked\r\n", "Transfer-Encoding:\r\n"}) {
    const std::string answer = sendRaw(withHeaders(encoding, chunks + smuggled));
    EXPECT_THAT(answer, testing::AnyOf(StartsWith("HTTP/1.1 400 "), StartsWith("HTTP/1.1 411 ")))
        << encoding;
    EXPECT_THAT(answer, Not(HasSubstr("200 OK"))) << encoding;
  }
  const std::string old = "POST /cimom HTTP/1.0\r\nContent-Type: text/xml\r\n" +
                          cimHeaders(request) + "Transfer-Encoding: chunked\r\n\r\n";
  EXPECT_THAT(sendRaw(old + chunks), StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, FieldsBehindABodyInChunksChangeNothing) {
  const auto answerWith = [&](const std::string& fields) {
    std::string chunks = chunked(request.body(), 100);
    chunks.insert(chunks.size() - 2, fields);
    return sendRaw(withHeaders("Transfer-Encoding: chunked\r\nConnection: close\r\n", chunks));
  };
  EXPECT_THAT(answerWith("CIMMethod: GetClass\r\nCIMBatch: CIMBatch\r\n"),
              StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answerWith("Content-Length: 3\r\n"), StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, SizesOfChunksMustBeClear) {
  const std::string headers = "Transfer-Encoding: chunked\r\nConnection: close\r\n";
  const std::string body = request.body();
  for (const std::string chunk :
       {"0x5\r\nhello\r\n", "-5\r\nhello\r\n", "5 \nhello\r\n", "\r\nhello\r\n", "5\r\nhelloo\r\n",
        "fffffffffffffffff\r\nhello\r\n"}) {
    const std::string answer = sendRaw(withHeaders(headers, chunk + "0\r\n\r\n"));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 4")) << chunk;
  }
  EXPECT_THAT(sendRaw(withHeaders(headers, "1;" + std::string(100000, 'x') + "\r\n")),
              StartsWith("HTTP/1.1 4"));
}

TEST_F(Http, TheLargestBodyIsTakenAndOneByteMoreIsNot) {
  std::string body = request.body();
  body += std::string(kBodyBytes - body.size(), ' ');
  EXPECT_EQ(postBody(body)->status, 200U);
  const auto answer = postBody(body + " ");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 413U);
}

TEST_F(Http, AnEnormousBodyIsRefusedBeforeItIsRead) {
  for (const char* length : {"5000", "99999999999999999999999999", "00000000000000000000005000"}) {
    const std::string answer =
        sendRaw(withHeaders("Content-Length: " + std::string(length) + "\r\n", ""));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 ")) << length;
  }
}

TEST_F(Http, ChunkedBodiesAreTakenUpToTheSameSize) {
  const std::string headers = "Transfer-Encoding: chunked\r\nConnection: close\r\n";
  const auto answer = [&](const std::string& body, std::size_t size) {
    return sendRaw(withHeaders(headers, chunked(body, size)));
  };
  std::string body = request.body();
  EXPECT_THAT(answer(body, 100), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answer(body, 7), StartsWith("HTTP/1.1 200 "));
  body += std::string(kBodyBytes - body.size(), ' ');
  EXPECT_THAT(answer(body, 1000), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answer(body + " ", 1000), StartsWith("HTTP/1.1 413 "));
  EXPECT_THAT(answer(body + std::string(100000, ' '), 1000), StartsWith("HTTP/1.1 413 "));
  EXPECT_THAT(sendRaw(withHeaders(headers, "zz\r\nab\r\n0\r\n\r\n")), StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, HeadsHaveALimit) {
  const auto head = [](std::size_t size) {
    return "OPTIONS /cimom HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nX: " +
           std::string(size, 'x') + "\r\n\r\n";
  };
  EXPECT_THAT(sendRaw(head(4000)), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(sendRaw(head(20000)), StartsWith("HTTP/1.1 431 "));
  EXPECT_THAT(sendRaw("OPTIONS /cimom HTTP/1.1\r\n" + std::string(20000, 'x')),
              StartsWith("HTTP/1.1 431 "));
}

TEST_F(Http, WhatIsNoHttpIsRefused) {
  EXPECT_THAT(sendRaw("hello\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(sendRaw("POST /cimom HTTP/9.9\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(sendRaw(std::string("\0\0\0\r\n\r\n", 7)), StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, ABodyThatEndsEarlyIsRefused) {
  RawClient raw(server.port());
  const std::string whole = wireText(request);
  ASSERT_TRUE(raw.send(whole.substr(0, whole.size() - 10)));
  raw.endSending();
  EXPECT_THAT(raw.receiveAll(), StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, ClientsThatAskFirstAreTold) {
  RawClient raw(server.port());
  const std::string whole = wireText(request, "Expect: 100-continue\r\nConnection: close\r\n");
  const std::size_t head = whole.find("\r\n\r\n") + 4;
  ASSERT_TRUE(raw.send(whole.substr(0, head)));
  EXPECT_THAT(raw.receiveUntil("\r\n\r\n"), StartsWith("HTTP/1.1 100 "));
  ASSERT_TRUE(raw.send(whole.substr(head)));
  EXPECT_THAT(raw.receiveAll(), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(sendRaw(withHeaders("Expect: 100-continue\r\nContent-Length: 5000\r\n", "")),
              StartsWith("HTTP/1.1 413 "));
}

TEST_F(Http, AConnectionServesOneRequestAfterTheOther) {
  RawClient raw(server.port());
  for (const char* id : {"first", "second", "third"}) {
    ASSERT_TRUE(raw.send(wireText(getThing(id))));
    EXPECT_THAT(raw.receiveUntil("</CIM>"), HasSubstr("<INSTANCE CLASSNAME=\"Test_Thing\">"));
  }
  // Both at once, the second to be the last.
  ASSERT_TRUE(raw.send(wireText(request) + wireText(request, "Connection: close\r\n")));
  const std::string both = raw.receiveAll();
  EXPECT_NE(both.find("HTTP/1.1 200 "), both.rfind("HTTP/1.1 200 "));
}

TEST_F(Http, ARefusalEndsTheConnectionSoThatNothingElseIsTakenForARequest) {
  const std::string smuggled = wireText(getThing("smuggled"));
  const std::string answer = sendRaw(withHeaders("Content-Length: x\r\n", smuggled));
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answer, Not(HasSubstr("200 OK")));
}

TEST_F(Http, TheBodyOfARefusedMethodIsNotTakenForARequest) {
  const std::string smuggled = wireText(getThing("smuggled"), "Connection: close\r\n");
  for (const std::string method : {"OPTIONS", "GET", "HEAD", "DELETE"}) {
    for (const std::string& length : {"Content-Length: " + std::to_string(smuggled.size()),
                                      std::string("Transfer-Encoding: chunked")}) {
      const std::string answer =
          sendRaw(method + " / HTTP/1.1\r\nHost: localhost\r\n" + length + "\r\n\r\n" + smuggled);
      EXPECT_THAT(answer, StartsWith("HTTP/1.1 4")) << method;
      EXPECT_THAT(answer, Not(HasSubstr("200 OK"))) << method;
    }
  }
  const std::string head = "OPTIONS / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 0\r\n";
  EXPECT_THAT(sendRaw(head + "Connection: close\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(Http, RangesAndCompressionChangeNothing) {
  const auto plain = post(request);
  const auto with =
      postBody(request.body(), {{"Range", "bytes=0-3,5-9"}, {"Accept-Encoding", "gzip, br"}});
  ASSERT_TRUE(plain && with);
  EXPECT_EQ(with->status, 200U);
  EXPECT_EQ(with->body, plain->body);
}

TEST_F(Http, ALoneLineFeedEndsNoLine) {
  const std::string body = request.body();
  const auto answerWith = [&](const std::string& headers) {
    return sendRaw(withHeaders(
        headers + "Connection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n",
        body));
  };
  EXPECT_THAT(answerWith("X: y\r\n"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answerWith("X: y\nRange: bytes=0-,0-,0-\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answerWith("X: y\nTransfer-Encoding: chunked\r\n"), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(sendRaw("OPTIONS / HTTP/1.1\nHost: localhost\n\n\r\n\r\n"),
              StartsWith("HTTP/1.1 400 "));
}

TEST_F(Http, AnswersOfAnySizeArriveWhole) {
  const std::string note = std::string(6'000'000, 'n') + "<end>";
  server.host.setNote(note);
  const auto answer = post(request);
  ASSERT_TRUE(answer);
  EXPECT_THAT(CimResponse(answer->body).select("//PROPERTY/VALUE"), testing::ElementsAre(note));
}

}  // namespace
}  // namespace servetest
