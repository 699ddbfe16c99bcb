#include <cmpi/cmpi.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace {

constexpr int kNoException = 42;

CMPIStatus cleanup(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean) {
  throw std::runtime_error("cannot be cleaned up");
}

CMPIStatus enumerateInstanceNames(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                                  const CMPIObjectPath*) {
  throw kNoException;
}

CMPIStatus enumerateInstances(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                              const CMPIObjectPath*, const char**) {
  throw std::runtime_error("out of order");
}

CMPIStatus getInstance(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                       const CMPIObjectPath*, const char**) {
  return {CMPI_RC_ERR_ACCESS_DENIED, nullptr};
}

CMPIStatus sleepForEver(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                        const CMPIObjectPath*) {
  std::fputs("sleeping\n", stderr);
  for (;;) pause();
}

CMPIInstanceMIFT makeTable() {
  CMPIInstanceMIFT table{};
  table.ftVersion = 100;
  table.miVersion = 100;
  table.miName = "failing";
  table.cleanup = cleanup;
  table.enumerateInstanceNames = enumerateInstanceNames;
  table.enumerateInstances = enumerateInstances;
  table.getInstance = getInstance;
  return table;
}

}  // namespace

// A provider library has no header of its own.
extern "C" {

#define FAILING_FACTORY(name)                                                                   \
  __attribute__((visibility("default")))                                                        \
  CMPIInstanceMI* name##_Create_InstanceMI(const CMPIBroker*, const CMPIContext*, CMPIStatus*); \
  CMPIInstanceMI* name##_Create_InstanceMI(const CMPIBroker*, const CMPIContext*,               \
                                           [[maybe_unused]] CMPIStatus* status)

FAILING_FACTORY(Failing_Thing) {
  static const CMPIInstanceMIFT table = makeTable();
  static CMPIInstanceMI record{nullptr, &table};
  *status = {CMPI_RC_OK, nullptr};
  return &record;
}

FAILING_FACTORY(Failing_Sleeper) {
  static CMPIInstanceMIFT table = makeTable();
  table.enumerateInstanceNames = sleepForEver;
  static CMPIInstanceMI record{nullptr, &table};
  *status = {CMPI_RC_OK, nullptr};
  return &record;
}

FAILING_FACTORY(Failing_Maker) {
  throw kNoException;
}
}
