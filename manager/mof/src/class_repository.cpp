// Relates the classes of one or more MOF texts to each other. All declarations are added first,
// then resolved: superclasses are linked, and properties inherited and overridden from the top
// down, each class once. Errors name the place of the declaration. Content does not change
// afterwards, which is why any number of threads may read it without a lock. It is behind a
// pointer, so that what was handed out stays valid when the repository is moved.
#include <mof/class_repository.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "mof_files.h"
#include "mof_index.h"

namespace cimom {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failAt(const ClassDeclaration& declaration, const std::string& reason) {
  throw MofError(declaration.file, declaration.line, declaration.column, reason);
}

[[noreturn]] void failAt(const ClassDeclaration& declaration, const PropertyDeclaration& property,
                         const std::string& reason) {
  throw MofError(declaration.file, property.line, property.column, reason);
}

// Qualifiers that speak of one declaration only and do not pass on to the one that overrides it.
bool staysWithItsDeclaration(std::string_view qualifier) {
  constexpr std::array<std::string_view, 4> kNames = {"override", "version", "deprecated",
                                                      "experimental"};
  return std::ranges::any_of(kNames, [qualifier](auto name) { return sameName(name, qualifier); });
}

Qualifiers inheritedQualifiers(const Qualifiers& own, const Qualifiers& overridden) {
  return Qualifiers::onDemand([own, overridden] {
    QualifierMap all = own;
    for (const auto& [name, value] : overridden.map()) {
      if (!staysWithItsDeclaration(name)) all.emplace(name, value);
    }
    return all;
  });
}

// The index of each property in a list of them.
using PropertyIndex = std::map<std::string, std::size_t, NameLess>;

PropertyIndex indexByName(const std::vector<PropertyDeclaration>& properties) {
  PropertyIndex index;
  for (const PropertyDeclaration& property : properties) index.emplace(property.name, index.size());
  return index;
}

bool sameShape(const PropertyDeclaration& left, const PropertyDeclaration& right) {
  return left.type == right.type && left.isArray == right.isArray;
}

}  // namespace

struct ClassRepository::Content {
  struct Entry {
    /// Whole once the entry is complete, as are the fields below it.
    ClassDeclaration declaration;
    std::vector<PropertyDeclaration> properties;
    std::vector<std::string> keys;
    std::atomic<bool> isComplete = false;

    std::string name;
    /// Null for a class at the top.
    Entry* superclass = nullptr;
    std::vector<const Entry*> subclasses;
    /// Where the class is to be read; nothing where it was read at once.
    std::optional<UnreadClass> unread;
  };

  // A bound on the depth keeps the inherited properties of hostile schemas from growing with the
  // square of the text; the standard schema stays below a dozen.
  static constexpr std::size_t kDeepestInheritance = 100;

  std::map<std::string, Entry, NameLess> classes;
  std::vector<const Entry*> topClasses;
  std::vector<MofInstance> instances;

  void add(MofDocument document);
  void resolve(MofReading reading);
  Entry* find(std::string_view name);
  const Entry* findComplete(std::string_view name);
  const std::map<std::string, QualifierDeclaration, NameLess>& readQualifiers();

 private:
  void addClass(ClassDeclaration declaration);
  void addClass(UnreadClass found);
  Entry& newEntry(const ClassDeclaration& declaration);
  void linkSuperclass(Entry& entry);
  std::vector<Entry*> chainFromTop(Entry& entry) const;
  static void complete(Entry& entry);
  static void inherit(Entry& entry);
  static void addProperty(Entry& entry, const PropertyIndex& inherited,
                          PropertyDeclaration property);
  static void overrideProperty(const Entry& entry, PropertyDeclaration& inherited,
                               PropertyDeclaration property);

  // What is read as needed is read by one thread at a time.
  std::mutex reading_;
  std::map<std::string, QualifierDeclaration, NameLess> qualifiers_;
  std::vector<MofPart> unreadQualifiers_;
  std::atomic<bool> qualifiersAreRead_ = false;
};

void ClassRepository::Content::add(MofDocument document) {
  for (ClassDeclaration& declaration : document.classes) addClass(std::move(declaration));
  for (UnreadClass& found : document.unreadClasses) addClass(std::move(found));
  for (QualifierDeclaration& qualifier : document.qualifiers) {
    std::string name = qualifier.name;
    qualifiers_.try_emplace(std::move(name), std::move(qualifier));
  }
  std::ranges::move(document.unreadQualifiers, std::back_inserter(unreadQualifiers_));
  std::ranges::move(document.instances, std::back_inserter(instances));
}

void ClassRepository::Content::addClass(ClassDeclaration declaration) {
  newEntry(declaration).declaration = std::move(declaration);
}

void ClassRepository::Content::addClass(UnreadClass found) {
  const MofPlace place = found.place();
  ClassDeclaration declaration;
  declaration.name = found.name;
  declaration.superclass = found.superclass;
  declaration.file = found.part.source->file();
  declaration.line = place.line;
  declaration.column = place.column;
  Entry& entry = newEntry(declaration);
  entry.declaration = std::move(declaration);
  entry.unread = std::move(found);
}

