// What of a request goes further: its context and property list to upcalls, its property list to
// every instance, as the last thing that is done to it.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <broker/broker.h>
#include <broker/request_scope.h>
#include <decorated_broker.h>

#include <set>

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;
using cimom::RequestAnswers;
using cimom::RequestScope;
using test_support::Call;
using test_support::DecoratedBroker;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

/// A broker that notes the context of each upcall and lets another do the work. One at a time.
class ContextBroker {
 public:
  explicit ContextBroker(const CMPIBroker* inner)
      : inner_(inner), table_(*inner->bft), record_(*inner) {
    current_ = this;
    table_.enumerateInstances = &enumerateInstances;
    table_.enumerateInstanceNames = &enumerateInstanceNames;
    record_.bft = &table_;
  }

  const CMPIBroker* record() const { return &record_; }

  std::vector<const CMPIContext*> contexts;

 private:
  static CMPIEnumeration* enumerateInstances(const CMPIBroker*, const CMPIContext* context,
                                             const CMPIObjectPath* path, const char** properties,
                                             CMPIStatus* status) {
    current_->contexts.push_back(context);
    const CMPIBroker* inner = current_->inner_;
    return inner->bft->enumerateInstances(inner, context, path, properties, status);
  }
  static CMPIEnumeration* enumerateInstanceNames(const CMPIBroker*, const CMPIContext* context,
                                                 const CMPIObjectPath* path, CMPIStatus* status) {
    current_->contexts.push_back(context);
    const CMPIBroker* inner = current_->inner_;
    return inner->bft->enumerateInstanceNames(inner, context, path, status);
  }

  inline static ContextBroker* current_ = nullptr;
  const CMPIBroker* inner_;
  CMPIBrokerFT table_;
  CMPIBroker record_;
};

class UpcallContext : public RequestTest {
 protected:
  /// Sends the request twice, each time with a context of its own, and expects an upcall with it.
  void expectOwn(Operation operation, const char* className, const ObjectPath& source) {
    CMPIAssociationMI* mi = provider.associationMI(className, broker.record());
    RequestScope scope;
    for (int round = 0; round < 2; ++round) {
      RequestAnswers answers;
      const CMPIContext* context = scope.newContext("root/cimv2", 0);
      const CMPIResult* result = scope.newResult(answers);
      const CMPIObjectPath* path = scope.newPath(source);
      broker.contexts.clear();
      if (operation == Operation::kAssociators) {
        mi->ft->associators(mi, context, result, path, nullptr, nullptr, nullptr, nullptr, nullptr);
      } else {
        mi->ft->associatorNames(mi, context, result, path, nullptr, nullptr, nullptr, nullptr);
      }
      EXPECT_THAT(broker.contexts, ElementsAre(context)) << className;
    }
  }

  ContextBroker broker{provider.manager().broker()};
};

TEST_F(UpcallContext, IsTheRequestsOwn) {
  expectOwn(Operation::kAssociators, "Zelmar_PCISystemDevice", portPath("D-ep"));
  expectOwn(Operation::kAssociators, "Zelmar_PCIHostedCollection", groupPath("Zelmar:bus-0"));
  expectOwn(Operation::kAssociatorNames, "Zelmar_PCIHostedCollection", groupPath("Zelmar:bus-0"));
}

class HandedOn : public RequestTest {
 protected:
  HandedOn() { host().functions.push_back({"E", 4, 0x0200, 0, "X-ep"}); }  // makes a connection

  /// Everything that can be answered with instances of the provider's own making, wanting one
  /// property.
  static std::vector<Request> all() {
    std::vector<Request> wanted;
    for (Request& request : allRequests()) {
      request.properties = {{"Caption"}};
      if (answersInstances(request)) wanted.push_back(std::move(request));
    }
    return wanted;
  }

  Outcome ask(const Request& request) {
    provider.send(request, &broker);
    broker.clear();
    return provider.send(request, &broker);
  }
  /// The same for a source whose class decides, since its id cannot be read at first.
  Outcome askByClass(const Request& request) {
    provider.send(request, &broker);
    broker.clear();
    broker.failCall("objectPath.getKey", 1, CMPI_RC_ERR_FAILED);
    Outcome outcome = provider.send(request, &broker);
    broker.failNothing();
    return outcome;
  }

