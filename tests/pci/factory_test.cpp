// The library as an object manager meets it: its symbols, factories, records and provider life. The
// symbols come from the built file, records from its factories, called from one thread or from
// many; that the snapshot is made once shows in the calls that reach the scripted host.
#include "scripted_machine.h"

#include <broker/request_scope.h>
#include <zelcppc/CmpiProviderBase.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <cstdio>
#include <thread>

#include <sys/wait.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::RequestScope;
using testing::ElementsAreArray;
using testing::IsSubsetOf;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

const std::vector<std::string> kInstanceClasses{"Zelmar_PCIDevice", "Zelmar_PCIBridge",
                                                "Zelmar_PCIeSwitch", "Zelmar_PCIPort",
                                                "Zelmar_PCIPortGroup"};
const std::vector<std::string> kAssociationClasses{
    "Zelmar_PCISystemDevice", "Zelmar_PCIDeviceConnection", "Zelmar_PCIControlledBy",
    "Zelmar_PCIHostedCollection", "Zelmar_PCIMemberOfCollection"};

std::vector<std::string> allClasses() {
  return kInstanceClasses + kAssociationClasses;
}

/// The first word of each output line of a command.
std::vector<std::string> firstWords(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  std::vector<std::string> words;
  std::array<char, 4096> line{};
  while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
    const std::string text(line.data());
    words.push_back(text.substr(0, text.find_first_of(" @\n")));
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return words;
}

TEST(Library, ExportsItsFactoriesAndHoldersAndNothingElse) {
  std::vector<std::string> expected = each("", allClasses(), "_Create_InstanceMI") +
                                      each("", kAssociationClasses, "_Create_AssociationMI") +
                                      each("base", allClasses());
  EXPECT_THAT(firstWords("nm -D --defined-only --format=posix " PROVIDER_LIBRARY),
              UnorderedElementsAreArray(expected));
}

TEST(Library, NeedsNothingButThePlatformAndTheLanguage) {
  EXPECT_THAT(firstWords("readelf -d " PROVIDER_LIBRARY
                         " | sed -n 's/.*(NEEDED).*\\[\\([a-z0-9+_]*\\)[-.].*/\\1/p'"),
              IsSubsetOf({"libzelcppc", "libqarctl", "libstdc++", "libm", "libgcc_s", "libc",
                          "libpthread", "libasan", "libubsan", "libtsan", "ld"}));
}

/// What providers have always used of the binding, beside its entry points for object managers.
const std::pair<const char*, std::vector<std::string>> kOperations[] = {
    {"CmpiArray", {"CmpiArray", "operator"}},
    {"CmpiArrayIdx", {"operator"}},
    {"CmpiAssociationMI",
     {"CmpiAssociationMI", "~CmpiAssociationMI", "associators", "associatorNames", "references",
      "referenceNames"}},
    {"CmpiBaseMI", {"CmpiBaseMI", "~CmpiBaseMI", "initialize", "cleanup", "isUnloadable"}},
    {"CmpiBroker", {"CmpiBroker", "enumInstances", "enumInstanceNames"}},
    {"CmpiData", {"CmpiData", "operator"}},
    {"CmpiEnumeration", {"getNext"}},
    {"CmpiInstance", {"CmpiInstance", "setProperty", "setPropertyFilter"}},
    {"CmpiInstanceMI",
     {"CmpiInstanceMI", "~CmpiInstanceMI", "enumInstanceNames", "enumInstances", "getInstance",
      "createInstance", "setInstance", "deleteInstance", "execQuery"}},
    {"CmpiObject", {"~CmpiObject", "toString"}},
    {"CmpiObjectPath", {"CmpiObjectPath", "setKey", "getKey", "classPathIsA", "operator"}},
    {"CmpiProviderBase", {"~CmpiProviderBase"}},
    {"CmpiResult", {"returnData", "returnDone"}},
    {"CmpiStatus", {"~CmpiStatus"}}};

/// The binding may be the system's own, which has those and no more. What the library can do
/// without is a weak symbol.
TEST(Library, NeedsNoMoreOfTheBindingThanProvidersAlwaysUsed) {
  std::vector<std::string> known;
  for (const auto& [type, names] : kOperations) {
    known = known + each("zelInt::" + std::string(type) + "::", names);
  }
  std::vector<std::string> needed =
      firstWords("nm -D -C --undefined-only " PROVIDER_LIBRARY
                 " | sed -n 's/^ *U \\(zelInt::[A-Za-z:~]*\\).*/\\1/p' | sort -u");
  std::erase_if(needed,
                [](const std::string& name) { return name.find("::drive") != std::string::npos; });
  EXPECT_THAT(needed, testing::Contains("zelInt::CmpiObject::toString"));
  EXPECT_THAT(needed, IsSubsetOf(known));
}