ClassRepository::Content::Entry& ClassRepository::Content::newEntry(
    const ClassDeclaration& declaration) {
  const auto [position, isNew] = classes.try_emplace(declaration.name);
  if (!isNew) {
    const ClassDeclaration& first = position->second.declaration;
    failAt(declaration, "class '" + declaration.name + "' is already declared in " + first.file +
                            ", line " + std::to_string(first.line));
  }
  position->second.name = declaration.name;
  return position->second;
}

void ClassRepository::Content::resolve(MofReading reading) {
  for (auto& [name, entry] : classes) linkSuperclass(entry);
  for (auto& [name, entry] : classes) {
    for (Entry* link : chainFromTop(entry)) {
      if (reading == MofReading::kAtOnce) complete(*link);
    }
  }
}

void ClassRepository::Content::linkSuperclass(Entry& entry) {
  const ClassDeclaration& declaration = entry.declaration;
  if (declaration.superclass.empty()) {
    topClasses.push_back(&entry);
    return;
  }
  const auto found = classes.find(declaration.superclass);
  if (found == classes.end()) {
    failAt(declaration, "superclass '" + declaration.superclass + "' of class '" +
                            declaration.name + "' is not declared");
  }
  entry.superclass = &found->second;
  found->second.subclasses.push_back(&entry);
}

std::vector<ClassRepository::Content::Entry*> ClassRepository::Content::chainFromTop(
    Entry& entry) const {
  std::vector<Entry*> chain;
  for (Entry* link = &entry; link != nullptr; link = link->superclass) {
    if (std::ranges::find(chain, link) != chain.end()) {
      failAt(link->declaration, "class '" + link->declaration.name + "' inherits from itself");
    }
    chain.push_back(link);
    if (chain.size() > kDeepestInheritance) {
      failAt(entry.declaration, "class '" + entry.declaration.name + "' has more than " +
                                    std::to_string(kDeepestInheritance - 1) + " superclasses");
    }
  }
  std::ranges::reverse(chain);
  return chain;
}

// A class that fails stays as it was, so that the next question fails in the same way.
void ClassRepository::Content::complete(Entry& entry) {
  if (entry.isComplete.load(std::memory_order_acquire)) return;
  if (entry.superclass != nullptr) complete(*entry.superclass);
  if (entry.unread) entry.declaration = parseMofClass(*entry.unread);
  entry.properties.clear();
  entry.keys.clear();
  inherit(entry);
  entry.isComplete.store(true, std::memory_order_release);
}

void ClassRepository::Content::inherit(Entry& entry) {
  if (entry.superclass != nullptr) {
    entry.properties = entry.superclass->properties;
    entry.declaration.isAssociation |= entry.superclass->declaration.isAssociation;
  }
  const PropertyIndex inherited = indexByName(entry.properties);
  std::set<std::string_view, NameLess> own;
  for (const PropertyDeclaration& property : entry.declaration.properties) {
    if (!own.insert(property.name).second) {
      failAt(entry.declaration, property, "property '" + property.name + "' is declared twice");
    }
    addProperty(entry, inherited, property);
  }
  for (const PropertyDeclaration& property : entry.properties) {
    if (property.isKey) entry.keys.push_back(property.name);
  }
}

void ClassRepository::Content::addProperty(Entry& entry, const PropertyIndex& inherited,
                                           PropertyDeclaration property) {
  if (const auto found = inherited.find(property.name); found != inherited.end()) {
    return overrideProperty(entry, entry.properties[found->second], std::move(property));
  }
  if (property.overrides) {
    const MofValue* overridden = findQualifier(property.qualifiers, "override");
    failAt(entry.declaration, property,
           "property '" + property.name + "' overrides '" + std::string(overridden->text()) +
               "', which no superclass has");
  }
  entry.properties.push_back(std::move(property));
}

void ClassRepository::Content::overrideProperty(const Entry& entry, PropertyDeclaration& inherited,
                                                PropertyDeclaration property) {
  if (!sameShape(inherited, property)) {
    failAt(entry.declaration, property,
           "property '" + property.name + "' is of another type in class '" +
               inherited.originClass + "'");
  }
  property.isKey |= inherited.isKey;
  property.originClass = inherited.originClass;
  if (!property.defaultValue) property.defaultValue = inherited.defaultValue;
  property.qualifiers = inheritedQualifiers(property.qualifiers, inherited.qualifiers);
  inherited = std::move(property);
}

ClassRepository::Content::Entry* ClassRepository::Content::find(std::string_view name) {
  const auto found = classes.find(name);
  return found == classes.end() ? nullptr : &found->second;
}

const ClassRepository::Content::Entry* ClassRepository::Content::findComplete(
    std::string_view name) {
  Entry* entry = find(name);
  if (entry != nullptr && !entry->isComplete.load(std::memory_order_acquire)) {
    const std::lock_guard lock(reading_);
    complete(*entry);
  }
  return entry;
}

