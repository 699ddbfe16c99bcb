// Drives the built provider library through the C interface, as an object manager does, over a
// saved machine with two cascaded switches: the answers of each class, and the records' own rules.
// Requests go to the library's records directly where the test is about one provider, and through
// an object manager where several classes, or one with the computer system's, have to work
// together. Each test runs in a process of its own, since the library reads its host once.
#include "provider_requests.h"

#include <broker/object_manager.h>
#include <broker/request_scope.h>
#include <cmpi/cmpi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <thread>

namespace {

using cimom::CimError;
using cimom::Instance;
using cimom::ObjectPath;
using cimom::RequestAnswers;
using cimom::RequestScope;
using cimom::Value;
using requests::pathOf;
using requests::propertyNames;
using requests::textOf;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSwitch[] = "0000:01:00.0";
constexpr char kDownstreamPort[] = "0000:02:00.0-ep";
constexpr char kRootPort[] = "0000:00:04.0";

using InstanceFactory = CMPIInstanceMI* (*)(const CMPIBroker*, const CMPIContext*);
using AssociationFactory = CMPIAssociationMI* (*)(const CMPIBroker*, const CMPIContext*);

std::string deviceId(const ObjectPath& path) {
  const Value* key = path.findKey("DeviceID");
  return key != nullptr ? cimom::toText(key->elements.front()) : "(no DeviceID)";
}

class BuiltLibrary : public testing::Test {
 protected:
  BuiltLibrary() {
    setenv("QARCTL_PCI_DUMP", SAMPLES_DIRECTORY "/q35-pcie-switches.txt", 1);
    setenv("QARCTL_HOST_NAME", "HostA01", 1);
    repository = std::make_shared<cimom::ClassRepository>(
        cimom::ClassRepository::loadDirectory(SCHEMA_DIRECTORY));
    manager = std::make_unique<cimom::ObjectManager>(repository);
    manager->loadProvider(PROVIDER_LIBRARY);
    manager->loadProvider(SYSTEM_PROVIDER_LIBRARY);
    library = dlopen(PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  }
  ~BuiltLibrary() override {
    manager.reset();
    dlclose(library);
  }

  template <class Factory>
  Factory factory(const std::string& name) {
    return reinterpret_cast<Factory>(dlsym(library, name.c_str()));
  }

  /// Calls get-instance and reports what came, how often done was signalled, and the status.
  CMPIrc get(const ObjectPath& path, RequestAnswers& answers) {
    RequestScope scope;
    CMPIInstanceMI* mi = factory<InstanceFactory>(path.className + "_Create_InstanceMI")(
        manager->broker(), scope.newContext("root/cimv2", 0));
    return mi->ft
        ->getInstance(mi, scope.newContext("root/cimv2", 0), scope.newResult(answers),
                      scope.newPath(path), nullptr)
        .rc;
  }

  /// Calls an association operation that answers names.
  template <class Call>
  CMPIrc associate(const std::string& className, const ObjectPath& source, RequestAnswers& answers,
                   Call call) {
    RequestScope scope;
    CMPIAssociationMI* mi = factory<AssociationFactory>(className + "_Create_AssociationMI")(
        manager->broker(), scope.newContext("root/cimv2", 0));
    return call(*mi, scope.newContext("root/cimv2", 0), scope.newResult(answers),
                scope.newPath(source))
        .rc;
  }

  std::shared_ptr<cimom::ClassRepository> repository;
  std::unique_ptr<cimom::ObjectManager> manager;
  void* library = nullptr;
};

TEST_F(BuiltLibrary, DevicePropertiesComeInTheirOrderAfterTheKeys) {
  const auto devices = manager->enumerateInstances(pathOf("Zelmar_PCIDevice"));
  ASSERT_EQ(devices.size(), 13U);
  EXPECT_THAT(
      propertyNames(devices.front()),
      ElementsAre("SystemCreationClassName", "SystemName", "CreationClassName", "DeviceID",
                  "BusNumber", "DeviceNumber", "FunctionNumber", "ElementName", "PrimaryStatus",
                  "HealthState", "EnabledState", "RequestedState", "Capabilities", "ClassCode",
                  "SubsystemID", "SubsystemVendorID", "PCIDeviceID", "VendorID", "RevisionID",
                  "SubClassCode", "SegmentNumber", "ParentDeviceID"));
  EXPECT_EQ(textOf(devices.front(), "SystemName"), "hosta01");
}

TEST_F(BuiltLibrary, PortPropertiesComeInTheirOrderAfterTheKeys) {
  const auto ports = manager->enumerateInstances(pathOf("Zelmar_PCIPort"));
  ASSERT_EQ(ports.size(), 33U);
  EXPECT_THAT(propertyNames(ports.front()),
              ElementsAre("SystemName", "CreationClassName", "SystemCreationClassName", "DeviceID",
                          "PortType", "ElementName", "ControllerDeviceID", "BusNumber",
                          "DeviceNumber", "FunctionNumber", "PCIDeviceID", "VendorID", "RevisionID",
                          "ClassCode", "SubClassCode"));
}

TEST_F(BuiltLibrary, SwitchesCountTheirDirectChildren) {
  const auto switches = manager->enumerateInstances(pathOf("Zelmar_PCIeSwitch"));
  ASSERT_EQ(switches.size(), 2U);
  EXPECT_EQ(textOf(switches[0], "NumberOfPorts"), "4");
  EXPECT_EQ(textOf(switches[1], "NumberOfPorts"), "2");
}

TEST_F(BuiltLibrary, AGetOfOneBridgePortAnswersBoth) {
  RequestAnswers answers;
  const std::string port = std::string(kRootPort) + "-sec";
  EXPECT_EQ(get(pathOf("Zelmar_PCIPort", {{"DeviceID", port}}), answers), CMPI_RC_OK);
  ASSERT_EQ(answers.instances.size(), 2U);
  EXPECT_EQ(deviceId(answers.instances[0].path), std::string(kRootPort) + "-pri");
  EXPECT_EQ(textOf(answers.instances[0], "BusNumber"), "0");
  EXPECT_EQ(textOf(answers.instances[1], "BusNumber"), "1");
  EXPECT_EQ(answers.doneCount, 1U);
}

struct GetCase {
  const char* name;
  const char* className;
  const char* deviceId;
  CMPIrc status;
  std::size_t instances;
  unsigned done;
};

class GetByDeviceId : public BuiltLibrary, public testing::WithParamInterface<GetCase> {};

TEST_P(GetByDeviceId, AnswersItsOwnWay) {
  const GetCase& expected = GetParam();
  RequestAnswers answers;
  const ObjectPath path = pathOf(expected.className, {{"DeviceID", expected.deviceId}});
  EXPECT_EQ(get(path, answers), expected.status);
  EXPECT_EQ(answers.instances.size(), expected.instances);
  EXPECT_EQ(answers.doneCount, expected.done);
}

INSTANTIATE_TEST_SUITE_P(
    Classes, GetByDeviceId,
    testing::Values(GetCase{"DeviceEmpty", "Zelmar_PCIDevice", "", CMPI_RC_ERR_NOT_FOUND, 0, 0},
                    GetCase{"DeviceUnknown", "Zelmar_PCIDevice", "ffff:00:00.0", CMPI_RC_OK, 0, 1},
                    GetCase{"DeviceBridge", "Zelmar_PCIDevice", kRootPort, CMPI_RC_OK, 1, 1},
                    GetCase{"BridgeEmpty", "Zelmar_PCIBridge", "", CMPI_RC_ERR_NOT_FOUND, 0, 0},
                    GetCase{"BridgeUnknown", "Zelmar_PCIBridge", "ffff:00:00.0", CMPI_RC_OK, 0, 0},
                    GetCase{"BridgeOfSwitch", "Zelmar_PCIBridge", kSwitch, CMPI_RC_ERR_NOT_FOUND, 0,
                            0},
                    GetCase{"BridgeKnown", "Zelmar_PCIBridge", kRootPort, CMPI_RC_OK, 1, 0},
                    GetCase{"BridgeOfHost", "Zelmar_PCIBridge", "0000:00:00.0", CMPI_RC_OK, 1, 0},
                    GetCase{"SwitchEmpty", "Zelmar_PCIeSwitch", "", CMPI_RC_ERR_NOT_FOUND, 0, 0},
                    GetCase{"SwitchUnknown", "Zelmar_PCIeSwitch", "ffff:00:00.0", CMPI_RC_OK, 0, 0},
                    GetCase{"SwitchOfBridge", "Zelmar_PCIeSwitch", kRootPort, CMPI_RC_OK, 1, 0},
                    GetCase{"PortEmpty", "Zelmar_PCIPort", "", CMPI_RC_ERR_NOT_FOUND, 0, 0},
                    GetCase{"PortUnknown", "Zelmar_PCIPort", "nothing-ep", CMPI_RC_OK, 0, 1}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

struct GroupCase {
  const char* name;
  const char* id;
  CMPIrc status;
  const char* bus;
};

class GetGroup : public BuiltLibrary, public testing::WithParamInterface<GroupCase> {};

TEST_P(GetGroup, ReadsTheBusBehindTheFirstHyphen) {
  RequestAnswers answers;
  const ObjectPath path = pathOf("Zelmar_PCIPortGroup", {{"InstanceID", GetParam().id}});
  EXPECT_EQ(get(path, answers), GetParam().status);
  EXPECT_EQ(answers.doneCount, 1U);
  if (GetParam().status != CMPI_RC_OK) {
    EXPECT_THAT(answers.instances, IsEmpty());
  } else {
    ASSERT_EQ(answers.instances.size(), 1U);
    EXPECT_EQ(textOf(answers.instances[0], "BusNumber"), GetParam().bus);
    EXPECT_EQ(textOf(answers.instances[0], "ElementName"),
              std::string("PCI port group with bus number ") + GetParam().bus);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Names, GetGroup,
    testing::Values(GroupCase{"Plain", "Zelmar:bus-3", CMPI_RC_OK, "3"},
                    GroupCase{"OtherStart", "x-3", CMPI_RC_OK, "3"},
                    GroupCase{"NoDigits", "Zelmar:bus-abc", CMPI_RC_OK, "0"},
                    GroupCase{"WrapsAt256", "Zelmar:bus-259", CMPI_RC_OK, "3"},
                    GroupCase{"EmptyBus", "Zelmar:bus-0300", CMPI_RC_ERR_NOT_FOUND, ""},
                    GroupCase{"NoHyphen", "Zelmar:bus3", CMPI_RC_ERR_NOT_FOUND, ""}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

TEST_F(BuiltLibrary, BothFactoriesOfAnAssociationShareOneProvider) {
  RequestScope scope;
  const CMPIContext* context = scope.newContext("root/cimv2", 0);
  CMPIInstanceMI* instance = factory<InstanceFactory>("Zelmar_PCISystemDevice_Create_InstanceMI")(
      manager->broker(), context);
  CMPIAssociationMI* association = factory<AssociationFactory>(
      "Zelmar_PCISystemDevice_Create_AssociationMI")(manager->broker(), context);
  EXPECT_EQ(instance->hdl, association->hdl);
  EXPECT_NE(static_cast<void*>(instance), static_cast<void*>(association));
  EXPECT_EQ(instance->ft->ftVersion, 200);
  EXPECT_EQ(instance->ft->miVersion, 200);
  EXPECT_STREQ(instance->ft->miName, "instanceZelmar_PCISystemDevice");
  EXPECT_STREQ(association->ft->miName, "associationZelmar_PCISystemDevice");
}

TEST_F(BuiltLibrary, OnlyInstanceFactoriesAnnounceThemselvesOnEveryCall) {
  RequestScope scope;
  const CMPIContext* context = scope.newContext("root/cimv2", 0);
  testing::internal::CaptureStderr();
  for (int call = 0; call < 2; ++call) {
    factory<InstanceFactory>("Zelmar_PCISystemDevice_Create_InstanceMI")(manager->broker(),
                                                                         context);
    factory<AssociationFactory>("Zelmar_PCISystemDevice_Create_AssociationMI")(manager->broker(),
                                                                               context);
  }
  const std::string line = "--- _Create_InstanceMI() PN6zelInt10CmpiBaseMIE\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line);
}

TEST_F(BuiltLibrary, WritingOperationsAreNotSupported) {
  RequestScope scope;
  RequestAnswers answers;
  CMPIContext* context = scope.newContext("root/cimv2", 0);
  const std::vector<std::string> names{"Zelmar_PCIDevice", "Zelmar_PCIMemberOfCollection"};
  for (const std::string& name : names) {
    CMPIInstanceMI* mi =
        factory<InstanceFactory>(name + "_Create_InstanceMI")(manager->broker(), context);
    CMPIObjectPath* path = scope.newPath(pathOf(name));
    CMPIResult* result = scope.newResult(answers);
    EXPECT_EQ(mi->ft->createInstance(mi, context, result, path, nullptr).rc,
              CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(mi->ft->modifyInstance(mi, context, result, path, nullptr, nullptr).rc,
              CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(mi->ft->deleteInstance(mi, context, result, path).rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(mi->ft->execQuery(mi, context, result, path, "", "").rc, CMPI_RC_ERR_NOT_SUPPORTED);
  }
}

TEST_F(BuiltLibrary, WronglyTypedKeyIsATypeMismatch) {
  ObjectPath path = pathOf("Zelmar_PCIPort");
  path.keys.push_back({"DeviceID", Value::number(cimom::CimType::kUint16, 7)});
  RequestAnswers answers;
  EXPECT_EQ(get(path, answers), CMPI_RC_ERR_TYPE_MISMATCH);
}

TEST_F(BuiltLibrary, MissingKeyIsAnError) {
  RequestAnswers answers;
  EXPECT_EQ(get(pathOf("Zelmar_PCIPort"), answers), CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(BuiltLibrary, ReferencesOfAGroupSignalDoneTwice) {
  RequestAnswers answers;
  const CMPIrc status =
      associate("Zelmar_PCIHostedCollection",
                pathOf("Zelmar_PCIPortGroup", {{"InstanceID", "Zelmar:bus-3"}}), answers,
                [](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
                   CMPIObjectPath* source) {
                  return mi.ft->references(&mi, context, result, source, nullptr, nullptr, nullptr);
                });
  EXPECT_EQ(status, CMPI_RC_OK);
  EXPECT_EQ(answers.instances.size(), 1U);
  EXPECT_EQ(answers.doneCount, 2U);
}

TEST_F(BuiltLibrary, ReferencesOfAnUnknownPortAreEmptyAndOk) {
  RequestAnswers answers;
  const CMPIrc status = associate(
      "Zelmar_PCIMemberOfCollection", pathOf("Zelmar_PCIPort", {{"DeviceID", "none-ep"}}), answers,
      [](CMPIAssociationMI& mi, const CMPIContext* context, CMPIResult* result,
         CMPIObjectPath* source) {
        return mi.ft->references(&mi, context, result, source, nullptr, nullptr, nullptr);
      });
  EXPECT_EQ(status, CMPI_RC_OK);
  EXPECT_THAT(answers.instances, IsEmpty());
  EXPECT_EQ(answers.doneCount, 1U);
}

TEST_F(BuiltLibrary, ResultClassInAnyCaseNarrowsThePartsOfTheSystem) {
  const ObjectPath system = manager->enumerateInstanceNames(pathOf("OMC_UnitaryComputerSystem"))[0];
  const auto parts = [&](const std::string& resultClass) {
    return manager->associatorNames(system, {"Zelmar_PCISystemDevice", resultClass, "", ""}).size();
  };
  EXPECT_EQ(parts("zelmar_pciport"), 33U);
  EXPECT_EQ(parts("ZELMAR_PCIDEVICE"), 13U);
  EXPECT_EQ(parts("Zelmar_PCIBridge"), 46U);
  EXPECT_EQ(parts(""), 46U);
}

TEST_F(BuiltLibrary, TheSystemOfAPortComesFromItsOwnProvider) {
  const auto systems = manager->associators(pathOf("Zelmar_PCIPort", {{"DeviceID", "any"}}),
                                            {"Zelmar_PCISystemDevice", "", "", ""});
  ASSERT_EQ(systems.size(), 1U);
  EXPECT_EQ(textOf(systems[0], "Name"), "hosta01");
}

TEST_F(BuiltLibrary, AControlledByPairOfADownstreamPortIsTheSwitchsOwn) {
  ObjectPath path = pathOf("Zelmar_PCIControlledBy");
  path.keys.push_back(
      {"Dependent", Value::reference(pathOf("Zelmar_PCIPort", {{"DeviceID", kDownstreamPort}}))});
  const Instance pair = manager->getInstance(path);
  EXPECT_THAT(textOf(pair, "Dependent"), testing::HasSubstr(std::string(kSwitch) + "-up"));
  EXPECT_THAT(textOf(pair, "Antecedent"), testing::HasSubstr("Zelmar_PCIeSwitch"));
}

TEST_F(BuiltLibrary, ABridgeControlsItsPortAndThePeer) {
  const auto ports = manager->associatorNames(pathOf("Zelmar_PCIBridge", {{"DeviceID", kRootPort}}),
                                              {"Zelmar_PCIControlledBy", "", "", ""});
  ASSERT_EQ(ports.size(), 2U);
  EXPECT_EQ(deviceId(ports[0]), std::string(kRootPort) + "-sec");
  EXPECT_EQ(deviceId(ports[1]), std::string(kRootPort) + "-pri");
}

TEST_F(BuiltLibrary, APropertyListKeepsTheKeys) {
  const auto ports =
      manager->enumerateInstances(pathOf("Zelmar_PCIPort"), std::vector<std::string>{"PortType"});
  EXPECT_THAT(propertyNames(ports.at(0)),
              ElementsAre("SystemName", "CreationClassName", "SystemCreationClassName", "DeviceID",
                          "PortType"));
}

TEST_F(BuiltLibrary, EightThreadsGetTheSameAnswers) {
  const std::map<std::string, std::size_t> expected = {
      {"Zelmar_PCIDevice", 13},           {"Zelmar_PCIBridge", 6},
      {"Zelmar_PCIeSwitch", 2},           {"Zelmar_PCIPort", 33},
      {"Zelmar_PCIPortGroup", 14},        {"Zelmar_PCISystemDevice", 46},
      {"Zelmar_PCIControlledBy", 33},     {"Zelmar_PCIDeviceConnection", 0},
      {"Zelmar_PCIHostedCollection", 14}, {"Zelmar_PCIMemberOfCollection", 45}};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&] {
      for (const auto& [className, count] : expected) {
        EXPECT_EQ(manager->enumerateInstances(pathOf(className)).size(), count) << className;
        EXPECT_EQ(manager->enumerateInstanceNames(pathOf(className)).size(), count) << className;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
