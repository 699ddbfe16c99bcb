// Pulled enumerations as messages: the operations behind the service are scripted, and every answer
// is taken in parts by a client that knows nothing but the messages.
#include <model/cim_error.h>

#include "service_fixture.h"

namespace servetest {
namespace {

using cimom::Instance;
using cimom::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kInvalidNamespace = 3;
constexpr int kInvalidParameter = 4;
constexpr int kInvalidClass = 5;
constexpr int kNotSupported = 7;
constexpr int kQueryLanguage = 14;
constexpr int kInvalidContext = 21;
constexpr int kInvalidTimeout = 22;
constexpr int kFiltered = 25;
constexpr int kContinuation = 26;

constexpr char kContext[] = "//IMETHODRESPONSE/PARAMVALUE[@NAME='EnumerationContext']/VALUE";
constexpr char kKeys[] = "//IRETURNVALUE//KEYVALUE";

class PullRequests : public ServiceTest {
 protected:
  PullRequests() {
    for (const char* id : {"a", "b", "c", "d", "e"}) {
      Instance instance{thing(id), {{"Id", Value::text(id)}, {"Note", Value::text("new")}}};
      host.instances.push_back(instance);
      host.paths.push_back(instance.path);
    }
  }

  static CimRequest enumerate(const std::string& what = "Instances") {
    return CimRequest("OpenEnumerate" + what).className("ClassName", "Test_Thing");
  }
  static CimRequest linked(const std::string& operation) {
    return CimRequest(operation).xml("InstanceName", instanceName("Test_Thing", {{"Id", "z"}}));
  }
  static CimRequest pull(const std::string& operation, const std::string& context,
                         const std::string& most = "2") {
    return CimRequest(operation).text("EnumerationContext", context).text("MaxObjectCount", most);
  }
  static CimRequest close(const std::string& context) {
    return CimRequest("CloseEnumeration").text("EnumerationContext", context);
  }
  static std::string contextOf(const CimResponse& answer) {
    const std::vector<std::string> values = answer.select(kContext);
    return values.empty() ? "" : values.front();
  }
  static bool isLast(const CimResponse& answer) {
    const std::vector<std::string> values =
        answer.select("//IMETHODRESPONSE/PARAMVALUE[@NAME='EndOfSequence']/VALUE");
    EXPECT_THAT(values, SizeIs(1)) << answer.text();
    return values == std::vector<std::string>{"TRUE"};
  }

