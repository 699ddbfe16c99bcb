// Sources and pairs that no well-meaning client sends to an association.
#include "association_fixture.h"

namespace {

using namespace requests;
using namespace scripted;
using cimom::CimType;
using cimom::ObjectPath;
using testing::ElementsAreArray;
using testing::IsEmpty;

class HostileSource : public AssociationRequests {
 protected:
  /// Neither crashes nor answers; the status is the binding's.
  void expectRefused(const char* className, const ObjectPath& path) {
    for (const Operation operation : path.className == className
                                         ? std::vector<Operation>{Operation::kGetInstance}
                                         : associationOperations()) {
      const Outcome outcome = ask(className, operation, path);
      EXPECT_NE(outcome.status, CMPI_RC_OK)
          << className << " " << nameOf(operation) << " " << cimom::toText(path);
      EXPECT_THAT(outcome.answers(), IsEmpty());
    }
  }
};

ObjectPath withNumber(const std::string& className, const char* key) {
  ObjectPath path = pathOf(className);
  path.keys.push_back({key, cimom::Value::number(CimType::kUint32, 7)});
  return path;
}

TEST_F(HostileSource, ANumberForAnIdIsATypeMismatch) {
  for (const auto& [className, source] : std::vector<std::pair<const char*, ObjectPath>>{
           {kControlledBy, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kDeviceConnection, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kMemberOfCollection, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kMemberOfCollection, withNumber("Zelmar_PCIPortGroup", "InstanceID")}}) {
    expectRefused(className, source);
  }
  EXPECT_EQ(references(kHostedCollection, withNumber("Zelmar_PCIPortGroup", "InstanceID")).status,
            CMPI_RC_ERR_TYPE_MISMATCH);
}

TEST_F(HostileSource, PairsWithoutTheirReferencesAreRefused) {
  for (const char* className : kAssociations) {
    expectRefused(className, pathOf(className));
    expectRefused(className, pathOf(className, {{"Antecedent", "text"},
                                                {"Dependent", "text"},
                                                {"GroupComponent", "text"},
                                                {"PartComponent", "text"},
                                                {"Collection", "text"},
                                                {"Member", "text"}}));
  }
}

TEST_F(HostileSource, NullKeysAreEmptyTexts) {
  ObjectPath source = pathOf("Zelmar_PCIPort");
  source.keys.push_back({"DeviceID", cimom::Value::null(CimType::kString)});
  EXPECT_THAT(references(kMemberOfCollection, source).events, ElementsAreArray(kDone));
  EXPECT_THAT(associators(kControlledBy, source).events, ElementsAreArray(kDone));
}

TEST_F(HostileSource, HugeAndOddIdsAreJustUnknown) {
  for (const std::string& id :
       {std::string(1U << 20U, '-'), std::string("%s%n%s%n-\x01\xff"), std::string("'\"\\,=")}) {
    for (const char* className : {kDeviceConnection, kControlledBy, kMemberOfCollection}) {
      for (const Operation operation : associationOperations()) {
        const Outcome outcome = ask(className, operation, portPath(id));
        EXPECT_EQ(outcome.status, CMPI_RC_OK);
        EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
      }
    }
  }
}

}  // namespace
