#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cim_request.h"
#include "http_client.h"
#include "odd/odd_values.h"
#include "served_process.h"

namespace servetest {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

/// Instances with hard names behind the served command: what a client reads there it can ask with.
class ServedOddValues : public testing::Test {
 protected:
  CimResponse ask(const CimRequest& request) {
    const auto answer = client_.post(request);
    if (!answer || answer->status != 200) throw std::runtime_error("no answer");
    return CimResponse(answer->body);
  }

  /// The names that an enumeration returns, each as the XML that came.
  std::vector<std::string> namesOf(const std::string& className) {
    const CimResponse answer =
        ask(CimRequest("EnumerateInstanceNames").className("ClassName", className));
    std::vector<std::string> names;
    std::size_t end = 0;
    const std::string open = "<INSTANCENAME CLASSNAME=\"" + className + '"';
    const std::string& text = answer.text();
    for (std::size_t start = text.find(open); start != std::string::npos;
         start = text.find(open, end)) {
      end = text.find(open, start + 1);
      if (end == std::string::npos) end = text.find("</IRETURNVALUE>", start);
      names.push_back(text.substr(start, end - start));
    }
    return names;
  }

  ServedProcess server_{{"--provider", ODD_PROVIDER, "--schema", ODD_SCHEMA}};
  HttpClient client_{server_.port()};
};

TEST_F(ServedOddValues, EveryNameComesBackInGetInstance) {
  for (const char* name : kOddNames) {
    const CimResponse answer = ask(
        CimRequest("GetInstance").xml("InstanceName", instanceName("Odd_Thing", {{"Name", name}})));
    if (std::string(name).find('\r') == std::string::npos) {
      EXPECT_THAT(answer.select("//PROPERTY[@NAME='Name']/VALUE"), ElementsAre(name));
    } else {
      // An unescaped carriage return is an end of line in XML.
      EXPECT_EQ(answer.errorCode(), 6);
    }
  }
}

TEST_F(ServedOddValues, NamesAsTheyCameNameTheirInstances) {
  for (const char* className : {"Odd_Thing", "Odd_Link", "Odd_Remark"}) {
    const std::vector<std::string> names = namesOf(className);
    ASSERT_THAT(names, SizeIs(kOddNames.size()));
    for (const std::string& name : names) {
      const CimResponse answer = ask(CimRequest("GetInstance").xml("InstanceName", name));
      EXPECT_EQ(answer.errorCode(), 0) << name << answer.errorText();
      EXPECT_THAT(answer.select("//INSTANCE/@CLASSNAME"), ElementsAre(className));
    }
  }
}

TEST_F(ServedOddValues, AssociationsAreFollowedFromEveryName) {
  for (const std::string& name : namesOf("Odd_Thing")) {
    EXPECT_THAT(ask(CimRequest("AssociatorNames").xml("ObjectName", name))
                    .select("//OBJECTPATH/INSTANCEPATH"),
                SizeIs(2));
    EXPECT_THAT(ask(CimRequest("References").xml("ObjectName", name))
                    .select("//VALUE.OBJECTWITHPATH/INSTANCE"),
                SizeIs(2));
  }
}

TEST_F(ServedOddValues, TextThatIsNoUtf8CanBeRead) {
  const CimResponse answer =
      ask(CimRequest("EnumerateInstances").className("ClassName", "Odd_Thing"));
  EXPECT_EQ(answer.select("//PROPERTY[@NAME='Text']/VALUE").front(), kLatin1TextAsUtf8);
}

}  // namespace
}  // namespace servetest
