#pragma once

#include <model/cim_type.h>
#include <model/mof_value.h>
#include <model/qualifiers.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cimom {

/// One property of a class.
struct PropertyDeclaration {
  std::string name;
  CimType type = CimType::kString;
  bool isArray = false;
  /// Elements of an array of fixed size.
  std::optional<std::size_t> arraySize;
  /// The class that a reference refers to; empty for every other type.
  std::string referenceClass;
  /// True when the Key qualifier is here or at a property that this one overrides.
  bool isKey = false;
  /// True when the Override qualifier is here.
  bool overrides = false;
  Qualifiers qualifiers;
  std::optional<MofValue> defaultValue;
  /// The class that first declares the property, up the chain of overrides.
  std::string originClass;
  /// Where the name is in the file of the class; counted from 1.
  std::size_t line = 0;
  std::size_t column = 0;
};

/// One method of a class. A parameter is declared as a property is; of its fields a parameter uses
/// name, type, isArray, arraySize, referenceClass and qualifiers.
struct MethodDeclaration {
  std::string name;
  /// Nothing for a method that returns void.
  std::optional<CimType> returnType;
  QualifierMap qualifiers;
  std::vector<PropertyDeclaration> parameters;
};

/// A kind of qualifier: of which type its values are, and what it may stand at.
struct QualifierDeclaration {
  std::string name;
  CimType type = CimType::kString;
  bool isArray = false;
  /// Elements of an array of fixed size.
  std::optional<std::size_t> arraySize;
  std::optional<MofValue> defaultValue;
  /// As written, such as "property" and "association"; never empty.
  std::vector<std::string> scopes;
  /// As written, such as "ToSubclass" and "DisableOverride".
  std::vector<std::string> flavors;
};

/// A class as its MOF declares it; what it inherits is the repository's to add.
struct ClassDeclaration {
  std::string name;
  /// Empty for a class at the top.
  std::string superclass;
  QualifierMap qualifiers;
  /// The properties that the class itself declares, in the order of the text.
  std::vector<PropertyDeclaration> properties;
  /// The methods that the class itself declares, in the order of the text.
  std::vector<MethodDeclaration> methods;
  /// True also when a superclass is an association.
  bool isAssociation = false;
  bool isAbstract = false;
  /// Where the declaration is.
  std::string file;
  std::size_t line = 0;
  std::size_t column = 0;
};

}  // namespace cimom
