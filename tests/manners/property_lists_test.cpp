// Which properties clients get for the list that they ask for, whatever a manager's filter does.
#include "manners_test.h"

namespace manners {
namespace {

using requests::keyNames;
using requests::propertyNames;
using requests::Request;
using test_support::DecoratedBroker;
using test_support::FilterManner;

using Names = std::vector<std::string>;

/// Names of the keys, then those that are asked for: they come in this order, keys being first.
Names keysAnd(const cimom::Instance& instance, const Names& others) {
  Names names = keyNames(instance.path);
  names.insert(names.end(), others.begin(), others.end());
  return names;
}

class PropertyLists : public MannersTest, public testing::WithParamInterface<FilterManner> {
 protected:
  /// Sends every request with the list and calls `check` with each instance that comes.
  template <class Check>
  void forEachInstance(const Names& list, Check check) {
    DecoratedBroker broker(manager.broker(), {.filter = GetParam()});
    std::size_t instances = 0;
    for (const Exchange& exchange : exchange(everyRequestFor(list), &broker)) {
      for (const cimom::Instance& instance : exchange.outcome.instances) {
        SCOPED_TRACE(scripted::nameOf(exchange.request));
        check(instance);
        ++instances;
      }
    }
    EXPECT_GT(instances, 100U);
  }

  void expectKeysOnly(const Names& list) {
    forEachInstance(list, [](const cimom::Instance& instance) {
      EXPECT_EQ(propertyNames(instance), keyNames(instance.path));
      EXPECT_FALSE(instance.path.keys.empty());
    });
  }
};

TEST_P(PropertyLists, OfNothingLeaveTheKeys) {
  expectKeysOnly({});
}

TEST_P(PropertyLists, OfAnotherClassLeaveTheKeys) {
  expectKeysOnly({"PowerOnHours", "Zelmar_PCIPort.PortType", ""});
}

/// A property that each class has beside its keys.
Names ownProperty(const std::string& className) {
  if (className == "OMC_UnitaryComputerSystem") return {"NameFormat"};
  if (className == "Zelmar_PCIPort") return {"PortType"};
  if (className == "Zelmar_PCIPortGroup" || className == "Zelmar_PCIDevice" ||
      className == "Zelmar_PCIBridge" || className == "Zelmar_PCIeSwitch") {
    return {"BusNumber"};
  }
  return {};
}

TEST_P(PropertyLists, KeepTheKeysWithWhatTheyName) {
  for (const Names& list : {Names{"BusNumber", "PortType", "NameFormat"},
                            Names{"busnumber", "PORTTYPE", "nameFormat", "busnumber"}}) {
    forEachInstance(list, [](const cimom::Instance& instance) {
      const Names names = propertyNames(instance);
      for (const std::string& name : keysAnd(instance, ownProperty(instance.path.className))) {
        EXPECT_THAT(names, testing::Contains(name));
      }
      EXPECT_LE(names.size(), keyNames(instance.path).size() + 2);
    });
  }
}

INSTANTIATE_TEST_SUITE_P(FilterThat, PropertyLists,
                         testing::Values(FilterManner::kDropUnlistedKeys, FilterManner::kKeepKeys),
                         [](const auto& testInfo) {
                           return testInfo.param == FilterManner::kKeepKeys ? "KeepsKeys"
                                                                            : "DropsKeys";
                         });

/// A manager that filters nothing is given every property: cutting them is then left to it.
TEST_F(MannersTest, WithoutAFilterAllPropertiesCome) {
  DecoratedBroker broker(manager.broker(), {.filter = FilterManner::kIgnoreFilter});
  std::vector<Exchange> expected = exchange(everyRequestFor(std::nullopt));
  std::vector<Exchange> actual = exchange(everyRequestFor(Names{"BusNumber"}), &broker);
  // The computer system comes from the manager itself, already cut.
  const auto isUpcall = [](const Exchange& exchange) {
    return !exchange.outcome.instances.empty() &&
           exchange.outcome.instances.front().path.className == "OMC_UnitaryComputerSystem";
  };
  std::erase_if(expected, isUpcall);
  std::erase_if(actual, isUpcall);
  EXPECT_EQ(differences(expected, actual), "");
}

}  // namespace
}  // namespace manners
