#include "remote_topology.h"

#include <client/cim_xml_client.h>
#include <model/names.h>
#include <model/short_text.h>

#include <algorithm>
#include <future>
#include <utility>

namespace pcicim {
namespace {

constexpr const char* kDeviceId = "DeviceID";
/// Threads that ask at the same time.
constexpr std::size_t kThreads = 4;
/// More than a host with 64 segments takes.
constexpr std::size_t kMostQuestions = std::size_t{1} << 20;

/// The values under the names by which they were asked for, in whatever case the server writes
/// them.
Record toRecord(const std::vector<cimom::NamedValue>& values,
                const std::vector<std::string>& names) {
  Record record;
  for (const cimom::NamedValue& written : values) {
    const auto name = std::ranges::find_if(names, [&written](const std::string& asked) {
      return cimom::sameName(asked, written.name);
    });
    const cimom::Value& value = written.value;
    if (name == names.end() || value.isNull || value.isArray || value.elements.empty()) continue;
    record[*name] = cimom::toText(value.elements.front());
  }
  return record;
}

cimom::ObjectPath classPath(std::string_view className) {
  cimom::ObjectPath path;
  path.className = className;
  return path;
}

}  // namespace

void RemoteTopology::instances(std::string_view className,
                               const std::vector<std::string>& properties, const RecordSink& sink) {
  operations_.enumerateInstances(classPath(className), properties,
                                 [&](const cimom::Instance& instance) {
                                   if (cimom::sameName(instance.path.className, className)) {
                                     examples_.try_emplace(std::string(className), instance.path);
                                   }
                                   sink(toRecord(instance.properties, properties));
                                 });
}

void RemoteTopology::names(std::string_view className, const RecordSink& sink) {
  operations_.enumerateInstanceNames(classPath(className), [&](const cimom::ObjectPath& path) {
    sink(toRecord(path.keys, {kDeviceId}));
  });
}

std::optional<Record> RemoteTopology::instance(std::string_view className,
                                               const std::string& deviceId,
                                               const std::vector<std::string>& properties) {
  count(1);
  return find(pathOf(className, deviceId), deviceId, properties);
}

void RemoteTopology::instancesOf(std::string_view className,
                                 const std::vector<std::string>& deviceIds,
                                 const std::vector<std::string>& properties,
                                 const RecordSink& sink) {
  count(deviceIds.size());
  std::vector<std::optional<Record>> found(deviceIds.size());
  const auto findEvery = [&](std::size_t first) {
    for (std::size_t i = first; i < deviceIds.size(); i += kThreads) {
      found[i] = find(pathOf(className, deviceIds[i]), deviceIds[i], properties);
    }
  };
  std::vector<std::future<void>> others;
  for (std::size_t first = 1; first < std::min(kThreads, deviceIds.size()); ++first) {
    others.push_back(std::async(std::launch::async, findEvery, first));
  }
  findEvery(0);
  for (std::future<void>& other : others) other.get();
  for (const auto& record : found) {
    if (record) sink(*record);
  }
}

void RemoteTopology::count(std::size_t questions) {
  questions_ += questions;
  if (questions_ > kMostQuestions) {
    throw cimom::RemoteError(server_, CMPI_RC_ERR_FAILED,
                             "its topology has no end: more than a million questions", false);
  }
}

/// Other servers want all keys: the others are those of an instance that was listed.
cimom::ObjectPath RemoteTopology::pathOf(std::string_view className,
                                         const std::string& deviceId) const {
  const auto example = examples_.find(className);
  cimom::ObjectPath path = example != examples_.end() ? example->second : classPath(className);
  std::erase_if(path.keys, [](const auto& key) { return cimom::sameName(key.name, kDeviceId); });
  path.keys.push_back({kDeviceId, cimom::Value::text(deviceId)});
  return path;
}

std::optional<Record> RemoteTopology::find(const cimom::ObjectPath& path,
                                           const std::string& deviceId,
                                           const std::vector<std::string>& properties) const {
  try {
    const cimom::Instance found = operations_.getInstance(path, properties);
    const cimom::Value* id = found.findProperty(kDeviceId);
    const std::string name =
        id == nullptr || id->elements.empty() ? "" : cimom::toText(id->elements.front());
    if (!cimom::sameName(name, deviceId)) {
      throw cimom::RemoteError(server_, CMPI_RC_ERR_FAILED,
                               "asked for " + cimom::shortText(deviceId) + " it answers with '" +
                                   cimom::shortText(name) + "'",
                               false);
    }
    return toRecord(found.properties, properties);
  } catch (const cimom::CimError& error) {
    if (error.code() != CMPI_RC_ERR_NOT_FOUND) throw;
    return std::nullopt;
  }
}

}  // namespace pcicim