  void expectNarrowed(const Request& request, const Outcome& outcome) {
    EXPECT_THAT(broker.callTexts("instance.setPropertyFilter"),
                AllOf(SizeIs(outcome.instances.size()),
                      Each(StartsWith("instance.setPropertyFilter([Caption], ["))))
        << nameOf(request);
    std::set<const void*> narrowed;
    for (const Call& call : broker.calls()) {
      if (call.function == "instance.setPropertyFilter") narrowed.insert(call.object);
      if (call.function != "instance.setProperty") continue;
      EXPECT_EQ(narrowed.count(call.object), 0U) << nameOf(request) << ": " << call.text();
    }
    EXPECT_THAT(narrowed, SizeIs(outcome.instances.size())) << nameOf(request);
  }

  DecoratedBroker broker{provider.manager().broker()};

 private:
  static bool answersInstances(const Request& request) {
    // The system's instance is the object manager's.
    const bool upcalls = request.operation == Operation::kAssociators &&
                         ((request.className == "Zelmar_PCISystemDevice" &&
                           request.path.className != "OMC_UnitaryComputerSystem") ||
                          (request.className == "Zelmar_PCIHostedCollection" &&
                           request.path.className == "Zelmar_PCIPortGroup"));
    return !upcalls && request.operation != Operation::kEnumInstanceNames &&
           request.operation != Operation::kAssociatorNames &&
           request.operation != Operation::kReferenceNames;
  }
};

TEST_F(HandedOn, EveryInstanceIsNarrowedToTheRequestsListAfterItsLastProperty) {
  std::set<std::string> answered;
  for (const Request& request : all()) {
    const Outcome outcome = ask(request);
    expectNarrowed(request, outcome);
    if (!outcome.instances.empty()) {
      answered.insert(request.className + nameOf(request.operation));
    }
  }
  // Enumerations and gets of ten classes; both kinds of navigation of five, but the connections of
  // a port right below a bridge.
  EXPECT_THAT(answered, SizeIs(29));
}

TEST_F(HandedOn, ConnectionsOfAPortAreNarrowed) {
  for (const Operation operation : {Operation::kAssociators, Operation::kReferences}) {
    const Request request{
        operation, "Zelmar_PCIDeviceConnection", portPath("D-ep"), {}, {{"Caption"}}};
    const Outcome outcome = ask(request);
    EXPECT_THAT(outcome.instances, SizeIs(1));
    expectNarrowed(request, outcome);
  }
}

TEST_F(HandedOn, AnswersByTheSourcesClassAreNarrowed) {
  for (const ObjectPath& source :
       {bridgePath("B"), switchPath("U"), devicePath("B"), portPath("B-sec")}) {
    for (const Operation operation : {Operation::kAssociators, Operation::kReferences}) {
      const Request request{operation, "Zelmar_PCIControlledBy", source, {}, {{"Caption"}}};
      const Outcome outcome = askByClass(request);
      EXPECT_THAT(outcome.instances, Not(IsEmpty())) << nameOf(request);
      expectNarrowed(request, outcome);
    }
  }
}

TEST_F(HandedOn, WithoutAListNothingIsNarrowed) {
  for (Request request : all()) {
    request.properties = std::nullopt;
    ask(request);
    EXPECT_THAT(broker.callTexts("instance.setPropertyFilter"),
                Each(StartsWith("instance.setPropertyFilter(null, ")))
        << nameOf(request);
  }
}

TEST_F(HandedOn, WithoutAListTheSystemIsAskedForWhole) {
  for (const auto& [className, source] : std::vector<std::pair<const char*, ObjectPath>>{
           {"Zelmar_PCISystemDevice", plainDevicePath("D")},
           {"Zelmar_PCIHostedCollection", groupPath("Zelmar:bus-0")}}) {
    ask({Operation::kAssociators, className, source});
    EXPECT_THAT(broker.callTexts("broker.enumerateInstances"),
                ElementsAre("broker.enumerateInstances(root/cimv2:OMC_UnitaryComputerSystem, "
                            "null)"));
  }
}

}  // namespace
