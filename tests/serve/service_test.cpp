// `pcicim serve` as a service manager runs it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

#include "cim_request.h"
#include "made_inventory.h"
#include "passed_socket.h"
#include "raw_client.h"
#include "running_server.h"
#include "served_process.h"
#include "tls_files.h"

namespace servetest {
namespace {

using clitest::Outcome;
using clitest::runPcicim;
using clitest::TemporaryFile;
using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const clitest::Arguments kSample{"--inventory", clitest::sample("q35-pcie-switches.txt").string()};
const CimRequest kNames =
    CimRequest("EnumerateInstanceNames").className("ClassName", "Zelmar_PCIDevice");

void overwrite(const TemporaryFile& file, const std::string& content) {
  std::ofstream(file.path(), std::ios::binary | std::ios::trunc) << content;
}

/// Waits for what must come, however busy the machine is.
template <typename Condition>
void waitUntil(const Condition& condition, const std::string& what) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("not seen: " + what);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void waitForError(const ServedProcess& server, const std::string& text, std::size_t times = 1) {
  waitUntil(
      [&] {
        std::size_t count = 0;
        const std::string errors = server.errors();
        for (std::size_t at = errors.find(text); at != std::string::npos;
             at = errors.find(text, at + 1)) {
          ++count;
        }
        return count >= times;
      },
      text);
}

std::string ask(int port, const CimRequest& request = kNames, const std::string& headers = "") {
  RawClient client(port);
  if (!client.send(wireText(request, headers + "Connection: close\r\n"))) return "";
  return client.receiveAll(std::chrono::seconds(120));
}

std::size_t namesIn(const std::string& answer) {
  static const std::regex kName("<INSTANCENAME ");
  return static_cast<std::size_t>(
      std::distance(std::sregex_iterator(answer.begin(), answer.end(), kName), {}));
}

const std::string kTakenOver = "pcicim: a fresh server has taken over\n";

// --- The file with options

std::string complaintAbout(const std::string& configuration) {
  const TemporaryFile file(configuration);
  const Outcome outcome =
      runPcicim({"serve", "--port", "0", "--stop-time", "1", "--config", file.path().string()});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.out, IsEmpty());
  const std::string prefix = "pcicim: " + file.path().string();
  EXPECT_THAT(outcome.err, StartsWith(prefix));
  return outcome.err.substr(std::min(prefix.size(), outcome.err.size()));
}

TEST(ServeConfiguration, GivesWhatTheCommandLineLeavesOut) {
  const TemporaryFile passwords(passwordLine("alice", "x"));
  const TemporaryFile file("# A comment\n\n inventory = " + kSample.back() +
                           "\r\nport=1\n  bind = 0.0.0.0\t\nallow-anyone = yes\npassword-file=" +
                           passwords.path().string() + "\nserver-name = a b\nserver-name=c\n");
  const ServedProcess server({}, {"--bind", "127.0.0.2", "--config", file.path().string()});
  EXPECT_THAT(server.announcement(), StartsWith("Serving the saved inventory " + kSample.back() +
                                                " at http://127.0.0.2:"));
  EXPECT_NE(server.port(), 1);
  EXPECT_THAT(server.announcement(), HasSubstr("USER:PASSWORD@"));
}

TEST(ServeConfiguration, ItsErrorsNameTheFileAndTheLine) {
  EXPECT_EQ(complaintAbout("# one\nports = 1\n"), ", line 2: there is no option ports\n");
  EXPECT_EQ(complaintAbout("bind\n"), ", line 1: this is not NAME = VALUE: bind\n");
  EXPECT_EQ(complaintAbout("= 1\n"), ", line 1: there is no option \n");
  EXPECT_EQ(complaintAbout("config = /etc/x\n"), ", line 1: there is no option config\n");
  EXPECT_EQ(complaintAbout("help = yes\n"), ", line 1: there is no option help\n");
  EXPECT_EQ(complaintAbout("\n\ntls-key = /x\n"), ", line 3: tls-key needs tls-certificate\n");
  EXPECT_EQ(complaintAbout("url = http://x\n"), ", line 1: there is no option url\n");
  EXPECT_EQ(complaintAbout("server-name =\n"), ", line 1: server-name has no value\n");
  EXPECT_THAT(complaintAbout("allow-anyone = perhaps\n"),
              AllOf(StartsWith(", line 1: "), HasSubstr("perhaps")));
}

TEST(ServeConfiguration, ValuesAreCheckedAsOnTheCommandLine) {
  const TemporaryFile file("bind = 127.0.0.1\nport = 65536\n");
  const Outcome outcome = runPcicim({"serve", "--config", file.path().string()});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.err, AllOf(StartsWith("pcicim: " + file.path().string() + ", line 2: "),
                                 HasSubstr("65536")));
}

