#include <changes/operation_answers.h>

#include <model/cim_error.h>
#include <model/names.h>

#include <functional>
#include <map>
#include <optional>
#include <unordered_set>

namespace pcicim {
namespace {

constexpr const char* kDeviceId = "DeviceID";

/// By class, the path of an instance that was listed.
using ExamplePaths = std::map<std::string, cimom::ObjectPath, std::less<>>;

cimom::ObjectPath pathOf(const std::string& className) {
  cimom::ObjectPath path;
  path.className = className;
  return path;
}

std::string deviceIdOf(const cimom::Instance& instance) {
  const cimom::Value* id = instance.findProperty(kDeviceId);
  return id != nullptr && !id->elements.empty() ? cimom::toText(id->elements.front()) : "";
}

/// Only these name functions by their DeviceID; that of a port is the port's own.
bool listsFunctions(const std::string& className) {
  return className == elementClasses()[0] || className == elementClasses()[1] ||
         className == elementClasses()[2];
}

/// The path of another instance of the class, where there is one, for this function: some servers
/// want all keys.
cimom::ObjectPath pathOf(const FunctionName& function, const ExamplePaths& examples) {
  const auto example = examples.find(function.className);
  cimom::ObjectPath path = example != examples.end() ? example->second : pathOf(function.className);
  std::erase_if(path.keys, [](const auto& key) { return cimom::sameName(key.name, kDeviceId); });
  path.keys.push_back({kDeviceId, cimom::Value::text(function.deviceId)});
  return path;
}

std::optional<cimom::Instance> fetch(cimom::Operations& operations, const cimom::ObjectPath& path) {
  try {
    return operations.getInstance(path, std::nullopt);
  } catch (const cimom::CimError& error) {
    if (error.code() != CMPI_RC_ERR_NOT_FOUND) {
      throw;
    }
    return std::nullopt;
  }
}

}  // namespace

const std::vector<std::string>& elementClasses() {
  static const std::vector<std::string> kNames{"Zelmar_PCIDevice", "Zelmar_PCIBridge",
                                               "Zelmar_PCIeSwitch", "Zelmar_PCIPort",
                                               "Zelmar_PCIPortGroup"};
  return kNames;
}

void OperationAnswers::giveTo(AnswersSink& sink) {
  sink.host(facts_);
  std::unordered_set<std::string> listed;
  ExamplePaths examples;
  for (const std::string& className : classes_) {
    if (!sink.wants(className)) {
      continue;
    }
    sink.beginClass(className);
    const bool isOfFunctions = listsFunctions(className);
    operations_.enumerateInstances(pathOf(className), std::nullopt,
                                   [&](const cimom::Instance& instance) {
                                     if (isOfFunctions) {
                                       listed.insert(deviceIdOf(instance));
                                       examples.try_emplace(className, instance.path);
                                     }
                                     sink.instance(instance);
                                   });
  }
  if (!sink.wants(kUnlisted)) {
    return;
  }
  sink.beginClass(std::string(kUnlisted));
  for (const FunctionName& function : findFunctions_()) {
    if (listed.count(function.deviceId) != 0) {
      continue;
    }
    if (const auto instance = fetch(operations_, pathOf(function, examples))) {
      sink.instance(*instance);
    }
  }
}

}  // namespace pcicim
