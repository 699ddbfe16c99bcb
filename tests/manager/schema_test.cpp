// The project's own MOF files against a list of what they have to declare: the ten classes, their
// superclasses, keys, properties and types, and what a reader of a schema relies on (descriptions,
// names of values, overrides, references to classes that exist). The schema is read once for all
// tests and does not change.
#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <mof/class_repository.h>

namespace cimom {
namespace {

using Names = std::vector<std::string>;

struct Property {
  std::string_view name;
  CimType type;
  bool isArray = false;
};

struct PublishedClass {
  std::string_view name;
  std::string_view superclass;
  std::vector<std::string> keys;
  std::vector<Property> properties;
};

constexpr auto kUint8 = CimType::kUint8;
constexpr auto kUint16 = CimType::kUint16;
constexpr auto kString = CimType::kString;

const ClassRepository& schema() {
  static const ClassRepository repository = ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  return repository;
}

std::vector<Property> deviceProperties(std::vector<Property> more) {
  std::vector<Property> properties = {
      {"BusNumber", kUint8},     {"DeviceNumber", kUint8},    {"FunctionNumber", kUint8},
      {"ElementName", kString},  {"PrimaryStatus", kUint16},  {"HealthState", kUint16},
      {"EnabledState", kUint16}, {"RequestedState", kUint16}, {"Capabilities", kUint16, true},
      {"ClassCode", kUint8},     {"SubsystemID", kUint16},    {"SubsystemVendorID", kUint16},
      {"PCIDeviceID", kUint16},  {"VendorID", kUint16},       {"RevisionID", kUint8},
      {"SubClassCode", kUint8},  {"SegmentNumber", kUint16},  {"ParentDeviceID", kString},
      {"PhysicalSlot", kUint8}};
  properties.insert(properties.end(), more.begin(), more.end());
  return properties;
}

const std::vector<PublishedClass>& publishedClasses() {
  static const Names kDeviceKeys = {"SystemCreationClassName", "SystemName", "CreationClassName",
                                    "DeviceID"};
  static const std::vector<PublishedClass> kClasses = {
      {"Zelmar_PCIDevice", "CIM_PCIDevice", kDeviceKeys, deviceProperties({})},
      {"Zelmar_PCIBridge", "CIM_PCIBridge", kDeviceKeys,
       deviceProperties({{"BridgeType", kUint16}, {"SecondaryBusNumber", kUint8}})},
      {"Zelmar_PCIeSwitch", "CIM_PCIeSwitch", kDeviceKeys,
       deviceProperties({{"NumberOfPorts", kUint16}})},
      {"Zelmar_PCIPort",
       "CIM_PCIPort",
       kDeviceKeys,
       {{"PortType", kUint16},
        {"ElementName", kString},
        {"ControllerDeviceID", kString},
        {"BusNumber", kUint8},
        {"DeviceNumber", kUint8},
        {"FunctionNumber", kUint8},
        {"PCIDeviceID", kUint16},
        {"VendorID", kUint16},
        {"RevisionID", kUint8},
        {"ClassCode", kUint8},
        {"SubClassCode", kUint8}}},
      {"Zelmar_PCIPortGroup",
       "CIM_PCIPortGroup",
       {"InstanceID"},
       {{"BusNumber", kUint8}, {"ElementName", kString}}},
      {"Zelmar_PCISystemDevice", "CIM_SystemDevice", {"GroupComponent", "PartComponent"}, {}},
      {"Zelmar_PCIDeviceConnection", "CIM_DeviceConnection", {"Antecedent", "Dependent"}, {}},
      {"Zelmar_PCIControlledBy", "CIM_ControlledBy", {"Antecedent", "Dependent"}, {}},
      {"Zelmar_PCIHostedCollection", "CIM_HostedCollection", {"Antecedent", "Dependent"}, {}},
      {"Zelmar_PCIMemberOfCollection", "CIM_MemberOfCollection", {"Collection", "Member"}, {}},
  };
  return kClasses;
}

bool isAssociation(const PublishedClass& published) {
  return published.properties.empty();
}

TEST(SchemaTest, HoldsTheTenClassesUnderTheirSuperclasses) {
  std::size_t count = 0;
  for (const std::string& name : schema().classNames()) count += name.starts_with("Zelmar_");
  EXPECT_EQ(count, 10u);
  for (const PublishedClass& published : publishedClasses()) {
    const ClassDeclaration* declaration = schema().find(published.name);
    ASSERT_NE(declaration, nullptr) << published.name;
    EXPECT_EQ(declaration->superclass, published.superclass);
    EXPECT_EQ(declaration->isAssociation, isAssociation(published)) << published.name;
    EXPECT_FALSE(declaration->isAbstract) << published.name;
  }
}

TEST(SchemaTest, KeysAreThoseOfThePaths) {
  for (const PublishedClass& published : publishedClasses()) {
    Names keys = schema().keys(published.name);
    Names expected = published.keys;
    std::ranges::sort(keys);
    std::ranges::sort(expected);
    EXPECT_EQ(keys, expected) << published.name;
    for (const std::string& key : keys) {
      EXPECT_EQ(schema().findProperty(published.name, key)->type,
                isAssociation(published) ? CimType::kReference : CimType::kString);
    }
  }
}

TEST(SchemaTest, PropertiesHaveTheProvidersTypes) {
  for (const PublishedClass& published : publishedClasses()) {
    for (const Property& property : published.properties) {
      const PropertyDeclaration* declared = schema().findProperty(published.name, property.name);
      ASSERT_NE(declared, nullptr) << published.name << "." << property.name;
      EXPECT_EQ(declared->name, property.name) << published.name;
      EXPECT_EQ(declared->type, property.type) << published.name << "." << property.name;
      EXPECT_EQ(declared->isArray, property.isArray) << published.name << "." << property.name;
    }
  }
}

TEST(SchemaTest, ClassesDeclareNothingThatTheProviderDoesNotSet) {
  for (const PublishedClass& published : publishedClasses()) {
    std::set<std::string_view> known(published.keys.begin(), published.keys.end());
    for (const Property& property : published.properties) known.insert(property.name);
    for (const PropertyDeclaration& own : schema().find(published.name)->properties) {
      EXPECT_TRUE(known.contains(own.name)) << published.name << "." << own.name;
    }
  }
}

TEST(SchemaTest, EverythingIsDescribed) {
  for (const std::string& name : schema().classNames()) {
    const ClassDeclaration& declaration = *schema().find(name);
    const MofValue* description = findQualifier(declaration.qualifiers, "Description");
    ASSERT_NE(description, nullptr) << name;
    EXPECT_TRUE(description->text().ends_with('.')) << name;
    for (const PropertyDeclaration& property : declaration.properties) {
      const MofValue* text = findQualifier(property.qualifiers, "Description");
      ASSERT_NE(text, nullptr) << name << "." << property.name;
      EXPECT_TRUE(text->text().ends_with('.')) << name << "." << property.name;
    }
  }
  for (const PublishedClass& published : publishedClasses()) {
    EXPECT_NE(findQualifier(schema().find(published.name)->qualifiers, "Version"), nullptr);
  }
}

// Of the standard's values the schema has the numbers alone.
TEST(SchemaTest, EveryValueOfOurClassesHasItsName) {
  std::size_t enumerations = 0;
  for (const std::string& name : schema().classNames()) {
    if (name.starts_with("CIM_")) continue;
    for (const PropertyDeclaration& property : schema().find(name)->properties) {
      const MofValue* map = findQualifier(property.qualifiers, "ValueMap");
      const MofValue* values = findQualifier(property.qualifiers, "Values");
      ASSERT_EQ(map == nullptr, values == nullptr) << name << "." << property.name;
      if (map == nullptr) continue;
      ++enumerations;
      EXPECT_EQ(map->elements.size(), values->elements.size()) << name << "." << property.name;
    }
  }
  EXPECT_GE(enumerations, 20u);
}

std::string valueName(std::string_view className, std::string_view property,
                      std::string_view value) {
  const QualifierMap& qualifiers = schema().findProperty(className, property)->qualifiers;
  const auto& map = findQualifier(qualifiers, "ValueMap")->elements;
  const auto found = std::ranges::find(map, value, &MofValue::Element::text);
  if (found == map.end()) return "";
  const auto index = static_cast<std::size_t>(found - map.begin());
  return findQualifier(qualifiers, "Values")->elements[index].text;
}

TEST(SchemaTest, NamesTheValuesThatTheProviderSets) {
  EXPECT_EQ(valueName("Zelmar_PCIPort", "PortType", "0"), "Unknown");
  EXPECT_EQ(valueName("Zelmar_PCIPort", "PortType", "1"), "PCI-X");
  EXPECT_EQ(valueName("Zelmar_PCIPort", "PortType", "150"), "PCI");
  EXPECT_EQ(valueName("Zelmar_PCIPort", "PortType", "152"), "PCIe");
  EXPECT_EQ(valueName("Zelmar_PCIBridge", "BridgeType", "4"), "PCI");
  EXPECT_EQ(valueName("Zelmar_PCIDevice", "Capabilities", "13"), "Supports PCIe");
  for (const char* property : {"PrimaryStatus", "HealthState", "EnabledState", "RequestedState"}) {
    EXPECT_EQ(valueName("Zelmar_PCIDevice", property, "0"), "Unknown") << property;
  }
}

TEST(SchemaTest, StandardClassesReachTheOnesBelowThem) {
  for (const char* device :
       {"Zelmar_PCIDevice", "Zelmar_PCIBridge", "Zelmar_PCIeSwitch", "Zelmar_PCIPort"}) {
    EXPECT_TRUE(schema().isA(device, "CIM_LogicalDevice")) << device;
  }
  EXPECT_FALSE(schema().isA("Zelmar_PCIBridge", "Zelmar_PCIDevice"));
  EXPECT_FALSE(schema().isA("Zelmar_PCIeSwitch", "CIM_PCIBridge"));
  EXPECT_FALSE(schema().isA("Zelmar_PCIPort", "CIM_PCIDevice"));
  EXPECT_TRUE(schema().isA("Zelmar_PCIPortGroup", "CIM_Collection"));
  EXPECT_TRUE(schema().isA("OMC_UnitaryComputerSystem", "CIM_ComputerSystem"));
}

TEST(SchemaTest, StandardBridgeKeepsItsMisspelledProperty) {
  EXPECT_NE(schema().findProperty("CIM_PCIBridge", "SecondayBusNumber"), nullptr);
  EXPECT_EQ(schema().findProperty("CIM_PCIBridge", "SecondaryBusNumber"), nullptr);
}

// Other compilers refuse a property that repeats an inherited one without saying so.
TEST(SchemaTest, WhatRepeatsAnInheritedPropertyOverridesIt) {
  std::size_t repeated = 0;
  for (const std::string& name : schema().classNames()) {
    const ClassDeclaration& declaration = *schema().find(name);
    for (const PropertyDeclaration& own : declaration.properties) {
      const MofValue* override = findQualifier(own.qualifiers, "Override");
      const PropertyDeclaration* inherited =
          schema().findProperty(declaration.superclass, own.name);
      ASSERT_EQ(override != nullptr, inherited != nullptr) << name << "." << own.name;
      if (inherited == nullptr) continue;
      ++repeated;
      EXPECT_EQ(override->text(), inherited->name) << name << "." << own.name;
      EXPECT_EQ(own.name, inherited->name) << name;
      EXPECT_EQ(own.arraySize, inherited->arraySize) << name << "." << own.name;
    }
  }
  EXPECT_GE(repeated, 40u);
}

TEST(SchemaTest, ReferencesThatOverrideNarrowTheirClass) {
  for (const std::string& name : schema().classNames()) {
    const ClassDeclaration& declaration = *schema().find(name);
    for (const PropertyDeclaration& own : declaration.properties) {
      const PropertyDeclaration* inherited =
          schema().findProperty(declaration.superclass, own.name);
      if (inherited == nullptr || own.type != CimType::kReference) continue;
      EXPECT_TRUE(schema().isA(own.referenceClass, inherited->referenceClass))
          << name << "." << own.name;
    }
  }
}

TEST(SchemaTest, AssociationEndsTakeWhatTheProviderPutsThere) {
  struct End {
    std::string_view association;
    std::string_view role;
    std::string_view target;
  };
  const std::vector<End> ends = {
      {"Zelmar_PCISystemDevice", "GroupComponent", "OMC_UnitaryComputerSystem"},
      {"Zelmar_PCISystemDevice", "PartComponent", "Zelmar_PCIDevice"},
      {"Zelmar_PCISystemDevice", "PartComponent", "Zelmar_PCIPort"},
      {"Zelmar_PCIDeviceConnection", "Antecedent", "Zelmar_PCIPort"},
      {"Zelmar_PCIDeviceConnection", "Dependent", "Zelmar_PCIPort"},
      {"Zelmar_PCIControlledBy", "Antecedent", "Zelmar_PCIDevice"},
      {"Zelmar_PCIControlledBy", "Antecedent", "Zelmar_PCIBridge"},
      {"Zelmar_PCIControlledBy", "Antecedent", "Zelmar_PCIeSwitch"},
      {"Zelmar_PCIControlledBy", "Dependent", "Zelmar_PCIPort"},
      {"Zelmar_PCIHostedCollection", "Antecedent", "OMC_UnitaryComputerSystem"},
      {"Zelmar_PCIHostedCollection", "Dependent", "Zelmar_PCIPortGroup"},
      {"Zelmar_PCIMemberOfCollection", "Collection", "Zelmar_PCIPortGroup"},
      {"Zelmar_PCIMemberOfCollection", "Member", "Zelmar_PCIPort"}};
  for (const End& end : ends) {
    const PropertyDeclaration* role = schema().findProperty(end.association, end.role);
    ASSERT_NE(role, nullptr) << end.association << "." << end.role;
    EXPECT_TRUE(schema().isA(end.target, role->referenceClass))
        << end.association << "." << end.role << " refers to " << role->referenceClass;
  }
}

TEST(SchemaTest, EveryClassIsRegistered) {
  for (const PublishedClass& published : publishedClasses()) {
    const auto registers = [&published](const MofInstance& instance) {
      return instance.className == "PG_ProviderCapabilities" &&
             std::ranges::any_of(instance.properties, [&published](const auto& property) {
               return property.first == "ClassName" && property.second.text() == published.name;
             });
    };
    EXPECT_EQ(std::ranges::count_if(schema().instances(), registers), 1) << published.name;
  }
}

bool isOfType(const MofValue& value, CimType type) {
  const MofValue::Kind wanted = type == CimType::kBoolean  ? MofValue::Kind::kBoolean
                                : type == CimType::kString ? MofValue::Kind::kString
                                                           : MofValue::Kind::kNumber;
  return std::ranges::all_of(value.elements, [wanted](const MofValue::Element& element) {
    return element.kind == wanted;
  });
}

void expectDeclared(const QualifierMap& qualifiers, std::string_view scope,
                    const std::string& place) {
  for (const auto& [name, value] : qualifiers) {
    const auto found = schema().qualifierDeclarations().find(name);
    ASSERT_NE(found, schema().qualifierDeclarations().end()) << place << ": " << name;
    const QualifierDeclaration& declared = found->second;
    EXPECT_EQ(name, declared.name) << place;
    EXPECT_EQ(value.isArray, declared.isArray) << place << ": " << name;
    EXPECT_TRUE(isOfType(value, declared.type)) << place << ": " << name;
    EXPECT_TRUE(holdsName(declared.scopes, "any") || holdsName(declared.scopes, scope))
        << place << ": " << name;
  }
}

TEST(SchemaTest, EveryQualifierIsDeclaredForWhatItStandsAt) {
  for (const std::string& name : schema().classNames()) {
    const ClassDeclaration& declaration = *schema().find(name);
    expectDeclared(declaration.qualifiers, declaration.isAssociation ? "association" : "class",
                   name);
    for (const PropertyDeclaration& own : declaration.properties) {
      const bool isReference = own.type == CimType::kReference;
      expectDeclared(own.qualifiers, isReference ? "reference" : "property", name + '.' + own.name);
    }
    for (const MethodDeclaration& method : declaration.methods) {
      expectDeclared(method.qualifiers, "method", name + '.' + method.name);
      for (const PropertyDeclaration& parameter : method.parameters) {
        expectDeclared(parameter.qualifiers, "parameter", name + '.' + method.name);
      }
    }
  }
}

TEST(SchemaTest, ReferencesNameClassesThatExist) {
  for (const std::string& name : schema().classNames()) {
    for (const PropertyDeclaration& property : schema().allProperties(name)) {
      if (property.type != CimType::kReference) continue;
      EXPECT_NE(schema().find(property.referenceClass), nullptr) << name << "." << property.name;
    }
  }
}

}  // namespace
}  // namespace cimom
