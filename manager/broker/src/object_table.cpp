#include <mof/mof_error.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "array_object.h"
#include "broker_tables.h"
#include "cmpi_values.h"
#include "instance_object.h"
#include "not_supported.h"
#include "object_text.h"
#include "string_object.h"
#include "text_pool.h"

#include <syslog.h>

namespace cimom {
namespace {

/// A class may be read here for the first time, which must not throw into the provider.
CMPIStatus findLayout(ClassLayouts& layouts, std::string_view className,
                      const ClassLayout*& layout) {
  try {
    layout = layouts.find(className);
  } catch (const MofError& error) {
    return {CMPI_RC_ERR_FAILED, makeString(error.what())};
  }
  if (layout != nullptr) return okStatus();
  return {CMPI_RC_ERR_INVALID_CLASS, makeString("unknown class " + std::string(className))};
}

CMPIInstance* eftNewInstance(const CMPIBroker* broker, const CMPIObjectPath* path,
                             CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  const StoredPath& named = *pathOf(path);
  const ClassLayout* layout = nullptr;
  const CMPIStatus known = findLayout(stateOf(broker)->layouts, named.className.view(), layout);
  setStatus(status, known);
  if (known.rc != CMPI_RC_OK) return nullptr;
  StoredValues properties;
  properties.reserve(std::max(layout->usualCount(), named.keys.size()));
  properties.assign(named.keys.begin(), named.keys.end());
  return make<InstanceObject>(named, std::move(properties), layout);
}

CMPIObjectPath* eftNewObjectPath(const CMPIBroker*, const char* ns, const char* cn,
                                 CMPIStatus* status) {
  if (cn == nullptr) {
    setStatus(status, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  TextPool& texts = requestTexts();
  return makePath({{}, texts.get(orEmpty(ns)), texts.get(cn), {}});
}

CMPIString* eftNewString(const CMPIBroker*, const char* data, CMPIStatus* status) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(data));
}

CMPIArray* eftNewArray(const CMPIBroker*, CMPICount size, CMPIType type, CMPIStatus* status) {
  const auto element = cimTypeOf(type);
  if (!element || (type & CMPI_ARRAY) != 0) {
    setStatus(status, CMPI_RC_ERR_INVALID_DATA_TYPE);
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  return makeArray(size, *element);
}

CMPIBoolean eftClassPathIsA(const CMPIBroker* broker, const CMPIObjectPath* path,
                            const char* className, CMPIStatus* status) {
  if (!checkPath(path, status)) return 0;
  setStatus(status, CMPI_RC_OK);
  const Broker::State* state = stateOf(broker);
  if (state == nullptr || className == nullptr) return 0;
  return state->repository->isA(pathOf(path)->className.view(), className) ? 1 : 0;
}

CMPIString* eftToString(const CMPIBroker*, const void* object, CMPIStatus* status) {
  const std::optional<std::string> text = objectText(object);
  setStatus(status, text ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return text ? makeString(*text) : nullptr;
}

CMPIString* eftGetType(const CMPIBroker*, const void* object, CMPIStatus* status) {
  const char* type = objectTypeName(object);
  setStatus(status, type != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return type != nullptr ? makeString(type) : nullptr;
}

CMPIBoolean eftIsOfType(const CMPIBroker*, const void* object, const char* type,
                        CMPIStatus* status) {
  const char* actual = objectTypeName(object);
  setStatus(status, actual != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return actual != nullptr && type != nullptr && std::strcmp(actual, type) == 0 ? 1 : 0;
}

CMPIString* eftGetMessage(const CMPIBroker*, const char*, const char* defMsg, CMPIStatus* status,
                          CMPICount, ...) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(defMsg));
}

CMPIString* eftGetMessage2(const CMPIBroker*, const char*, CMPIMsgFileHandle, const char* defMsg,
                           CMPIStatus* status, CMPICount, ...) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(defMsg));
}

CMPIStatus log(int priority, const char* text, const CMPIString* string) {
  const char* message = text;
  if (message == nullptr && string != nullptr) message = string->ft->getCharPtr(string, nullptr);
  if (message == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  syslog(priority, "%s", message);
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus eftLogMessage(const CMPIBroker*, CMPISeverity, const char*, const char* text,
                         const CMPIString* string) {
  return log(LOG_INFO, text, string);
}

CMPIStatus eftTrace(const CMPIBroker*, CMPILevel, const char*, const char* text,
                    const CMPIString* string) {
  return log(LOG_DEBUG, text, string);
}

CMPIBrokerEncFT makeTable() {
  using FT = CMPIBrokerEncFT;
  FT table{};
  table.ftVersion = 200;
  table.newInstance = eftNewInstance;
  table.newObjectPath = eftNewObjectPath;
  table.newArgs = notSupported<decltype(FT::newArgs)>();
  table.newString = eftNewString;
  table.newArray = eftNewArray;
  table.newDateTime = notSupported<decltype(FT::newDateTime)>();
  table.newDateTimeFromBinary = notSupported<decltype(FT::newDateTimeFromBinary)>();
  table.newDateTimeFromChars = notSupported<decltype(FT::newDateTimeFromChars)>();
  table.newSelectExp = notSupported<decltype(FT::newSelectExp)>();
  table.classPathIsA = eftClassPathIsA;
  table.toString = eftToString;
  table.isOfType = eftIsOfType;
  table.getType = eftGetType;
  table.getMessage = eftGetMessage;
  table.logMessage = eftLogMessage;
  table.trace = eftTrace;
  table.newCMPIError = notSupported<decltype(FT::newCMPIError)>();
  table.openMessageFile = notSupported<decltype(FT::openMessageFile)>();
  table.closeMessageFile = notSupported<decltype(FT::closeMessageFile)>();
  table.getMessage2 = eftGetMessage2;
  return table;
}

}  // namespace

const CMPIBrokerEncFT& objectTable() {
  static const CMPIBrokerEncFT table = makeTable();
  return table;
}

}  // namespace cimom
