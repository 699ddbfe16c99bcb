#pragma once

#include <model/cim_type.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace cimom {

struct ObjectPath;

/// One scalar: all unsigned and signed widths, char16 and booleans as numbers, text and datetime
/// as text, references as shared immutable paths. monostate is null.
using Scalar = std::variant<std::monostate, bool, std::uint64_t, std::int64_t, double, std::string,
                            std::shared_ptr<const ObjectPath>>;

/// A CIM value: its declared type, whether it is an array, and what it holds. A null value is one
/// without elements that is no array, or an array marked null.
///
///     const Value bus = Value::number(CimType::kUint8, 3);
///     const Value slot = Value::null(CimType::kUint8);
///     const NamedValue key{"DeviceID", Value::text("0000:03:00.0")};
struct Value {
  CimType type = CimType::kString;
  bool isArray = false;
  /// True for the null value of the type; `elements` is then empty.
  bool isNull = true;
  /// One element unless it is an array.
  std::vector<Scalar> elements;

  static Value null(CimType type, bool isArray = false);
  static Value text(std::string text);
  static Value number(CimType type, std::uint64_t number);
  static Value signedNumber(CimType type, std::int64_t number);
  static Value boolean(bool value);
  static Value reference(ObjectPath path);
};

/// A named value.
struct NamedValue {
  std::string name;
  Value value;
};

/// The name of an instance: keys in the order in which they were set.
struct ObjectPath {
  std::string host;
  std::string nameSpace;
  std::string className;
  std::vector<NamedValue> keys;

  /// The key of that name in any case; null when there is none. Lives as long as the path.
  const Value* findKey(std::string_view name) const;
};

/// An instance: its path and its properties in the order in which they were set.
struct Instance {
  ObjectPath path;
  std::vector<NamedValue> properties;

  const Value* findProperty(std::string_view name) const;
};

/// A scalar as text: numbers in decimal, booleans as true and false, text as it is, references as
/// path text, null as the empty text.
std::string toText(const Scalar& scalar);

/// `namespace:Class.Key="text",Other=3`; quotes and backslashes in text escaped by a backslash,
/// references quoted the same way. Without a namespace the text starts with the class.
std::string toText(const ObjectPath& path);

}  // namespace cimom
