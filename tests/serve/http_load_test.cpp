// The server's limits of time and number, its behaviour under load, and how it stops. Requests are
// held at the gate of GatedHost, so that a test decides how many are under way at a time. No test
// depends on how fast the machine is: bounds from above are generous.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "http_client.h"
#include "raw_client.h"
#include "running_server.h"

namespace servetest {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";

/// A client that has sent one request.
std::unique_ptr<RawClient> asking(const RunningServer& server, const std::string& id = "a") {
  auto client = std::make_unique<RawClient>(server.port());
  if (!client->send(wireText(getThing(id), "Connection: close\r\n"))) {
    throw std::runtime_error("not sent");
  }
  return client;
}

TEST(HttpLimits, AHeadThatComesTooSlowlyIsRefused) {
  const RunningServer server({.requestTime = seconds(1)});
  RawClient slow(server.port());
  const auto start = steady_clock::now();
  ASSERT_TRUE(slow.send("POST /cimom HTTP/1.1\r\nHost: "));
  EXPECT_THAT(slow.receiveAll(), StartsWith("HTTP/1.1 408 "));
  EXPECT_GE(steady_clock::now() - start, milliseconds(950));
}

TEST(HttpLimits, ABodyThatComesTooSlowlyIsRefusedHoweverSteadilyItComes) {
  const RunningServer server({.requestTime = seconds(1)});
  RawClient slow(server.port());
  const std::string text = wireText(getThing("a"));
  const std::size_t head = text.find("\r\n\r\n") + 4;
  ASSERT_TRUE(slow.send(text.substr(0, head)));
  std::atomic<bool> isAnswered = false;
  std::thread sender([&] {
    for (std::size_t i = head; i < text.size() && !isAnswered; ++i) {
      if (!slow.send(text.substr(i, 1))) return;
      std::this_thread::sleep_for(milliseconds(20));
    }
  });
  std::string answer;
  EXPECT_NO_THROW(answer = slow.receiveUntil("\r\n\r\n"));
  isAnswered = true;
  sender.join();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 408 "));
}

TEST(HttpLimits, AConnectionWithoutRequestsIsClosed) {
  const RunningServer server({.idleTime = seconds(1)});
  RawClient silent(server.port());
  EXPECT_THAT(silent.receiveAll(seconds(5)), IsEmpty());
  RawClient once(server.port());
  ASSERT_TRUE(once.send(wireText(getThing("a"))));
  EXPECT_THAT(once.receiveAll(seconds(5)), StartsWith(kOk));
}

TEST(HttpLimits, ClientsBeyondThoseThatMayWaitAreTurnedAway) {
  RunningServer server({.requests = 2, .waiting = 3});
  server.host.close();
  std::vector<std::unique_ptr<RawClient>> served;
  for (int i = 0; i < 2; ++i) served.push_back(asking(server));
  ASSERT_TRUE(server.host.waitForRequests(2));
  for (int i = 0; i < 3; ++i) served.push_back(asking(server));
  // The server takes its connections in the order in which they were made.
  for (int i = 0; i < 4; ++i) {
    EXPECT_THAT(asking(server)->receiveAll(), StartsWith("HTTP/1.1 503 "));
  }
  server.host.open();
  for (const auto& client : served) EXPECT_THAT(client->receiveAll(), StartsWith(kOk));
  EXPECT_THAT(asking(server)->receiveAll(), StartsWith(kOk));
}

TEST(HttpLimits, ConnectionsBeyondThoseThatMayBeOpenAreTurnedAway) {
  const RunningServer server({.connections = 2});
  const RawClient silent(server.port());
  auto half = std::make_unique<RawClient>(server.port());
  ASSERT_TRUE(half->send("POST /cimom HTTP/1.1\r\n"));
  EXPECT_THAT(RawClient(server.port()).receiveAll(), StartsWith("HTTP/1.1 503 "));
  half.reset();
  // The server sees the end of the one that went in its own time.
  std::string answer;
  do {
    answer = asking(server)->receiveAll();
  } while (answer.starts_with("HTTP/1.1 503 "));
  EXPECT_THAT(answer, StartsWith(kOk));
}

/// The answer to one request at a connection of its own. One that has just ended counts until the
/// server has seen its end, so "busy" is asked again for ten seconds.
std::string answerWhereThereIsRoom(const RunningServer& server) {
  std::string answer;
  for (int i = 0; i < 1000; ++i) {
    RawClient client(server.port());
    EXPECT_TRUE(client.send(wireText(getThing("a"))));
    answer = client.receiveAll();
    if (!answer.starts_with("HTTP/1.1 503 ")) break;
    std::this_thread::sleep_for(milliseconds(10));
  }
  return answer;
}

TEST(HttpLimits, IdleConnectionsKeepWhatWasPromisedAndNeverHoldAll) {
  const RunningServer server({.idleTime = seconds(60), .connections = 4});
  std::vector<std::unique_ptr<RawClient>> idle;
  for (int i = 0; i < 2; ++i) {
    idle.push_back(std::make_unique<RawClient>(server.port()));
    ASSERT_TRUE(idle.back()->send(wireText(getThing("a"))));
    EXPECT_THAT(idle.back()->receiveUntil("</CIM>"), HasSubstr("Keep-Alive: timeout=60"));
  }
  for (int i = 0; i < 10; ++i) {
    const std::string answer = answerWhereThereIsRoom(server);
    EXPECT_THAT(answer, StartsWith(kOk));
    EXPECT_THAT(answer, HasSubstr("Connection: close"));
    EXPECT_THAT(answer, testing::Not(HasSubstr("Keep-Alive")));
  }
  for (const auto& client : idle) {
    ASSERT_TRUE(client->send(wireText(getThing("a"))));
    EXPECT_THAT(client->receiveUntil("</CIM>"), StartsWith(kOk));
  }
}

TEST(HttpLimits, OneClientDoesNotTakeAllConnections) {
  const RunningServer server({.connections = 8, .connectionsPerClient = 2});
  const RawClient first(server.port());
  const RawClient second(server.port());
  EXPECT_THAT(asking(server)->receiveAll(), StartsWith("HTTP/1.1 503 "));
  RawClient other(server.port(), "127.0.0.2");
  ASSERT_TRUE(other.send(wireText(getThing("a"), "Connection: close\r\n")));
  EXPECT_THAT(other.receiveAll(), StartsWith(kOk));
}

TEST(HttpLimits, ClientsThatReadNothingHoldUpNobody) {
  RunningServer server({.requests = 1, .waiting = 1});
  // More than the kernel takes off the server's hands.
  server.host.setNote(std::string(20'000'000, 'n'));
  std::vector<std::unique_ptr<RawClient>> deaf;
  for (int i = 0; i < 4; ++i) {
    deaf.push_back(asking(server));
    deaf.back()->receiveUntil(kOk);
  }
  server.host.setNote("short");
  EXPECT_THAT(asking(server)->receiveAll(), HasSubstr("short"));
}

TEST(HttpLimits, AClientThatTakesNothingIsNotWaitedForHoweverLargeItsAnswer) {
  RunningServer server({.requestTime = seconds(1), .connections = 1});
  server.host.setNote(std::string(20'000'000, 'n'));
  const auto deaf = asking(server);
  deaf->receiveUntil(kOk);
  server.host.setNote("short");
  // There is room for others as soon as the server has given up.
  const auto end = steady_clock::now() + seconds(60);
  std::string answer;
  do {
    answer = asking(server)->receiveAll();
  } while (answer.starts_with("HTTP/1.1 503 ") && steady_clock::now() < end);
  EXPECT_THAT(answer, HasSubstr("short"));
  std::string rest;
  EXPECT_NO_THROW(rest = deaf->receiveAll());
  EXPECT_THAT(rest, testing::Not(testing::EndsWith("</CIM>")));
}

TEST(HttpLimits, ClientsThatAreSlowToAskHoldUpNobody) {
  const RunningServer server({.requests = 1, .waiting = 1});
  std::vector<std::unique_ptr<RawClient>> slow;
  const std::string text = wireText(getThing("a"), "Connection: close\r\n");
  for (int i = 0; i < 20; ++i) {
    slow.push_back(std::make_unique<RawClient>(server.port()));
    ASSERT_TRUE(slow.back()->send(text.substr(0, i % 2 == 0 ? 20 : text.size() - 1)));
  }
  EXPECT_THAT(asking(server)->receiveAll(), StartsWith(kOk));
  for (int i = 0; i < 20; ++i) {
    const auto& client = slow[static_cast<std::size_t>(i)];
    ASSERT_TRUE(client->send(text.substr(i % 2 == 0 ? 20 : text.size() - 1)));
    EXPECT_THAT(client->receiveAll(), StartsWith(kOk));
  }
}

TEST(HttpLoad, RequestsAreAnsweredAtTheSameTime) {
  RunningServer server({.requests = 6});
  server.host.close();
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 6; ++i) clients.push_back(asking(server));
  EXPECT_TRUE(server.host.waitForRequests(6));
  server.host.open();
  for (const auto& client : clients) EXPECT_THAT(client->receiveAll(), StartsWith(kOk));
}

