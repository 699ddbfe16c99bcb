#include <set>

#include "service_fixture.h"

namespace servetest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kInvalidParameter = 4;

/// What one request may make the server allocate.
class RequestBounds : public ServiceTest {
 protected:
  RequestBounds() { host.instances = {{thing("a"), {{"Id", cimom::Value::text("a")}}}}; }

  static CimRequest listing(const std::vector<std::string>& properties) {
    return CimRequest("EnumerateInstances")
        .className("ClassName", "Test_Thing")
        .names("PropertyList", properties);
  }
  static std::vector<std::string> differentNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) names.push_back("P" + std::to_string(i));
    return names;
  }
};

TEST_F(RequestBounds, AnyNumberOfTheSameNameIsOneName) {
  std::vector<std::string> names(60000, "Id");
  names.insert(names.end(), 3000, "iD");
  names.emplace_back("Note");
  EXPECT_EQ(ask(listing(names)).errorCode(), 0);
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstances root/cimv2:Test_Thing [Id,Note]"));
}

TEST_F(RequestBounds, ListsBeyondAnyClassAreRefused) {
  EXPECT_EQ(ask(listing(differentNames(256))).errorCode(), 0);
  host.seen.clear();
  for (const auto& names : {differentNames(257), differentNames(60000),
                            std::vector<std::string>{std::string(16385, 'x')}}) {
    const CimResponse answer = ask(listing(names));
    EXPECT_EQ(answer.errorCode(), kInvalidParameter);
    EXPECT_THAT(answer.errorText(), HasSubstr("PropertyList"));
  }
  EXPECT_THAT(host.seen, IsEmpty());
}

TEST_F(RequestBounds, AnAnswerBeyondTheBoundIsAnErrorAndCanBePulled) {
  constexpr int kLimitsExceeded = 27;
  const cimom::CimXmlService small{
      repository, host, {.hostName = "made.example", .responseBytes = 10000}};
  const auto answer = [&](const CimRequest& request) {
    return CimResponse(small.answer(request.headers(), request.body()).text);
  };
  const CimRequest all = CimRequest("EnumerateInstances").className("ClassName", "Test_Thing");
  EXPECT_EQ(answer(all).errorCode(), 0);
  host.instances.assign(1000, host.instances.front());
  const CimResponse refused = answer(all);
  EXPECT_EQ(refused.errorCode(), kLimitsExceeded);
  EXPECT_THAT(refused.select("//IRETURNVALUE"), IsEmpty());
  EXPECT_EQ(answer(CimRequest("OpenEnumerateInstances")
                       .className("ClassName", "Test_Thing")
                       .text("MaxObjectCount", "10"))
                .errorCode(),
            0);
}

}  // namespace
}  // namespace servetest
