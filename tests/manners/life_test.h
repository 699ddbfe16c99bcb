#pragma once

#include "answer_text.h"

#include <broker/object_manager.h>
#include <broker/request_scope.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <machine_requests.h>

#include <cstdlib>

#include <dlfcn.h>

/// What the tests of the library's life share.
namespace manners {

inline const std::vector<std::string>& instanceClasses() {
  static const std::vector<std::string> names{"Zelmar_PCIDevice", "Zelmar_PCIBridge",
                                              "Zelmar_PCIeSwitch", "Zelmar_PCIPort",
                                              "Zelmar_PCIPortGroup"};
  return names;
}

inline const std::vector<std::string>& associationClasses() {
  static const std::vector<std::string> names{
      "Zelmar_PCISystemDevice", "Zelmar_PCIDeviceConnection", "Zelmar_PCIControlledBy",
      "Zelmar_PCIHostedCollection", "Zelmar_PCIMemberOfCollection"};
  return names;
}

/// A request that each class serves over the saved machine, with instances where it has some.
inline requests::Request listingOf(
    const std::string& className,
    requests::Operation operation = requests::Operation::kEnumInstances) {
  return {operation, className, requests::pathOf(className)};
}

/// One to which each association returns instances, from a port of a switch or from a group. The
/// computer system comes through the broker.
inline requests::Request navigationOf(
    const std::string& className,
    requests::Operation operation = requests::Operation::kAssociators) {
  const cimom::ObjectPath source = className == "Zelmar_PCIHostedCollection"
                                       ? scripted::groupPath("Zelmar:bus-2")
                                       : scripted::portPath("0000:02:00.0-ep");
  return {operation, className, source};
}

/// Opens the library over a saved machine with two cascaded switches; an object manager beside it
/// serves the computer system.
class LifeTest : public testing::Test {
 protected:
  LifeTest() {
    setenv("QARCTL_PCI_DUMP", SAMPLES_DIRECTORY "/q35-pcie-switches.txt", 1);
    setenv("QARCTL_HOST_NAME", "HostA01", 1);
    manager.loadProvider(SYSTEM_PROVIDER_LIBRARY);
  }

  void open() {
    library = std::make_unique<requests::ProviderLibrary>(PROVIDER_LIBRARY, manager.broker());
  }

  /// Closes the library and checks that it is gone from the process, and host control with it.
  void close() {
    library.reset();
    for (const char* name : {PROVIDER_LIBRARY, "libqarctl.so.1"}) {
      void* still = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
      EXPECT_EQ(still, nullptr) << name;
      if (still != nullptr) dlclose(still);
    }
  }

  template <class Record>
  static CMPIrc cleanUp(Record* record, bool terminating = false) {
    cimom::RequestScope scope;
    return record->ft->cleanup(record, scope.newContext("root/cimv2", 0), terminating ? 1 : 0).rc;
  }

  cimom::ObjectManager manager{requests::testClasses()};
  std::unique_ptr<requests::ProviderLibrary> library;
};

}  // namespace manners
