// The client over TLS, asking the project's own server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "client_fixture.h"
#include "run_pcicim.h"
#include "running_server.h"
#include "tls_files.h"

namespace clienttest {
namespace {

using cimom::CimXmlClient;
using servetest::RunningServer;
using testing::HasSubstr;
using testing::StartsWith;

class ClientTls : public testing::Test {
 protected:
  cimom::HttpSettings encrypted() const {
    cimom::HttpSettings settings;
    settings.tlsCertificate = files.certificate();
    settings.tlsKey = files.key();
    return settings;
  }

  /// The note of a thing, or why it cannot be had.
  static std::string ask(const cimom::ClientSettings& settings) {
    try {
      CimXmlClient client(settings);
      for (int i = 0; i < 3; ++i) client.getInstance(thing("a"), std::nullopt);
      return "answered";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  cimom::ClientSettings trusting(const std::string& url) const {
    cimom::ClientSettings settings = settingsFor(url);
    settings.caFile = files.certificate();
    return settings;
  }

  const servetest::TlsFiles files;
};

std::string at(const std::string& scheme, const std::string& host, const RunningServer& server) {
  return scheme + "://" + host + ":" + std::to_string(server.port());
}

TEST_F(ClientTls, AsksAServerWhoseCertificateIsTrusted) {
  const RunningServer server(encrypted());
  EXPECT_EQ(ask(trusting(at("https", "localhost", server))), "answered");
  EXPECT_EQ(ask(trusting(at("https", "127.0.0.1", server))), "answered");
}

TEST_F(ClientTls, AsksNoServerWithACertificateThatIsNotTrusted) {
  const RunningServer server(encrypted());
  cimom::ClientSettings settings = settingsFor(at("https", "localhost", server));
  EXPECT_THAT(ask(settings), HasSubstr("its certificate is not accepted: self-signed certificate"));
  settings.isInsecure = true;
  EXPECT_EQ(ask(settings), "answered");
}

TEST_F(ClientTls, AsksNoServerThatHasTheCertificateOfAnother) {
  const RunningServer server(encrypted());
  // The same address in another form, which is not in the certificate.
  const cimom::ClientSettings settings = trusting(at("https", "[::ffff:127.0.0.1]", server));
  EXPECT_THAT(ask(settings), HasSubstr("its certificate is not accepted: IP address mismatch"));
}

TEST_F(ClientTls, NamesTheFileOfCertificatesThatCannotBeUsed) {
  cimom::ClientSettings settings = settingsFor("https://localhost");
  settings.caFile = "/nowhere/ca.pem";
  EXPECT_EQ(ask(settings), "cannot read /nowhere/ca.pem: No such file or directory");
  const clitest::TemporaryFile text("no certificate\n");
  settings.caFile = text.path().string();
  EXPECT_THAT(ask(settings), StartsWith("no certificate in " + settings.caFile));
}

TEST_F(ClientTls, TellsOneSchemeFromTheOther) {
  const RunningServer open;
  EXPECT_THAT(ask(trusting(at("https", "localhost", open))),
              HasSubstr("it does not speak TLS at this port; http:// asks without"));
  const RunningServer closed(encrypted());
  EXPECT_THAT(ask(settingsFor(at("http", "localhost", closed))),
              HasSubstr("HTTP status 400 Bad Request: This port speaks HTTPS."));
}

TEST_F(ClientTls, TellsAServerThatEndsTheHandshake) {
  const ScriptedServer server([](const Conversation&, const ScriptedRequest&) { return false; });
  cimom::ClientLimits limits;
  limits.connectTime = std::chrono::milliseconds(300);
  cimom::ClientSettings settings = settingsFor("https://" + server.name(), limits);
  EXPECT_EQ(ask(settings), server.name() + ": no TLS handshake within 1 s");
}

}  // namespace
}  // namespace clienttest
