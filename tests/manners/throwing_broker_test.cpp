// Object managers whose functions throw, or that leave parts of a request out.
#include "manners_test.h"

#include <broker/broker.h>
#include <broker/request_scope.h>

#include <set>
#include <stdexcept>

namespace manners {
namespace {

using requests::Operation;
using requests::ProviderLibrary;
using requests::Request;
using test_support::DecoratedBroker;

class ThrowingBroker : public MannersTest {
 protected:
  std::set<std::string> functionsUsed() {
    DecoratedBroker broker(manager.broker());
    exchange(everyRequest(), &broker);
    std::set<std::string> used;
    for (const auto& call : broker.calls()) used.insert(call.function);
    return used;
  }

  static void expectSurvival(ProviderLibrary& library, DecoratedBroker& broker,
                             const Request& request, const std::string& function) {
    broker.clear();
    try {
      const requests::Outcome outcome = library.send(request, &broker);
      // What is handed over is out of the provider's hands; another test has the statuses.
      const bool isHandedOver = function.rfind("result.", 0) == 0;
      if (broker.count(function) == 0 || isHandedOver || outcome.status == CMPI_RC_OK) return;
      EXPECT_EQ(outcome.message.empty(), function == "broker.newString")
          << function << " in " << scripted::nameOf(request);
    } catch (const std::runtime_error&) {
      // The test itself reads the text of a failure.
      EXPECT_EQ(function, "string.getCharPtr");
    }
  }
};

/// The process lives, and the client hears of a failure or gets what there was.
TEST_F(ThrowingBroker, EndsNoProcess) {
  const std::vector<Request> all = everyRequest();
  for (const std::string& function : functionsUsed()) {
    DecoratedBroker broker(manager.broker());
    ProviderLibrary library(PROVIDER_LIBRARY, manager.broker());
    broker.throwFromCall(function, 0, "thrown by the broker");
    for (const Request& request : all) expectSurvival(library, broker, request, function);
  }
}

TEST_F(ThrowingBroker, ThatTakesNoAnswersGetsTheStatusAllTheSame) {
  DecoratedBroker broker(manager.broker());
  for (const char* function :
       {"result.returnInstance", "result.returnObjectPath", "result.returnDone"}) {
    broker.throwFromCall(function, 0, "thrown by the broker");
  }
  const std::vector<Exchange> expected = exchange(everyRequest());
  const std::vector<Exchange> actual = exchange(everyRequest(), &broker);
  for (std::size_t index = 0; index < expected.size(); ++index) {
    EXPECT_EQ(actual[index].outcome.status, expected[index].outcome.status)
        << scripted::nameOf(expected[index].request);
    EXPECT_TRUE(actual[index].outcome.answers().empty());
  }
}

class MissingParts : public MannersTest {
 protected:
  MissingParts() : library(PROVIDER_LIBRARY, manager.broker()) {}

  /// Every operation of the class with nothing but its record.
  template <class Check>
  void forEachOperation(const std::string& className, Check check) {
    CMPIInstanceMI* mi = library.instanceMI(className);
    check(mi->ft->enumerateInstanceNames(mi, nullptr, nullptr, nullptr));
    check(mi->ft->enumerateInstances(mi, nullptr, nullptr, nullptr, nullptr));
    check(mi->ft->getInstance(mi, nullptr, nullptr, nullptr, nullptr));
    check(mi->ft->createInstance(mi, nullptr, nullptr, nullptr, nullptr));
    check(mi->ft->modifyInstance(mi, nullptr, nullptr, nullptr, nullptr, nullptr));
    check(mi->ft->deleteInstance(mi, nullptr, nullptr, nullptr));
    check(mi->ft->execQuery(mi, nullptr, nullptr, nullptr, nullptr, nullptr));
    if (library.symbol(className + "_Create_AssociationMI") == nullptr) return;
    CMPIAssociationMI* am = library.associationMI(className);
    check(am->ft->associators(am, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr));
    check(
        am->ft->associatorNames(am, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    check(am->ft->references(am, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    check(am->ft->referenceNames(am, nullptr, nullptr, nullptr, nullptr, nullptr));
  }

  ProviderLibrary library;
};

TEST_F(MissingParts, OfARequestEndNoProcess) {
  for (const auto& instance : scripted::knownInstances()) {
    std::vector<CMPIrc> codes;
    const cimom::RequestScope scope;
    forEachOperation(instance.className,
                     [&](const CMPIStatus& status) { codes.push_back(status.rc); });
    const std::vector<CMPIrc> ofInstances{CMPI_RC_OK,
                                          CMPI_RC_OK,
                                          CMPI_RC_ERR_FAILED,
                                          CMPI_RC_ERR_NOT_SUPPORTED,
                                          CMPI_RC_ERR_NOT_SUPPORTED,
                                          CMPI_RC_ERR_NOT_SUPPORTED,
                                          CMPI_RC_ERR_NOT_SUPPORTED};
    EXPECT_THAT(std::vector<CMPIrc>(codes.begin(), codes.begin() + 7),
                testing::ElementsAreArray(ofInstances))
        << instance.className;
    EXPECT_THAT(std::vector<CMPIrc>(codes.begin() + 7, codes.end()),
                testing::Each(CMPI_RC_ERR_FAILED))
        << instance.className;
  }
}

/// The upcall for the host system needs the context.
TEST_F(MissingParts, OfAnUpcallAreAFailure) {
  CMPIAssociationMI* mi = library.associationMI("Zelmar_PCIHostedCollection");
  cimom::RequestScope request;
  const CMPIObjectPath* source = request.newPath(scripted::groupPath("Zelmar:bus-0"));
  const CMPIStatus status = mi->ft->associators(mi, nullptr, nullptr, source, nullptr, nullptr,
                                                nullptr, nullptr, nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
}

}  // namespace
}  // namespace manners
