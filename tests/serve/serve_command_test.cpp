#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "cim_request.h"
#include "made_inventory.h"
#include "raw_client.h"
#include "running_server.h"
#include "served_process.h"

namespace servetest {
namespace {

using clitest::Outcome;
using clitest::runPcicim;
using clitest::sample;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const CimRequest kNames =
    CimRequest("EnumerateInstanceNames").className("ClassName", "Zelmar_PCIDevice");

clitest::Arguments inventory() {
  return {"--inventory", sample("q35-pcie-switches.txt").string()};
}

TEST(ServeCommand, SaysWhatItServesAndWhereAndHowToAsk) {
  const ServedProcess server(inventory());
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port());
  EXPECT_THAT(server.announcement(),
              StartsWith("Serving the saved inventory " + sample("q35-pcie-switches.txt").string() +
                         " at " + url + "/cimom\nClasses in namespace root/cimv2:\n"));
  for (const char* name : {"  Zelmar_PCIDevice\n", "  Zelmar_PCIMemberOfCollection\n",
                           "  OMC_UnitaryComputerSystem\n"}) {
    EXPECT_THAT(server.announcement(), HasSubstr(name));
  }
  EXPECT_THAT(server.announcement(),
              HasSubstr("Try: wbemcli -nl ei '" + objectAt(url, "Zelmar_PCIDevice") + "'\n"));
  EXPECT_THAT(server.errors(), Not(HasSubstr("pcicim:")));
}

TEST(ServeCommand, SaysWhenItServesThisHost) {
  EXPECT_THAT(ServedProcess({}).announcement(),
              StartsWith("Serving this host at http://127.0.0.1:"));
}

TEST(ServeCommand, TheCommandThatItNamesWorks) {
  const ServedProcess server(inventory());
  const std::size_t start = server.announcement().find("wbemcli");
  const std::string command =
      server.announcement().substr(start, server.announcement().find('\n', start) - start);
  const Outcome outcome = clitest::runProgram("/bin/sh", {"-c", command});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Zelmar_PCIDevice."));
}

TEST(ServeCommand, BothSignalsStopItCleanly) {
  for (const int number : {SIGINT, SIGTERM}) {
    ServedProcess server(inventory());
    server.signal(number);
    EXPECT_EQ(server.waitForEnd(std::chrono::seconds(10)), 0);
    EXPECT_THROW(RawClient{server.port()}, std::system_error);
  }
}

/// The results of clients that send requests until the server is gone.
struct Tally {
  std::atomic<int> whole = 0;
  std::atomic<int> broken = 0;
};

void askUntilRefused(int port, Tally& tally) {
  const std::string text = wireText(kNames, "Connection: close\r\n");
  for (;;) {
    try {
      RawClient client(port);
      // Taken into the queue of the kernel after the stop, a client sees its connection end unread.
      if (!client.send(text)) return;
      const std::string answer = client.receiveAll();
      if (answer.empty()) return;
      const bool isWhole = answer.starts_with("HTTP/1.1 200 ") && answer.ends_with("</CIM>");
      ++(isWhole ? tally.whole : tally.broken);
    } catch (const std::system_error&) {
      return;
    }
  }
}

TEST(ServeCommand, NoAnswerIsCutShortByAStop) {
  ServedProcess server(inventory());
  Tally tally;
  std::vector<std::thread> clients;
  for (int i = 0; i < 6; ++i) {
    clients.emplace_back([&] { askUntilRefused(server.port(), tally); });
  }
  while (tally.whole < 50 && tally.broken == 0) std::this_thread::yield();
  server.signal(SIGTERM);
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(server.waitForEnd(), 0) << server.errors();
  EXPECT_GE(tally.whole, 50);
  EXPECT_EQ(tally.broken, 0);
}

TEST(ServeCommand, RequestsThatHaveArrivedWholeAtAStopAreAnswered) {
  ServedProcess server(inventory());
  const std::string last = wireText(kNames, "Connection: close\r\n");
  RawClient kept(server.port());
  ASSERT_TRUE(kept.send(wireText(kNames)));
  kept.receiveUntil("</CIM>");
  RawClient half(server.port());
  ASSERT_TRUE(half.send(last.substr(0, 20)));
  server.pause();
  // What the kernel has taken for the server arrives while it does not run.
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 18; ++i) {
    clients.push_back(std::make_unique<RawClient>(server.port()));
    ASSERT_TRUE(clients.back()->send(last));
  }
  ASSERT_TRUE(kept.send(wireText(kNames)));
  ASSERT_TRUE(half.send(last.substr(20)));
  server.signal(SIGTERM);
  server.signal(SIGCONT);
  for (const auto& client : clients) {
    const std::string answer = client->receiveAll();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(answer, testing::EndsWith("</CIM>"));
  }
  EXPECT_THAT(kept.receiveAll(), testing::EndsWith("</CIM>"));
  EXPECT_THAT(half.receiveAll(), testing::EndsWith("</CIM>"));
  EXPECT_EQ(server.waitForEnd(), 0) << server.errors();
}

