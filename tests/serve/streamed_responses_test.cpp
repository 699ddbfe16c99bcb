// Responses that go out while they are made. A listing here is as long as a test wants it; what it
// has handed over shows how far the server is ahead of its client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "http_client.h"
#include "raw_client.h"
#include "running_server.h"
#include "service_fixture.h"

namespace servetest {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";
constexpr char kLastChunk[] = "\r\n0\r\n\r\n";
/// More than the kernel takes off the server's hands, in instances of some KiB.
constexpr std::size_t kEndless = 8'000;
const std::string kLongNote(4000, 'n');

CimRequest listing() {
  return CimRequest("EnumerateInstances").className("ClassName", "Test_Thing");
}

std::unique_ptr<RawClient> asking(const RunningServer& server, const std::string& headers = "",
                                  const char* source = "127.0.0.1") {
  auto client = std::make_unique<RawClient>(server.port(), source);
  if (!client->send(wireText(listing(), headers + "Connection: close\r\n"))) {
    throw std::runtime_error("not sent");
  }
  return client;
}

/// What the server sends in HTTP/1.0.
std::string answerInOnePiece(const RunningServer& server) {
  std::string request = wireText(listing());
  request.replace(request.find("HTTP/1.1"), 8, "HTTP/1.0");
  RawClient client(server.port());
  EXPECT_TRUE(client.send(request));
  return client.receiveAll();
}

std::string bodyOf(const std::string& answer) {
  return answer.substr(answer.find("\r\n\r\n") + 4);
}

TEST(StreamedResponse, LongOnesComeInChunksAndAreTheSame) {
  RunningServer server;
  server.host.setNote(std::string(300, 'n'));
  server.host.setListing(2000);
  HttpClient client(server.port());
  const auto answer = client.post(listing());
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->status, 200U);
  EXPECT_EQ(answer->header("Transfer-Encoding"), "chunked");
  EXPECT_EQ(answer->header("Content-Length"), "");
  EXPECT_EQ(answer->header("CIMOperation"), "MethodResponse");
  EXPECT_NE(answer->header("Date"), "");
  EXPECT_THAT(CimResponse(answer->body).select("//VALUE.NAMEDINSTANCE/INSTANCENAME"), SizeIs(2000));
  const std::string piece = answerInOnePiece(server);
  EXPECT_THAT(piece, HasSubstr("Content-Length: " + std::to_string(answer->body.size())));
  EXPECT_THAT(piece, Not(HasSubstr("chunked")));
  EXPECT_EQ(bodyOf(piece), answer->body);
}

TEST(StreamedResponse, ShortOnesComeInOnePiece) {
  RunningServer server;
  server.host.setListing(10);
  HttpClient client(server.port());
  const auto answer = client.post(listing());
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->header("Content-Length"), std::to_string(answer->body.size()));
  EXPECT_EQ(answer->header("Transfer-Encoding"), "");
}

TEST(StreamedResponse, TheConnectionGoesOnBehindThem) {
  RunningServer server;
  server.host.setNote(kLongNote);
  server.host.setListing(100);
  RawClient client(server.port());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(client.send(wireText(listing())));
    EXPECT_THAT(client.receiveUntil(kLastChunk), AllOf(StartsWith(kOk), HasSubstr("Keep-Alive")));
  }
  ASSERT_TRUE(client.send(wireText(getThing("a")) + wireText(listing(), "Connection: close\r\n")));
  EXPECT_THAT(client.receiveAll(), AllOf(StartsWith(kOk), HasSubstr("Content-Length"),
                                         HasSubstr("chunked"), EndsWith(kLastChunk)));
}

TEST(StreamedResponse, AnErrorBeforeAnythingIsSentIsTheWholeAnswer) {
  RunningServer server;
  server.host.setListing(10, "broken");
  HttpClient client(server.port());
  const auto answer = client.post(listing());
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->header("Transfer-Encoding"), "");
  EXPECT_EQ(CimResponse(answer->body).errorText(), "broken");
}