TEST(HttpLoad, EveryClientGetsItsOwnAnswers) {
  constexpr int kClients = 12;
  constexpr int kRequests = 60;
  const RunningServer server({.requests = 4});
  std::atomic<int> right = 0;
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      HttpClient client(server.port());
      client.keepAlive(c % 2 == 0);
      for (int i = 0; i < kRequests; ++i) {
        const std::string name = "Test_None" + std::to_string(c) + "_" + std::to_string(i);
        const CimRequest request = CimRequest("GetClass").className("ClassName", name);
        const auto answer = client.post(request);
        const bool isOwn = answer && answer->status == 200 &&
                           CimResponse(answer->body).errorText() == "no class " + name;
        right += isOwn ? 1 : 0;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(right, kClients * kRequests);
}

TEST(HttpLoad, IdleConnectionsHoldNoWorker) {
  const RunningServer server({.idleTime = seconds(60), .requests = 1});
  RawClient idle(server.port());
  ASSERT_TRUE(idle.send(wireText(getThing("a"))));
  idle.receiveUntil("</CIM>");
  EXPECT_THAT(asking(server)->receiveAll(), StartsWith(kOk));
}

TEST(HttpStop, RequestsThatRunAreAnsweredAndNobodyElseIsTaken) {
  RunningServer server({.requests = 3});
  server.host.close();
  std::vector<std::unique_ptr<RawClient>> running;
  for (int i = 0; i < 3; ++i) running.push_back(asking(server));
  ASSERT_TRUE(server.host.waitForRequests(3));
  server.askToStop();
  EXPECT_FALSE(server.hasStopped(milliseconds(300)));
  EXPECT_THROW(RawClient{server.port()}, std::system_error);
  server.host.open();
  for (const auto& client : running) {
    EXPECT_THAT(client->receiveAll(), testing::AllOf(StartsWith(kOk), HasSubstr("</CIM>")));
  }
  EXPECT_TRUE(server.hasStopped(seconds(10)));
}

TEST(HttpStop, NeitherIdleNorHalfSentRequestsHoldItUp) {
  const RunningServer server({.idleTime = seconds(60)});
  const RawClient silent(server.port());
  RawClient idle(server.port());
  ASSERT_TRUE(idle.send(wireText(getThing("a"))));
  idle.receiveUntil("</CIM>");
  RawClient halfHead(server.port());
  ASSERT_TRUE(halfHead.send("POST /cimom HTTP/1.1\r\n"));
  RawClient halfBody(server.port());
  const std::string text = wireText(getThing("a"));
  ASSERT_TRUE(halfBody.send(text.substr(0, text.size() - 5)));
  std::this_thread::sleep_for(milliseconds(100));
  server.askToStop();
  EXPECT_TRUE(server.hasStopped(seconds(5)));
}

TEST(HttpStop, OnlyClientsThatReadTheirAnswersAreWaitedFor) {
  RunningServer server;
  // More than the kernel takes off the server's hands.
  server.host.setNote(std::string(20'000'000, 'n'));
  const auto deaf = asking(server);
  deaf->receiveUntil(kOk);
  const auto reading = asking(server);
  reading->receiveUntil(kOk);
  server.askToStop();
  EXPECT_FALSE(server.hasStopped(milliseconds(300)));
  EXPECT_THAT(reading->receiveAll(), testing::EndsWith("</CIM>"));
  EXPECT_TRUE(server.hasStopped(seconds(10)));
}

TEST(HttpStop, ARequestThatNeverEndsIsNotWaitedForLongerThanIsSaid) {
  RunningServer server({.stopTime = seconds(1)});
  server.host.close();
  const auto running = asking(server);
  ASSERT_TRUE(server.host.waitForRequests(1));
  server.askToStop();
  ASSERT_TRUE(server.hasStopped(seconds(20)));
  EXPECT_FALSE(server.hasAnsweredAll());
}

TEST(HttpStop, PipelinedRequestsThatHaveArrivedAreAnswered) {
  RunningServer server;
  server.host.close();
  RawClient client(server.port());
  std::string text;
  for (int i = 0; i < 3; ++i) text += wireText(getThing("a"));
  ASSERT_TRUE(client.send(text));
  ASSERT_TRUE(server.host.waitForRequests(1));
  server.askToStop();
  EXPECT_FALSE(server.hasStopped(milliseconds(300)));
  server.host.open();
  const std::string answers = client.receiveAll();
  int count = 0;
  for (std::size_t at = 0; (at = answers.find("</CIM>", at)) != std::string::npos; ++at) ++count;
  EXPECT_EQ(count, 3);
  EXPECT_TRUE(server.hasAnsweredAll());
}

TEST(HttpStop, ItStopsAtOnceWhenNobodyIsThere) {
  const RunningServer server;
  server.askToStop();
  EXPECT_TRUE(server.hasStopped(seconds(2)));
}

TEST(HttpListen, SaysWhereAndWhyItCannot) {
  const RunningServer server;
  const auto reason = [](const std::string& address, int port) -> std::string {
    const auto repository = cimom::ClassRepository::parse("class A { };");
    GatedHost host;
    const cimom::CimXmlService service(repository, host, {});
    try {
      cimom::CimXmlHttpServer(service, {}).listen(address, port);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  };
  const std::string port = std::to_string(server.port());
  EXPECT_EQ(reason("127.0.0.1", server.port()),
            "cannot listen at 127.0.0.1, port " + port + ": Address already in use");
  EXPECT_THAT(reason("192.0.2.1", 0), HasSubstr("192.0.2.1, port 0: Cannot assign"));
  EXPECT_THAT(reason("no.such.host.invalid", 0), HasSubstr("no.such.host.invalid"));
  EXPECT_THAT(reason("", 0), HasSubstr("cannot listen at"));
}

}  // namespace
}  // namespace servetest
