#pragma once

#include <model/class_declaration.h>
#include <mof/mof_error.h>
#include <mof/mof_instance.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// How far MOF is read before anybody asks for what is in it.
enum class MofReading {
  /// To the end: whatever is wrong anywhere is an error.
  kAtOnce,
  /// Classes, each with its superclass, are found, and read when somebody asks for them. What is
  /// wrong inside of one is an error then; for texts whose every class is checked elsewhere.
  kAsNeeded,
};

/// The classes that an object manager knows, read from MOF.
///
///     const ClassRepository classes = ClassRepository::loadDirectory("schema");
///     for (const std::string& name : classes.subclasses("CIM_PCIController", true))
///       std::cout << name << ": " << classes.allProperties(name).size() << " properties\n";
///
/// It is filled once by the load functions and cannot be changed afterwards: every reading
/// function is then safe from any number of threads, and each reference or pointer handed out
/// lives as long as the repository. All class names are compared regardless of case. Where it is
/// read as needed, functions throw MofError when what they are asked for is not well formed, again
/// at each question; those that speak of names alone never do.
class ClassRepository {
 public:
  ClassRepository();
  ClassRepository(ClassRepository&&) noexcept;
  ClassRepository& operator=(ClassRepository&&) noexcept;
  ~ClassRepository();

  /// Reads every *.mof file of a directory and of those below it, in any order. Throws MofError,
  /// also when the directory cannot be read or holds no such file.
  static ClassRepository loadDirectory(const std::filesystem::path& directory,
                                       MofReading reading = MofReading::kAtOnce);

  /// Reads several files and directories, and what they include, as one schema; a superclass may
  /// be in any of them, also after its subclasses. A class declared twice is an error, the same
  /// file named twice is read once. Throws MofError.
  static ClassRepository load(const std::vector<std::filesystem::path>& filesAndDirectories,
                              MofReading reading = MofReading::kAtOnce);

  /// Reads MOF from memory; an include is an error there. Throws MofError.
  static ClassRepository parse(std::string_view text, const std::string& sourceName = "<text>",
                               MofReading reading = MofReading::kAtOnce);

  /// True when there is a class of that name. It is not read for that.
  bool contains(std::string_view name) const;

  /// The class; null when there is none of that name.
  const ClassDeclaration* find(std::string_view name) const;

  /// True when `name` is `base` or inherits from it; false when either is unknown.
  bool isA(std::string_view name, std::string_view base) const;

  /// Names of the classes right below `name`, or, with `deep`, of all below it, each before its
  /// own subclasses; in alphabetical order among sisters. Empty for an unknown class. An empty
  /// `name` means the parent of the classes at the top.
  std::vector<std::string> subclasses(std::string_view name, bool deep) const;

  /// Names from the superclass of `name` up to the top; empty for an unknown class.
  std::vector<std::string> superclasses(std::string_view name) const;

  /// All properties of the class, inherited ones first, topmost class first. A property that a
  /// subclass declares again keeps its first place with the subclass's type, default and
  /// qualifiers, to which the overridden one's are added where the subclass does not name them.
  /// Empty for an unknown class.
  const std::vector<PropertyDeclaration>& allProperties(std::string_view name) const;

  /// One of allProperties; null when the class or the property is unknown.
  const PropertyDeclaration* findProperty(std::string_view className,
                                          std::string_view propertyName) const;

  /// Names of the key properties, in the order of allProperties; empty for an unknown class.
  const std::vector<std::string>& keys(std::string_view name) const;

  /// Names of all classes, in alphabetical order.
  std::vector<std::string> classNames() const;

  /// The qualifiers that the text declares, by name; of several declarations the first counts.
  const std::map<std::string, QualifierDeclaration, NameLess>& qualifierDeclarations() const;

  /// The instances that the text holds, in the order of reading.
  const std::vector<MofInstance>& instances() const;

 private:
  struct Content;
  explicit ClassRepository(std::unique_ptr<Content> content);

  std::unique_ptr<Content> content_;
};

}  // namespace cimom
