#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiStatus.h>

#include <string>

/// Calls into the function tables of a broker and of its objects. A broker may leave out an object,
/// its table or a function of it: all three end in a CmpiStatus with FAILED that names the call.
///
/// What is made for each value of an answer is inline, down to the call itself. So all of this
/// belongs to the library that includes it, which needs nothing of the binding for it that a
/// binding may lack, and is hidden as ProviderFactory.h is.
#pragma GCC visibility push(hidden)
namespace zelInt {

[[noreturn, gnu::cold, gnu::noinline]] inline void throwNoSuchCall(const char* name) {
  throw CmpiStatus(
      CMPI_RC_ERR_FAILED,
      std::string(name).append(" cannot be called: the object or the function is missing"));
}

/// The text as far as the broker gives it: a failure must not hide the one that is reported.
inline const char* messageOf(const CMPIStatus& status) noexcept {
  const CMPIString* message = status.msg;
  if (message == nullptr || message->ft == nullptr || message->ft->getCharPtr == nullptr) return "";
  try {
    const char* text = message->ft->getCharPtr(message, nullptr);
    return text != nullptr ? text : "";
  } catch (...) {
    return "";
  }
}

/// Throws what the broker says about a failed call, or where it says nothing, that `name` failed.
[[noreturn, gnu::cold, gnu::noinline]] inline void throwFailed(const CMPIStatus& status,
                                                               const char* name) {
  const std::string message = messageOf(status);
  throw CmpiStatus(status.rc, message.empty() ? std::string(name).append(" failed") : message);
}

inline void checkCall(const CMPIStatus& status, const char* name) {
  if (status.rc != CMPI_RC_OK) [[unlikely]]
    throwFailed(status, name);
}

template <class Table, class Function>
Function functionIn(const Table* table, Function Table::*slot, const char* name) {
  if (table == nullptr || table->*slot == nullptr) [[unlikely]]
    throwNoSuchCall(name);
  return table->*slot;
}

template <class Object>
auto tableOf(const Object* object) -> decltype(object->ft) {
  return object != nullptr ? object->ft : nullptr;
}

/// The object's function `name`, called with the arguments; it returns a status, and all but OK is
/// thrown.
template <auto Slot, class Object, class... Arguments>
void tell(const char* name, const Object* object, Arguments... arguments) {
  checkCall(functionIn(tableOf(object), Slot, name)(object, arguments...), name);
}

/// The same for a function whose last argument is the status: returns its value.
template <auto Slot, class Object, class... Arguments>
auto ask(const char* name, const Object* object, Arguments... arguments) {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const auto value = functionIn(tableOf(object), Slot, name)(object, arguments..., &status);
  checkCall(status, name);
  return value;
}

/// The same for a function in one of the tables of a broker.
template <auto Slot, class Table, class... Arguments>
auto askBroker(const char* name, const CMPIBroker& broker, const Table* table,
               Arguments... arguments) {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const auto value = functionIn(table, Slot, name)(&broker, arguments..., &status);
  checkCall(status, name);
  return value;
}

/// The same for a function that returns an object; none is a failure with FAILED.
template <auto Slot, class Table, class... Arguments>
auto askBrokerFor(const char* object, const char* name, const CMPIBroker& broker,
                  const Table* table, Arguments... arguments) {
  const auto value = askBroker<Slot>(name, broker, table, arguments...);
  if (value == nullptr) {
    throw CmpiStatus(CMPI_RC_ERR_FAILED, std::string(name) + " gave no " + object);
  }
  return value;
}

}  // namespace zelInt
#pragma GCC visibility pop
