// HTTP basic authentication against a password file: who is let in, what guessing costs, and what
// is said about files that cannot be used.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "raw_client.h"
#include "run_pcicim.h"
#include "running_server.h"
#include "tls_files.h"

namespace servetest {
namespace {

using clitest::TemporaryFile;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kOk[] = "HTTP/1.1 200 ";
constexpr char kUnknown[] = "HTTP/1.1 401 ";
constexpr char kTooMany[] = "HTTP/1.1 429 ";

std::string basic(const std::string& pair) {
  std::string text(pair.size() / 3 * 4 + 5, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                     reinterpret_cast<const unsigned char*>(pair.data()),
                                     static_cast<int>(pair.size()));
  text.resize(static_cast<std::size_t>(length));
  return "Authorization: Basic " + text + "\r\n";
}

class HttpLogin : public testing::Test {
 protected:
  static cimom::HttpSettings settings(const TemporaryFile& file) {
    cimom::HttpSettings made;
    made.limits.loginDelay = milliseconds(1);
    made.limits.loginFailures = 4;
    made.passwordFile = file.path().string();
    return made;
  }
  static std::string ask(const RunningServer& server, const std::string& headers,
                         const char* source = "127.0.0.1") {
    RawClient raw(server.port(), source);
    EXPECT_TRUE(raw.send(wireText(getThing("a"), headers + "Connection: close\r\n")));
    return raw.receiveAll();
  }

  const TemporaryFile file{"# who may ask\r\n\n" + passwordLine("alice", "s3cret:pass") +
                           passwordLine("bob", "hunter2")};
};

TEST_F(HttpLogin, UsersWithTheirPasswordsAreLetIn) {
  const RunningServer server(settings(file));
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(ask(server, basic("alice:s3cret:pass")), StartsWith(kOk));
    EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kOk));
  }
  std::string lower = basic("bob:hunter2");
  lower.replace(lower.find("Basic"), 5, "basic");
  EXPECT_THAT(ask(server, lower), StartsWith(kOk));
}

TEST_F(HttpLogin, EverybodyElseIsAskedForOne) {
  auto patient = settings(file);
  patient.limits.loginFailures = 1000;
  const RunningServer server(patient);
  const std::string answer = ask(server, "");
  EXPECT_THAT(answer, StartsWith(kUnknown));
  EXPECT_THAT(answer, HasSubstr("WWW-Authenticate: Basic realm=\"CIM\""));
  for (const char* pair : {"alice:wrong", "alice:", "alice:s3cret", "alice:s3cret:pass ",
                           "Alice:s3cret:pass", "carol:s3cret:pass", ":", ":hunter2", "bob"}) {
    EXPECT_THAT(ask(server, basic(pair)), StartsWith(kUnknown)) << pair;
  }
  EXPECT_THAT(ask(server, basic(std::string("bob:hunter2\0", 12))), StartsWith(kUnknown));
  for (const char* header :
       {"Authorization: Basic\r\n", "Authorization: Basic Ym9iOmh1bnRlcjI\r\n",
        "Authorization: Basic !!!!\r\n", "Authorization: Bearer Ym9iOmh1bnRlcjI=\r\n"}) {
    EXPECT_THAT(ask(server, header), StartsWith(kUnknown)) << header;
  }
  EXPECT_THAT(ask(server, basic("bob:hunter2") + basic("bob:hunter2")), StartsWith(kUnknown));
}

TEST_F(HttpLogin, WhatIsAskedOfTheHostIsNotAskedBefore) {
  RunningServer server(settings(file));
  server.host.close();
  EXPECT_THAT(ask(server, ""), StartsWith(kUnknown));
  EXPECT_THAT(ask(server, basic("bob:wrong")), StartsWith(kUnknown));
}

TEST_F(HttpLogin, AWrongPasswordIsAnsweredLate) {
  auto slow = settings(file);
  slow.limits.loginDelay = milliseconds(700);
  slow.limits.requests = 1;
  const RunningServer server(slow);
  const auto start = steady_clock::now();
  RawClient guessing(server.port());
  ASSERT_TRUE(guessing.send(wireText(getThing("a"), basic("bob:wrong") + "Connection: close\r\n")));
  // The only worker is not held up by that.
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kOk));
  EXPECT_THAT(guessing.receiveAll(), StartsWith(kUnknown));
  EXPECT_GE(steady_clock::now() - start, milliseconds(650));
}

