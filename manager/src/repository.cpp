#include <manager/repository.h>

#include <algorithm>
#include <array>
#include <deque>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>
#include <utility>

#include "mof_parser.h"

namespace cimom {
namespace {

namespace fs = std::filesystem;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string describePlace(const std::string& file, std::size_t line, std::size_t column,
                          const std::string& reason) {
  if (line == 0) return file + ": " + reason;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason;
}

[[noreturn]] void failForFile(const fs::path& file, const std::string& reason) {
  throw MofError(file.string(), 0, 0, reason);
}

[[noreturn]] void failAt(const ClassDeclaration& declaration, const std::string& reason) {
  throw MofError(declaration.file, declaration.line, declaration.column, reason);
}

[[noreturn]] void failAt(const ClassDeclaration& declaration, const PropertyDeclaration& property,
                         const std::string& reason) {
  throw MofError(declaration.file, property.line, property.column, reason);
}

std::string readFile(const fs::path& file) {
  if (fs::is_directory(file)) failForFile(file, "is a directory");
  std::ifstream in(file, std::ios::binary);
  if (!in) failForFile(file, "cannot be opened");
  std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad()) failForFile(file, "cannot be read");
  return text;
}

std::vector<fs::path> listMofFiles(const fs::path& directory) {
  std::vector<fs::path> files;
  std::error_code error;
  fs::recursive_directory_iterator entries(directory, error);
  while (!error && entries != fs::recursive_directory_iterator()) {
    const fs::path& path = entries->path();
    if (sameName(path.extension().string(), ".mof") && !fs::is_directory(path)) {
      files.push_back(path);
    }
    entries.increment(error);
  }
  if (error) failForFile(directory, error.message());
  if (files.empty()) failForFile(directory, "holds no MOF file");
  // Directories list in no order of their own; errors should not depend on it.
  std::ranges::sort(files);
  return files;
}

// Reads files and what they include, each once however it is named.
class FileReader {
 public:
  void add(fs::path file);
  std::vector<MofDocument> readAll();

 private:
  void addIncludes(const MofDocument& document, const fs::path& file);

  std::set<fs::path> known_;
  std::deque<fs::path> waiting_;
};

void FileReader::add(fs::path file) {
  std::error_code error;
  const fs::path canonical = fs::canonical(file, error);
  if (known_.insert(error ? file : canonical).second) waiting_.push_back(std::move(file));
}

std::vector<MofDocument> FileReader::readAll() {
  std::vector<MofDocument> documents;
  while (!waiting_.empty()) {
    const fs::path file = std::move(waiting_.front());
    waiting_.pop_front();
    documents.push_back(parseMof(readFile(file), file.string()));
    addIncludes(documents.back(), file);
  }
  return documents;
}

void FileReader::addIncludes(const MofDocument& document, const fs::path& file) {
  for (const MofDocument::Include& include : document.includes) {
    const fs::path target = file.parent_path() / include.path;
    std::error_code error;
    if (!fs::exists(target, error)) {
      throw MofError(file.string(), include.place.line, include.place.column,
                     "included file '" + include.path + "' does not exist");
    }
    add(target);
  }
}

// Qualifiers that speak of one declaration only and do not pass on to the one that overrides it.
bool staysWithItsDeclaration(std::string_view qualifier) {
  constexpr std::array<std::string_view, 4> kNames = {"override", "version", "deprecated",
                                                      "experimental"};
  return std::ranges::any_of(kNames, [qualifier](auto name) { return sameName(name, qualifier); });
}

void inheritQualifiers(PropertyDeclaration& property, const PropertyDeclaration& overridden) {
  for (const auto& [name, value] : overridden.qualifiers) {
    if (!staysWithItsDeclaration(name)) property.qualifiers.emplace(name, value);
  }
}

// Where each property stands in a list of them.
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

MofError::MofError(std::string file, std::size_t line, std::size_t column, std::string reason)
    : std::runtime_error(describePlace(file, line, column, reason)),
      file_(std::move(file)),
      line_(line),
      column_(column),
      reason_(std::move(reason)) {}

bool NameLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::ranges::lexicographical_compare(
      left, right,
      [](char a, char b) { return static_cast<unsigned char>(a) < static_cast<unsigned char>(b); },
      lower, lower);
}

bool sameName(std::string_view left, std::string_view right) noexcept {
  return std::ranges::equal(left, right, {}, lower, lower);
}

std::string_view MofValue::text() const noexcept {
  return elements.empty() ? std::string_view() : std::string_view(elements.front().text);
}

bool MofValue::isTrue() const noexcept {
  return !isArray && !elements.empty() && elements.front().kind == Kind::kBoolean &&
         elements.front().text == "true";
}

const MofValue* findQualifier(const QualifierMap& qualifiers, std::string_view name) {
  const auto found = qualifiers.find(name);
  return found == qualifiers.end() ? nullptr : &found->second;
}

struct ClassRepository::Content {
  struct Entry {
    ClassDeclaration declaration;
    Entry* superclass = nullptr;
    std::vector<const Entry*> subclasses;
    std::vector<PropertyDeclaration> properties;
    std::vector<std::string> keys;
  };

