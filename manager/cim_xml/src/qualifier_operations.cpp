#include <map>
#include <string_view>

#include <model/names.h>

#include "operation_table.h"
#include "qualifier_elements.h"

namespace cimom {
namespace {

using Rules = std::map<std::string_view, QualifierRule, NameLess>;

/// Adds those of the classes, which need not be declared anywhere.
class UsedQualifiers {
 public:
  UsedQualifiers(const ClassRepository& repository, Rules& rules)
      : known_(repository), rules_(rules) {}

  void add(const ClassDeclaration& declaration) {
    add(declaration.qualifiers);
    for (const PropertyDeclaration& property : declaration.properties) add(property.qualifiers);
    for (const MethodDeclaration& method : declaration.methods) {
      add(method.qualifiers);
      for (const PropertyDeclaration& parameter : method.parameters) add(parameter.qualifiers);
    }
  }

 private:
  void add(const QualifierMap& qualifiers) {
    for (const auto& [name, value] : qualifiers) rules_.emplace(name, known_.of(name, value));
  }

  QualifierRules known_;
  Rules& rules_;
};

/// What the MOF declares comes before what the standard does. Lives as long as the repository.
Rules allRules(const ClassRepository& repository) {
  Rules rules;
  for (const auto& [name, declaration] : repository.qualifierDeclarations()) {
    rules.emplace(name, ruleOf(declaration));
  }
  for (const QualifierRule& rule : standardQualifiers()) rules.emplace(rule.name, rule);
  UsedQualifiers used(repository, rules);
  for (const std::string& name : repository.classNames()) used.add(*repository.find(name));
  return rules;
}

}  // namespace

void enumerateQualifiers(OperationCall& call) {
  call.parameters.expectNoOthers();
  for (const auto& [name, rule] : allRules(call.place.repository)) {
    writeQualifierDeclaration(call.writer, rule);
  }
}

void getQualifier(OperationCall& call) {
  const std::string name = call.parameters.requiredText("QualifierName");
  call.parameters.expectNoOthers();
  const Rules rules = allRules(call.place.repository);
  const auto found = rules.find(name);
  if (found == rules.end()) fail(CMPI_RC_ERR_NOT_FOUND, "no qualifier " + name);
  writeQualifierDeclaration(call.writer, found->second);
}

}  // namespace cimom
