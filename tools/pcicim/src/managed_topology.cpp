#include "managed_topology.h"

#include <model/cim_error.h>

#include <utility>

namespace pcicim {
namespace {

constexpr const char* kDeviceId = "DeviceID";

cimom::ObjectPath classPath(std::string_view className) {
  cimom::ObjectPath path;
  path.className = className;
  return path;
}

const Record& fill(Record& record, const std::vector<cimom::NamedValue>& values) {
  record.clear();
  for (const auto& [name, value] : values) {
    if (!value.isNull && !value.isArray && !value.elements.empty()) {
      record[name] = cimom::toText(value.elements.front());
    }
  }
  return record;
}

}  // namespace

void ManagedTopology::instances(std::string_view className,
                                const std::vector<std::string>& properties,
                                const RecordSink& sink) {
  Record record;
  manager_.enumerateInstances(
      classPath(className), properties,
      [&](const cimom::Instance& instance) { sink(fill(record, instance.properties)); });
}

void ManagedTopology::names(std::string_view className, const RecordSink& sink) {
  Record record;
  manager_.enumerateInstanceNames(
      classPath(className), [&](const cimom::ObjectPath& path) { sink(fill(record, path.keys)); });
}

/// Most addresses that a tree asks for belong to no function, so that is no exception; that a
/// function is no bridge is one, since its provider reports it.
std::optional<Record> ManagedTopology::instance(std::string_view className,
                                                const std::string& deviceId,
                                                const std::vector<std::string>& properties) {
  try {
    const auto found = finderOf(className, properties).find(deviceId);
    if (!found) {
      return std::nullopt;
    }
    Record record;
    return fill(record, found->properties);
  } catch (const cimom::CimError& error) {
    if (error.code() != CMPI_RC_ERR_NOT_FOUND) {
      throw;
    }
    return std::nullopt;
  }
}

void ManagedTopology::instancesOf(std::string_view className,
                                  const std::vector<std::string>& deviceIds,
                                  const std::vector<std::string>& properties,
                                  const RecordSink& sink) {
  Record record;
  finderOf(className, properties).findEach(deviceIds, [&](const cimom::Instance& instance) {
    sink(fill(record, instance.properties));
  });
}

cimom::InstanceFinder& ManagedTopology::finderOf(std::string_view className,
                                                 const std::vector<std::string>& properties) {
  const auto known = finders_.find(className);
  if (known != finders_.end()) {
    return *known->second;
  }
  const std::string name(className);
  return *(finders_[name] = manager_.instanceFinder(name, kDeviceId, properties));
}

}  // namespace pcicim
