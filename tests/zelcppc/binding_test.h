#pragma once

#include <broker/broker.h>
#include <broker/request_scope.h>
#include <decorated_broker.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <scripted_upcalls.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>
#include <zelcppc/CmpiString.h>

#include <optional>
#include <string>
#include <vector>

namespace zelInt {

/// The status that an action ends in: what it throws, else OK.
template <class Action>
CmpiStatus statusThrownBy(Action action) {
  try {
    action();
  } catch (const CmpiStatus& status) {
    return status;
  }
  return CmpiStatus(CMPI_RC_OK);
}

template <class Action>
CMPIrc codeThrownBy(Action action) {
  return statusThrownBy(action).rc();
}

inline std::string textOf(const CmpiData& data) {
  return CmpiString(data).charPtr();
}

/// A value as a broker hands it out.
inline CmpiData rawData(CMPIType type, CMPIValue value = {},
                        CMPIValueState state = CMPI_goodValue) {
  return CmpiData(CMPIData{type, state, value});
}

inline CMPIValue charsValue(const char* text) {
  CMPIValue value{};
  value.chars = const_cast<char*>(text);
  return value;
}

/// A request served by a broker that the test watches and disturbs.
class BindingTest : public testing::Test {
 protected:
  explicit BindingTest(test_support::Manners manners = {}) : watched(inner.record(), manners) {}

  /// Thing.Name="one",Number=7
  static CmpiObjectPath thingPath(const char* className = "Thing") {
    CmpiObjectPath path("root/cimv2", className);
    path.setKey("Name", CmpiData("one"));
    path.setKey("Number", CmpiData(static_cast<unsigned short>(7)));
    return path;
  }

  /// Names of the instance's properties as the broker keeps them.
  static std::vector<std::string> propertyNames(const CmpiInstance& instance) {
    std::vector<std::string> names;
    const CMPIInstance* handle = instance.getHandle();
    const CMPICount count = handle->ft->getPropertyCount(handle, nullptr);
    for (CMPICount index = 0; index < count; ++index) {
      CMPIString* name = nullptr;
      handle->ft->getPropertyAt(handle, index, &name, nullptr);
      names.emplace_back(CmpiString(name).charPtr());
    }
    return names;
  }

  cimom::ClassRepository repository = cimom::ClassRepository::parse(R"(
    class Thing {
      [Key] string Name; [Key] uint16 Number;
      string Note; uint8 Small; boolean Flag; uint16 Sizes[]; string Words[]; Thing REF Next;
    };
    class Part : Thing { };
  )");
  test_support::ScriptedUpcalls upcalls;
  cimom::Broker inner{repository, &upcalls};
  test_support::DecoratedBroker watched;
  cimom::RequestScope request;
  CurrentBrokerScope current{watched.record()};
};

}  // namespace zelInt
