// Writes down all that the built provider returns over a saved machine. Instances are a line each,
// with the properties' names and types once per class and usual values left out, so that a file of
// answers can be read and its differences too. The host's name, the name list and the log are
// replaced, which makes the text the same on every system. Once per process, on one thread: the
// provider reads its host once, and the log is one for all.
#include "machine_answers.h"

#include <caught_log.h>
#include <provider_requests.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <variant>

#include <dlfcn.h>
#include <syslog.h>

extern "C" {
#include <pci/pci.h>
}

namespace machines {
namespace {

using cimom::Instance;
using cimom::NamedValue;
using cimom::ObjectPath;
using cimom::Scalar;
using cimom::Value;
using requests::Operation;
using requests::Outcome;

constexpr const char* kHostName = "machine";

const std::vector<std::string>& publishedClasses() {
  static const std::vector<std::string> names{
      "Zelmar_PCIDevice",           "Zelmar_PCIBridge",
      "Zelmar_PCIeSwitch",          "Zelmar_PCIPort",
      "Zelmar_PCIPortGroup",        "Zelmar_PCISystemDevice",
      "Zelmar_PCIControlledBy",     "Zelmar_PCIDeviceConnection",
      "Zelmar_PCIHostedCollection", "Zelmar_PCIMemberOfCollection"};
  return names;
}

std::string textOf(const Value& value);

/// What almost every object of a class carries is written where it is otherwise.
std::map<std::string, std::string> usualValues(const std::string& ownClass) {
  return {{"SystemCreationClassName", "\"OMC_UnitaryComputerSystem\""},
          {"SystemName", '"' + std::string(kHostName) + '"'},
          {"CreationClassName", '"' + ownClass + '"'},
          {"PrimaryStatus", "0"},
          {"HealthState", "0"},
          {"EnabledState", "0"},
          {"RequestedState", "0"}};
}

bool isUsual(const NamedValue& property, const std::string& ownClass) {
  const auto usual = usualValues(ownClass);
  const auto found = usual.find(property.name);
  return found != usual.end() && found->second == textOf(property.value);
}

/// `Class "id"`, then in braces the other keys that are not the usual ones.
std::string textOf(const ObjectPath& path) {
  std::string text = path.nameSpace == "root/cimv2" ? "" : path.nameSpace + ':';
  text += path.host.empty() ? "" : "//" + path.host + '/';
  text += path.className;
  std::string others;
  for (const NamedValue& key : path.keys) {
    const bool isId = key.name == "DeviceID" || key.name == "InstanceID" || key.name == "Name";
    const std::string value = textOf(key.value);
    if (isId) {
      text += ' ' + value;
    } else if (!isUsual(key, path.className)) {
      others += (others.empty() ? "" : " ") + key.name + '=' + value;
    }
  }
  return others.empty() ? text : text + " {" + others + '}';
}

std::string textOf(const Scalar& scalar) {
  if (const auto* path = std::get_if<std::shared_ptr<const ObjectPath>>(&scalar)) {
    return textOf(**path);
  }
  const bool isText = std::holds_alternative<std::string>(scalar);
  return isText ? '"' + cimom::toText(scalar) + '"' : cimom::toText(scalar);
}

std::string textOf(const Value& value) {
  if (value.isNull) return "null";
  std::string text;
  for (const Scalar& element : value.elements) text += (text.empty() ? "" : ",") + textOf(element);
  return value.isArray ? '[' + text + ']' : text;
}

/// Names and types of all properties of some instances, in the order in which they come.
std::vector<std::string> declarations(const std::vector<Instance>& instances) {
  std::vector<std::string> all;
  for (const Instance& instance : instances) {
    for (const NamedValue& property : instance.properties) {
      const std::string text = property.name + ':' +
                               std::string(cimom::typeName(property.value.type)) +
                               (property.value.isArray ? "[]" : "");
      if (std::find(all.begin(), all.end(), text) == all.end()) all.push_back(text);
    }
  }
  return all;
}

/// The key is a property of the same value, too.
bool isProperty(const NamedValue& key, const Instance& instance) {
  const Value* value = instance.findProperty(key.name);
  return value != nullptr && textOf(*value) == textOf(key.value);
}

std::string lineOf(const Instance& instance, const std::vector<std::string>& declared) {
  const std::string& className = instance.path.className;
  std::string line = " ";
  for (const NamedValue& property : instance.properties) {
    if (isUsual(property, className)) continue;
    line += ' ' + property.name + '=' + textOf(property.value);
  }
  const auto usual = usualValues(className);
  for (const std::string& declaration : declared) {
    const std::string name = declaration.substr(0, declaration.find(':'));
    const bool isMissing = usual.count(name) != 0 && instance.findProperty(name) == nullptr;
    line += isMissing ? " no " + name : "";
  }
  const auto& keys = instance.path.keys;
  const bool isPlain = std::all_of(keys.begin(), keys.end(), [&instance](const NamedValue& key) {
    return isProperty(key, instance);
  });
  return line + (isPlain ? "" : " path " + textOf(instance.path)) + '\n';
}

std::string statusOf(const Outcome& outcome) {
  return outcome.status == CMPI_RC_OK ? "" : ", status " + std::to_string(outcome.status);
}

bool areThePaths(const std::vector<ObjectPath>& names, const std::vector<Instance>& instances) {
  return std::equal(names.begin(), names.end(), instances.begin(), instances.end(),
                    [](const ObjectPath& name, const Instance& instance) {
                      return cimom::toText(name) == cimom::toText(instance.path);
                    });
}

/// Asks the provider and collects what it returns.
class AnswerBook {
 public:
  std::string text() const { return text_; }

