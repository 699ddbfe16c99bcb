#include "stored_value.h"

#include <model/names.h>

#include <algorithm>
#include <new>
#include <utility>
#include <variant>

#include "text_pool.h"

namespace cimom {
namespace {

template <class... Cases>
struct Visitor : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Visitor(Cases...) -> Visitor<Cases...>;

StoredValue fromScalar(const Scalar& scalar, CimType type, TextPool& texts) {
  return std::visit(
      Visitor{[&](std::monostate) { return StoredValue(type); },
              [&](bool value) { return StoredValue::boolean(value); },
              [&](std::uint64_t value) { return StoredValue::number(type, value); },
              [&](std::int64_t value) { return StoredValue::signedNumber(type, value); },
              [&](double value) { return StoredValue::real(type, value); },
              [&](const std::string& value) { return StoredValue::text(texts.get(value), type); },
              [&](const std::shared_ptr<const ObjectPath>& path) {
                return path ? StoredValue::reference({path, nullptr}) : StoredValue(type);
              }},
      scalar);
}

bool sameShortName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && sameName(left, right);
}

}  // namespace

StoredValue StoredValue::boolean(bool value) noexcept {
  StoredValue stored(CimType::kBoolean);
  stored.kind_ = Kind::kBoolean;
  stored.payload_.boolean = value;
  return stored;
}

StoredValue StoredValue::number(CimType type, std::uint64_t value) noexcept {
  StoredValue stored(type);
  stored.kind_ = Kind::kUnsigned;
  stored.payload_.number = value;
  return stored;
}

StoredValue StoredValue::signedNumber(CimType type, std::int64_t value) noexcept {
  StoredValue stored(type);
  stored.kind_ = Kind::kSigned;
  stored.payload_.signedNumber = value;
  return stored;
}

StoredValue StoredValue::real(CimType type, double value) noexcept {
  StoredValue stored(type);
  stored.kind_ = Kind::kReal;
  stored.payload_.real = value;
  return stored;
}

StoredValue StoredValue::text(SharedText text, CimType type) noexcept {
  StoredValue stored(type);
  new (&stored.payload_.text) SharedText(std::move(text));
  stored.kind_ = Kind::kText;
  return stored;
}

StoredValue StoredValue::reference(StoredReference reference) {
  StoredValue stored(CimType::kReference);
  stored.payload_.reference = new StoredReference(std::move(reference));
  stored.kind_ = Kind::kReference;
  return stored;
}

StoredValue StoredValue::array(CimType type, std::shared_ptr<const StoredElements> elements) {
  StoredValue stored(type, true);
  stored.payload_.elements = new Elements(std::move(elements));
  stored.kind_ = Kind::kArray;
  return stored;
}

StoredValue::StoredValue(const StoredValue& other) : type_(other.type_), isArray_(other.isArray_) {
  switch (other.kind_) {
    case Kind::kText:
      new (&payload_.text) SharedText(other.payload_.text);
      break;
    case Kind::kReference:
      payload_.reference = new StoredReference(*other.payload_.reference);
      break;
    case Kind::kArray:
      payload_.elements = new Elements(*other.payload_.elements);
      break;
    default:
      payload_.number = other.payload_.number;
  }
  kind_ = other.kind_;
}

// All that a payload holds is at home wherever its bytes are.
StoredValue::StoredValue(StoredValue&& other) noexcept
    : type_(other.type_), isArray_(other.isArray_), kind_(other.kind_) {
  if (kind_ == Kind::kText) {
    new (&payload_.text) SharedText(std::move(other.payload_.text));
    return;
  }
  payload_.number = other.payload_.number;
  other.kind_ = Kind::kNull;
}

StoredValue& StoredValue::operator=(StoredValue other) noexcept {
  this->~StoredValue();
  return *new (this) StoredValue(std::move(other));
}

StoredValue::~StoredValue() {
  if (kind_ == Kind::kText) payload_.text.~SharedText();
  if (kind_ == Kind::kReference) delete payload_.reference;
  if (kind_ == Kind::kArray) delete payload_.elements;
}

SharedText StoredValue::asText() const {
  return kind_ == Kind::kText ? payload_.text : SharedText(toText(toScalar()));
}

const StoredReference* StoredValue::asReference() const noexcept {
  return kind_ == Kind::kReference ? payload_.reference : nullptr;
}

std::shared_ptr<const StoredElements> StoredValue::elements() const noexcept {
  return kind_ == Kind::kArray ? *payload_.elements : nullptr;
}

Scalar StoredValue::toScalar() const {
  switch (kind_) {
    case Kind::kBoolean:
      return payload_.boolean;
    case Kind::kUnsigned:
      return payload_.number;
    case Kind::kSigned:
      return payload_.signedNumber;
    case Kind::kReal:
      return payload_.real;
    case Kind::kText:
      return payload_.text.string();
    case Kind::kReference: {
      const auto& [model, stored] = *payload_.reference;
      return model ? model : std::make_shared<const ObjectPath>(cimom::toModel(*stored));
    }
    default:
      return {};
  }
}

Value StoredValue::toModel() const {
  Value value = Value::null(type_, isArray_);
  if (isNull()) return value;
  value.isNull = false;
  if (kind_ == Kind::kArray) {
    value.elements.reserve((*payload_.elements)->size());
    for (const StoredValue& each : **payload_.elements) value.elements.push_back(each.toScalar());
  } else {
    value.elements.push_back(toScalar());
  }
  return value;
}

StoredValue fromModel(const Value& value, TextPool& texts) {
  if (value.isNull || (!value.isArray && value.elements.empty())) {
    return StoredValue(value.type, value.isArray);
  }
  if (!value.isArray) return fromScalar(value.elements.front(), value.type, texts);
  auto elements = std::make_shared<StoredElements>();
  elements->reserve(value.elements.size());
  for (const Scalar& each : value.elements) {
    elements->push_back(fromScalar(each, value.type, texts));
  }
  return StoredValue::array(value.type, std::move(elements));
}

StoredValues fromModel(const std::vector<NamedValue>& values, TextPool& texts) {
  StoredValues stored;
  stored.reserve(values.size());
  for (const auto& [name, value] : values) {
    stored.push_back({texts.get(name), fromModel(value, texts)});
  }
  return stored;
}

StoredPath fromModel(const ObjectPath& path, TextPool& texts) {
  return {texts.get(path.host), texts.get(path.nameSpace), texts.get(path.className),
          fromModel(path.keys, texts)};
}

std::vector<NamedValue> toModel(const StoredValues& values) {
  std::vector<NamedValue> model;
  model.reserve(values.size());
  for (const auto& [name, value] : values) model.push_back({name.string(), value.toModel()});
  return model;
}

ObjectPath toModel(const StoredPath& path) {
  return {path.host.string(), path.nameSpace.string(), path.className.string(), toModel(path.keys)};
}

StoredValue* findNamed(StoredValues& values, std::string_view name) {
  const auto found = std::ranges::find_if(
      values, [name](const StoredNamed& each) { return sameShortName(each.name.view(), name); });
  return found != values.end() ? &found->value : nullptr;
}

const StoredValue* findNamed(const StoredValues& values, std::string_view name) {
  return findNamed(const_cast<StoredValues&>(values), name);
}

void putNamed(StoredValues& values, SharedText name, StoredValue value) {
  if (StoredValue* present = findNamed(values, name.view())) {
    *present = std::move(value);
  } else {
    values.push_back({std::move(name), std::move(value)});
  }
}

}  // namespace cimom