TEST_F(HttpLogin, AfterSomeWrongPasswordsAnAddressHasToWait) {
  const RunningServer server(settings(file));
  EXPECT_THAT(ask(server, basic("alice:s3cret:pass")), StartsWith(kOk));
  for (int i = 0; i < 4; ++i) EXPECT_THAT(ask(server, basic("bob:wrong")), StartsWith(kUnknown));
  EXPECT_THAT(ask(server, basic("bob:wrong")), StartsWith(kTooMany));
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kTooMany));
  // Others are not concerned, and nor is who was let in before.
  EXPECT_THAT(ask(server, basic("bob:hunter2"), "127.0.0.2"), StartsWith(kOk));
  EXPECT_THAT(ask(server, basic("alice:s3cret:pass")), StartsWith(kOk));
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kOk));
}

TEST_F(HttpLogin, ThePauseEnds) {
  auto brief = settings(file);
  brief.limits.loginPause = seconds(1);
  brief.limits.loginFailures = 1;
  const RunningServer server(brief);
  EXPECT_THAT(ask(server, basic("bob:wrong")), StartsWith(kUnknown));
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kTooMany));
  std::this_thread::sleep_for(milliseconds(1100));
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kOk));
}

TEST_F(HttpLogin, ManyGuessesAtOnceGetNoFurther) {
  auto many = settings(file);
  many.limits.requests = 2;
  const RunningServer server(many);
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 30; ++i) {
    clients.push_back(std::make_unique<RawClient>(server.port()));
    ASSERT_TRUE(clients.back()->send(
        wireText(getThing("a"), basic("bob:wrong") + "Connection: close\r\n")));
  }
  for (const auto& client : clients) EXPECT_THAT(client->receiveAll(), Not(StartsWith(kOk)));
  EXPECT_THAT(ask(server, basic("bob:hunter2")), StartsWith(kTooMany));
}

std::string failureOf(const std::string& content) {
  const TemporaryFile file(content);
  cimom::HttpSettings settings;
  settings.passwordFile = file.path().string();
  try {
    const RunningServer server(settings);
  } catch (const std::runtime_error& error) {
    std::string text = error.what();
    const std::size_t name = text.find(settings.passwordFile);
    if (name != std::string::npos) text.replace(name, settings.passwordFile.size(), "FILE");
    return text;
  }
  return "";
}

TEST(PasswordFile, SaysWhatIsWrongWithItAndWhere) {
  const std::string good = passwordLine("alice", "x");
  EXPECT_EQ(failureOf(good), "");
  EXPECT_EQ(failureOf(""), "FILE names no user");
  EXPECT_EQ(failureOf("# nobody\n"), "FILE names no user");
  EXPECT_EQ(failureOf(good + "\nalice\n"), "FILE, line 3: this is not user:hash");
  EXPECT_EQ(failureOf(":x\n"), "FILE, line 1: this is not user:hash");
  EXPECT_EQ(failureOf(good + passwordLine("alice", "y")),
            "FILE, line 2: user alice is named before");
  EXPECT_THAT(failureOf(good + "bob:hunter2\n"), StartsWith("FILE, line 2: the hash is "));
  EXPECT_THAT(failureOf("bob:$apr1$abcdefgh$0123456789abcdefghijk.\n"),
              HasSubstr("line 1: the hash is of a kind that is not known here"));
  EXPECT_THAT(failureOf("bob:$1$abcdefgh$PcvZ5S/nhGXOPUH0gRlHI0\n"),
              HasSubstr("line 1: the hash is of a kind that is too easy to guess"));
  EXPECT_THAT(failureOf(good.substr(0, good.size() - 6) + "\n"),
              StartsWith("FILE, line 1: the hash is "));
  cimom::HttpSettings missing;
  missing.passwordFile = "/no/such/file";
  try {
    const RunningServer server(missing);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "cannot read /no/such/file: No such file or directory");
  }
}

/// The kinds that mkpasswd makes, from other programs.
TEST(PasswordFile, KnowsTheKindsOfHashesThatAreInUse) {
  const TemporaryFile file{
      "sha512:$6$saltstring$svn8UoSVapNtMuq1ukKS4tPQd8iKwSMHWjl/O817G3uBnI"
      "FNjnQJuesI68u4OTLiBFdcbYEdFCoEOfaS35inz1\n"
      "sha256:$5$saltstring$5B8vYYiY.CVt1RlTTf8KbXBH3hsxY/GNooZaBBGWEc5\n"};
  cimom::HttpSettings settings;
  settings.passwordFile = file.path().string();
  const RunningServer server(settings);
  for (const char* user : {"sha512", "sha256"}) {
    RawClient raw(server.port());
    ASSERT_TRUE(raw.send(wireText(
        getThing("a"), basic(std::string(user) + ":Hello world!") + "Connection: close\r\n")));
    EXPECT_THAT(raw.receiveAll(), StartsWith(kOk)) << user;
  }
}

}  // namespace
}  // namespace servetest
