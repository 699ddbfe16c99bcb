#include "operation_call.h"

#include <utility>

#include "value_elements.h"

namespace cimom {
namespace {

std::string takeFilterClass(OperationCall& call, const char* name) {
  std::string className = call.parameters.className(name);
  if (!className.empty()) requireClass(call.place, className, CMPI_RC_ERR_INVALID_PARAMETER);
  return className;
}

/// What `take` returns; whatever is wrong with it is a wrong parameter.
template <typename Take>
auto asParameter(Take take) {
  try {
    return take();
  } catch (const CimError& error) {
    fail(CMPI_RC_ERR_INVALID_PARAMETER, error.text());
  }
}

}  // namespace

void fail(CMPIrc code, const std::string& reason) {
  throw CimError(code, reason);
}

void requireClass(const ServedNamespace& place, const std::string& name, CMPIrc otherwise) {
  if (place.repository.find(name) == nullptr) fail(otherwise, "no class " + name);
}

ObjectPath takeClassPath(OperationCall& call) {
  ObjectPath path;
  path.nameSpace = call.place.name;
  path.className = call.parameters.requiredClassName("ClassName");
  requireClass(call.place, path.className, CMPI_RC_ERR_INVALID_CLASS);
  return path;
}

ElementOptions takeInstanceOptions(OperationCall& call) {
  ElementOptions options;
  options.qualifiers = call.parameters.boolean("IncludeQualifiers", false);
  options.classOrigin = call.parameters.boolean("IncludeClassOrigin", false);
  options.setProperties(call.parameters.properties());
  return options;
}

RequestedObject takeObject(OperationCall& call) {
  return asParameter([&] {
    RequestedObject object = call.parameters.requiredObject("ObjectName");
    requireClass(call.place, object.path.className, CMPI_RC_ERR_INVALID_PARAMETER);
    return object;
  });
}

ObjectPath takeLinkedInstance(OperationCall& call) {
  return asParameter([&] { return call.parameters.requiredInstanceName("InstanceName"); });
}

AssociationFilter takeAssociatorFilter(OperationCall& call) {
  AssociationFilter filter = takeReferenceFilter(call);
  filter.assocClass = takeFilterClass(call, "AssocClass");
  filter.resultRole = call.parameters.text("ResultRole");
  return filter;
}

AssociationFilter takeReferenceFilter(OperationCall& call) {
  AssociationFilter filter;
  filter.resultClass = takeFilterClass(call, "ResultClass");
  filter.role = call.parameters.text("Role");
  return filter;
}

void writeFullPath(XmlWriter& writer, const ServedNamespace& place, ObjectPath path) {
  if (path.nameSpace.empty()) path.nameSpace = place.name;
  writeInstancePath(writer, path, place.hostName);
}

}  // namespace cimom