TEST(ServeConfiguration, WhatIsReadAnewIsNoStandardInput) {
  const Outcome outcome = runPcicim({"--inventory", "-", "serve", "--reloadable"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("it takes a file, not standard input"));
}

TEST(ServeConfiguration, OneThatCannotBeReadIsNamed) {
  EXPECT_EQ(runPcicim({"serve", "--config", "/no/such.conf"}).err,
            "pcicim: cannot read /no/such.conf: No such file or directory\n");
  EXPECT_EQ(runPcicim({"serve", "--config", "/"}).err, "pcicim: cannot read /: Is a directory\n");
}

// --- Sockets that listen already

TEST(ServePassedSockets, AllOfThemAreServed) {
  const PassedSocket first;
  const PassedSocket second("127.0.0.2");
  const ServedProcess server(kSample, {}, {.sockets = {first.descriptor(), second.descriptor()}});
  EXPECT_EQ(server.port(), first.port());
  EXPECT_EQ(namesIn(ask(first.port())), 13U);
  EXPECT_THAT(server.errors(), Not(HasSubstr("pcicim:")));
  const Outcome asked = clitest::runProgram(
      WBEMCLI_PROGRAM, {"ein", "http://" + objectAt("127.0.0.2:" + std::to_string(second.port()),
                                                    "Zelmar_PCIBridge")});
  EXPECT_EQ(asked.status, 0) << asked.err;
}

TEST(ServePassedSockets, WhatCameBeforeTheStartIsAnswered) {
  const PassedSocket socket;
  RawClient early(socket.port());
  ASSERT_TRUE(early.send(wireText(kNames, "Connection: close\r\n")));
  const ServedProcess server(kSample, {}, {.sockets = {socket.descriptor()}});
  EXPECT_EQ(namesIn(early.receiveAll(std::chrono::seconds(120))), 13U);
}

TEST(ServePassedSockets, OneThatOthersReachNeedsProtection) {
  const PassedSocket socket("0.0.0.0");
  const ServiceSurroundings passed{.sockets = {socket.descriptor()}};
  try {
    const ServedProcess server(kSample, {}, passed);
    ADD_FAILURE() << server.announcement();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("pcicim: others reach 0.0.0.0: give "));
  }
  const ServedProcess open(kSample, {"--allow-anyone"}, passed);
  EXPECT_THAT(open.errors(), HasSubstr("pcicim: whoever reaches 0.0.0.0 can ask"));
}

TEST(ServePassedSockets, SomethingElseIsRefused) {
  const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
  try {
    const ServedProcess server(kSample, {}, {.sockets = {file}});
    ADD_FAILURE() << server.announcement();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(),
                HasSubstr("pcicim: descriptor 3 was passed and is no listening TCP socket\n"));
  }
  close(file);
}

// --- A process that takes over

class ServeReload : public testing::Test {
 protected:
  static clitest::Arguments host(const TemporaryFile& inventory) {
    return {"--inventory", inventory.path().string()};
  }
};

TEST_F(ServeReload, TheInventoryIsReadAnew) {
  const TemporaryFile inventory(clitest::machineOf(3));
  const ServedProcess server(host(inventory), {"--reloadable"});
  const std::size_t before = namesIn(ask(server.port()));
  overwrite(inventory, clitest::machineOf(8));
  EXPECT_EQ(namesIn(ask(server.port())), before);
  server.signal(SIGHUP);
  waitForError(server, kTakenOver);
  waitUntil([&] { return namesIn(ask(server.port())) == before + 5; }, "the new inventory");
}

TEST_F(ServeReload, PasswordsAreReadAnew) {
  const TemporaryFile passwords(passwordLine("alice", "old"));
  const ServedProcess server(kSample,
                             {"--reloadable", "--password-file", passwords.path().string()});
  const std::string old = "Authorization: Basic YWxpY2U6b2xk\r\n";
  const std::string fresh = "Authorization: Basic YWxpY2U6bmV3\r\n";
  EXPECT_THAT(ask(server.port(), kNames, old), StartsWith("HTTP/1.1 200 "));
  overwrite(passwords, passwordLine("alice", "new"));
  server.signal(SIGHUP);
  waitForError(server, kTakenOver);
  waitUntil([&] { return ask(server.port(), kNames, fresh).starts_with("HTTP/1.1 200 "); },
            "the new password");
  EXPECT_THAT(ask(server.port(), kNames, old), StartsWith("HTTP/1.1 401 "));
}

