// What the client asks, in parts and at once, and what it makes of the answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "client_fixture.h"

namespace clienttest {
namespace {

using cimom::CimXmlClient;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

/// Two parts with two things, one part without any, and a third with one.
bool answerInParts(const Conversation& client, const ScriptedRequest& request) {
  const std::string context = request.parameter("EnumerationContext");
  std::string answer = partFor(request, nameOf("a") + nameOf("b"), "second");
  if (context == "second") answer = partFor(request, "", "third");
  if (context == "third") answer = partFor(request, nameOf("c"), "");
  if (request.operation() == "CloseEnumeration") answer = responseTo(request, "");
  return client.send(httpAnswer(answer));
}

TEST(Client, PullsAnAnswerInParts) {
  const ScriptedServer server(answerInParts);
  CimXmlClient client(settingsFor(server.url()));
  EXPECT_THAT(idsOf(client), ElementsAre("a", "b", "c"));
  EXPECT_THAT(server.operations(),
              ElementsAre("OpenEnumerateInstancePaths", "PullInstancePaths", "PullInstancePaths"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(Client, ClosesWhatItsReaderDoesNotWantToItsEnd) {
  const ScriptedServer server(answerInParts);
  CimXmlClient client(settingsFor(server.url()));
  int taken = 0;
  const auto stop = [&](cimom::ObjectPath&&) {
    ++taken;
    throw std::domain_error("enough");
  };
  EXPECT_THROW(client.enumerateInstanceNames(thing(), stop), std::domain_error);
  EXPECT_EQ(taken, 1);
  ASSERT_THAT(server.operations(), ElementsAre("OpenEnumerateInstancePaths", "CloseEnumeration"));
  EXPECT_EQ(server.requests().back().parameter("EnumerationContext"), "second");
}

TEST(Client, HandsOnWhatTheSinkThrowsFromAPlainAnswer) {
  const ScriptedServer server(plainly(nameOf("a") + nameOf("b")));
  CimXmlClient client(settingsFor(server.url()));
  const auto stop = [](cimom::ObjectPath&&) { throw std::domain_error("enough"); };
  EXPECT_THROW(client.enumerateInstanceNames(thing(), stop), std::domain_error);
  EXPECT_THAT(idsOf(client), ElementsAre("a", "b"));
}

TEST(Client, AsksForAllAtOnceWhereTheServerKnowsNoParts) {
  const ScriptedServer server(plainly(nameOf("a") + nameOf("b")));
  CimXmlClient client(settingsFor(server.url()));
  EXPECT_THAT(idsOf(client), ElementsAre("a", "b"));
  EXPECT_THAT(idsOf(client), ElementsAre("a", "b"));
  EXPECT_THAT(server.operations(), ElementsAre("OpenEnumerateInstancePaths",
                                               "EnumerateInstanceNames", "EnumerateInstanceNames"));
}

TEST(Client, AsksForAllAtOnceWhereHttpRefusesTheOperation) {
  const ScriptedServer server([](const Conversation& client, const ScriptedRequest& request) {
    const bool opens = request.operation().starts_with("Open");
    return client.send(
        opens ? httpAnswer("", "CIMError: unsupported-operation\r\n", "501 Not Implemented")
              : httpAnswer(resultFor(request, nameOf("a"))));
  });
  CimXmlClient client(settingsFor(server.url()));
  EXPECT_THAT(idsOf(client), ElementsAre("a"));
}

TEST(Client, AsksForAllAtOnceWhileTheServerHasTooManyPartsOpen) {
  constexpr int kLimitsExceeded = 27;
  const ScriptedServer server([](const Conversation& client, const ScriptedRequest& request) {
    const bool opens = request.operation().starts_with("Open");
    return client.send(httpAnswer(opens ? errorFor(request, kLimitsExceeded, "too many")
                                        : resultFor(request, nameOf("a"))));
  });
  CimXmlClient client(settingsFor(server.url()));
  EXPECT_THAT(idsOf(client), ElementsAre("a"));
  EXPECT_THAT(idsOf(client), ElementsAre("a"));
  EXPECT_THAT(server.operations(), SizeIs(4)) << "it may have room the next time";
}

TEST(Client, DoesNotAskAgainAfterAnotherError) {
  const ScriptedServer server([](const Conversation& client, const ScriptedRequest& request) {
    return client.send(httpAnswer(errorFor(request, 5, "no class Test_Thing")));
  });
  CimXmlClient client(settingsFor(server.url()));
  EXPECT_EQ(failureOf(client), server.name() + ": CIM_ERR_INVALID_CLASS: no class Test_Thing");
  EXPECT_THAT(server.operations(), SizeIs(1));
}

TEST(Client, RefusesPartsThatLie) {
  const auto failure = [](const std::string& outputs) {
    const ScriptedServer server([&](const Conversation& client, const ScriptedRequest& request) {
      return client.send(httpAnswer(responseTo(request, "<IRETURNVALUE/>" + outputs)));
    });
    return failureAt(server.url());
  };
  EXPECT_THAT(failure(""), HasSubstr("does not say whether it is the last"));
  EXPECT_THAT(failure("<PARAMVALUE NAME=\"EndOfSequence\"><VALUE>FALSE</VALUE></PARAMVALUE>"),
              HasSubstr("does not name the next"));
  EXPECT_THAT(failure("<PARAMVALUE NAME=\"EndOfSequence\"><VALUE>FALSE</VALUE></PARAMVALUE>"
                      "<PARAMVALUE NAME=\"EnumerationContext\"><VALUE>c</VALUE></PARAMVALUE>"),
              HasSubstr("in parts without an object"));
}

TEST(Client, BoundsAllPartsTogether) {
  const ScriptedServer server([](const Conversation& client, const ScriptedRequest& request) {
    return client.send(httpAnswer(partFor(request, nameOf("a"), "more")));
  });
  cimom::ClientLimits limits;
  limits.answerObjects = 5;
  EXPECT_THAT(failureAt(server.url(), limits), HasSubstr("too many objects"));
  EXPECT_THAT(server.operations(), SizeIs(6));
  limits = {};
  limits.answerBytes = 2000;
  EXPECT_THAT(failureAt(server.url(), limits), HasSubstr("the answer is too large"));
}

TEST(Client, SendsEachOperationAsTheStandardHasIt) {
  const ScriptedServer server(plainly(""));
  CimXmlClient client(settingsFor(server.url()));
  const cimom::AssociationFilter filter{"Test_Link", "Test_Other", "Role1", "Role2"};
  const cimom::PropertyList some = std::vector<std::string>{"Id", "Note"};
  client.enumerateInstances(thing(), some, [](auto&&) {});
  client.associators(thing("a"), filter, some, [](auto&&) {});
  client.associatorNames(thing("a"), filter, [](auto&&) {});
  client.references(thing("a"), filter, some, [](auto&&) {});
  client.referenceNames(thing("a"), filter, [](auto&&) {});
  const std::vector<ScriptedRequest> requests = server.requests();
  EXPECT_THAT(server.operations(),
              ElementsAre("OpenEnumerateInstances", "EnumerateInstances", "Associators",
                          "AssociatorNames", "References", "ReferenceNames"));
  EXPECT_EQ(requests[0].parameter("DeepInheritance"), "TRUE");
  EXPECT_EQ(requests[0].parameter("LocalOnly"), "");
  EXPECT_EQ(requests[1].parameter("LocalOnly"), "FALSE");
  EXPECT_EQ(requests[1].parameter("PropertyList"),
            "<VALUE.ARRAY><VALUE>Id</VALUE><VALUE>Note</VALUE></VALUE.ARRAY>");
  EXPECT_THAT(requests[2].parameter("ObjectName"),
              HasSubstr("<INSTANCENAME CLASSNAME=\"Test_Thing\""));
  EXPECT_EQ(requests[2].parameter("AssocClass"), "<CLASSNAME NAME=\"Test_Link\"/>");
  EXPECT_EQ(requests[3].parameter("ResultRole"), "Role2");
  EXPECT_EQ(requests[5].parameter("ResultClass"), "<CLASSNAME NAME=\"Test_Other\"/>");
  for (const ScriptedRequest& request : requests) {
    EXPECT_EQ(request.header("CIMMethod"), request.operation());
    EXPECT_EQ(request.header("CIMObject"), "root/cimv2");
    EXPECT_EQ(request.header("Host"), server.name());
  }
}

TEST(Client, AsksInTheNamespaceOfThePath) {
  const ScriptedServer server(plainly(""));
  CimXmlClient client(settingsFor(server.url()));
  cimom::ObjectPath path = thing();
  path.nameSpace = "root/a b";
  client.enumerateInstanceNames(path, [](auto&&) {});
  EXPECT_EQ(server.requests().front().header("CIMObject"), "root/a%20b");
  EXPECT_THAT(server.requests().front().body, HasSubstr("<NAMESPACE NAME=\"a b\"/>"));
}

std::string instance(const std::string& properties) {
  return "<INSTANCE CLASSNAME=\"Test_Thing\">" + properties + "</INSTANCE>";
}

std::string text(const std::string& name, const std::string& value) {
  return "<PROPERTY NAME=\"" + name + "\" TYPE=\"string\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

TEST(Client, KeepsOfAnInstanceWhatWasAskedForAndTheKeys) {
  const ScriptedServer server(plainly(instance(text("Extra", "x") + text("NOTE", "n"))));
  CimXmlClient client(settingsFor(server.url()));
  const cimom::Instance found = client.getInstance(thing("a"), std::vector<std::string>{"Note"});
  ASSERT_THAT(found.properties, SizeIs(2));
  EXPECT_EQ(found.properties[0].name, "Id");
  EXPECT_EQ(found.properties[1].name, "NOTE");
  EXPECT_EQ(cimom::toText(found.path), "root/cimv2:Test_Thing.Id=\"a\"");
  EXPECT_THAT(client.getInstance(thing("a"), std::nullopt).properties, SizeIs(2))
      << "without a list it is as the server gives it";
}

TEST(Client, RefusesAnswersOfTheWrongKind) {
  const auto get = [](const std::string& answer) -> std::string {
    const ScriptedServer server(plainly(answer));
    CimXmlClient client(settingsFor(server.url()));
    try {
      client.getInstance(thing("a"), std::nullopt);
      return "got";
    } catch (const cimom::RemoteError& error) {
      return error.what();
    }
  };
  EXPECT_THAT(get(""), HasSubstr("no instance"));
  EXPECT_THAT(get(nameOf("a")), HasSubstr("not one instance"));
  EXPECT_THAT(get(instance("") + instance("")), HasSubstr("not one instance"));
  EXPECT_EQ(get(instance("")), "got");
  const ScriptedServer server(plainly(instance("")));
  EXPECT_THAT(failureAt(server.url()), HasSubstr("an instance in place of a path"));
}

TEST(Client, ReportsTheServersErrorOnceWithItsName) {
  const ScriptedServer server([](const Conversation& client, const ScriptedRequest& request) {
    return client.send(httpAnswer(errorFor(request, 6, "gone")));
  });
  CimXmlClient client(settingsFor(server.url()));
  try {
    client.getInstance(thing("a"), std::nullopt);
    FAIL();
  } catch (const cimom::CimError& error) {
    EXPECT_EQ(error.code(), CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(error.text(), "gone");
    EXPECT_EQ(std::string(error.what()), server.name() + ": CIM_ERR_NOT_FOUND: gone");
  }
  EXPECT_THROW(client.getInstance(thing("b"), std::nullopt), cimom::CimError);
  EXPECT_EQ(server.connections(), 1) << "an error of the request leaves the connection as it is";
}

}  // namespace
}  // namespace clienttest
