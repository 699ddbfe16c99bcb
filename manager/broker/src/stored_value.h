#pragma once

#include <model/value.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "shared_text.h"

/// Values, paths and properties as the broker's objects keep them until their request ends: a
/// quarter of what the model takes. What leaves the broker is of the model.
namespace cimom {

class StoredValue;
struct StoredPath;

/// The elements of an array, which all its copies share until one of them changes. Copies may live
/// in different threads.
class SharedElements {
 public:
  SharedElements() noexcept = default;
  /// So many null elements of the type.
  SharedElements(std::size_t count, CimType type);
  SharedElements(const SharedElements& other) noexcept;
  SharedElements(SharedElements&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  SharedElements& operator=(SharedElements other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~SharedElements() {
    if (block_ != nullptr) letGo();
  }

  std::size_t size() const noexcept;
  /// Of an index below size().
  const StoredValue& operator[](std::size_t index) const noexcept;
  void set(std::size_t index, StoredValue value);

 private:
  struct Block;
  static Block* newBlock(std::size_t count);
  void letGo() noexcept;

  Block* block_ = nullptr;
};

/// A path that a value refers to, in the form in which it came.
struct StoredReference {
  std::shared_ptr<const ObjectPath> model;
  std::shared_ptr<const StoredPath> stored;
};

/// A CIM value of 16 bytes. Texts and array elements are shared among its copies.
class StoredValue {
 public:
  /// A null value.
  explicit StoredValue(CimType type = CimType::kString, bool isArray = false) noexcept
      : type_(type), isArray_(isArray) {}
  static StoredValue boolean(bool value) noexcept;
  static StoredValue number(CimType type, std::uint64_t value) noexcept;
  static StoredValue signedNumber(CimType type, std::int64_t value) noexcept;
  static StoredValue real(CimType type, double value) noexcept;
  static StoredValue text(SharedText text, CimType type = CimType::kString) noexcept;
  static StoredValue reference(StoredReference reference);
  static StoredValue array(CimType type, SharedElements elements) noexcept;

  StoredValue(const StoredValue& other);
  StoredValue(StoredValue&& other) noexcept;
  StoredValue& operator=(StoredValue other) noexcept;
  ~StoredValue();

  CimType type() const noexcept { return type_; }
  bool isArray() const noexcept { return isArray_; }
  bool isNull() const noexcept { return kind_ == Kind::kNull; }

  bool asBoolean() const noexcept { return kind_ == Kind::kBoolean && held<bool>(); }
  /// A number in the type of the caller; 0 for what is none.
  template <class Number>
  Number as() const noexcept {
    if (kind_ == Kind::kUnsigned) return static_cast<Number>(held<std::uint64_t>());
    if (kind_ == Kind::kSigned) return static_cast<Number>(held<std::int64_t>());
    if (kind_ == Kind::kReal) return static_cast<Number>(held<double>());
    return Number{};
  }
  /// The text of a scalar: that of toText.
  SharedText asText() const;
  /// Null for what is no reference; lives as long as the value.
  const StoredReference* asReference() const noexcept;
  /// None for what is no array.
  SharedElements elements() const noexcept;

  /// Writes the value into the model's; what memory that has is used again.
  void copyTo(Value& value) const;

 private:
  void copyTo(Scalar& scalar) const;

  enum class Kind : std::uint8_t {
    kNull,
    kBoolean,
    kUnsigned,
    kSigned,
    kReal,
    kText,
    kReference,
    kArray,
  };
  using Reference = StoredReference*;

  /// What is of the kind; the one way in which the payload is read.
  template <class Held>
  Held& held() noexcept {
    return *std::launder(reinterpret_cast<Held*>(payload_));
  }
  template <class Held>
  const Held& held() const noexcept {
    return *std::launder(reinterpret_cast<const Held*>(payload_));
  }
  /// For a value that is null yet.
  template <class Held>
  void hold(Kind kind, Held content) noexcept {
    // A pointer is held as such.
    // NOLINTNEXTLINE(bugprone-sizeof-expression)
    static_assert(sizeof(Held) <= sizeof(payload_) && alignof(Held) <= alignof(std::uint64_t));
    new (payload_) Held(std::move(content));
    kind_ = kind;
  }

  CimType type_;
  bool isArray_;
  Kind kind_ = Kind::kNull;
  alignas(std::uint64_t) std::byte payload_[sizeof(std::uint64_t)]{};
};

struct StoredNamed {
  SharedText name;
  StoredValue value;
};

using StoredValues = std::vector<StoredNamed>;

struct StoredPath {
  SharedText host;
  SharedText nameSpace;
  SharedText className;
  StoredValues keys;
};

class TextPool;

StoredValue fromModel(const Value& value, TextPool& texts);
StoredPath fromModel(const ObjectPath& path, TextPool& texts);
StoredValues fromModel(const std::vector<NamedValue>& values, TextPool& texts);

ObjectPath toModel(const StoredPath& path);
/// Write them into what the model has; the memory of that is used again.
void copyTo(ObjectPath& model, const StoredPath& path);
void copyTo(std::vector<NamedValue>& model, const StoredValues& values);

/// The value of that name in any case; null when there is none. Lives until the values change.
StoredValue* findNamed(StoredValues& values, std::string_view name);
const StoredValue* findNamed(const StoredValues& values, std::string_view name);

/// Sets the value of that name, in any case, or adds it.
void putNamed(StoredValues& values, SharedText name, StoredValue value);

}  // namespace cimom