TEST_F(ServeReload, TheFormerServerFinishesWhatItWasAsked) {
  const TemporaryFile inventory(clitest::machineOf(1000));
  const ServedProcess server(host(inventory), {"--reloadable"});
  RawClient slow(server.port());
  // Larger than what the kernel takes off the server's hands.
  ASSERT_TRUE(slow.send(wireText(CimRequest("EnumerateInstances")
                                     .className("ClassName", "Zelmar_PCIPort")
                                     .flag("IncludeQualifiers", true),
                                 "Connection: close\r\n")));
  const std::string begun = slow.receiveUntil("HTTP/1.1 200 ", std::chrono::seconds(120));
  overwrite(inventory, clitest::machineOf(3));
  server.signal(SIGHUP);
  waitForError(server, kTakenOver);
  EXPECT_THAT(slow.receiveAll(std::chrono::seconds(120)), EndsWith("</CIM>\r\n0\r\n\r\n"));
}

TEST_F(ServeReload, NoClientSeesIt) {
  const ServedProcess server(kSample, {"--reloadable"});
  std::atomic<bool> isDone = false;
  std::atomic<int> whole = 0;
  std::atomic<int> broken = 0;
  std::thread client([&] {
    while (!isDone) {
      try {
        ++(namesIn(ask(server.port())) == 13 ? whole : broken);
      } catch (const std::exception&) {
        ++broken;
      }
    }
  });
  for (std::size_t i = 1; i <= 3; ++i) {
    server.signal(SIGHUP);
    waitForError(server, kTakenOver, i);
  }
  isDone = true;
  client.join();
  EXPECT_GT(whole, 0);
  EXPECT_EQ(broken, 0);
}

TEST_F(ServeReload, WithoutAFreshServerTheFormerOneGoesOnAndSaysWhy) {
  const TemporaryFile configuration("# Nothing\n");
  const ServedProcess server(kSample, {"--reloadable", "--config", configuration.path().string()});
  overwrite(configuration, "tls-key = /x\n");
  server.signal(SIGHUP);
  waitForError(server, "pcicim: the new server does not start; the former one goes on\n");
  EXPECT_THAT(server.errors(), HasSubstr("pcicim: " + configuration.path().string() +
                                         ", line 1: tls-key needs tls-certificate\n"));
  EXPECT_EQ(namesIn(ask(server.port())), 13U);
  overwrite(configuration, "# Nothing\n");
  server.signal(SIGHUP);
  waitForError(server, kTakenOver);
  EXPECT_EQ(namesIn(ask(server.port())), 13U);
}

TEST_F(ServeReload, WithoutTheOptionTheSignalEndsTheServer) {
  ServedProcess server(kSample);
  server.signal(SIGHUP);
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(60)), 128 + SIGHUP);
}

/// The processes that the process has started.
std::vector<pid_t> childrenOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::istringstream text(clitest::readFile("/proc/" + id + "/task/" + id + "/children"));
  return {std::istream_iterator<pid_t>(text), {}};
}

bool isListening(int port) {
  try {
    const RawClient client(port);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

TEST_F(ServeReload, OneServerIsLeft) {
  const ServedProcess server(kSample, {"--reloadable"});
  server.signal(SIGHUP);
  waitForError(server, kTakenOver);
  waitUntil([&] { return childrenOf(server.process()).size() == 1; }, "one server");
}

TEST_F(ServeReload, AServerThatEndsByItselfEndsTheWhole) {
  ServedProcess server(kSample, {"--reloadable"});
  const std::vector<pid_t> serving = childrenOf(server.process());
  ASSERT_EQ(serving.size(), 1U);
  kill(serving.front(), SIGKILL);
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(60)), 128 + SIGKILL);
  waitForError(server, "pcicim: the server has ended with exit code 137\n");
}

TEST_F(ServeReload, NoServerOutlivesItsSupervisor) {
  ServedProcess server(kSample, {"--reloadable"});
  server.signal(SIGKILL);
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(60)), 128 + SIGKILL);
  waitUntil([&] { return !isListening(server.port()); }, "its end");
}

TEST_F(ServeReload, ASecondSignalDoesNotWaitForAnybody) {
  const TemporaryFile inventory(clitest::machineOf(1000));
  ServedProcess server(host(inventory), {"--reloadable"});
  RawClient deaf(server.port());
  ASSERT_TRUE(deaf.send(wireText(CimRequest("EnumerateInstances")
                                     .className("ClassName", "Zelmar_PCIPort")
                                     .flag("IncludeQualifiers", true))));
  deaf.receiveUntil("HTTP/1.1 200 ", std::chrono::seconds(120));
  server.signal(SIGTERM);
  waitUntil([&] { return !isListening(server.port()); }, "the stop");
  server.signal(SIGTERM);
  // The stop time is 30 s.
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(20)), 128 + SIGTERM);
}

// --- What the service manager is told, and the journal

