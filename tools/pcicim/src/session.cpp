#include "session.h"

#include <model/cim_error.h>
#include <mof/class_repository.h>
#include <sys/utsname.h>
#include <syslog.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "error_log.h"
#include "header_scan.h"
#include "host_input.h"
#include "input_pump.h"
#include "path_text.h"
#include "progress.h"
#include "report.h"

namespace pcicim {
namespace {

constexpr const char* kInventoryVariable = "QARCTL_PCI_DUMP";
constexpr const char* kSysfsVariable = "QARCTL_SYSFS_ROOT";
constexpr const char* kHostNameVariable = "QARCTL_HOST_NAME";
constexpr const char* kStandardInput = "/dev/stdin";

constexpr const char* kCostOfHeadersAlone =
    ": capabilities, port types and most slots are unknown, and PCI Express switches show as "
    "bridges";

std::filesystem::path programDirectory() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

/// The first of the candidates, below the directory above the program's, that is there.
std::filesystem::path findBeside(const std::vector<std::filesystem::path>& candidates) {
  const std::filesystem::path base = programDirectory().parent_path();
  std::string places;
  for (const std::filesystem::path& candidate : candidates) {
    std::filesystem::path place = base / candidate;
    if (std::filesystem::exists(place)) {
      return place;
    }
    places += (places.empty() ? "" : ", ") + place.string();
  }
  throw std::runtime_error("not found: " + places);
}

void setVariable(const char* name, const std::string& value) {
  if (!value.empty() && setenv(name, value.c_str(), 1) != 0) {
    throw std::system_error(errno, std::generic_category(), name);
  }
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The project's own schema is checked when it is built, so a command reads of it what it needs. A
/// user's is checked whole, and so is one that a server will be asked for all of.
cimom::MofReading readingFor(const Options& options) {
  const bool whole = !options.schema.empty() || options.command == Command::kServe;
  return whole ? cimom::MofReading::kAtOnce : cimom::MofReading::kAsNeeded;
}

void setUpLog(bool verbose) {
  openlog("pcicim", 0, LOG_USER);
  // Ordinary requests trace at a priority above errors, too; a person asks for that explicitly.
  setlogmask(verbose ? LOG_UPTO(LOG_DEBUG) : LOG_MASK(LOG_ERR) | LOG_MASK(LOG_WARNING));
}

[[noreturn]] void refuseKey(const std::string& className, const PathText::Key& key,
                            const std::string& reason) {
  throw cimom::CimError(CMPI_RC_ERR_INVALID_PARAMETER,
                        "key " + key.name + " of " + className + " " + reason);
}

template <typename Number>
bool readNumber(std::string_view written, Number& number) {
  std::string text(written.substr(written.starts_with('+') ? 1 : 0));
  const std::size_t digits = text.starts_with('-') ? 1 : 0;
  const bool isHex =
      text.size() > digits + 1 && (text[digits + 1] == 'x' || text[digits + 1] == 'X');
  text.erase(digits, isHex ? 2 : 0);
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
  return error == std::errc() && stop == end;
}

bool isSigned(cimom::CimType type) {
  return type == cimom::CimType::kSint8 || type == cimom::CimType::kSint16 ||
         type == cimom::CimType::kSint32 || type == cimom::CimType::kSint64;
}

cimom::Value numberValue(const std::string& className, const PathText::Key& key,
                         cimom::CimType type) {
  std::int64_t signedNumber = 0;
  std::uint64_t number = 0;
  if (isSigned(type) && readNumber(key.value, signedNumber)) {
    return cimom::Value::signedNumber(type, signedNumber);
  }
  if (!isSigned(type) && readNumber(key.value, number)) {
    return cimom::Value::number(type, number);
  }
  refuseKey(className, key, "needs a number of its type");
}

PathText::Key::Kind kindOf(cimom::CimType type) {
  switch (type) {
    case cimom::CimType::kString:
    case cimom::CimType::kDateTime:
    case cimom::CimType::kReference:
      return PathText::Key::Kind::kString;
    case cimom::CimType::kBoolean:
      return PathText::Key::Kind::kBoolean;
    default:
      return PathText::Key::Kind::kNumber;
  }
}

/// Of a class that only the server knows, so that values are what they look like.
cimom::ObjectPath pathAsWritten(const PathText& written) {
  cimom::ObjectPath path;
  path.nameSpace = written.nameSpace;
  path.className = written.className;
  for (const PathText::Key& key : written.keys) {
    const bool isNegative = key.value.starts_with('-');
    cimom::Value value = cimom::Value::text(key.value);
    if (key.kind == PathText::Key::Kind::kBoolean) {
      value = cimom::Value::boolean(key.value == "true");
    } else if (key.kind == PathText::Key::Kind::kNumber) {
      value = numberValue(written.className, key,
                          isNegative ? cimom::CimType::kSint64 : cimom::CimType::kUint64);
    }
    path.keys.push_back({key.name, std::move(value)});
  }
  return path;
}

}  // namespace

std::string nodeName() {
  utsname names{};
  if (uname(&names) != 0) throw std::system_error(errno, std::generic_category(), "uname");
  return names.nodename;
}

/// In a build tree all libraries are in one directory; it comes first, since the place of
/// installation may be an absolute one.
std::filesystem::path findInstalled(const std::string& name, const std::string& directory) {
  const std::filesystem::path built = "lib";
  return findBeside({built / name, std::filesystem::path(directory) / name});
}

Session::Session(const Options& options) : options_(options) {
  setUpLog(options.verbose);
  setVariable(kInventoryVariable, readsStandardInput() ? kStandardInput : options.inventory);
  setVariable(kHostNameVariable, options.hostName);
  const std::filesystem::path schema = options.schema.empty()
                                           ? findBeside({"share/pciprovider/mof"})
                                           : std::filesystem::path(options.schema);
  repository_ = std::make_shared<const cimom::ClassRepository>(
      cimom::ClassRepository::loadDirectory(schema, readingFor(options)));
}

cimom::ObjectManager& Session::manager() {
  if (!manager_) {
    manager_ = std::make_unique<cimom::ObjectManager>(repository_);
    loadProviders();
    checkInput();
  }
  return *manager_;
}

cimom::Operations& Session::operations() {
  if (!operations_) {
    operations_ = std::make_unique<CheckedOperations>(manager(), *repository_);
  }
  return *operations_;
}

void Session::loadProviders() {
  if (options_.providers.empty()) {
    manager_->loadProvider(findInstalled("libpciprovider.so", PCICIM_PROVIDER_DIRECTORY));
    manager_->loadProvider(findInstalled("libhostsystemprovider.so", PCICIM_PROVIDER_DIRECTORY));
  }
  for (const std::string& library : options_.providers) {
    manager_->loadProvider(library);
  }
}

void Session::checkInput() {
  if (!inventory().empty()) {
    checkSavedInventory();
  } else if (options_.providers.empty()) {
    // What other providers read is not known here.
    checkLiveHost();
  }
}

void Session::checkLiveHost() {
  const std::string variableText = variable(kSysfsVariable);
  const std::filesystem::path root = variableText.empty() ? "/sys" : variableText;
  checkSysfs(root);
  if (givesHeadersAlone(root)) {
    report(Severity::kNotice,
           std::string("only 64 bytes of each function's configuration space can be read here "
                       "without privilege") +
               kCostOfHeadersAlone + "; root sees all");
  }
}

/// The provider reads the inventory when it is first asked, and nothing else may: a pipe can be
/// read once. It logs an error that names the file when it cannot, and then returns what a host
/// without PCI has, which the user must not take for the truth. The
/// file's name alone would not do: other errors hold ordinary words and addresses, which may be a
/// file's name too.
void Session::checkSavedInventory() {
  const ErrorWatch watch("PCI inventory " + inventory());
  bool hasHeadersAlone = false;
  if (readsStandardInput()) {
    hasHeadersAlone = readStandardInput();
  } else {
    checkInventory(inventory());
    const Progress progress(
        [file = inventory()] { return "reading " + file + readingState(file); });
    letProviderRead();
    hasHeadersAlone = holdsHeadersAlone(inventory());
  }
  if (!watch.noticed().empty()) {
    refuseInventory(watch.noticed());
  }
  if (hasHeadersAlone) {
    report(Severity::kNotice, inventoryName() + " has only 64 bytes of each function" +
                                  kCostOfHeadersAlone + "; \"lspci -D -xxxx\" as root saves more");
  }
}

/// True when there were no more than 64 bytes of any function.
bool Session::readStandardInput() {
  const InputPump pump;
  {
    const Progress progress([&pump] {
      return "reading standard input: " + std::to_string(pump.bytes() / 1024) + " KiB";
    });
    letProviderRead();
  }
  const HeaderScan* seen = pump.seen();
  if (seen != nullptr && pump.bytes() == 0) {
    report(Severity::kNotice,
           "standard input was empty: a host without PCI, or a command that failed");
  }
  return seen != nullptr && seen->sawHeadersAlone();
}

/// `reason` is what the provider said. Only a text of another kind is something that the user can
/// save anew.
void Session::refuseInventory(std::string_view reason) const {
  const bool isOther = reason.find("expected what lspci") != std::string_view::npos;
  throw std::runtime_error(
      inventoryName() + ": no PCI function could be read from it" +
      (isOther ? "; as root, \"lspci -D -xxxx >FILE\" saves an inventory" : ""));
}

std::string Session::inventoryName() const {
  return readsStandardInput() ? "standard input" : inventory();
}

bool Session::readsStandardInput() const {
  return options_.inventory == "-";
}

/// Any question makes it read; this one has a short answer.
void Session::letProviderRead() {
  cimom::ObjectPath nothing;
  nothing.className = "Zelmar_PCIDevice";
  nothing.keys.push_back({"DeviceID", cimom::Value::text("")});
  try {
    manager_->getInstance(nothing);
  } catch (const cimom::CimError&) {
    // There is none.
  }
}

std::string Session::inventory() const {
  return variable(kInventoryVariable);
}

std::string Session::hostName() const {
  return variable(kHostNameVariable);
}

cimom::ObjectPath Session::path(std::string_view text) const {
  const PathText written = parsePath(text);
  const cimom::ClassDeclaration* declaration = repository_->find(written.className);
  if (declaration == nullptr) {
    if (!options_.remote.urls.empty()) return pathAsWritten(written);
    refuseClass(*repository_, written.className);
  }
  cimom::ObjectPath path;
  path.nameSpace = written.nameSpace;
  path.className = declaration->name;
  for (const PathText::Key& key : written.keys) {
    const auto* property = repository_->findProperty(path.className, key.name);
    if (property == nullptr || !property->isKey) {
      refuseKey(path.className, key, "is not one of its keys");
    }
    if (key.kind != kindOf(property->type)) {
      refuseKey(path.className, key,
                "needs a value of type " + std::string(cimom::typeName(property->type)));
    }
    cimom::Value value;
    if (property->type == cimom::CimType::kReference) {
      value = cimom::Value::reference(this->path(key.value));
    } else if (key.kind == PathText::Key::Kind::kBoolean) {
      value = cimom::Value::boolean(key.value == "true");
    } else if (key.kind == PathText::Key::Kind::kNumber) {
      value = numberValue(path.className, key, property->type);
    } else {
      value = cimom::Value::text(key.value);
    }
    path.keys.push_back({property->name, std::move(value)});
  }
  return path;
}

}  // namespace pcicim