  // A bound on the depth keeps the inherited properties of hostile schemas from growing with the
  // square of the text; the standard schema stays below a dozen.
  static constexpr std::size_t kDeepestInheritance = 100;

  std::map<std::string, Entry, NameLess> classes;
  std::vector<const Entry*> topClasses;
  std::vector<MofInstance> instances;

  void add(MofDocument document);
  void resolve();
  const Entry* find(std::string_view name) const;

 private:
  void addClass(ClassDeclaration declaration);
  void linkSuperclass(Entry& entry);
  std::vector<Entry*> chainFromTop(Entry& entry) const;
  static void inherit(Entry& entry);
  static void addProperty(Entry& entry, const PropertyIndex& inherited,
                          PropertyDeclaration property);
  static void overrideProperty(const Entry& entry, PropertyDeclaration& inherited,
                               PropertyDeclaration property);
};

void ClassRepository::Content::add(MofDocument document) {
  for (ClassDeclaration& declaration : document.classes) addClass(std::move(declaration));
  std::ranges::move(document.instances, std::back_inserter(instances));
}

void ClassRepository::Content::addClass(ClassDeclaration declaration) {
  const auto [position, isNew] = classes.try_emplace(declaration.name);
  if (!isNew) {
    const ClassDeclaration& first = position->second.declaration;
    failAt(declaration, "class '" + declaration.name + "' is already declared in " + first.file +
                            ", line " + std::to_string(first.line));
  }
  position->second.declaration = std::move(declaration);
}

void ClassRepository::Content::resolve() {
  for (auto& [name, entry] : classes) linkSuperclass(entry);
  std::set<const Entry*> done;
  for (auto& [name, entry] : classes) {
    for (Entry* link : chainFromTop(entry)) {
      if (done.insert(link).second) inherit(*link);
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
  if (const MofValue* overridden = findQualifier(property.qualifiers, "override")) {
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
  inheritQualifiers(property, inherited);
  inherited = std::move(property);
}

const ClassRepository::Content::Entry* ClassRepository::Content::find(std::string_view name) const {
  const auto found = classes.find(name);
  return found == classes.end() ? nullptr : &found->second;
}

ClassRepository::ClassRepository() : content_(std::make_unique<Content>()) {}
ClassRepository::ClassRepository(std::unique_ptr<Content> content) : content_(std::move(content)) {}
ClassRepository::ClassRepository(ClassRepository&&) noexcept = default;
ClassRepository& ClassRepository::operator=(ClassRepository&&) noexcept = default;
ClassRepository::~ClassRepository() = default;

ClassRepository ClassRepository::loadFile(const fs::path& file) {
  return load({file});
}

ClassRepository ClassRepository::loadDirectory(const fs::path& directory) {
  std::error_code error;
  if (!fs::is_directory(directory, error)) failForFile(directory, "is not a directory");
  return load({directory});
}

ClassRepository ClassRepository::load(const std::vector<fs::path>& filesAndDirectories) {
  FileReader reader;
  for (const fs::path& path : filesAndDirectories) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
      for (fs::path& file : listMofFiles(path)) reader.add(std::move(file));
    } else {
      reader.add(path);
    }
  }
  auto content = std::make_unique<Content>();
  for (MofDocument& document : reader.readAll()) content->add(std::move(document));
  content->resolve();
  return ClassRepository(std::move(content));
}

ClassRepository ClassRepository::parse(std::string_view text, std::string_view sourceName) {
  return parse({Source{std::string(sourceName), std::string(text)}});
}

ClassRepository ClassRepository::parse(const std::vector<Source>& sources) {
  auto content = std::make_unique<Content>();
  for (const Source& source : sources) {
    MofDocument document = parseMof(source.text, source.name);
    if (!document.includes.empty()) {
      const MofPlace& place = document.includes.front().place;
      throw MofError(source.name, place.line, place.column, "only a file can include others");
    }
    content->add(std::move(document));
  }
  content->resolve();
  return ClassRepository(std::move(content));
}

const ClassDeclaration* ClassRepository::find(std::string_view name) const {
  const Content::Entry* entry = content_->find(name);
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
    names.push_back(current->declaration.name);
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
    names.push_back(entry->superclass->declaration.name);
  }
  return names;
}

const std::vector<PropertyDeclaration>& ClassRepository::allProperties(
    std::string_view name) const {
  static const std::vector<PropertyDeclaration> kNone;
  const Content::Entry* entry = content_->find(name);
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
  const Content::Entry* entry = content_->find(name);
  return entry == nullptr ? kNone : entry->keys;
}

std::vector<std::string> ClassRepository::classNames() const {
  std::vector<std::string> names;
  names.reserve(content_->classes.size());
  for (const auto& [name, entry] : content_->classes) names.push_back(name);
  return names;
}

const std::vector<MofInstance>& ClassRepository::instances() const {
  return content_->instances;
}

}  // namespace cimom
