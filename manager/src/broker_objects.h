#pragma once

#include <cmpi/cmpi.h>

#include <manager/broker.h>
#include <manager/value.h>

#include <optional>
#include <string>
#include <vector>

/// The objects behind the broker's handles. What a make function returns belongs to the thread's
/// request and is released at its end.
namespace cimom {

struct Broker::State {
  const ClassRepository* repository = nullptr;
  Upcalls* upcalls = nullptr;
  BrokerOptions options;
  CMPIBroker record{};
};

/// Writes the status where the caller wants one.
void setStatus(CMPIStatus* status, CMPIStatus value);
void setStatus(CMPIStatus* status, CMPIrc code);

/// A null value of the type.
CMPIData nullData(CMPIType type);

/// The CIM type of a CMPI scalar type (the array flag does not count), if there is one.
std::optional<CimType> cimTypeOf(CMPIType type);

CMPIString* makeString(const std::string& text);
CMPIArray* makeArray(CMPICount size, CimType elementType);
CMPIObjectPath* makePath(ObjectPath path);
CMPIInstance* makeInstance(Instance instance, const Broker::State& state);
CMPIEnumeration* makeEnumeration(std::vector<ObjectPath> paths);
CMPIEnumeration* makeEnumeration(std::vector<Instance> instances, const Broker::State& state);

/// What a handle stands for; null when it is not one of this broker's.
const ObjectPath* pathOf(const CMPIObjectPath* path);
const Instance* instanceOf(const CMPIInstance* instance);

/// Text and type name ("CMPIString", ...) of any object of this broker.
std::optional<std::string> objectText(const void* object);
const char* objectTypeName(const void* object);

/// Threads, keys, mutexes and conditions over POSIX.
const CMPIBrokerExtFT& operatingSystemTable();

}  // namespace cimom
