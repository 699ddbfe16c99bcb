#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <manager/cim_type.h>

namespace cimom {

/// Trouble in MOF text: what() reads "file:line:column: reason". A file that cannot be read, and
/// trouble between classes such as an unknown superclass, is reported the same way.
class MofError : public std::runtime_error {
 public:
  /// `line` and `column` count from 1; both are 0 where the trouble has no place in the text.
  MofError(std::string file, std::size_t line, std::size_t column, std::string reason);

  const std::string& file() const noexcept { return file_; }
  std::size_t line() const noexcept { return line_; }
  std::size_t column() const noexcept { return column_; }
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string file_;
  std::size_t line_;
  std::size_t column_;
  std::string reason_;
};

/// Orders names as CIM compares them: ASCII letters regardless of case.
struct NameLess {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const noexcept;
};

/// True when two CIM names are the same name, ASCII letters compared regardless of case.
bool sameName(std::string_view left, std::string_view right) noexcept;

/// A value written in MOF: a qualifier's parameter, a default, a property of an instance.
struct MofValue {
  enum class Kind { kNull, kBoolean, kNumber, kString, kCharacter, kAlias };
  struct Element {
    Kind kind = Kind::kNull;
    /// Strings and characters with their escapes resolved (UTF-8), whole numbers in decimal, other
    /// numbers as written, "true" or "false", the name of an alias without its '$'; empty for null.
    std::string text;
  };

  bool isArray = false;
  /// One element unless isArray.
  std::vector<Element> elements;

  /// The text of the first element; empty when there is none.
  std::string_view text() const noexcept;
  /// True for a single `true`.
  bool isTrue() const noexcept;
};

/// Qualifiers by name. A qualifier without a parameter has the value true.
using QualifierMap = std::map<std::string, MofValue, NameLess>;

/// The qualifier's value; null when it is not there. Lives as long as the map.
const MofValue* findQualifier(const QualifierMap& qualifiers, std::string_view name);

/// One property of a class.
struct PropertyDeclaration {
  std::string name;
  CimType type = CimType::kString;
  bool isArray = false;
  /// Elements of an array of fixed size.
  std::optional<std::size_t> arraySize;
  /// The class that a reference refers to; empty for every other type.
  std::string referenceClass;
  /// True when the Key qualifier stands here or at a property that this one overrides.
  bool isKey = false;
  QualifierMap qualifiers;
  std::optional<MofValue> defaultValue;
  /// The class that first declares the property, up the chain of overrides.
  std::string originClass;
  /// Where the name stands in the file of the class; counted from 1.
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
  /// Where the declaration stands.
  std::string file;
  std::size_t line = 0;
  std::size_t column = 0;
};

/// An instance written in MOF, such as those of provider registrations.
struct MofInstance {
  std::string className;
  /// Without its '$'; empty when the instance has none.
  std::string alias;
  std::vector<std::pair<std::string, MofValue>> properties;
};

/// The classes that an object manager knows, read from MOF.
///
/// It is filled once by the load functions and cannot be changed afterwards: every reading
/// function is then safe from any number of threads, and each reference or pointer handed out
/// lives as long as the repository. All class names are compared regardless of case.
class ClassRepository {
 public:
  /// A piece of MOF with the name that errors give it.
  struct Source {
    std::string name;
    std::string text;
  };

  ClassRepository();
  ClassRepository(ClassRepository&&) noexcept;
  ClassRepository& operator=(ClassRepository&&) noexcept;
  ~ClassRepository();

  /// Reads one file and whatever it includes. Throws MofError.
  static ClassRepository loadFile(const std::filesystem::path& file);

  /// Reads every *.mof file of a directory and of those below it, in any order. Throws MofError,
  /// also when the directory cannot be read or holds no such file.
  static ClassRepository loadDirectory(const std::filesystem::path& directory);

  /// Reads several files and directories as one schema; a superclass may stand in any of them,
  /// also after its subclasses. A class declared twice is an error, the same file named twice is
  /// read once. Throws MofError.
  static ClassRepository load(const std::vector<std::filesystem::path>& filesAndDirectories);

  /// Reads MOF from memory; an include is an error there. Throws MofError.
  static ClassRepository parse(std::string_view text, std::string_view sourceName = "<text>");
  static ClassRepository parse(const std::vector<Source>& sources);

  /// The class; null when there is none of that name.
  const ClassDeclaration* find(std::string_view name) const;

  /// True when `name` is `base` or inherits from it; false when either is unknown.
  bool isA(std::string_view name, std::string_view base) const;

  /// Names of the classes right below `name`, or, with `deep`, of all below it, each before its
  /// own subclasses; in alphabetical order among sisters. Empty for an unknown class. An empty
  /// `name` stands above the classes at the top.
  std::vector<std::string> subclasses(std::string_view name, bool deep) const;

  /// Names from the superclass of `name` up to the top; empty for an unknown class.
  std::vector<std::string> superclasses(std::string_view name) const;

  /// All properties of the class, inherited ones first, topmost class first. A property that a
  /// subclass declares again stands at its first place with the subclass's type, default and
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

  /// The instances that the text holds, in the order of reading.
  const std::vector<MofInstance>& instances() const;

 private:
  struct Content;
  explicit ClassRepository(std::unique_ptr<Content> content);

  std::unique_ptr<Content> content_;
};

}  // namespace cimom
