// What clients choose must not bend the log: each line stays one, and below 1 KiB.
#include "scripted_machine.h"

#include <machine_requests.h>

#include <decorated_broker.h>

#include <algorithm>
#include <set>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;

constexpr std::size_t kMostBytesPerLine = 1024;

/// The path with each text among its keys, and the keys of paths in it, replaced.
ObjectPath withTexts(ObjectPath path, const std::string& text) {
  for (cimom::NamedValue& key : path.keys) {
    for (cimom::Scalar& element : key.value.elements) {
      if (const auto* inner = std::get_if<std::shared_ptr<const ObjectPath>>(&element)) {
        element = std::make_shared<const ObjectPath>(withTexts(**inner, text));
      } else if (std::holds_alternative<std::string>(element)) {
        element = text;
      }
    }
  }
  return path;
}

/// The machine's requests with that text in all their keys; sources that no association serves,
/// named so, too.
std::vector<Request> requestsWith(const std::string& text) {
  std::vector<Request> all;
  for (const ObjectPath& instance : knownInstances()) {
    for (Request request : requestsOf(instance)) {
      request.path = withTexts(request.path, text);
      all.push_back(request);
    }
    if (instance.keys.front().value.type != cimom::CimType::kReference) continue;
    for (const Operation operation : associationOperations()) {
      for (const char* className : {"Zelmar_PCIBridge", "Zelmar_PCIPort", "Zelmar_PCIeSwitch"}) {
        all.push_back({operation, instance.className, byDeviceId(className, text)});
      }
      ObjectPath named = pathOf("Thing" + text, {{"Name" + text, text}});
      named.nameSpace = text;
      all.push_back({operation, instance.className, named});
    }
  }
  const char* connection = "Zelmar_PCIDeviceConnection";
  all.push_back({Operation::kGetInstance, connection,
                 pairOf(connection, "Antecedent", portPath(text), "Dependent", portPath("P-ep"))});
  return all;
}

class LogOfRequests : public RequestTest {
 protected:
  /// Sends the requests once the snapshot's own lines are gone; answers theirs, each once.
  std::set<std::string> linesOf(const std::vector<Request>& all) {
    broker.failNothing();
    for (const ObjectPath& instance : knownInstances()) {
      provider.send({Operation::kEnumInstanceNames, instance.className, instance}, &broker);
    }
    logLines().clear();
    for (const Request& request : all) provider.send(request, &broker);
    // Some lines belong to ids that are read by the second attempt alone.
    broker.failCall("objectPath.getKey", 1, CMPI_RC_ERR_FAILED);
    for (const Request& request : all) {
      broker.clear();
      provider.send(request, &broker);
    }
    std::set<std::string> lines;
    for (const LogLine& line : logLines()) lines.insert(line.text);
    return lines;
  }

  // Providers keep the broker of their first call, so one serves all requests of a test.
  test_support::DecoratedBroker broker{provider.manager().broker(), {.pathTextBytes = 4096}};

  static bool hasControl(const std::string& text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
  }
};

/// Every line that takes a client's text.
const std::vector<std::string> kLines{"ListControllers cop=",
                                      "ListControllersRef cop=",
                                      "ListSwitchPorts searching U (p:2) for ",
                                      "ListSwitchPortsRef searching U (p:2) for ",
                                      "GetInstance for ",
                                      "PCIControlledBy gi: lookup item '",
                                      "PCIControlledBy rin: lookup item '",
                                      "PCIDeviceConnection gi using item '",
                                      "PCIDeviceConnection gi: lookup item '",
                                      "PCIDeviceConnection gi FAILED FindConnectedPort(",
                                      "PCIMemberOfCollection ",
                                      "MemberOfCollection gi: lookup item '",
                                      "MemberOfCollection ri: lookup item '",
                                      "PCISystemDevice ai ignoring ",
                                      "PCISystemDevice reference unsupported class ",
                                      "PCIDeviceConnection ai ignoring ",
                                      "PCIDeviceConnection ain ignoring ",
                                      "PCIDeviceConnection reference unsupported class ",
                                      "PCIDeviceConnection rin unsupported class ",
                                      "PCIHostedCollection ai ignoring ",
                                      "PCIHostedCollection ain ignoring ",
                                      "PCIHostedCollection reference unsupported class "};

