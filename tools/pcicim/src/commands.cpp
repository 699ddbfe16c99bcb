#include "commands.h"

#include <broker/object_manager.h>
#include <model/cim_error.h>
#include <model/names.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <topology/topology_reader.h>
#include "asked_host.h"
#include "diff_command.h"
#include "each_host.h"
#include "exit_code.h"
#include "function_filter.h"
#include "output.h"
#include "path_text.h"
#include "picture.h"
#include "save_command.h"
#include "serve.h"
#include "session.h"
#include "standard_output.h"
#include "tree_json.h"

namespace pcicim {
namespace {

const std::vector<std::string>& publishedClasses() {
  static const std::vector<std::string> kNames{
      "Zelmar_PCIDevice",           "Zelmar_PCIBridge",
      "Zelmar_PCIeSwitch",          "Zelmar_PCIPort",
      "Zelmar_PCIPortGroup",        "Zelmar_PCISystemDevice",
      "Zelmar_PCIControlledBy",     "Zelmar_PCIDeviceConnection",
      "Zelmar_PCIHostedCollection", "Zelmar_PCIMemberOfCollection"};
  return kNames;
}

cimom::ObjectPath classPath(const std::string& className) {
  cimom::ObjectPath path;
  path.className = className;
  return path;
}

constexpr const char* kDeviceId = "DeviceID";

/// Ports are called after their function: "0000:02:00.0-ep".
std::string functionOf(const cimom::Value& deviceId) {
  const std::string text =
      deviceId.elements.empty() ? "" : cimom::toText(deviceId.elements.front());
  return text.substr(0, text.find('-'));
}

/// A class as people name it, perhaps with host and namespace in front.
cimom::ObjectPath classNamed(const std::string& text) {
  if (text.find(':') == std::string::npos) {
    return classPath(text);
  }
  const PathText written = parsePath(text);
  if (!written.keys.empty()) {
    throw PathError("a class has no keys; \"pcicim get\" shows one object",
                    written.keys.front().position);
  }
  cimom::ObjectPath path = classPath(written.className);
  path.nameSpace = written.nameSpace;
  return path;
}

class CommandRunner {
 public:
  /// All outlive it.
  CommandRunner(const Options& options, Session& session, AskedHost& host, std::ostream& out)
      : options_(options), session_(session), host_(host), out_(out) {}

  void run() {
    // A path that cannot be read is said before anything is loaded.
    if (takesPath()) {
      path_ = session_.path(options_.target);
    }
    switch (options_.command) {
      case Command::kClasses:
        printClasses(publishedClasses(), session_.classes(), options_.format, out_);
        return;
      case Command::kCount:
        return count();
      case Command::kEnumerate:
        return enumerate();
      case Command::kGet:
        return list([&](const auto& sink) {
          sink(options_.address.empty()
                   ? host_.operations().getInstance(path_, propertiesOf(path_.className))
                   : functionAtAddress());
        });
      case Command::kAssociators:
        return list([&](const auto& sink) {
          host_.operations().associators(path_, filter(), properties(), sink);
        });
      case Command::kAssociatorNames:
        return list(
            [&](const auto& sink) { host_.operations().associatorNames(path_, filter(), sink); });
      case Command::kReferences:
        return list([&](const auto& sink) {
          host_.operations().references(path_, referenceFilter(), properties(), sink);
        });
      case Command::kReferenceNames:
        return list([&](const auto& sink) {
          host_.operations().referenceNames(path_, referenceFilter(), sink);
        });
      case Command::kPicture:
        return picture();
      case Command::kServe:
        return serve(session_, options_, publishedClasses(), out_);
      case Command::kTree:
        return tree();
      case Command::kSave:
        return save(host_, session_.inventory(), options_, publishedClasses(), out_);
      case Command::kDiff:
        break;
    }
  }

 private:
  bool takesPath() const {
    if (!options_.address.empty()) {
      return false;
    }
    switch (options_.command) {
      case Command::kClasses:
      case Command::kCount:
      case Command::kEnumerate:
      case Command::kPicture:
      case Command::kSave:
      case Command::kServe:
      case Command::kTree:
      case Command::kDiff:
        return false;
      default:
        return true;
    }
  }

  cimom::PropertyList properties() const {
    return options_.properties.empty() ? cimom::PropertyList() : options_.properties;
  }