TEST(ServeCommand, SaysWhenThreadsCannotBeMade) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer does not start with such stacks";
#endif
  // Each thread takes as much address space for its stack as the limit says: three fit.
  const Outcome outcome = clitest::runProgram(
      "/bin/bash",
      {"-c", "ulimit -s 34359738368; exec \"$0\" \"$@\"", PCICIM_PROGRAM, "serve", "--port", "0"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_THAT(outcome.err, HasSubstr("pcicim: cannot make 8 threads for requests: "));
}

/// A port of the loopback address that nobody listened at a moment ago.
int freePort() {
  const int made = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  const bool isBound = bind(made, general, size) == 0 && getsockname(made, general, &size) == 0;
  close(made);
  if (!isBound) throw std::system_error(errno, std::generic_category(), "bind");
  return ntohs(address.sin_port);
}

TEST(ServeCommand, WithStandardOutputClosedItServesAllTheSame) {
  // Asks as soon as it can connect, then stops the server.
  constexpr char kScript[] =
      "port=$1; shift; \"$0\" \"$@\" >&- & "
      "for i in {1..600}; do (exec 3<>/dev/tcp/127.0.0.1/$port) 2>&- && break; sleep 0.1; done; "
      "exec 3<>/dev/tcp/127.0.0.1/$port && "
      "printf 'OPTIONS / HTTP/1.1\\r\\nHost: localhost\\r\\nConnection: close\\r\\n\\r\\n' >&3 && "
      "cat <&3; kill $!; wait $!";
  const std::string port = std::to_string(freePort());
  const Outcome outcome = clitest::runProgram(
      "/bin/bash", {"-c", kScript, PCICIM_PROGRAM, port, "serve", "--port", port});
  EXPECT_THAT(outcome.out, StartsWith("HTTP/1.1 200 ")) << outcome.err;
  EXPECT_THAT(outcome.err, HasSubstr("pcicim: cannot write the answer: "));
}

TEST(ServeCommand, ASecondSignalDoesNotWaitForAnybody) {
  const clitest::TemporaryFile machine(clitest::machineOf(1000));
  ServedProcess server({"--inventory", machine.path().string()});
  RawClient deaf(server.port());
  // Qualifiers make the answer larger than what the kernel takes off the server's hands.
  ASSERT_TRUE(deaf.send(wireText(CimRequest("EnumerateInstances")
                                     .className("ClassName", "Zelmar_PCIPort")
                                     .flag("IncludeQualifiers", true))));
  deaf.receiveUntil("HTTP/1.1 200 ");
  server.signal(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(5)), 128 + SIGTERM);
}

/// The largest that the process has been, in KiB.
long peakOf(const ServedProcess& server) {
  std::istringstream lines(
      clitest::readFile("/proc/" + std::to_string(server.process()) + "/status"));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  throw std::runtime_error("no peak");
}

TEST(ServeLargeInventory, MemoryStaysAsItIsAfterTheFirstRequest) {
  const clitest::TemporaryFile machine(clitest::machineOf(500));
  const ServedProcess server({"--inventory", machine.path().string()});
  const std::string text =
      wireText(CimRequest("EnumerateInstances").className("ClassName", "Zelmar_PCIDevice"),
               "Connection: close\r\n");
  const auto ask = [&] {
    RawClient client(server.port());
    ASSERT_TRUE(client.send(text));
    EXPECT_THAT(client.receiveAll(std::chrono::seconds(60)),
                testing::EndsWith("</CIM>\r\n0\r\n\r\n"));
  };
  const long before = peakOf(server);
  ask();
  const long first = peakOf(server) - before;
  // The workers take turns.
  for (int i = 0; i < 10; ++i) ask();
  EXPECT_LT(peakOf(server) - before, first * 3 / 2);
}

TEST(ServeCommand, OneThatIsReachedFromElsewhereIsAskedForAndSaysSo) {
  const ServedProcess server({}, {"--bind", "0.0.0.0", "--allow-anyone"});
  EXPECT_THAT(server.errors(), HasSubstr("pcicim: whoever reaches 0.0.0.0 can ask"));
  EXPECT_THAT(server.authority(), StartsWith("127.0.0.1:"));
  EXPECT_NO_THROW(RawClient{server.port()});
}

bool hasIpv6() {
  const int made = socket(AF_INET6, SOCK_STREAM, 0);
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  const bool works =
      made >= 0 && bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (made >= 0) close(made);
  return works;
}

