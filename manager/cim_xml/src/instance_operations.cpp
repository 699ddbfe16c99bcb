#include "operation_table.h"
#include "value_elements.h"

namespace cimom {

void enumerateInstanceNames(OperationCall& call) {
  const ObjectPath path = takeClassPath(call);
  call.parameters.expectNoOthers();
  call.place.operations.enumerateInstanceNames(
      path, [&](ObjectPath&& name) { writeInstanceName(call.writer, name); });
}

void enumerateInstances(OperationCall& call) {
  const ObjectPath path = takeClassPath(call);
  const bool deep = call.parameters.boolean("DeepInheritance", true);
  call.parameters.boolean("LocalOnly", true);
  const ElementOptions options = takeInstanceOptions(call);
  call.parameters.expectNoOthers();
  const std::string asClass = deep ? "" : path.className;
  const auto write = [&](Instance&& instance) {
    const XmlElement element(call.writer, "VALUE.NAMEDINSTANCE");
    writeInstanceName(call.writer, instance.path);
    writeInstance(call.writer, call.place.repository, instance, options, asClass);
  };
  call.place.operations.enumerateInstances(path, options.propertyList, write);
}

void getInstance(OperationCall& call) {
  const ObjectPath path = call.parameters.requiredInstanceName("InstanceName");
  call.parameters.boolean("LocalOnly", true);
  const ElementOptions options = takeInstanceOptions(call);
  call.parameters.expectNoOthers();
  const Instance instance = call.place.operations.getInstance(path, options.propertyList);
  writeInstance(call.writer, call.place.repository, instance, options);
}

void getProperty(OperationCall& call) {
  const ObjectPath path = call.parameters.requiredInstanceName("InstanceName");
  const std::string name = call.parameters.requiredText("PropertyName");
  call.parameters.expectNoOthers();
  if (call.place.repository.findProperty(path.className, name) == nullptr) {
    fail(CMPI_RC_ERR_NO_SUCH_PROPERTY, path.className + " has no property " + name);
  }
  const Instance instance = call.place.operations.getInstance(path, {{name}});
  if (const Value* value = instance.findProperty(name)) writeValue(call.writer, *value);
}

}  // namespace cimom
