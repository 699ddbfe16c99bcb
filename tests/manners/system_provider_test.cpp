// The computer system's provider under the same manners.
#include "manner_list.h"
#include "manners_test.h"

namespace manners {
namespace {

using requests::Operation;
using requests::pathOf;
using requests::Request;
using test_support::DecoratedBroker;

constexpr char kSystem[] = "OMC_UnitaryComputerSystem";

class SystemProvider : public testing::Test {
 protected:
  SystemProvider() { setenv("QARCTL_HOST_NAME", "HostA01", 1); }

  static std::vector<Request> all() {
    using Names = std::vector<std::string>;
    std::vector<Request> requests{
        {Operation::kEnumInstanceNames, kSystem, pathOf(kSystem)},
        {Operation::kGetInstance, kSystem, pathOf(kSystem)},
        {Operation::kGetInstance, kSystem,
         pathOf(kSystem, {{"CreationClassName", kSystem}, {"Name", "another"}})}};
    for (const cimom::PropertyList& list :
         {cimom::PropertyList(), cimom::PropertyList(Names{}),
          cimom::PropertyList(Names{"NameFormat"}), cimom::PropertyList(Names{"PortType"})}) {
      requests.push_back({Operation::kEnumInstances, kSystem, pathOf(kSystem), {}, list});
      requests.push_back({Operation::kGetInstance, kSystem, scripted::systemPath(), {}, list});
    }
    return requests;
  }

  std::vector<Exchange> exchange(const std::vector<Request>& requests,
                                 DecoratedBroker* broker = nullptr) {
    requests::ProviderLibrary library(SYSTEM_PROVIDER_LIBRARY, manager.broker());
    std::vector<Exchange> exchanges;
    for (const Request& request : requests) {
      exchanges.push_back({request, library.send(request, broker)});
    }
    return exchanges;
  }

  /// Serves no class itself: the library is opened and closed by the test alone.
  cimom::ObjectManager manager{requests::testClasses()};
};

class SystemAnswers : public SystemProvider, public testing::WithParamInterface<NamedManners> {};

TEST_P(SystemAnswers, AreTheSame) {
  DecoratedBroker broker(manager.broker(), GetParam().manners);
  EXPECT_EQ(differences(exchange(all()), exchange(all(), &broker)), "");
}

INSTANTIATE_TEST_SUITE_P(WhereManagers, SystemAnswers, testing::ValuesIn(harmlessManners()),
                         [](const auto& testInfo) { return testInfo.param.name; });

TEST_F(SystemProvider, KeepsItsKeysUnderAnyPropertyList) {
  for (const Exchange& exchange : exchange(all())) {
    for (const cimom::Instance& instance : exchange.outcome.instances) {
      EXPECT_THAT(requests::propertyNames(instance),
                  testing::IsSupersetOf({"CreationClassName", "Name"}));
    }
  }
}

TEST_F(SystemProvider, IsFoundByAPathOfAnyForm) {
  cimom::ObjectPath path = scripted::systemPath();
  path.host = "elsewhere";
  path.nameSpace = "ROOT/CIMV2";
  for (cimom::NamedValue& key : path.keys) key.name[0] = static_cast<char>(key.name[0] + 32);
  const auto answered = exchange({{Operation::kGetInstance, kSystem, path}});
  EXPECT_EQ(answered.front().outcome.status, CMPI_RC_OK);
  EXPECT_EQ(answered.front().outcome.instances.size(), 1U);
}

}  // namespace
}  // namespace manners