bool isKnownHost(const char* name) {
  addrinfo* addresses = nullptr;
  const bool isKnown = getaddrinfo(name, nullptr, nullptr, &addresses) == 0;
  if (isKnown) freeaddrinfo(addresses);
  return isKnown;
}

TEST(ServeCommand, EverySpellingOfThisHostAloneIsTakenForIt) {
  std::vector<std::string> spellings{"127.0.0.2"};
  if (hasIpv6()) spellings.insert(spellings.end(), {"[::1]", "::1", "::ffff:127.0.0.1"});
  if (isKnownHost("localhost")) spellings.push_back("localhost");
  for (const std::string& address : spellings) {
    const ServedProcess server(inventory(), {"--bind", address});
    EXPECT_THAT(server.errors(), Not(HasSubstr("pcicim:"))) << address;
    const Outcome outcome = clitest::runProgram(
        WBEMCLI_PROGRAM, {"ein", "http://" + objectAt(server.authority(), "Zelmar_PCIBridge")});
    EXPECT_EQ(outcome.status, 0) << address << ": " << outcome.err << outcome.out;
  }
}

TEST(ServeCommand, AddressesOfTheLongKindStandInBrackets) {
  if (!hasIpv6()) GTEST_SKIP() << "this host has no IPv6";
  const ServedProcess server(inventory(), {"--bind", "::1"});
  EXPECT_THAT(server.authority(), MatchesRegex("\\[::1\\]:[0-9]+"));
  const Outcome outcome = clitest::runProgram(
      WBEMCLI_PROGRAM, {"ein", "http://" + objectAt(server.authority(), "Zelmar_PCIBridge")});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Zelmar_PCIBridge."));
}

TEST(ServeCommand, NamesOfThisHostAreAddressesToo) {
  if (!isKnownHost("localhost")) GTEST_SKIP() << "localhost has no address here: no /etc/hosts?";
  const ServedProcess server(inventory(), {"--bind", "localhost"});
  EXPECT_THAT(server.authority(), StartsWith("localhost:"));
}

void expectFailure(const clitest::Arguments& arguments, int status, const std::string& reason) {
  const Outcome outcome = runPcicim(arguments);
  EXPECT_EQ(outcome.status, status) << reason;
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_THAT(outcome.err, HasSubstr(reason));
}

TEST(ServeCommand, SaysWhyItCannotServe) {
  const ServedProcess server(inventory());
  const std::string port = std::to_string(server.port());
  expectFailure({"serve", "--port", port}, 1,
                "pcicim: cannot listen at 127.0.0.1, port " + port + ": Address already in use\n");
  expectFailure({"serve", "--port", "0", "--bind", "192.0.2.1", "--allow-anyone"}, 1,
                "cannot listen at 192.0.2.1, port 0: Cannot assign requested address\n");
  expectFailure({"serve", "--bind", "no.such.host.invalid"}, 1, "no.such.host.invalid");
  expectFailure({"--inventory", "/no/such/file", "serve", "--port", "0"}, 1, "/no/such/file");
  expectFailure({"--provider", "/no/such/library.so", "serve", "--port", "0"}, 1,
                "/no/such/library.so");
  expectFailure({"serve", "--port", "0", "--bind", "0.0.0.0"}, 1,
                "others reach 0.0.0.0: give --tls-certificate, --tls-key and --password-file, or "
                "--allow-anyone\n");
  expectFailure({"serve", "--port", "0", "--bind", "::"}, 1, "others reach ::: give ");
  expectFailure({"serve", "--port", "65536"}, 2, "65536");
  expectFailure({"serve", "--port", "-1"}, 2, "");
  expectFailure({"serve", "--port", "http"}, 2, "http");
}

TEST(ServeCommand, NoLibraryOfCompressionIsLoaded) {
  const Outcome loaded = clitest::runProgram("/usr/bin/ldd", {PCICIM_PROGRAM});
  EXPECT_EQ(loaded.status, 0) << loaded.err;
  EXPECT_THAT(loaded.out, HasSubstr("libexpat.so"));
  for (const char* library : {"libbrotli", "libz.so", "libzstd"}) {
    EXPECT_THAT(loaded.out, Not(HasSubstr(library)));
  }
}

TEST(ServeCommand, HelpNamesItsOptionsAndDefaults) {
  const Outcome help = runPcicim({"serve", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("--bind ADDRESS=127.0.0.1"));
  EXPECT_THAT(help.out, HasSubstr("5988, with TLS 5989"));
  for (const char* option :
       {"--server-name NAME", "--stop-time N", "--tls-certificate FILE", "--tls-key FILE",
        "--password-file FILE", "--allow-anyone", "--config FILE", "--reloadable"}) {
    EXPECT_THAT(help.out, HasSubstr(option));
  }
  EXPECT_THAT(runPcicim({"--help"}).out, HasSubstr("serve"));
}

}  // namespace
}  // namespace servetest
