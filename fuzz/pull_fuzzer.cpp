// Any sequence of opening, pulling and closing enumerations ends as a model of it says: every
// object comes once and in order, and every question that the standard refuses gets its status.
//
// A question is a letter and a digit n. i, p: open instances or paths, n of them at once; o: open
// instances with a timeout of n seconds; s: from now on ask of the enumeration opened as number n;
// I, P, N: pull n instances with paths, paths, or instances; c: close; z: stop. Anything else is
// passed over.
#include <cim_xml/cim_xml_service.h>
#include <mof/class_repository.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cim_request.h"
#include "scripted_upcalls.h"
#include "test_classes.h"
#include "xml_check.h"

namespace {

using servetest::CimRequest;
using servetest::CimResponse;

constexpr std::size_t kObjects = 7;
constexpr std::size_t kContexts = 4;
constexpr std::size_t kMostQuestions = 40;
constexpr int kInvalidContext = 21;
constexpr int kInvalidTimeout = 22;
constexpr int kLimitsExceeded = 27;
constexpr int kShuttingDown = 28;

void require(bool holds) {
  if (!holds) std::abort();
}

test_support::ScriptedUpcalls countingHost() {
  test_support::ScriptedUpcalls host;
  for (std::size_t i = 0; i < kObjects; ++i) {
    const auto id = cimom::Value::text(std::to_string(i));
    host.paths.push_back({"", "root/cimv2", "Test_Thing", {{"Id", id}}});
    host.instances.push_back({host.paths.back(), {}});
  }
  return host;
}

/// What the client knows of an enumeration.
struct Known {
  std::string context;
  bool isOfPaths = false;
  bool isOpen = true;
  std::size_t next = 0;
};

class Client {
 public:
  explicit Client(const cimom::CimXmlService& service) : service_(service) {}

  void ask(char letter, std::size_t number) {
    switch (letter) {
      case 'i':
      case 'p':
        return open(letter == 'p', number, "");
      case 'o':
        return open(false, 0, std::to_string(number));
      case 's':
        asked_ = number;
        return;
      case 'I':
        return pull("PullInstancesWithPath", false, number);
      case 'P':
        return pull("PullInstancePaths", true, number);
      case 'N':
        return pull("PullInstances", std::nullopt, number);
      case 'c':
        return close();
      case 'z':
        service_.shutDown();
        isStopped_ = true;
        return;
      default:
        return;
    }
  }

 private:
  CimResponse answer(const CimRequest& request) const {
    const cimom::CimXmlReply reply = service_.answer(request.headers(), request.body());
    require(reply.status == 200);
    cimom::checkXml(reply.text);
    return CimResponse(reply.text);
  }

  void open(bool isOfPaths, std::size_t most, const std::string& timeout) {
    CimRequest request(isOfPaths ? "OpenEnumerateInstancePaths" : "OpenEnumerateInstances");
    request.className("ClassName", "Test_Thing").text("MaxObjectCount", std::to_string(most));
    if (!timeout.empty()) request.text("OperationTimeout", timeout);
    const CimResponse response = answer(request);
    if (timeout == "0") return require(response.errorCode() == kInvalidTimeout);
    if (isStopped_) return require(response.errorCode() == kShuttingDown);
    // Producers of closed ones count until they have returned.
    if (response.errorCode() == kLimitsExceeded) return require(known_.size() >= kContexts);
    known_.push_back({"", isOfPaths});
    take(known_.back(), response, most);
    asked_ = known_.size() - 1;
  }

  /// The object that is asked of; null where there is none.
  Known* asked() { return known_.empty() ? nullptr : &known_[asked_ % known_.size()]; }

  /// The status of asking for the enumeration at all.
  int statusOf(const Known* known) const {
    if (isStopped_) return kShuttingDown;
    return known != nullptr && known->isOpen ? 0 : kInvalidContext;
  }

  void pull(const char* operation, std::optional<bool> paths, std::size_t most) {
    Known* known = asked();
    const CimResponse response = answer(CimRequest(operation)
                                            .text("EnumerationContext", contextOf(known))
                                            .text("MaxObjectCount", std::to_string(most)));
    int expected = statusOf(known);
    if (expected == 0 && paths != known->isOfPaths) expected = kInvalidContext;
    if (!paths) expected = kInvalidContext;
    require(response.errorCode() == expected);
    if (expected == 0) take(*known, response, most);
  }

  void close() {
    Known* known = asked();
    const CimResponse response =
        answer(CimRequest("CloseEnumeration").text("EnumerationContext", contextOf(known)));
    require(response.errorCode() == statusOf(known));
    if (known != nullptr && !isStopped_) known->isOpen = false;
  }

  /// An enumeration that fitted has no name; any does that is none.
  static std::string contextOf(const Known* known) {
    return known == nullptr || known->context.empty() ? "none" : known->context;
  }

  /// The response holds the next objects, and says truly whether others follow.
  static void take(Known& known, const CimResponse& response, std::size_t most) {
    require(response.errorCode() == 0);
    for (const std::string& id : response.select("//IRETURNVALUE//KEYVALUE")) {
      require(id == std::to_string(known.next++));
      require(most-- > 0);
    }
    require(most == 0 || known.next == kObjects);
    known.isOpen = known.next < kObjects;
    const auto contexts = response.select("//PARAMVALUE[@NAME='EnumerationContext']/VALUE");
    require(contexts.size() == (known.isOpen ? 1U : 0U));
    if (known.isOpen) known.context = contexts.front();
  }

  const cimom::CimXmlService& service_;
  std::vector<Known> known_;
  std::size_t asked_ = 0;
  bool isStopped_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto classes = cimom::ClassRepository::parse(servetest::kTestClasses);
  // Producers note their questions in the host: each input has one of its own.
  test_support::ScriptedUpcalls host = countingHost();
  const cimom::PullLimits limits{.contexts = kContexts, .readyBytes = 100};
  const cimom::CimXmlService service(classes, host, {.hostName = "made.example", .pull = limits});
  Client client(service);
  for (std::size_t i = 0; i + 1 < std::min(size, 2 * kMostQuestions); i += 2) {
    const auto digit = static_cast<char>(data[i + 1]);
    if (digit < '0' || digit > '9') continue;
    client.ask(static_cast<char>(data[i]), static_cast<std::size_t>(digit - '0'));
  }
  return 0;
}
