// Each use of the binding with each of its broker calls failing in turn.
#include "binding_test.h"

#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiEnumeration.h>

#include <functional>
#include <memory>
#include <ostream>

namespace zelInt {
namespace {

using testing::HasSubstr;

/// What the uses work on, made before anything fails.
struct Objects {
  CmpiBroker broker;
  CmpiContext context;
  CmpiObjectPath path;
  CmpiObjectPath equalPath;
  CmpiObjectPath pathOfOneKey;
  CmpiInstance instance;
  CmpiArray array;
  CmpiEnumeration names;
};

struct Use {
  const char* name;
  std::function<void(Objects&)> action;
  /// The calls that it makes, the reading of characters left out.
  std::vector<std::string> calls;
};

void PrintTo(const Use& use, std::ostream* out) {
  *out << use.name;
}

class FailingCallTest : public BindingTest, public testing::WithParamInterface<Use> {
 protected:
  FailingCallTest() {
    upcalls.paths = {{"", "root/cimv2", "Thing", {}}, {"", "root/cimv2", "Thing", {}}};
  }

  Objects makeObjects() {
    const CmpiBroker broker(watched.record());
    const CmpiContext context(request.newContext("root/cimv2", 0));
    CmpiArray array(2, CMPI_uint16);
    array[0] = CmpiData(static_cast<unsigned short>(1));
    CmpiObjectPath pathOfOneKey("root/cimv2", "Thing");
    pathOfOneKey.setKey("Name", CmpiData("one"));
    return {broker,       context,
            thingPath(),  thingPath(),
            pathOfOneKey, CmpiInstance(thingPath()),
            array,        broker.enumInstanceNames(context, CmpiObjectPath("root/cimv2", "Thing"))};
  }

