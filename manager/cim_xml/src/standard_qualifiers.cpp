#include "standard_qualifiers.h"

#include <algorithm>
#include <array>

#include <model/names.h>

namespace cimom {
namespace {

constexpr unsigned kClasses = kOnClass | kOnAssociation | kOnIndication;
constexpr unsigned kValues = kOnProperty | kOnMethod | kOnParameter;
constexpr unsigned kMembers = kValues | kOnReference;

constexpr CimType kBoolean = CimType::kBoolean;
constexpr CimType kString = CimType::kString;
constexpr CimType kUint32 = CimType::kUint32;
constexpr CimType kSint64 = CimType::kSint64;

// Name, type, array, default, scope, overridable, passed on to subclasses, translatable.
constexpr auto kQualifiers = std::to_array<QualifierRule>({
    {"Abstract", kBoolean, false, "FALSE", kClasses, true, false, false},
    {"Aggregate", kBoolean, false, "FALSE", kOnReference, false, true, false},
    {"Aggregation", kBoolean, false, "FALSE", kOnAssociation, false, true, false},
    {"ArrayType", kString, false, "Bag", kOnProperty | kOnParameter, false, true, false},
    {"Association", kBoolean, false, "FALSE", kOnAssociation, false, true, false},
    {"BitMap", kString, true, "", kValues, true, true, false},
    {"BitValues", kString, true, "", kValues, true, true, true},
    {"ClassConstraint", kString, true, "", kClasses, true, true, false},
    {"Composition", kBoolean, false, "FALSE", kOnAssociation, false, true, false},
    {"Correlatable", kString, true, "", kOnProperty, true, true, false},
    {"Counter", kBoolean, false, "FALSE", kValues, false, true, false},
    {"Deprecated", kString, true, "", kEverywhere, true, false, false},
    {"Description", kString, false, "", kEverywhere, true, true, true},
    {"DisplayName", kString, false, "", kEverywhere, true, true, true},
    {"DN", kBoolean, false, "FALSE", kValues, false, true, false},
    {"EmbeddedInstance", kString, false, "", kValues, true, true, false},
    {"EmbeddedObject", kBoolean, false, "FALSE", kValues, false, true, false},
    {"Exception", kBoolean, false, "FALSE", kOnClass | kOnIndication, false, true, false},
    {"Experimental", kBoolean, false, "FALSE", kEverywhere, true, false, false},
    {"Gauge", kBoolean, false, "FALSE", kValues, false, true, false},
    {"In", kBoolean, false, "TRUE", kOnParameter, false, true, false},
    {"Indication", kBoolean, false, "FALSE", kOnClass | kOnIndication, false, true, false},
    {"IsPUnit", kBoolean, false, "FALSE", kValues, true, true, false},
    {"Key", kBoolean, false, "FALSE", kOnProperty | kOnReference, false, true, false},
    {"MappingStrings", kString, true, "", kEverywhere, true, true, false},
    {"Max", kUint32, false, "", kOnReference, true, true, false},
    {"MaxLen", kUint32, false, "", kValues, true, true, false},
    {"MaxValue", kSint64, false, "", kValues, true, true, false},
    {"MethodConstraint", kString, true, "", kOnMethod, true, true, false},
    {"Min", kUint32, false, "0", kOnReference, true, true, false},
    {"MinLen", kUint32, false, "0", kValues, true, true, false},
    {"MinValue", kSint64, false, "", kValues, true, true, false},
    {"ModelCorrespondence", kString, true, "", kEverywhere, true, true, false},
    {"NullValue", kString, false, "", kOnProperty, false, true, false},
    {"OctetString", kBoolean, false, "FALSE", kValues, false, true, false},
    {"Out", kBoolean, false, "FALSE", kOnParameter, true, true, false},
    {"Override", kString, false, "", kOnProperty | kOnReference | kOnMethod, true, false, false},
    {"Propagated", kString, false, "", kOnProperty, false, true, false},
    {"PropertyConstraint", kString, true, "", kOnProperty | kOnReference, true, true, false},
    {"PUnit", kString, false, "", kValues, true, true, false},
    {"Read", kBoolean, false, "TRUE", kOnProperty, true, true, false},
    {"Required", kBoolean, false, "FALSE", kMembers, false, true, false},
    {"Static", kBoolean, false, "FALSE", kOnProperty | kOnMethod, false, true, false},
    {"Structure", kBoolean, false, "FALSE", kOnClass | kOnIndication, true, false, false},
    {"Terminal", kBoolean, false, "FALSE", kClasses, true, false, false},
    {"UMLPackagePath", kString, false, "", kClasses, true, true, false},
    {"Units", kString, false, "", kValues, true, true, true},
    {"ValueMap", kString, true, "", kValues, true, true, false},
    {"Values", kString, true, "", kValues, true, true, true},
    {"Version", kString, false, "", kClasses, true, false, true},
    {"Weak", kBoolean, false, "FALSE", kOnReference, false, true, false},
    {"Write", kBoolean, false, "FALSE", kOnProperty, true, true, false},
});

}  // namespace

std::span<const QualifierRule> standardQualifiers() {
  return kQualifiers;
}

const QualifierRule* findStandardQualifier(std::string_view name) {
  const auto found = std::ranges::find_if(
      kQualifiers, [name](const auto& each) { return sameName(each.name, name); });
  return found != kQualifiers.end() ? &*found : nullptr;
}

}  // namespace cimom
