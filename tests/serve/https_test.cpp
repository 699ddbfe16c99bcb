// The server over TLS: which versions, what happens to clients that do not speak it or stop in the
// middle, and that it limits and answers as the plain one does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "raw_client.h"
#include "running_server.h"
#include "tls_client.h"
#include "tls_files.h"

namespace servetest {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";

class Https : public testing::Test {
 protected:
  static const TlsFiles& files() {
    static const TlsFiles made;
    return made;
  }
  static cimom::HttpSettings settings(const cimom::HttpLimits& limits = {}) {
    cimom::HttpSettings made;
    made.limits = limits;
    made.tlsCertificate = files().certificate();
    made.tlsKey = files().key();
    return made;
  }
  static std::string last(const std::string& headers = "") {
    return wireText(getThing("a"), headers + "Connection: close\r\n");
  }
  static std::string ask(const RunningServer& server, int version = 0) {
    TlsClient client(server.port(), version);
    if (const auto error = client.handshake()) return error.message();
    EXPECT_TRUE(client.send(last()));
    TlsClient::Error end;
    const std::string answer = client.receiveAll(end);
    EXPECT_EQ(end, boost::asio::error::eof) << end.message();
    return answer;
  }
};

TEST_F(Https, AnswersInTls12AndLater) {
  const RunningServer server(settings());
  for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
    EXPECT_THAT(ask(server, version), StartsWith(kOk)) << version;
  }
}

TEST_F(Https, OlderVersionsAreRefusedWithTheReason) {
  const RunningServer server(settings());
  for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
    EXPECT_THAT(ask(server, version), HasSubstr("protocol version")) << version;
  }
}

TEST_F(Https, LongResponsesComeInChunks) {
  RunningServer server(settings());
  server.host.setNote(std::string(4000, 'n'));
  server.host.setListing(1000);
  TlsClient client(server.port());
  ASSERT_FALSE(client.handshake());
  const CimRequest listing = CimRequest("EnumerateInstances").className("ClassName", "Test_Thing");
  ASSERT_TRUE(client.send(wireText(listing, "Connection: close\r\n")));
  TlsClient::Error end;
  EXPECT_THAT(client.receiveAll(end),
              testing::AllOf(StartsWith(kOk), HasSubstr("Transfer-Encoding: chunked"),
                             testing::EndsWith("</CIM>\r\n0\r\n\r\n")));
  EXPECT_EQ(end, boost::asio::error::eof) << end.message();
}

TEST_F(Https, AConnectionServesOneRequestAfterTheOther) {
  const RunningServer server(settings());
  TlsClient client(server.port());
  ASSERT_FALSE(client.handshake());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client.send(wireText(getThing("a"))));
    EXPECT_THAT(client.receiveUntil("</CIM>"), StartsWith(kOk));
  }
  ASSERT_TRUE(client.send(wireText(getThing("a")) + last()));
  TlsClient::Error end;
  const std::string both = client.receiveAll(end);
  EXPECT_NE(both.find(kOk), both.rfind(kOk));
}

TEST_F(Https, AnswersOfAnySizeArriveWhole) {
  RunningServer server(settings());
  server.host.setNote(std::string(6'000'000, 'n') + "<end>");
  const std::string answer = ask(server);
  EXPECT_THAT(answer, testing::EndsWith("</CIM>"));
  EXPECT_GT(answer.size(), 6'000'000U);
}

TEST_F(Https, ALargeRequestIsReadAndALargerOneRefused) {
  const RunningServer server(settings());
  TlsClient client(server.port());
  ASSERT_FALSE(client.handshake());
  const std::string body = getThing("a").body() + std::string(900'000, ' ');
  const std::string head = "POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n" +
                           cimHeaders(getThing("a")) + "Content-Length: ";
  ASSERT_TRUE(client.send(head + std::to_string(body.size()) + "\r\n\r\n" + body));
  EXPECT_THAT(client.receiveUntil("</CIM>"), StartsWith(kOk));
  ASSERT_TRUE(client.send(head + "2000000\r\n\r\n"));
  TlsClient::Error end;
  EXPECT_THAT(client.receiveAll(end), StartsWith("HTTP/1.1 413 "));
  EXPECT_EQ(end, boost::asio::error::eof);
}

TEST_F(Https, PlainHttpAtItsPortIsToldSo) {
  const RunningServer server(settings());
  RawClient raw(server.port());
  ASSERT_TRUE(raw.send(last()));
  const std::string answer = raw.receiveAll();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answer, HasSubstr("This port speaks HTTPS."));
  EXPECT_THAT(ask(server), StartsWith(kOk));
}

TEST_F(Https, TlsAtThePlainPortFailsAtOnce) {
  const RunningServer server;
  TlsClient client(server.port());
  EXPECT_TRUE(client.handshake());
  RawClient raw(server.port());
  ASSERT_TRUE(raw.send(last()));
  EXPECT_THAT(raw.receiveAll(), StartsWith(kOk));
}