const std::map<std::string, QualifierDeclaration, NameLess>&
ClassRepository::Content::readQualifiers() {
  if (qualifiersAreRead_.load(std::memory_order_acquire)) return qualifiers_;
  const std::lock_guard lock(reading_);
  for (const MofPart& part : unreadQualifiers_) {
    QualifierDeclaration qualifier = parseMofQualifierDeclaration(part);
    std::string name = qualifier.name;
    qualifiers_.try_emplace(std::move(name), std::move(qualifier));
  }
  unreadQualifiers_.clear();
  qualifiersAreRead_.store(true, std::memory_order_release);
  return qualifiers_;
}

ClassRepository::ClassRepository() : content_(std::make_unique<Content>()) {}
ClassRepository::ClassRepository(std::unique_ptr<Content> content) : content_(std::move(content)) {}
ClassRepository::ClassRepository(ClassRepository&&) noexcept = default;
ClassRepository& ClassRepository::operator=(ClassRepository&&) noexcept = default;
ClassRepository::~ClassRepository() = default;

ClassRepository ClassRepository::loadDirectory(const fs::path& directory, MofReading reading) {
  std::error_code error;
  if (!fs::is_directory(directory, error)) {
    throw MofError(directory.string(), 0, 0, "is not a directory");
  }
  return load({directory}, reading);
}

ClassRepository ClassRepository::load(const std::vector<fs::path>& filesAndDirectories,
                                      MofReading reading) {
  auto content = std::make_unique<Content>();
  for (MofDocument& document : readMofFiles(filesAndDirectories, reading)) {
    content->add(std::move(document));
  }
  content->resolve(reading);
  return ClassRepository(std::move(content));
}

ClassRepository ClassRepository::parse(std::string_view text, const std::string& sourceName,
                                       MofReading reading) {
  MofDocument document = readMof(std::string(text), sourceName, reading);
  if (!document.includes.empty()) {
    const MofPlace& place = document.includes.front().place;
    throw MofError(sourceName, place.line, place.column, "only a file can include others");
  }
  auto content = std::make_unique<Content>();
  content->add(std::move(document));
  content->resolve(reading);
  return ClassRepository(std::move(content));
}

bool ClassRepository::contains(std::string_view name) const {
  return content_->find(name) != nullptr;
}

const ClassDeclaration* ClassRepository::find(std::string_view name) const {
  const Content::Entry* entry = content_->findComplete(name);
  return entry == nullptr ? nullptr : &entry->declaration;
}

bool ClassRepository::isA(std::string_view name, std::string_view base) const {
  const Content::Entry* wanted = content_->find(base);
  const Content::Entry* entry = content_->find(name);
  while (entry != nullptr && entry != wanted) entry = entry->superclass;
  return entry != nullptr;
}

std::vector<std::string> ClassRepository::subclasses(std::string_view name, bool deep) const {
  static const std::vector<const Content::Entry*> kNone;
  const Content::Entry* entry = content_->find(name);
  const auto& first = name.empty() ? content_->topClasses : entry ? entry->subclasses : kNone;
  std::vector<const Content::Entry*> waiting(first.rbegin(), first.rend());
  std::vector<std::string> names;
  while (!waiting.empty()) {
    const Content::Entry* current = waiting.back();
    waiting.pop_back();
    names.push_back(current->name);
    if (deep) {
      waiting.insert(waiting.end(), current->subclasses.rbegin(), current->subclasses.rend());
    }
  }
  return names;
}

std::vector<std::string> ClassRepository::superclasses(std::string_view name) const {
  std::vector<std::string> names;
  const Content::Entry* entry = content_->find(name);
  for (; entry != nullptr && entry->superclass != nullptr; entry = entry->superclass) {
    names.push_back(entry->superclass->name);
  }
  return names;
}

const std::vector<PropertyDeclaration>& ClassRepository::allProperties(
    std::string_view name) const {
  static const std::vector<PropertyDeclaration> kNone;
  const Content::Entry* entry = content_->findComplete(name);
  return entry == nullptr ? kNone : entry->properties;
}

const PropertyDeclaration* ClassRepository::findProperty(std::string_view className,
                                                         std::string_view propertyName) const {
  const std::vector<PropertyDeclaration>& properties = allProperties(className);
  const auto found = std::ranges::find_if(properties, [propertyName](const auto& property) {
    return sameName(property.name, propertyName);
  });
  return found == properties.end() ? nullptr : &*found;
}

const std::vector<std::string>& ClassRepository::keys(std::string_view name) const {
  static const std::vector<std::string> kNone;
  const Content::Entry* entry = content_->findComplete(name);
  return entry == nullptr ? kNone : entry->keys;
}

std::vector<std::string> ClassRepository::classNames() const {
  std::vector<std::string> names;
  names.reserve(content_->classes.size());
  for (const auto& [name, entry] : content_->classes) names.push_back(name);
  return names;
}

const std::map<std::string, QualifierDeclaration, NameLess>&
ClassRepository::qualifierDeclarations() const {
  return content_->readQualifiers();
}

const std::vector<MofInstance>& ClassRepository::instances() const {
  return content_->instances;
}

}  // namespace cimom