  /// The calls of an undisturbed use.
  std::vector<test_support::Call> callsOfUse() {
    Objects objects = makeObjects();
    watched.clear();
    GetParam().action(objects);
    return watched.calls();
  }
};

TEST_P(FailingCallTest, MakesTheCallsThatItIsTestedFor) {
  std::vector<std::string> functions;
  for (const auto& call : callsOfUse()) {
    if (call.function != "string.getCharPtr") functions.push_back(call.function);
  }
  EXPECT_EQ(functions, GetParam().calls);
}

TEST_P(FailingCallTest, ThrowsTheBrokersCodeAndText) {
  const auto calls = callsOfUse();
  for (std::size_t k = 1; k <= calls.size(); ++k) {
    Objects objects = makeObjects();
    watched.clear();
    watched.failNothing();
    watched.failCall(k, CMPI_RC_ERR_ACCESS_DENIED, "the broker's reason");
    const CmpiStatus status = statusThrownBy([&] { GetParam().action(objects); });
    EXPECT_EQ(status.rc(), CMPI_RC_ERR_ACCESS_DENIED) << calls[k - 1].text();
    EXPECT_STREQ(status.msg(), "the broker's reason") << calls[k - 1].text();
  }
}

TEST_P(FailingCallTest, NamesTheCallWhereTheBrokerSendsNoText) {
  const auto calls = callsOfUse();
  for (std::size_t k = 1; k <= calls.size(); ++k) {
    const std::string& function = calls[k - 1].function;
    Objects objects = makeObjects();
    watched.clear();
    watched.failNothing();
    watched.failCall(k, CMPI_RC_ERR_INVALID_HANDLE);
    const CmpiStatus status = statusThrownBy([&] { GetParam().action(objects); });
    EXPECT_EQ(status.rc(), CMPI_RC_ERR_INVALID_HANDLE) << calls[k - 1].text();
    EXPECT_EQ(status.msg(), function.substr(function.find('.') + 1) + " failed");
  }
}

const std::vector<Use> kUses{
    {"NewPath", [](Objects&) { CmpiObjectPath("root/cimv2", "Thing"); }, {"broker.newObjectPath"}},
    {"SetKey", [](Objects& on) { on.path.setKey("Name", CmpiData("x")); }, {"objectPath.addKey"}},
    {"GetKey", [](Objects& on) { on.path.getKey("Name"); }, {"objectPath.getKey"}},
    {"GetKeyAt", [](Objects& on) { on.path.getKeyAt(0, nullptr); }, {"objectPath.getKeyAt"}},
    {"GetKeyCount", [](Objects& on) { on.path.getKeyCount(); }, {"objectPath.getKeyCount"}},
    {"GetNameSpace", [](Objects& on) { on.path.getNameSpace(); }, {"objectPath.getNameSpace"}},
    {"GetClassName", [](Objects& on) { on.path.getClassName(); }, {"objectPath.getClassName"}},
    {"PathText",
     [](Objects& on) { on.path.toString(); },
     {"objectPath.getNameSpace", "objectPath.getClassName", "objectPath.getKeyCount",
      "objectPath.getKeyAt", "objectPath.getKeyAt", "objectPath.toString"}},
    {"ClassPathIsA", [](Objects& on) { on.path.classPathIsA("Thing"); }, {"broker.classPathIsA"}},
    {"ComparePaths",
     [](Objects& on) { EXPECT_TRUE(on.path == on.equalPath); },
     {"objectPath.getClassName", "objectPath.getClassName", "objectPath.getNameSpace",
      "objectPath.getNameSpace", "objectPath.getKeyCount", "objectPath.getKeyCount",
      "objectPath.getKeyAt", "objectPath.getKeyCount", "objectPath.getKeyAt", "objectPath.getKeyAt",
      "objectPath.getKeyCount", "objectPath.getKeyAt", "objectPath.getKeyAt"}},
    {"NewInstance",
     [](Objects& on) { CmpiInstance instance(on.path); },
     {"broker.newInstance", "objectPath.getKeyCount", "objectPath.getKeyAt",
      "instance.getProperty"}},
    {"NewInstanceOfOneKey",
     [](Objects& on) { CmpiInstance instance(on.pathOfOneKey); },
     {"broker.newInstance", "objectPath.getKeyCount", "objectPath.getKeyAt",
      "instance.setProperty"}},
    {"SetProperty",
     [](Objects& on) { on.instance.setProperty("Note", CmpiData("x")); },
     {"instance.setProperty"}},
    {"GetProperty", [](Objects& on) { on.instance.getProperty("Name"); }, {"instance.getProperty"}},
    {"GetObjectPath", [](Objects& on) { on.instance.getObjectPath(); }, {"instance.getObjectPath"}},
    {"InstanceText", [](Objects& on) { on.instance.toString(); }, {"broker.toString"}},
    {"FilterProperties",
     [](Objects& on) {
       const char* properties[] = {"Note", nullptr};
       on.instance.setPropertyFilter(properties, nullptr);
     },
     {"instance.getObjectPath", "objectPath.getKeyCount", "objectPath.getKeyAt",
      "objectPath.getKeyAt", "instance.setPropertyFilter"}},
    {"FilterNothing",
     [](Objects& on) { on.instance.setPropertyFilter(nullptr, nullptr); },
     {"instance.setPropertyFilter"}},
    {"NewArray", [](Objects&) { CmpiArray array(1, CMPI_string); }, {"broker.newArray"}},
    {"WrapArray",
     [](Objects& on) { CmpiArray array(on.array.getHandle()); },
     {"array.getSimpleType"}},
    {"StoreElement",
     [](Objects& on) { on.array[0] = CmpiData(static_cast<unsigned short>(2)); },
     {"array.setElementAt"}},
    {"ReadElement",
     [](Objects& on) { static_cast<void>(static_cast<CmpiData>(on.array[0])); },
     {"array.getElementAt"}},
    {"CopyElement",
     [](Objects& on) { on.array[1] = on.array[0]; },
     {"array.getElementAt", "array.setElementAt"}},
    {"EnumerateInstances",
     [](Objects& on) { on.broker.enumInstances(on.context, on.path, nullptr); },
     {"broker.enumerateInstances"}},
    {"EnumerateNames",
     [](Objects& on) { on.broker.enumInstanceNames(on.context, on.path); },
     {"broker.enumerateInstanceNames"}},
    {"NextElement", [](Objects& on) { on.names.getNext(); }, {"enumeration.getNext"}},
    {"HasNextElement", [](Objects& on) { on.names.hasNext(); }, {"enumeration.hasNext"}},
};

INSTANTIATE_TEST_SUITE_P(Uses, FailingCallTest, testing::ValuesIn(kUses),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

/// Calls that answer OK and give nothing.
class EmptyAnswerTest : public FailingCallTest {};

TEST_P(EmptyAnswerTest, AMissingObjectIsAFailure) {
  Objects objects = makeObjects();
  watched.failCall(GetParam().calls.front(), 0, CMPI_RC_OK);
  const CmpiStatus status = statusThrownBy([&] { GetParam().action(objects); });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_FAILED);
  EXPECT_THAT(status.msg(), HasSubstr(" gave no "));
}

std::vector<Use> usesThatNeedAnObject() {
  std::vector<Use> needing;
  for (const Use& use : kUses) {
    const std::string name = use.name;
    for (const char* wanted : {"NewPath", "NewInstance", "NewArray", "GetObjectPath",
                               "FilterProperties", "EnumerateInstances", "EnumerateNames"}) {
      if (name == wanted) needing.push_back(use);
    }
  }
  return needing;
}

INSTANTIATE_TEST_SUITE_P(Uses, EmptyAnswerTest, testing::ValuesIn(usesThatNeedAnObject()),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(FailingCallTest, AFailureWhoseTextCannotBeReadKeepsItsCode) {
  Objects objects = makeObjects();
  watched.failCall("objectPath.getKeyCount", 0, CMPI_RC_ERR_ACCESS_DENIED, "unreadable");
  watched.failCall("string.getCharPtr", 0, CMPI_RC_ERR_FAILED);
  const CmpiStatus status = statusThrownBy([&] { objects.path.getKeyCount(); });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(status.msg(), "getKeyCount failed");
}

TEST_F(FailingCallTest, TextThatIsMissingReadsAsEmpty) {
  Objects objects = makeObjects();
  for (const char* function : {"objectPath.toString", "objectPath.getClassName",
                               "objectPath.getNameSpace", "broker.toString"}) {
    watched.failCall(function, 0, CMPI_RC_OK);
  }
  EXPECT_STREQ(objects.path.toString().charPtr(), "");
  EXPECT_STREQ(objects.path.getClassName().charPtr(), "");
  EXPECT_STREQ(objects.path.getNameSpace().charPtr(), "");
  EXPECT_STREQ(objects.instance.toString().charPtr(), "");
}

}  // namespace
}  // namespace zelInt
