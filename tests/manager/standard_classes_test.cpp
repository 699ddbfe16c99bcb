#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <mof/class_repository.h>
#include <mof/mof_writer.h>

namespace cimom {
namespace {

// Classes by name, each as the lines of the table write it, blanks between words single.
using ClassTexts = std::map<std::string, std::string>;

std::string withSingleBlanks(const std::string& line) {
  std::istringstream words(line);
  std::string out;
  for (std::string word; words >> word;) out += (out.empty() ? "" : " ") + word;
  return out + '\n';
}

ClassTexts readTable() {
  std::ifstream in(STANDARD_CLASSES_TABLE);
  ClassTexts classes;
  std::string* current = nullptr;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line.front() == '#') continue;
    if (line.front() != ' ') current = &classes[line.substr(0, line.find(' '))];
    if (current != nullptr) *current += withSingleBlanks(line);
  }
  return classes;
}

std::string typeText(const PropertyDeclaration& property) {
  std::string text = property.type == CimType::kReference ? property.referenceClass + "&"
                                                          : std::string(typeName(property.type));
  if (property.arraySize) return text + '[' + std::to_string(*property.arraySize) + ']';
  return property.isArray ? text + "[]" : text;
}

std::string valuesText(const MofValue& map) {
  std::string text;
  for (const MofValue::Element& value : map.elements) {
    text += (text.empty() ? " values=" : "|") + value.text;
  }
  return text;
}

std::string propertyText(const PropertyDeclaration& property) {
  std::string text = typeText(property) + ' ' + property.name;
  if (property.isKey) text += " key";
  if (findQualifier(property.qualifiers, "Override") != nullptr) text += " override";
  if (property.defaultValue) text += " default=" + writeMof(*property.defaultValue);
  if (const MofValue* map = findQualifier(property.qualifiers, "ValueMap")) {
    text += valuesText(*map);
  }
  return text + '\n';
}

std::string classText(const ClassDeclaration& declaration) {
  std::string text = declaration.name;
  if (!declaration.superclass.empty()) text += " below " + declaration.superclass;
  if (declaration.isAbstract) text += " abstract";
  if (declaration.isAssociation) text += " association";
  text += '\n';
  for (const PropertyDeclaration& property : declaration.properties) text += propertyText(property);
  return text;
}

ClassTexts readSchema() {
  const ClassRepository schema = ClassRepository::loadDirectory(SCHEMA_DIRECTORY);
  ClassTexts classes;
  for (const std::string& name : schema.classNames()) {
    if (name.starts_with("CIM_")) classes[name] = classText(*schema.find(name));
  }
  return classes;
}

TEST(StandardClassesTest, AreDeclaredAsTheStandardDeclaresThem) {
  const ClassTexts schema = readSchema();
  const ClassTexts table = readTable();
  ASSERT_FALSE(table.empty());
  for (const auto& [name, facts] : table) {
    const auto declared = schema.find(name);
    ASSERT_NE(declared, schema.end()) << name;
    EXPECT_EQ(declared->second, facts);
  }
}

TEST(StandardClassesTest, NoneIsWithoutFacts) {
  const ClassTexts table = readTable();
  for (const auto& [name, text] : readSchema()) EXPECT_TRUE(table.contains(name)) << name;
}

}  // namespace
}  // namespace cimom