TEST_F(Https, WhatOnlyLooksLikeTlsIsRefused) {
  const RunningServer server(settings());
  RawClient raw(server.port());
  ASSERT_TRUE(raw.send("\x16\x03\x01" + std::string(2, '\0') + "nonsense and more of it"));
  // An alert of TLS at most.
  EXPECT_LT(raw.receiveAll().size(), 100U);
  EXPECT_THAT(ask(server), StartsWith(kOk));
}

TEST_F(Https, HalfAHandshakeHasTheTimeOfAHead) {
  const RunningServer server(settings({.requestTime = seconds(1), .idleTime = seconds(60)}));
  RawClient raw(server.port());
  ASSERT_TRUE(raw.send(std::string("\x16\x03\x01\x02\x00\x01", 6)));
  EXPECT_THAT(raw.receiveAll(), IsEmpty());
  TlsClient silent(server.port());
  ASSERT_FALSE(silent.handshake());
  TlsClient::Error end;
  EXPECT_THAT(silent.receiveAll(end), IsEmpty());
}

TEST_F(Https, AConnectionThatSaysNothingIsClosed) {
  const RunningServer server(settings({.idleTime = seconds(1)}));
  RawClient silent(server.port());
  EXPECT_THAT(silent.receiveAll(), IsEmpty());
  RawClient gone(server.port());
  gone.endSending();
  EXPECT_THAT(gone.receiveAll(), IsEmpty());
}

TEST_F(Https, HalfHandshakesHoldUpNobody) {
  const RunningServer server(settings({.requests = 1, .waiting = 1}));
  std::vector<std::unique_ptr<RawClient>> half;
  for (int i = 0; i < 20; ++i) {
    half.push_back(std::make_unique<RawClient>(server.port()));
    // Every second one is silent.
    const std::string start("\x16\x03\x01\x02\x00\x01", 6);
    ASSERT_TRUE(half.back()->send(i % 2 == 0 ? start : ""));
  }
  EXPECT_THAT(ask(server), StartsWith(kOk));
}

TEST_F(Https, EightClientsAtOnceGetTheirAnswers) {
  const RunningServer server(settings());
  std::atomic<int> right = 0;
  std::vector<std::thread> clients;
  for (int c = 0; c < 8; ++c) {
    clients.emplace_back([&] {
      for (int i = 0; i < 10; ++i) right += ask(server).starts_with(kOk) ? 1 : 0;
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(right, 80);
}

TEST_F(Https, AStopWaitsForRequestsThatRunAndForNobodyElse) {
  RunningServer server(settings({.idleTime = seconds(60)}));
  TlsClient idle(server.port());
  ASSERT_FALSE(idle.handshake());
  const RawClient silent(server.port());
  server.host.close();
  TlsClient running(server.port());
  ASSERT_FALSE(running.handshake());
  ASSERT_TRUE(running.send(wireText(getThing("a"))));
  ASSERT_TRUE(server.host.waitForRequests(1));
  server.askToStop();
  EXPECT_FALSE(server.hasStopped(milliseconds(300)));
  server.host.open();
  TlsClient::Error end;
  EXPECT_THAT(running.receiveAll(end), testing::EndsWith("</CIM>"));
  EXPECT_EQ(end, boost::asio::error::eof);
  EXPECT_TRUE(server.hasAnsweredAll());
}

TEST_F(Https, NamesOfTheCertificateAreServed) {
  const RunningServer server(settings());
  const auto withHost = [&](const std::string& host) {
    TlsClient client(server.port());
    EXPECT_FALSE(client.handshake());
    std::string text = last();
    text.replace(text.find("Host: localhost"), 15, "Host: " + host);
    EXPECT_TRUE(client.send(text));
    TlsClient::Error end;
    return client.receiveAll(end);
  };
  EXPECT_THAT(withHost("PCI.example:5989"), StartsWith(kOk));
  EXPECT_THAT(withHost("attacker.example"), StartsWith("HTTP/1.1 421 "));
}

std::string failureOf(const std::string& certificate, const std::string& key) {
  cimom::HttpSettings settings;
  settings.tlsCertificate = certificate;
  settings.tlsKey = key;
  try {
    const RunningServer server(settings);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST_F(Https, SaysWhichFileCannotBeUsed) {
  const TlsFiles other;
  const clitest::TemporaryFile empty("");
  const clitest::TemporaryFile text("no certificate\n");
  const std::string certificate = files().certificate();
  EXPECT_EQ(failureOf("/no/such/file", files().key()),
            "cannot read /no/such/file: No such file or directory");
  EXPECT_EQ(failureOf(certificate, empty.path().string()),
            "cannot read " + empty.path().string() + ": it is empty");
  EXPECT_THAT(failureOf(text.path().string(), files().key()),
              StartsWith("no usable certificate in " + text.path().string() + ": "));
  EXPECT_THAT(failureOf(certificate, text.path().string()),
              StartsWith("no usable private key without a passphrase in " + text.path().string()));
  const clitest::TemporaryFile sealed("");
  other.sealKey(sealed.path().string());
  EXPECT_THAT(failureOf(other.certificate(), sealed.path().string()),
              StartsWith("no usable private key without a passphrase in "));
  EXPECT_EQ(failureOf(certificate, other.key()),
            "the key in " + other.key() + " is not that of the certificate in " + certificate);
}

}  // namespace
}  // namespace servetest
