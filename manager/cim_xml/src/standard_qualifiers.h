#pragma once

#include <model/cim_type.h>
#include <model/mof_value.h>

#include <span>
#include <string_view>

namespace cimom {

/// Where a qualifier may stand: bits of QualifierRule::scope.
enum QualifierScope : unsigned {
  kOnClass = 1,
  kOnAssociation = 2,
  kOnReference = 4,
  kOnProperty = 8,
  kOnMethod = 16,
  kOnParameter = 32,
  kOnIndication = 64,
  kEverywhere = 127,
};

/// A qualifier as it is declared.
struct QualifierRule {
  std::string_view name;
  CimType type;
  bool isArray;
  /// As CIM-XML writes it; empty for null.
  std::string_view defaultValue;
  unsigned scope;
  bool overridable;
  bool toSubclass;
  bool translatable;
};

/// Those of the standard (DMTF DSP0004), in alphabetical order.
std::span<const QualifierRule> standardQualifiers();

/// Null for a qualifier that the standard does not know.
const QualifierRule* findStandardQualifier(std::string_view name);

}  // namespace cimom
