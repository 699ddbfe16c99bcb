#include <map>
#include <utility>

#include <model/names.h>

#include "operation_table.h"
#include "qualifier_elements.h"

namespace cimom {
namespace {

using Declarations = std::map<std::string_view, StandardQualifier, NameLess>;

void addUsed(Declarations& declarations, const QualifierMap& qualifiers) {
  for (const auto& [name, value] : qualifiers) {
    declarations.emplace(name, derivedQualifier(name, value));
  }
}

void addUsed(Declarations& declarations, const ClassDeclaration& declaration) {
  addUsed(declarations, declaration.qualifiers);
  for (const PropertyDeclaration& property : declaration.properties) {
    addUsed(declarations, property.qualifiers);
  }
  for (const MethodDeclaration& method : declaration.methods) {
    addUsed(declarations, method.qualifiers);
    for (const PropertyDeclaration& parameter : method.parameters) {
      addUsed(declarations, parameter.qualifiers);
    }
  }
}

/// Those of the standard, and those that only the classes know. Lives as long as the repository.
Declarations allDeclarations(const ClassRepository& repository) {
  Declarations declarations;
  for (const StandardQualifier& qualifier : standardQualifiers()) {
    declarations.emplace(qualifier.name, qualifier);
  }
  for (const std::string& name : repository.classNames()) {
    addUsed(declarations, *repository.find(name));
  }
  return declarations;
}

}  // namespace

void enumerateQualifiers(OperationCall& call) {
  call.parameters.expectNoOthers();
  for (const auto& [name, qualifier] : allDeclarations(call.place.repository)) {
    writeQualifierDeclaration(call.writer, qualifier);
  }
}

void getQualifier(OperationCall& call) {
  const std::string name = call.parameters.requiredText("QualifierName");
  call.parameters.expectNoOthers();
  const Declarations declarations = allDeclarations(call.place.repository);
  const auto found = declarations.find(name);
  if (found == declarations.end()) fail(CMPI_RC_ERR_NOT_FOUND, "no qualifier " + name);
  writeQualifierDeclaration(call.writer, found->second);
}

}  // namespace cimom