  /// All parts of an answer, opened without an object.
  std::vector<CimResponse> parts(const CimRequest& request, const std::string& operation) {
    std::vector<CimResponse> answers;
    answers.push_back(ask(request));
    while (answers.back().errorCode() == 0 && !isLast(answers.back())) {
      answers.push_back(ask(pull(operation, contextOf(answers.back()))));
    }
    return answers;
  }
  std::string opened() { return contextOf(ask(enumerate())); }
};

TEST_F(PullRequests, InstancesOfAClassComeInParts) {
  const std::vector<CimResponse> answers = parts(enumerate(), "PullInstancesWithPath");
  ASSERT_THAT(answers, SizeIs(4));
  EXPECT_THAT(answers[0].select(kKeys), IsEmpty());
  EXPECT_THAT(answers[1].select(kKeys), ElementsAre("a", "b"));
  EXPECT_THAT(answers[3].select(kKeys), ElementsAre("e"));
  EXPECT_THAT(answers[1].select("//IRETURNVALUE/VALUE.INSTANCEWITHPATH/INSTANCEPATH/"
                                "NAMESPACEPATH[HOST='made.example']/LOCALNAMESPACEPATH/"
                                "NAMESPACE/@NAME"),
              ElementsAre("root", "cimv2", "root", "cimv2"));
  EXPECT_THAT(answers[1].select("//VALUE.INSTANCEWITHPATH/INSTANCE/PROPERTY/@NAME"),
              ElementsAre("Id", "Note", "Id", "Note"));
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstances root/cimv2:Test_Thing all"));
}

TEST_F(PullRequests, OutputsFollowTheReturnValue) {
  const CimResponse answer = ask(enumerate());
  EXPECT_THAT(
      answer.select("//IMETHODRESPONSE/IRETURNVALUE[1]/following-sibling::PARAMVALUE/@NAME"),
      ElementsAre("EndOfSequence", "EnumerationContext"));
  EXPECT_THAT(answer.select("//PARAMVALUE/@PARAMTYPE"), ElementsAre("boolean", "string"));
  EXPECT_THAT(answer.select("//IMETHODRESPONSE/*"), SizeIs(3));
}

TEST_F(PullRequests, AnAnswerThatFitsEndsAtOnce) {
  const CimResponse answer = ask(enumerate().text("MaxObjectCount", "5"));
  EXPECT_TRUE(isLast(answer));
  EXPECT_EQ(contextOf(answer), "");
  EXPECT_THAT(answer.select(kKeys), ElementsAre("a", "b", "c", "d", "e"));
}

TEST_F(PullRequests, PathsComeInParts) {
  const std::vector<CimResponse> answers = parts(enumerate("InstancePaths"), "PullInstancePaths");
  ASSERT_THAT(answers, SizeIs(4));
  EXPECT_THAT(answers[2].select("//IRETURNVALUE/INSTANCEPATH/INSTANCENAME//KEYVALUE"),
              ElementsAre("c", "d"));
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstanceNames root/cimv2:Test_Thing"));
}

TEST_F(PullRequests, AssociationsComeInParts) {
  struct Question {
    const char* open;
    const char* pull;
    const char* seen;
  };
  for (const auto& [open, pulled, seen] :
       {Question{"OpenAssociatorInstances", "PullInstancesWithPath",
                 "associators root/cimv2:Test_Thing.Id=\"z\" //Left/ all"},
        Question{"OpenAssociatorInstancePaths", "PullInstancePaths",
                 "associatorNames root/cimv2:Test_Thing.Id=\"z\" //Left/"},
        Question{"OpenReferenceInstances", "PullInstancesWithPath",
                 "references root/cimv2:Test_Thing.Id=\"z\" //Left/ all"},
        Question{"OpenReferenceInstancePaths", "PullInstancePaths",
                 "referenceNames root/cimv2:Test_Thing.Id=\"z\" //Left/"}}) {
    SCOPED_TRACE(open);
    host.seen.clear();
    const auto answers = parts(linked(open).text("Role", "Left"), pulled);
    ASSERT_THAT(answers, SizeIs(4));
    EXPECT_THAT(answers[1].select(kKeys), ElementsAre("a", "b"));
    EXPECT_THAT(host.seen, ElementsAre(seen));
  }
}

TEST_F(PullRequests, WhatIsAskedForOfInstancesIsFollowed) {
  host.instances.front().path.className = "Test_Special";
  host.instances.front().properties.push_back({"Flag", Value::boolean(true)});
  const CimRequest request = enumerate().text("MaxObjectCount", "1");
  const auto names = [&](const CimRequest& asked) {
    return ask(asked).select("//INSTANCE/*/@NAME");
  };
  EXPECT_THAT(names(request), ElementsAre("Id", "Note", "Flag"));
  EXPECT_THAT(names(CimRequest(request).flag("DeepInheritance", false)), ElementsAre("Id", "Note"));
  EXPECT_THAT(names(CimRequest(request).names("PropertyList", {"Flag"})), ElementsAre("Flag"));
  EXPECT_THAT(ask(CimRequest(request).flag("IncludeClassOrigin", true))
                  .select("//PROPERTY[@NAME='Note']/@CLASSORIGIN"),
              ElementsAre("Test_Thing"));
}

struct Refused {
  const char* parameter;
  const char* xml;
  int code;
};

class RefusedOpen : public PullRequests, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedOpen, AsksNobody) {
  const auto& [parameter, xml, code] = GetParam();
  for (const CimRequest& request :
       {enumerate(), enumerate("InstancePaths"), linked("OpenAssociatorInstances")}) {
    EXPECT_EQ(ask(CimRequest(request).xml(parameter, xml)).errorCode(), code) << parameter;
  }
  EXPECT_THAT(host.seen, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, RefusedOpen,
    testing::Values(Refused{"ContinueOnError", "<VALUE>TRUE</VALUE>", kContinuation},
                    Refused{"FilterQuery", "<VALUE>Id = 'a'</VALUE>", kInvalidParameter},
                    Refused{"FilterQueryLanguage", "<VALUE>WQL</VALUE>", kQueryLanguage},
                    Refused{"FilterQueryLanguage", "<VALUE>DMTF:FQL</VALUE>", kFiltered},
                    Refused{"OperationTimeout", "<VALUE>0</VALUE>", kInvalidTimeout},
                    Refused{"OperationTimeout", "<VALUE>601</VALUE>", kInvalidTimeout},
                    Refused{"OperationTimeout", "<VALUE>-1</VALUE>", kInvalidParameter},
                    Refused{"OperationTimeout", "<VALUE>soon</VALUE>", kInvalidParameter},
                    Refused{"MaxObjectCount", "<VALUE>4294967296</VALUE>", kInvalidParameter},
                    Refused{"MaxObjectCount", "<VALUE.ARRAY></VALUE.ARRAY>", kInvalidParameter},
                    Refused{"LocalOnly", "<VALUE>TRUE</VALUE>", kInvalidParameter}));

TEST_F(PullRequests, ParametersWithoutAValueAreNotGiven) {
  CimRequest request = enumerate();
  for (const char* name : {"ContinueOnError", "FilterQuery", "FilterQueryLanguage",
                           "OperationTimeout", "MaxObjectCount", "PropertyList"}) {
    request.xml(name, "");
  }
  EXPECT_EQ(ask(request).errorCode(), 0);
  EXPECT_EQ(ask(enumerate().flag("ContinueOnError", false)).errorCode(), 0);
}

TEST_F(PullRequests, WrongClassesAndNamesAreRefused) {
  EXPECT_EQ(
      ask(CimRequest("OpenEnumerateInstances").className("ClassName", "Test_None")).errorCode(),
      kInvalidClass);
  EXPECT_EQ(ask(CimRequest("OpenEnumerateInstancePaths")).errorCode(), kInvalidParameter);
  EXPECT_EQ(ask(enumerate().nameSpace("root/other")).errorCode(), kInvalidNamespace);
  EXPECT_EQ(ask(CimRequest("OpenAssociatorInstances")).errorCode(), kInvalidParameter);
  EXPECT_EQ(
      ask(CimRequest("OpenReferenceInstances").xml("InstanceName", instanceName("Test_None", {})))
          .errorCode(),
      kInvalidParameter);
  EXPECT_EQ(ask(linked("OpenReferenceInstances").className("ResultClass", "Test_None")).errorCode(),
            kInvalidParameter);
}

TEST_F(PullRequests, ErrorsOfProvidersEndTheOpen) {
  host.failure = std::make_exception_ptr(cimom::CimError(CMPI_RC_ERR_ACCESS_DENIED, "not for you"));
  const CimResponse answer = ask(enumerate());
  EXPECT_EQ(answer.errorCode(), 2);
  EXPECT_EQ(answer.errorText(), "not for you");
  EXPECT_THAT(answer.select("//IRETURNVALUE | //PARAMVALUE"), IsEmpty());
}

TEST_F(PullRequests, APullMustFitItsEnumeration) {
  const std::string context = opened();
  EXPECT_EQ(ask(pull("PullInstancePaths", context)).errorCode(), kInvalidContext);
  EXPECT_EQ(ask(pull("PullInstances", context)).errorCode(), kInvalidContext);
  EXPECT_EQ(ask(pull("PullInstancesWithPath", "none")).errorCode(), kInvalidContext);
  EXPECT_EQ(ask(pull("PullInstancesWithPath", context).nameSpace("other")).errorCode(),
            kInvalidNamespace);
  EXPECT_EQ(
      ask(CimRequest("PullInstancesWithPath").text("EnumerationContext", context)).errorCode(),
      kInvalidParameter);
  EXPECT_EQ(ask(CimRequest("PullInstancesWithPath").text("MaxObjectCount", "1")).errorCode(),
            kInvalidParameter);
  EXPECT_EQ(ask(pull("PullInstancesWithPath", context, "many")).errorCode(), kInvalidParameter);
  // It is still there, whole.
  EXPECT_THAT(ask(pull("PullInstancesWithPath", context)).select(kKeys), ElementsAre("a", "b"));
  const CimResponse nothing = ask(pull("PullInstancesWithPath", context, "0"));
  EXPECT_THAT(nothing.select(kKeys), IsEmpty());
  EXPECT_FALSE(isLast(nothing));
  EXPECT_TRUE(isLast(ask(pull("PullInstancesWithPath", context, "3"))));
  EXPECT_EQ(ask(pull("PullInstancesWithPath", context)).errorCode(), kInvalidContext);
}

TEST_F(PullRequests, ClosingReturnsNothingAndEndsIt) {
  const std::string context = opened();
  const CimResponse answer = ask(close(context));
  EXPECT_EQ(answer.errorCode(), 0);
  EXPECT_THAT(answer.select("//IMETHODRESPONSE/*"), IsEmpty());
  EXPECT_EQ(ask(pull("PullInstancesWithPath", context)).errorCode(), kInvalidContext);
  EXPECT_EQ(ask(close(context)).errorCode(), kInvalidContext);
  EXPECT_EQ(ask(CimRequest("CloseEnumeration")).errorCode(), kInvalidParameter);
}

TEST_F(PullRequests, ABoundedNumberIsOpen) {
  constexpr int kLimitsExceeded = 27;
  std::vector<std::string> contexts;
  for (int i = 0; i < 32; ++i) contexts.push_back(opened());
  const CimResponse refused = ask(enumerate());
  EXPECT_EQ(refused.errorCode(), kLimitsExceeded);
  EXPECT_THAT(refused.errorText(), HasSubstr("too many"));
  for (const std::string& context : contexts) EXPECT_EQ(ask(close(context)).errorCode(), 0);
  while (ask(enumerate()).errorCode() == kLimitsExceeded) {
  }
}

TEST_F(PullRequests, AServerThatStopsSaysSo) {
  constexpr int kShuttingDown = 28;
  const std::string context = opened();
  service.shutDown();
  EXPECT_EQ(ask(pull("PullInstancesWithPath", context)).errorCode(), kShuttingDown);
  EXPECT_EQ(ask(enumerate()).errorCode(), kShuttingDown);
  EXPECT_EQ(ask(close(context)).errorCode(), kShuttingDown);
  EXPECT_EQ(ask(CimRequest("EnumerateClassNames")).errorCode(), 0);
}

TEST_F(PullRequests, QueriesAndCountsAreNotSupported) {
  EXPECT_EQ(ask(CimRequest("EnumerationCount").text("EnumerationContext", opened())).errorCode(),
            kNotSupported);
  EXPECT_EQ(ask(CimRequest("OpenQueryInstances")).errorCode(), kNotSupported);
}

}  // namespace
}  // namespace servetest