class Factories : public RequestTest {
 protected:
  int useCount(const std::string& className) { return holder(className).useCount(); }
  zelInt::CmpiProviderBase& holder(const std::string& className) {
    return *static_cast<zelInt::CmpiProviderBase*>(provider.symbol("base" + className));
  }
  template <class Record>
  CMPIStatus cleanup(Record* record) {
    RequestScope scope;
    return record->ft->cleanup(record, scope.newContext("root/cimv2", 0), 0);
  }
};

template <class Table>
void expectVersions(const Table& table, const std::string& name) {
  EXPECT_EQ(table.ftVersion, 200);
  EXPECT_EQ(table.miVersion, 200);
  EXPECT_EQ(table.miName, name);
}

TEST_F(Factories, OfInstancesGiveCompleteRecords) {
  for (const std::string& className : allClasses()) {
    const CMPIInstanceMI* mi = provider.instanceMI(className);
    expectVersions(*mi->ft, "instance" + className);
    EXPECT_NE(mi->hdl, nullptr);
    const auto& table = *mi->ft;
    EXPECT_TRUE(table.cleanup != nullptr && table.enumerateInstanceNames != nullptr &&
                table.enumerateInstances != nullptr && table.getInstance != nullptr &&
                table.createInstance != nullptr && table.modifyInstance != nullptr &&
                table.deleteInstance != nullptr && table.execQuery != nullptr);
  }
}

TEST_F(Factories, OfAssociationsGiveCompleteRecords) {
  for (const std::string& className : kAssociationClasses) {
    const CMPIAssociationMI* mi = provider.associationMI(className);
    expectVersions(*mi->ft, "association" + className);
    EXPECT_NE(mi->hdl, nullptr);
    const auto& table = *mi->ft;
    EXPECT_TRUE(table.cleanup != nullptr && table.associators != nullptr &&
                table.associatorNames != nullptr && table.references != nullptr &&
                table.referenceNames != nullptr);
  }
}

TEST_F(Factories, GiveTheSameRecordEachTimeAndCountTheirCalls) {
  for (const std::string& className : allClasses()) {
    EXPECT_EQ(useCount(className), 0);
    const CMPIInstanceMI* first = provider.instanceMI(className);
    EXPECT_EQ(useCount(className), 1);
    EXPECT_EQ(provider.instanceMI(className), first);
    EXPECT_EQ(useCount(className), 2);
    EXPECT_EQ(first->hdl, holder(className).getBaseMI());
  }
}

TEST_F(Factories, OfOneAssociationShareOneProvider) {
  for (const std::string& className : kAssociationClasses) {
    const CMPIAssociationMI* association = provider.associationMI(className);
    const CMPIInstanceMI* instance = provider.instanceMI(className);
    EXPECT_EQ(association->hdl, instance->hdl);
    EXPECT_NE(static_cast<const void*>(association), static_cast<const void*>(instance));
    EXPECT_EQ(useCount(className), 2);
  }
}

TEST_F(Factories, OfInstancesAloneWriteToStandardError) {
  std::string expected;
  testing::internal::CaptureStderr();
  for (const std::string& className : allClasses()) {
    provider.instanceMI(className);
    provider.instanceMI(className);
    expected += "--- _Create_InstanceMI() PN6zelInt10CmpiBaseMIE\n";
    expected += "--- _Create_InstanceMI() PN6zelInt10CmpiBaseMIE\n";
  }
  for (const std::string& className : kAssociationClasses) provider.associationMI(className);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}

TEST_F(Factories, DoNotReadAThirdArgument) {
  using Factory = CMPIInstanceMI* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
  RequestScope scope;
  CMPIStatus status{CMPI_RC_ERR_FAILED, nullptr};
  const auto create =
      reinterpret_cast<Factory>(provider.symbol("Zelmar_PCIPort_Create_InstanceMI"));
  EXPECT_NE(create(provider.manager().broker(), scope.newContext("root/cimv2", 0), &status),
            nullptr);
  EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED);
}

TEST_F(Factories, MakeTheSnapshotOnce) {
  int asked = 0;
  host().onCall = [&](const std::string& call) { asked += call == "GetPciDevices" ? 1 : 0; };
  for (const std::string& className : allClasses()) provider.instanceMI(className);
  for (const std::string& className : kAssociationClasses) provider.associationMI(className);
  EXPECT_EQ(asked, 1);
}