TEST(StreamedResponse, ALaterErrorComesBehindTheBodyForWhoeverReadsThat) {
  RunningServer server;
  server.host.setNote(kLongNote);
  server.host.setListing(100, "100 % broken\n\xc3\xa4");
  const std::string answer = asking(server, "TE: deflate, trailers\r\n")->receiveAll();
  EXPECT_THAT(answer, AllOf(StartsWith(kOk),
                            HasSubstr("Trailer: CIMStatusCode, CIMStatusCodeDescription\r\n"),
                            EndsWith("\r\n0\r\nCIMStatusCode: 1\r\nCIMStatusCodeDescription: "
                                     "100 %25 broken%0A%C3%A4\r\n\r\n")));
  EXPECT_THAT(answer, Not(HasSubstr("</CIM>")));
}

TEST(StreamedResponse, WithoutThatALaterErrorEndsTheConnectionInTheMiddle) {
  RunningServer server;
  server.host.setNote(kLongNote);
  server.host.setListing(100, "broken");
  const std::string answer = asking(server)->receiveAll();
  EXPECT_THAT(answer, AllOf(StartsWith(kOk), Not(HasSubstr("Trailer")), Not(HasSubstr("</CIM>")),
                            Not(HasSubstr("\r\n0\r\n"))));
}

TEST(StreamedResponse, WithoutAnErrorNothingIsBehindTheBody) {
  RunningServer server;
  server.host.setNote(kLongNote);
  server.host.setListing(100);
  EXPECT_THAT(asking(server, "TE: trailers\r\n")->receiveAll(),
              EndsWith("</CIM>" + std::string(kLastChunk)));
}

TEST(StreamedResponse, TheListingEndsWithItsClient) {
  RunningServer server;
  server.host.setNote(kLongNote);
  server.host.setListing(kEndless);
  auto client = asking(server);
  client->receiveUntil(kOk);
  EXPECT_LT(server.host.handedOver(), kEndless);
  client.reset();
  EXPECT_TRUE(server.host.waitForListings(1));
  EXPECT_LT(server.host.handedOver(), kEndless);
}

TEST(StreamedResponse, AClientThatTakesNothingIsNotWaitedFor) {
  RunningServer server({.requestTime = seconds(1), .requests = 1});
  server.host.setNote(kLongNote);
  server.host.setListing(kEndless);
  const auto deaf = asking(server);
  deaf->receiveUntil(kOk);
  EXPECT_TRUE(server.host.waitForListings(1));
  EXPECT_LT(server.host.handedOver(), kEndless);
  server.host.setNote("short");
  RawClient other(server.port());
  ASSERT_TRUE(other.send(wireText(getThing("a"), "Connection: close\r\n")));
  EXPECT_THAT(other.receiveAll(), HasSubstr("short"));
}