  /// Other servers return keys, too, only where they are asked for.
  cimom::PropertyList propertiesOf(const std::string& className) const {
    if (options_.remote.urls.empty() || options_.properties.empty()) return properties();
    std::vector<std::string> names;
    if (session_.classes().contains(className)) names = session_.classes().keys(className);
    std::ranges::copy_if(options_.properties, std::back_inserter(names),
                         [&](const auto& name) { return !cimom::holdsName(names, name); });
    return names;
  }

  cimom::AssociationFilter filter() const {
    return {options_.assocClass, options_.resultClass, options_.role, options_.resultRole};
  }

  /// A request for references returns associations: either name filters by their class.
  cimom::AssociationFilter referenceFilter() const {
    cimom::AssociationFilter filter = this->filter();
    if (filter.resultClass.empty()) {
      filter.resultClass = filter.assocClass;
    }
    filter.assocClass.clear();
    return filter;
  }

  /// Prints what the request hands to the sink that it is given.
  template <typename Request>
  void list(Request request) {
    ListingPrinter printer(session_.classes(), options_.format, out_, host_.name(), isColoured());
    request([&printer](const auto& object) { printer.print(object); });
    printer.finish();
  }

  void enumerate() {
    const cimom::ObjectPath asked = classNamed(options_.target);
    const FunctionTest isMeant = functionTest(asked);
    list([&](const auto& sink) {
      if (options_.namesOnly) {
        host_.operations().enumerateInstanceNames(asked, [&](cimom::ObjectPath&& path) {
          if (isMeant(path.findKey(kDeviceId))) sink(path);
        });
      } else {
        host_.operations().enumerateInstances(asked, propertiesOf(asked.className),
                                              [&](cimom::Instance&& instance) {
                                                if (isMeant(instance.findProperty(kDeviceId)))
                                                  sink(instance);
                                              });
      }
    });
  }

  /// Whether an object with that DeviceID is of the functions that -s and -d mean.
  using FunctionTest = std::function<bool(const cimom::Value*)>;

  FunctionTest functionTest(const cimom::ObjectPath& asked) {
    if (options_.address.empty() && options_.ids.empty()) {
      return [](const cimom::Value*) { return true; };
    }
    const cimom::ClassRepository& classes = session_.classes();
    if (classes.contains(asked.className) &&
        classes.findProperty(asked.className, kDeviceId) == nullptr) {
      throw cimom::CimError(CMPI_RC_ERR_INVALID_PARAMETER,
                            asked.className + " has no addresses to look for");
    }
    return [meant = meantAddresses(asked), filter = addressFilter()](const cimom::Value* id) {
      const auto address = id == nullptr ? std::nullopt : parseAddress(functionOf(*id));
      return address && filter.matches(*address) && (!meant || meant->contains(*address));
    };
  }

  AddressFilter addressFilter() const {
    return parseAddressFilter(options_.address).value_or(AddressFilter());
  }

  /// Those with the ids that are asked for; nothing where all will do.
  std::optional<std::set<Address>> meantAddresses(const cimom::ObjectPath& asked) {
    if (options_.ids.empty()) {
      return std::nullopt;
    }
    const IdFilter ids = parseIdFilter(options_.ids).value_or(IdFilter());
    const auto isOrAny = [](const std::optional<unsigned>& wanted, const cimom::Value* value) {
      return !wanted || (value != nullptr && !value->elements.empty() &&
                         cimom::toText(value->elements.front()) == std::to_string(*wanted));
    };
    std::set<Address> meant;
    host_.operations().enumerateInstances(
        asked, std::vector<std::string>{kDeviceId, "VendorID", "PCIDeviceID"},
        [&](cimom::Instance&& instance) {
          const cimom::Value* id = instance.findProperty(kDeviceId);
          const auto address = id == nullptr ? std::nullopt : parseAddress(functionOf(*id));
          if (address && isOrAny(ids.vendor, instance.findProperty("VendorID")) &&
              isOrAny(ids.device, instance.findProperty("PCIDeviceID"))) {
            meant.insert(*address);
          }
        });
    return meant;
  }