/// Where a service manager waits for what its services say of themselves.
class NotifySocket {
 public:
  /// A name that begins with @ is in no file system.
  explicit NotifySocket(const std::string& name)
      : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), name_(name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, sizeof address.sun_path);
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
      throw std::system_error(errno, std::generic_category(), "bind");
    }
  }
  ~NotifySocket() {
    close(descriptor_);
    std::error_code ignored;
    std::filesystem::remove(name_, ignored);
  }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  std::string next() const {
    pollfd waited{descriptor_, POLLIN, 0};
    if (poll(&waited, 1, 120'000) != 1) throw std::runtime_error("nothing said");
    char bytes[512];
    const ssize_t count = recv(descriptor_, bytes, sizeof bytes, 0);
    return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

 private:
  int descriptor_;
  std::string name_;
};

std::string nameInFiles() {
  return (std::filesystem::temp_directory_path() / ("pcicim-notify-" + std::to_string(getpid())))
      .string();
}

TEST(ServeNotifies, WhenItIsReadyReloadsAndStops) {
  const NotifySocket manager(nameInFiles());
  ServedProcess server(kSample, {"--reloadable"}, {.notifySocket = nameInFiles()});
  EXPECT_EQ(manager.next(), "READY=1\nSTATUS=Serving");
  server.signal(SIGHUP);
  EXPECT_THAT(manager.next(), ContainsRegex("^RELOADING=1\nMONOTONIC_USEC=[0-9]+$"));
  EXPECT_EQ(manager.next(), "READY=1\nSTATUS=Serving");
  server.signal(SIGTERM);
  EXPECT_EQ(manager.next(), "STOPPING=1");
  EXPECT_EQ(server.waitForEnd(std::chrono::seconds(60)), 0);
}

TEST(ServeNotifies, WhenAReloadFails) {
  const TemporaryFile configuration("# Nothing\n");
  const NotifySocket manager(nameInFiles());
  const ServedProcess server(kSample, {"--reloadable", "--config", configuration.path().string()},
                             {.notifySocket = nameInFiles()});
  EXPECT_EQ(manager.next(), "READY=1\nSTATUS=Serving");
  overwrite(configuration, "nothing\n");
  server.signal(SIGHUP);
  EXPECT_THAT(manager.next(), StartsWith("RELOADING=1\n"));
  EXPECT_EQ(manager.next(),
            "READY=1\nSTATUS=Reload failed: the new server does not start; the former one goes on");
}

TEST(ServeNotifies, WithoutASupervisorToo) {
  const std::string name = "@pcicim-notify-" + std::to_string(getpid());
  const NotifySocket manager(name);
  const ServedProcess server(kSample, {}, {.notifySocket = name});
  EXPECT_EQ(manager.next(), "READY=1\nSTATUS=Serving");
}

TEST(ServeJournal, LinesHaveTheirSeverity) {
  const ServedProcess server(kSample, {"--bind", "0.0.0.0", "--allow-anyone", "--reloadable"},
                             {.hasJournal = true});
  EXPECT_THAT(server.errors(), HasSubstr("<4>pcicim: whoever reaches 0.0.0.0 can ask"));
  server.signal(SIGHUP);
  waitForError(server, "<5>" + kTakenOver);
}

TEST(ServeJournal, SoDoWhatProvidersLogAndErrors) {
  const TemporaryFile damaged("00:00.0 Host bridge\n00: 86 zz\n");
  const TemporaryFile errors("");
  const std::string script =
      "exec 2>" + errors.path().string() +
      "; export JOURNAL_STREAM=$(stat -Lc %d:%i /dev/stderr); exec \"$0\" \"$@\"";
  const Outcome outcome = clitest::runProgram(
      "/bin/sh", {"-c", script, PCICIM_PROGRAM, "--inventory", damaged.path().string(), "get",
                  "Zelmar_PCIDevice.DeviceID=\"none\""});
  EXPECT_EQ(outcome.status, 1);
  const std::string said = clitest::readFile(errors.path());
  EXPECT_THAT(said, ContainsRegex("(^|\n)<4>pcicim: PCI inventory [^\n]* line 2: [^\n]*\n"));
  EXPECT_THAT(said, ContainsRegex("\n<3>pcicim: [^\n]+\n$"));
}

TEST(ServeJournal, StandardErrorElsewhereHasNone) {
  const Outcome outcome = clitest::runProgram(
      PCICIM_PROGRAM, {"--inventory", "/no/such/file", "count"}, {{"JOURNAL_STREAM", "1:2"}});
  EXPECT_THAT(outcome.err, Not(HasSubstr("<3>")));
  EXPECT_THAT(outcome.err, StartsWith("pcicim: /no/such/file: "));
}

}  // namespace
}  // namespace servetest
