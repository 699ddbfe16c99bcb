#pragma once

#include <model/value.h>
#include <mof/class_repository.h>

#include <string>
#include <string_view>
#include <unordered_map>

namespace cimom {

/// Writes values with the words that their class gives them (ValueMap and Values), looked up once
/// for each property. For one thread; the classes outlive it.
class ValueMeanings {
 public:
  explicit ValueMeanings(const ClassRepository& classes) : classes_(classes) {}

  /// As MOF writes the value, the words behind it in parentheses: `150 (PCI)`.
  std::string explained(const std::string& className, const NamedValue& property);

 private:
  /// What numbers mean, by their text.
  using Words = std::unordered_map<std::string, std::string>;

  const Words& wordsOf(const std::string& className, const std::string& property);

  const ClassRepository& classes_;
  /// By property, as instances have them; empty where values mean themselves.
  using ClassWords = std::unordered_map<std::string, Words>;

  std::unordered_map<std::string, ClassWords> words_;
  /// Those of the class that was asked for last; listings stay with one for long.
  std::string latestClass_;
  ClassWords* latest_ = nullptr;
};

}  // namespace cimom