  bool isListed(const cimom::ObjectPath& asked, const std::string& deviceId) {
    bool isFound = false;
    host_.operations().enumerateInstanceNames(asked, [&](cimom::ObjectPath&& path) {
      const cimom::Value* id = path.findKey(kDeviceId);
      isFound = isFound || (id != nullptr && functionOf(*id) == deviceId);
    });
    return isFound;
  }

  /// The device, bridge or switch at the address that was given.
  cimom::Instance functionAtAddress() {
    const AddressFilter filter = addressFilter();
    if (!filter.bus || !filter.device || !filter.function) {
      throw cimom::CimError(CMPI_RC_ERR_INVALID_PARAMETER,
                            options_.address + " is not the address of one function");
    }
    const std::string address =
        addressText({filter.segment.value_or(0), *filter.bus, *filter.device, *filter.function});
    // Switches and devices answer for every function; of switches only those that are listed count.
    for (const char* name : {"Zelmar_PCIeSwitch", "Zelmar_PCIBridge", "Zelmar_PCIDevice"}) {
      cimom::ObjectPath path = classPath(name);
      if (std::string_view(name) == "Zelmar_PCIeSwitch" && !isListed(path, address)) continue;
      path.keys.push_back({kDeviceId, cimom::Value::text(address)});
      try {
        return host_.operations().getInstance(path, propertiesOf(path.className));
      } catch (const cimom::CimError& error) {
        if (error.code() != CMPI_RC_ERR_NOT_FOUND) throw;
      }
    }
    throw cimom::CimError(CMPI_RC_ERR_NOT_FOUND, "no device, bridge or switch at " + address);
  }

  void count() {
    std::vector<std::pair<std::string, std::size_t>> counts;
    for (const std::string& name : publishedClasses()) {
      std::size_t& names = counts.emplace_back(name, 0).second;
      host_.operations().enumerateInstanceNames(classPath(name),
                                                [&names](const auto&) { ++names; });
    }
    printCounts(counts, options_.format, out_, host_.name());
  }

  void picture() {
    // A file that cannot be drawn is said before anything is loaded.
    static_cast<void>(pictureFormat(options_));
    savePicture(readMachine(host_.topology(), host_.name()), options_, out_);
  }

  void tree() {
    TopologySource& source = host_.topology();
    std::vector<Function> functions = readTopology(source);
    std::vector<Function> leftOut;
    if (options_.address.empty() && options_.ids.empty()) {
      leftOut = findLeftOut(source, functions);
    } else {
      functions = meantOf(functions);
    }
    if (options_.format == Format::kJson) {
      return printTreeJson(functions, leftOut, out_);
    }
    if (functions.empty() && leftOut.empty()) {
      out_ << "No PCI functions.\n";
    }
    printTree(std::move(functions), out_, isColoured());
    printLeftOut(leftOut, out_);
  }

  std::vector<Function> meantOf(const std::vector<Function>& functions) {
    // Every function with ids that a class enumerates has a port.
    const auto meant = meantAddresses(classPath("Zelmar_PCIPort"));
    const AddressFilter filter = addressFilter();
    std::vector<bool> isMeant;
    for (const Function& function : functions) {
      const auto address = parseAddress(function.address);
      isMeant.push_back(address && filter.matches(*address) &&
                        (!meant || meant->contains(*address)));
    }
    if (std::find(isMeant.begin(), isMeant.end(), true) == isMeant.end()) {
      throw cimom::CimError(CMPI_RC_ERR_NOT_FOUND, "no such function");
    }
    return branchesOf(functions, isMeant);
  }

  bool isColoured() const { return wantsColours(options_.colours); }

  const Options& options_;
  Session& session_;
  AskedHost& host_;
  std::ostream& out_;
  /// What the command is about, where it takes a path.
  cimom::ObjectPath path_;
};

}  // namespace

int runCommand(const Options& options, std::ostream& out) {
  Session session(options);
  if (options.command == Command::kDiff) return diff(session.classes(), options, out);
  const auto hosts = askedHosts(session, options);
  const auto ask = [&](AskedHost& host, std::ostream& answer) {
    CommandRunner(options, session, host, answer).run();
  };
  if (hosts.size() == 1) {
    ask(*hosts.front(), out);
  } else if (options.command == Command::kSave) {
    throw std::runtime_error("save keeps the answers of one host: --url is given more than once");
  } else {
    askEachHost(hosts, options.format, out, ask);
  }
  return kSuccess;
}

}  // namespace pcicim
