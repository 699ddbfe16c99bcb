#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiStatus.h>

/// Calls into the function tables of a broker and of its objects. A broker may leave out an object,
/// its table or a function of it: all three end in a CmpiStatus with FAILED that names the call.
namespace zelInt {

[[noreturn]] void throwNoSuchCall(const char* name);

template <class Table, class Function>
Function functionIn(const Table* table, Function Table::*slot, const char* name) {
  if (table == nullptr || table->*slot == nullptr) throwNoSuchCall(name);
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
  CmpiStatus::check(functionIn(tableOf(object), Slot, name)(object, arguments...), name);
}

/// The same for a function whose last argument is the status: returns its value.
template <auto Slot, class Object, class... Arguments>
auto ask(const char* name, const Object* object, Arguments... arguments) {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const auto value = functionIn(tableOf(object), Slot, name)(object, arguments..., &status);
  CmpiStatus::check(status, name);
  return value;
}

/// The same for a function in one of the tables of a broker.
template <auto Slot, class Table, class... Arguments>
auto askBroker(const char* name, const CMPIBroker& broker, const Table* table,
               Arguments... arguments) {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const auto value = functionIn(table, Slot, name)(&broker, arguments..., &status);
  CmpiStatus::check(status, name);
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