TEST_F(LogOfRequests, StaysBelowOneKilobytePerLine) {
  for (const std::size_t length : {1000U, 1200U, 4200U, 100'000U}) {
    const std::set<std::string> lines = linesOf(requestsWith(std::string(length, 'k')));
    for (const std::string& words : kLines) {
      const auto first = lines.lower_bound(words);
      EXPECT_TRUE(first != lines.end() && first->rfind(words, 0) == 0) << words;
    }
    for (const std::string& line : lines)
      EXPECT_LE(line.size(), kMostBytesPerLine) << line.substr(0, 80);
  }
}

TEST_F(LogOfRequests, HoldsNoControlCharacters) {
  for (const std::string& text : {std::string("a\nb"), std::string("\x1b[2J\r\t\x7f"),
                                  std::string(300, '\x01'), std::string("Jan  1 su: root\n\n")}) {
    for (const std::string& line : linesOf(requestsWith(text))) {
      EXPECT_FALSE(hasControl(line)) << line.substr(0, 80);
      EXPECT_LE(line.size(), kMostBytesPerLine) << line.substr(0, 80);
    }
  }
}

TEST_F(LogOfRequests, ShowsWhatItTook) {
  const std::set<std::string> lines = linesOf(
      {{Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("a\nb\xc2\x9b")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("gr\xc3\xbc\xff")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath(std::string(900, 'x'))},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath(std::string(901, 'y'))}});
  EXPECT_THAT(
      lines,
      testing::ElementsAre(
          "MemberOfCollection ri: lookup item 'a\\x0ab\\xc2\\x9b' not found",
          "MemberOfCollection ri: lookup item 'gr\xc3\xbc\\xff' not found",
          "MemberOfCollection ri: lookup item '" + std::string(900, 'x') + "' not found",
          "MemberOfCollection ri: lookup item '" + std::string(897, 'y') + "...' not found"));
}

/// A line feed written in three and in four bytes is one to some readers.
TEST_F(LogOfRequests, ShowsBytesThatAreNoCharacters) {
  const std::set<std::string> lines = linesOf(
      {{Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("a\xe0\x80\x8a")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("b\xf0\x80\x80\x8a")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("c\xed\xa0\x80")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection", portPath("d\xf4\x90\x80\x80")},
       {Operation::kReferences, "Zelmar_PCIMemberOfCollection",
        portPath("e\xe0\xa0\x80\xed\x9f\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf")}});
  EXPECT_THAT(lines, testing::ElementsAre(
                         "MemberOfCollection ri: lookup item 'a\\xe0\\x80\\x8a' not found",
                         "MemberOfCollection ri: lookup item 'b\\xf0\\x80\\x80\\x8a' not found",
                         "MemberOfCollection ri: lookup item 'c\\xed\\xa0\\x80' not found",
                         "MemberOfCollection ri: lookup item 'd\\xf4\\x90\\x80\\x80' not found",
                         "MemberOfCollection ri: lookup item "
                         "'e\xe0\xa0\x80\xed\x9f\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf' not found"));
}

/// Where nothing keeps debug lines, no object manager is asked for their text.
TEST_F(LogOfRequests, AsksForNoTextThatNobodyReads) {
  const int kept = setlogmask(LOG_UPTO(LOG_INFO));
  for (const Request& request : requestsWith("none")) provider.send(request, &broker);
  EXPECT_EQ(broker.count("objectPath.toString"), 0U);
  setlogmask(kept);
  for (const Request& request : requestsWith("none")) provider.send(request, &broker);
  EXPECT_GT(broker.count("objectPath.toString"), 10U);
}

}  // namespace