TEST_F(Factories, OfDifferentClassesCanRunAtTheSameMoment) {
  std::atomic<int> asked = 0;
  host().onCall = [&](const std::string& call) { asked += call == "GetPciDevices" ? 1 : 0; };
  const std::vector<std::string> classes = allClasses();
  std::barrier start(static_cast<std::ptrdiff_t>(classes.size()));
  std::vector<std::thread> threads;
  for (const std::string& className : classes) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      EXPECT_NE(provider.instanceMI(className)->hdl, nullptr);
      EXPECT_FALSE(
          provider.manager().enumerateInstanceNames(pathOf("OMC_UnitaryComputerSystem")).empty());
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(asked, 1);
  EXPECT_THAT(
      send({Operation::kEnumInstanceNames, "Zelmar_PCIPort", pathOf("Zelmar_PCIPort")}).answers(),
      SizeIs(machinePorts().size()));
}

TEST_F(Factories, LetOutAFailureToLearnTheSystemsName) {
  if (scripted::kOnceForgetsExceptions) GTEST_SKIP() << "pthread_once is the sanitizer's";
  host().onCall = [](const std::string& call) {
    if (call == "GetSystemInfo") throw std::runtime_error("no name");
  };
  EXPECT_THROW(provider.instanceMI("Zelmar_PCIPort"), std::runtime_error);
  EXPECT_EQ(holder("Zelmar_PCIPort").getBaseMI(), nullptr);
  EXPECT_EQ(useCount("Zelmar_PCIPort"), 0);
  // Nothing was built, so the next call tries again, and does not hang.
  host().onCall = [](const std::string&) {};
  EXPECT_NE(provider.instanceMI("Zelmar_PCIPort")->hdl, nullptr);
  EXPECT_THAT(
      send({Operation::kEnumInstanceNames, "Zelmar_PCIPort", pathOf("Zelmar_PCIPort")}).answers(),
      SizeIs(machinePorts().size()));
}

TEST_F(Factories, AManagerHearsOfAFailureToLearnTheSystemsName) {
  host().onCall = [](const std::string& call) {
    if (call == "GetSystemInfo") throw std::runtime_error("no name");
  };
  try {
    provider.manager().enumerateInstances(pathOf("Zelmar_PCIPort"));
    FAIL() << "no error";
  } catch (const cimom::CimError& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("no name"));
  }
}

TEST_F(Factories, TheLastCleanupDestroysTheProviderAndTheNextCallMakesANewOne) {
  for (const std::string& className : kAssociationClasses) {
    CMPIInstanceMI* instance = provider.instanceMI(className);
    CMPIAssociationMI* association = provider.associationMI(className);
    EXPECT_EQ(cleanup(instance).rc, CMPI_RC_OK);
    EXPECT_EQ(useCount(className), 1);
    EXPECT_NE(holder(className).getBaseMI(), nullptr);
    EXPECT_EQ(cleanup(association).rc, CMPI_RC_OK);
    EXPECT_EQ(holder(className).getBaseMI(), nullptr);
    EXPECT_NE(provider.instanceMI(className)->hdl, nullptr);
    EXPECT_EQ(useCount(className), 1);
  }
}

TEST_F(Factories, ACleanupKeepsTheSnapshot) {
  int asked = 0;
  host().onCall = [&](const std::string& call) { asked += call == "GetPciDevices" ? 1 : 0; };
  cleanup(provider.instanceMI("Zelmar_PCIPort"));
  EXPECT_THAT(
      send({Operation::kEnumInstanceNames, "Zelmar_PCIPort", pathOf("Zelmar_PCIPort")}).answers(),
      SizeIs(machinePorts().size()));
  EXPECT_EQ(asked, 1);
}

TEST_F(Factories, WritingOperationsAreNotSupportedByAnyClass) {
  for (const std::string& className : allClasses()) {
    RequestScope scope;
    cimom::RequestAnswers answers;
    CMPIInstanceMI* mi = provider.instanceMI(className);
    const CMPIContext* context = scope.newContext("root/cimv2", 0);
    const CMPIResult* result = scope.newResult(answers);
    const CMPIObjectPath* path = scope.newPath(pathOf(className));
    const std::vector<CMPIrc> codes{
        mi->ft->createInstance(mi, context, result, path, nullptr).rc,
        mi->ft->modifyInstance(mi, context, result, path, nullptr, nullptr).rc,
        mi->ft->deleteInstance(mi, context, result, path).rc,
        mi->ft->execQuery(mi, context, result, path, "select", "WQL").rc};
    EXPECT_THAT(codes, testing::Each(CMPI_RC_ERR_NOT_SUPPORTED)) << className;
    EXPECT_EQ(answers.doneCount, 0U);
  }
}

}  // namespace
