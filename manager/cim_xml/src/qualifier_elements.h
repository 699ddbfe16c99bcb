#pragma once

#include <model/mof_value.h>
#include <mof/class_repository.h>

#include <string>
#include <string_view>

#include "standard_qualifiers.h"
#include "xml_writer.h"

namespace cimom {

/// What is known of qualifiers: as the MOF of the repository declares them, otherwise as the
/// standard does. Any other is overridable, passed on to subclasses and of the type that its value
/// shows.
class QualifierRules {
 public:
  /// The repository outlives this.
  explicit QualifierRules(const ClassRepository& repository) : repository_(repository) {}

  /// Lives as long as the name and the repository.
  QualifierRule of(std::string_view name, const MofValue& value) const;

  /// QUALIFIER for each; `own` are those of the element itself, null when it is inherited whole.
  void write(XmlWriter& writer, const QualifierMap& qualifiers, const QualifierMap* own) const;
  void write(XmlWriter& writer, const QualifierMap& qualifiers) const {
    write(writer, qualifiers, &qualifiers);
  }

 private:
  const ClassRepository& repository_;
};

/// As MOF declares it. Lives as long as the declaration.
QualifierRule ruleOf(const QualifierDeclaration& declaration);

/// QUALIFIER.DECLARATION, with SCOPE and default.
void writeQualifierDeclaration(XmlWriter& writer, const QualifierRule& rule);

}  // namespace cimom
