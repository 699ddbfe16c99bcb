#include "binding_test.h"

#include <zelcppc/ObjectScope.h>

namespace zelInt {
namespace {

using test_support::Manners;
using testing::ElementsAre;

class ObjectScopeTest : public BindingTest {
 protected:
  explicit ObjectScopeTest(Manners manners = {.isEmbedded = true}) : BindingTest(manners) {}

  std::vector<std::string> callsInScopes() {
    watched.clear();
    const ObjectScope outer;
    {
      const ObjectScope nested;
      thingPath();
    }
    std::vector<std::string> functions;
    for (const auto& call : watched.calls()) functions.push_back(call.function);
    return functions;
  }
};

TEST_F(ObjectScopeTest, EndsObjectsWhereTheObjectManagerIsTheProjectsOwn) {
  EXPECT_THAT(callsInScopes(),
              ElementsAre("memory.mark", "memory.mark", "broker.newObjectPath", "objectPath.addKey",
                          "objectPath.addKey", "memory.release"));
  EXPECT_EQ(watched.count("memory.release"), 2U);
}

TEST_F(ObjectScopeTest, EndsWithAnException) {
  watched.clear();
  EXPECT_EQ(codeThrownBy([] {
              const ObjectScope scope;
              throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND);
            }),
            CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(watched.count("memory.release"), 1U);
}

TEST_F(ObjectScopeTest, ThrowsWhatAMarkFailsWith) {
  watched.failCall("memory.mark", 0, CMPI_RC_ERR_FAILED, "not taken");
  const CmpiStatus status = statusThrownBy([] { const ObjectScope scope; });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_FAILED);
  EXPECT_STREQ(status.msg(), "not taken");
  EXPECT_EQ(watched.count("memory.release"), 0U);
}

TEST_F(ObjectScopeTest, ARefusedReleaseIsOfNoConsequence) {
  watched.failCall("memory.release", 0, CMPI_RC_ERR_INVALID_HANDLE, "refused");
  EXPECT_EQ(codeThrownBy([] { const ObjectScope scope; }), CMPI_RC_OK);
}

struct OtherObjectManager : ObjectScopeTest {
  OtherObjectManager() : ObjectScopeTest({}) {}
};
TEST_F(OtherObjectManager, IsNotAskedAtAll) {
  EXPECT_THAT(callsInScopes(),
              ElementsAre("broker.newObjectPath", "objectPath.addKey", "objectPath.addKey"));
}

struct WithoutMemoryTable : ObjectScopeTest {
  WithoutMemoryTable() : ObjectScopeTest({.isEmbedded = true, .hasMemoryTable = false}) {}
};
TEST_F(WithoutMemoryTable, ObjectsEndWithTheRequest) {
  EXPECT_THAT(callsInScopes(),
              ElementsAre("broker.newObjectPath", "objectPath.addKey", "objectPath.addKey"));
}

}  // namespace
}  // namespace zelInt
