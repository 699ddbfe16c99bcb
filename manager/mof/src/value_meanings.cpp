#include <mof/mof_writer.h>
#include <mof/value_meanings.h>

#include <algorithm>

namespace cimom {
namespace {

/// What the property's ValueMap and Values say; empty when they say nothing.
std::unordered_map<std::string, std::string> declaredWords(const PropertyDeclaration& property) {
  std::unordered_map<std::string, std::string> words;
  const auto* map = findQualifier(property.qualifiers, "ValueMap");
  const auto* values = findQualifier(property.qualifiers, "Values");
  if (map == nullptr || values == nullptr) return words;
  const std::size_t count = std::min(map->elements.size(), values->elements.size());
  for (std::size_t i = 0; i < count; ++i) {
    words.emplace(map->elements[i].text, values->elements[i].text);
  }
  return words;
}

}  // namespace

std::string ValueMeanings::explained(const std::string& className, const NamedValue& property) {
  const MofValue mof = toMof(property.value);
  std::string text = writeMof(mof);
  const Words& words = wordsOf(className, property.name);
  if (words.empty()) return text;
  std::string meanings;
  for (const auto& element : mof.elements) {
    const auto word = words.find(element.text);
    if (word != words.end() && !word->second.empty()) {
      meanings += meanings.empty() ? "" : ", ";
      meanings += word->second;
    }
  }
  return meanings.empty() ? text : text + " (" + meanings + ")";
}

const ValueMeanings::Words& ValueMeanings::wordsOf(const std::string& className,
                                                   const std::string& property) {
  if (latest_ == nullptr || className != latestClass_) {
    latest_ = &words_[className];
    latestClass_ = className;
  }
  auto found = latest_->find(property);
  if (found == latest_->end()) {
    const auto* declared = classes_.findProperty(className, property);
    found =
        latest_->emplace(property, declared != nullptr ? declaredWords(*declared) : Words()).first;
  }
  return found->second;
}

}  // namespace cimom