  void enumerate(const std::string& className) {
    const ObjectPath path = requests::pathOf(className);
    const Outcome instances = provider_.send({Operation::kEnumInstances, className, path});
    const Outcome names = provider_.send({Operation::kEnumInstanceNames, className, path});
    text_ += '\n' + className + ": " + std::to_string(instances.instances.size()) +
             statusOf(instances) + '\n';
    list(instances.instances);
    if (areThePaths(names.paths, instances.instances) && names.status == instances.status) return;
    text_ += className + ", names: " + std::to_string(names.paths.size()) + statusOf(names) + '\n';
    for (const ObjectPath& name : names.paths) text_ += "  " + textOf(name) + '\n';
  }

  void askFor(const std::string& className, const std::set<std::string>& addresses) {
    std::vector<Instance> instances;
    std::string others;
    for (const std::string& address : addresses) {
      const ObjectPath path = requests::byDeviceId(className, address);
      const Outcome outcome = provider_.send({Operation::kGetInstance, className, path});
      if (outcome.instances.empty() || outcome.status != CMPI_RC_OK) {
        others += "  none \"" + address + '"' + statusOf(outcome) + '\n';
      }
      instances.insert(instances.end(), outcome.instances.begin(), outcome.instances.end());
    }
    text_ += '\n' + className +
             " by DeviceID, of functions in no enumeration: " + std::to_string(instances.size()) +
             '\n';
    list(instances);
    text_ += others;
  }

  /// The ids that the enumerations returned.
  const std::set<std::string>& enumerated() const { return enumerated_; }

 private:
  void list(const std::vector<Instance>& instances) {
    const std::vector<std::string> declared = declarations(instances);
    std::string names;
    for (const std::string& declaration : declared) names += ' ' + declaration;
    if (!instances.empty()) text_ += " " + names + '\n';
    for (const Instance& instance : instances) {
      text_ += lineOf(instance, declared);
      enumerated_.insert(requests::textOf(instance, "DeviceID"));
    }
  }

  requests::ProviderUnderTest provider_{PROVIDER_LIBRARY};
  std::string text_;
  std::set<std::string> enumerated_;
};

/// The addresses at which functions of a saved machine begin.
std::set<std::string> addressesIn(const std::filesystem::path& machine) {
  const std::regex start("^([0-9a-f]{4,}:[0-9a-f]{2}:[0-9a-f]{2}\\.[0-7]) ");
  std::ifstream in(machine);
  std::set<std::string> addresses;
  std::smatch found;
  for (std::string line; std::getline(in, line);) {
    if (std::regex_search(line, found, start)) addresses.insert(found[1]);
  }
  return addresses;
}

/// The warnings and errors of the log, without the directory that the machine is in; what traces
/// requests or reports progress is left out.
std::string logOver(const std::filesystem::path& machine) {
  std::string text;
  for (const caughtlog::LogLine& line : caughtlog::logLines()) {
    if (line.priority == LOG_ERR) text += "  error: " + line.text + '\n';
    if (line.priority == LOG_WARNING) text += "  warning: " + line.text + '\n';
  }
  const std::string directory = machine.parent_path().string() + '/';
  for (std::size_t at = text.find(directory); at != std::string::npos; at = text.find(directory)) {
    text.erase(at, directory.size());
  }
  return text.empty() ? "  nothing\n" : text;
}

}  // namespace

std::string answersOver(const std::filesystem::path& machine) {
  setenv("QARCTL_PCI_DUMP", machine.c_str(), 1);
  setenv("QARCTL_HOST_NAME", kHostName, 1);
  AnswerBook book;
  for (const std::string& className : publishedClasses()) book.enumerate(className);
  std::set<std::string> others = addressesIn(machine);
  std::erase_if(others, [enumerated = book.enumerated()](const std::string& address) {
    return enumerated.count(address) != 0;
  });
  book.askFor("Zelmar_PCIDevice", others);
  book.askFor("Zelmar_PCIBridge", others);
  return "Answers over " + machine.filename().string() + '\n' + book.text() +
         "\nWarnings and errors:\n" + logOver(machine);
}

}  // namespace machines

extern "C" {
// Names must not change with the list that the system has today.
__attribute__((visibility("default"))) struct pci_access* pci_alloc(void) {
  using Alloc = struct pci_access* (*)();
  const auto real = reinterpret_cast<Alloc>(dlsym(RTLD_NEXT, "pci_alloc"));
  struct pci_access* access = real();
  static char list[] = MACHINES_DIRECTORY "/pci.ids";
  pci_set_name_list_path(access, list, 0);
  return access;
}
}
