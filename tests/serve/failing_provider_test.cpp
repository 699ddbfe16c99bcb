#include <cmpi/cmpi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "cim_request.h"
#include "http_client.h"
#include "served_process.h"

namespace servetest {
namespace {

using testing::HasSubstr;

const clitest::Arguments kFailing{"--provider", FAILING_PROVIDER, "--schema", FAILING_SCHEMA};

clitest::Outcome run(clitest::Arguments arguments) {
  arguments.insert(arguments.begin(), kFailing.begin(), kFailing.end());
  return clitest::runPcicim(arguments);
}

TEST(FailingProvider, TheCommandSaysWhichProviderFailedAndHow) {
  const struct {
    clitest::Arguments arguments;
    const char* reason;
  } cases[] = {
      {{"enum", "Failing_Thing", "--names"}, "the provider of Failing_Thing failed\n"},
      {{"enum", "Failing_Thing"}, "the provider of Failing_Thing failed: out of order\n"},
      {{"get", "Failing_Thing.Name=\"x\""},
       "CIM_ERR_ACCESS_DENIED: the provider of Failing_Thing returned code 2 "
       "(CIM_ERR_ACCESS_DENIED) without a text\n"},
      {{"enum", "Failing_Maker"}, "factory Failing_Maker_Create_InstanceMI failed\n"},
  };
  for (const auto& [arguments, reason] : cases) {
    const clitest::Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1) << reason;
    EXPECT_THAT(outcome.err, HasSubstr(reason));
  }
}

TEST(FailingProvider, TheServerAnswersWithItsErrorsAndEndsCleanly) {
  ServedProcess server(kFailing);
  HttpClient client(server.port());
  for (const char* method : {"EnumerateInstanceNames", "EnumerateInstances"}) {
    const CimRequest request = CimRequest(method).className("ClassName", "Failing_Thing");
    const auto answer = client.post(request);
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->status, 200U) << answer->body;
    EXPECT_EQ(CimResponse(answer->body).errorCode(), CMPI_RC_ERR_FAILED);
    EXPECT_THAT(answer->body, HasSubstr("the provider of Failing_Thing failed"));
  }
  server.signal(SIGTERM);
  EXPECT_EQ(server.waitForEnd(), 0);
}

}  // namespace
}  // namespace servetest
