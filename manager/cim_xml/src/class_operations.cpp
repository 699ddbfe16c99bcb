#include <vector>

#include "operation_table.h"
#include "value_elements.h"

namespace cimom {
namespace {

std::vector<std::string> takeSubclasses(OperationCall& call) {
  const std::string name = call.parameters.className("ClassName");
  const bool deep = call.parameters.boolean("DeepInheritance", false);
  call.parameters.expectNoOthers();
  if (!name.empty()) requireClass(call.place, name, CMPI_RC_ERR_INVALID_CLASS);
  return call.place.repository.subclasses(name, deep);
}

ElementOptions takeClassOptions(OperationCall& call) {
  ElementOptions options;
  options.localOnly = call.parameters.boolean("LocalOnly", true);
  options.qualifiers = call.parameters.boolean("IncludeQualifiers", true);
  options.classOrigin = call.parameters.boolean("IncludeClassOrigin", false);
  return options;
}

}  // namespace

void enumerateClassNames(OperationCall& call) {
  for (const std::string& name : takeSubclasses(call)) writeClassName(call.writer, name);
}

void enumerateClasses(OperationCall& call) {
  const ElementOptions options = takeClassOptions(call);
  const ClassRepository& repository = call.place.repository;
  for (const std::string& name : takeSubclasses(call)) {
    writeClass(call.writer, repository, *repository.find(name), options);
  }
}

void getClass(OperationCall& call) {
  const std::string name = call.parameters.requiredClassName("ClassName");
  ElementOptions options = takeClassOptions(call);
  options.setProperties(call.parameters.properties());
  call.parameters.expectNoOthers();
  const ClassDeclaration* declaration = call.place.repository.find(name);
  if (declaration == nullptr) fail(CMPI_RC_ERR_NOT_FOUND, "no class " + name);
  writeClass(call.writer, call.place.repository, *declaration, options);
}

}  // namespace cimom