TEST(StreamedResponse, SeveralAtOnceAreAllWhole) {
  RunningServer server({.requests = 4});
  server.host.setNote(kLongNote);
  server.host.setListing(2000);
  std::vector<std::thread> clients;
  std::atomic<int> whole = 0;
  for (int i = 0; i < 8; ++i) {
    clients.emplace_back([&] {
      const std::string answer = asking(server)->receiveAll(seconds(100));
      whole += answer.ends_with("</CIM>" + std::string(kLastChunk)) ? 1 : 0;
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(whole, 8);
}

TEST(StreamedResponse, AStopWaitsForClientsThatReadAndForNoOthers) {
  RunningServer server({.stopTime = seconds(600)});
  server.host.setNote(kLongNote);
  server.host.setListing(kEndless);
  const auto deaf = asking(server);
  deaf->receiveUntil(kOk);
  const auto reading = asking(server);
  reading->receiveUntil(kOk);
  server.askToStop();
  EXPECT_THAT(reading->receiveAll(seconds(200)), EndsWith("</CIM>" + std::string(kLastChunk)));
  EXPECT_TRUE(server.hasStopped(seconds(100)));
  EXPECT_TRUE(server.hasAnsweredAll());
}

/// A client that goes on reading, but slowly.
TEST(StreamedResponse, AStopWaitsNoLongerThanItsTime) {
  auto server = std::make_unique<RunningServer>(cimom::HttpLimits{.stopTime = seconds(1)});
  server->host.setNote(kLongNote);
  server->host.setListing(kEndless);
  const auto slow = asking(*server);
  slow->receiveUntil(kOk);
  std::thread reader([&] {
    while (!slow->receiveOnce().empty()) std::this_thread::sleep_for(milliseconds(100));
  });
  server->askToStop();
  EXPECT_TRUE(server->hasStopped(seconds(100)));
  EXPECT_FALSE(server->hasAnsweredAll());
  EXPECT_TRUE(server->host.waitForListings(1)) << "a worker waits for nobody";
  server.reset();
  reader.join();
}

/// One address with more slow clients than there are workers and places to wait.
TEST(StreamedResponse, SlowClientsOfOneAddressLeaveOthersTheirTurn) {
  RunningServer server({.requestTime = seconds(600), .requests = 2, .waiting = 4});
  server.host.setNote(kLongNote);
  server.host.setListing(kEndless);
  std::vector<std::unique_ptr<RawClient>> slow;
  for (int i = 0; i < 20; ++i) slow.push_back(asking(server));
  slow.front()->receiveUntil(kOk);
  server.host.setNote("short");
  for (const char* source : {"127.0.0.2", "127.0.0.3", "127.0.0.2"}) {
    RawClient other(server.port(), source);
    ASSERT_TRUE(other.send(wireText(getThing("a"), "Connection: close\r\n")));
    EXPECT_THAT(other.receiveAll(seconds(100)), AllOf(StartsWith(kOk), HasSubstr("short")));
  }
}

TEST(StreamedResponse, OneThatGivesWayIsTakenForWholeByNobody) {
  RunningServer server({.requestTime = seconds(600), .requests = 1});
  server.host.setNote(kLongNote);
  server.host.setListing(kEndless);
  const auto slow = asking(server, "TE: trailers\r\n");
  slow->receiveUntil(kOk);
  RawClient other(server.port(), "127.0.0.2");
  ASSERT_TRUE(other.send(wireText(getThing("a"), "Connection: close\r\n")));
  EXPECT_THAT(other.receiveAll(seconds(100)), StartsWith(kOk));
  const std::string rest = slow->receiveAll(seconds(100));
  EXPECT_THAT(rest, AllOf(Not(HasSubstr("</CIM>")), HasSubstr("\r\n0\r\nCIMStatusCode: 1\r\n")));
}

class StreamedMessage : public ServiceTest {
 protected:
  StreamedMessage() {
    host.instances.assign(1000, {thing("a"), {{"Id", cimom::Value::text("a")}}});
  }
  cimom::CimXmlReply stream(const CimRequest& request, std::vector<std::string>& parts) const {
    return service.answer(request.headers(), request.body(),
                          [&](std::string_view part) { parts.emplace_back(part); });
  }
};

TEST_F(StreamedMessage, PartsAreTogetherWhatOnePieceIs) {
  std::vector<std::string> parts;
  const auto reply = stream(listing(), parts);
  EXPECT_TRUE(reply.isStreamed);
  EXPECT_FALSE(reply.lateError);
  EXPECT_THAT(reply.text, IsEmpty());
  std::string all;
  for (const std::string& part : parts) {
    EXPECT_LT(part.size(), 70'000U);
    all += part;
  }
  EXPECT_GT(parts.size(), 3U);
  EXPECT_EQ(all, service.answer(listing().headers(), listing().body()).text);
}

/// No client may take a part of an enumeration twice, so none may be lost on its way.
TEST_F(StreamedMessage, PartsOfPulledEnumerationsAreOnePiece) {
  std::vector<std::string> parts;
  const auto reply = stream(CimRequest("OpenEnumerateInstances")
                                .className("ClassName", "Test_Thing")
                                .text("MaxObjectCount", "1000"),
                            parts);
  EXPECT_FALSE(reply.isStreamed);
  EXPECT_THAT(parts, IsEmpty());
  EXPECT_THAT(CimResponse(reply.text).select("//VALUE.INSTANCEWITHPATH/INSTANCEPATH"),
              SizeIs(1000));
}

TEST_F(StreamedMessage, TheBoundOfOnePieceIsNotThatOfParts) {
  const cimom::CimXmlService small{
      repository, host, {.hostName = "made.example", .responseBytes = 10'000}};
  std::size_t bytes = 0;
  const auto reply = small.answer(listing().headers(), listing().body(),
                                  [&](std::string_view part) { bytes += part.size(); });
  EXPECT_FALSE(reply.lateError);
  EXPECT_GT(bytes, 100'000U);
}

}  // namespace
}  // namespace servetest
