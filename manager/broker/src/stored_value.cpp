#include "stored_value.h"

#include <model/names.h>

#include <algorithm>
#include <atomic>
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

/// The elements follow it.
struct SharedElements::Block {
  std::size_t count;
  std::atomic<std::uint32_t> holders;

  StoredValue* elements() noexcept { return reinterpret_cast<StoredValue*>(this + 1); }
};

/// The elements are the caller's to make.
SharedElements::Block* SharedElements::newBlock(std::size_t count) {
  static_assert(sizeof(Block) % alignof(StoredValue) == 0);
  void* memory = ::operator new(sizeof(Block) + count * sizeof(StoredValue));
  return new (memory) Block{count, 1};
}

SharedElements::SharedElements(std::size_t count, CimType type) : block_(newBlock(count)) {
  std::uninitialized_fill_n(block_->elements(), count, StoredValue(type));
}

SharedElements::SharedElements(const SharedElements& other) noexcept : block_(other.block_) {
  if (block_ != nullptr) block_->holders.fetch_add(1, std::memory_order_relaxed);
}

std::size_t SharedElements::size() const noexcept {
  return block_ != nullptr ? block_->count : 0;
}

const StoredValue& SharedElements::operator[](std::size_t index) const noexcept {
  return block_->elements()[index];
}

void SharedElements::set(std::size_t index, StoredValue value) {
  if (block_->holders.load(std::memory_order_acquire) != 1) {
    SharedElements own;
    own.block_ = newBlock(block_->count);
    std::uninitialized_copy_n(block_->elements(), block_->count, own.block_->elements());
    *this = std::move(own);
  }
  block_->elements()[index] = std::move(value);
}

void SharedElements::letGo() noexcept {
  if (block_->holders.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  std::destroy_n(block_->elements(), block_->count);
  ::operator delete(block_);
}

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

StoredValue StoredValue::array(CimType type, SharedElements elements) noexcept {
  StoredValue stored(type, true);
  new (&stored.payload_.elements) SharedElements(std::move(elements));
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
      new (&payload_.elements) SharedElements(other.payload_.elements);
      break;
    default:
      payload_.number = other.payload_.number;
  }
  kind_ = other.kind_;
}

StoredValue::StoredValue(StoredValue&& other) noexcept
    : type_(other.type_), isArray_(other.isArray_), kind_(other.kind_) {
  switch (kind_) {
    case Kind::kText:
      new (&payload_.text) SharedText(std::move(other.payload_.text));
      break;
    case Kind::kArray:
      new (&payload_.elements) SharedElements(std::move(other.payload_.elements));
      break;
    case Kind::kReference:
      payload_.reference = std::exchange(other.payload_.reference, nullptr);
      break;
    default:
      payload_.number = other.payload_.number;
  }
}

StoredValue& StoredValue::operator=(StoredValue other) noexcept {
  this->~StoredValue();
  return *new (this) StoredValue(std::move(other));
}

StoredValue::~StoredValue() {
  if (kind_ == Kind::kText) payload_.text.~SharedText();
  if (kind_ == Kind::kReference) delete payload_.reference;
  if (kind_ == Kind::kArray) payload_.elements.~SharedElements();
}

SharedText StoredValue::asText() const {
  if (kind_ == Kind::kText) return payload_.text;
  Scalar scalar;
  copyTo(scalar);
  return SharedText(toText(scalar));
}

const StoredReference* StoredValue::asReference() const noexcept {
  return kind_ == Kind::kReference ? payload_.reference : nullptr;
}

SharedElements StoredValue::elements() const noexcept {
  return kind_ == Kind::kArray ? payload_.elements : SharedElements();
}

void StoredValue::copyTo(Scalar& scalar) const {
  switch (kind_) {
    case Kind::kBoolean:
      scalar = payload_.boolean;
      break;
    case Kind::kUnsigned:
      scalar = payload_.number;
      break;
    case Kind::kSigned:
      scalar = payload_.signedNumber;
      break;
    case Kind::kReal:
      scalar = payload_.real;
      break;
    case Kind::kText:
      if (auto* present = std::get_if<std::string>(&scalar)) {
        present->assign(payload_.text.view());
      } else {
        scalar = payload_.text.string();
      }
      break;
    case Kind::kReference: {
      const auto& [model, stored] = *payload_.reference;
      scalar = model ? model : std::make_shared<const ObjectPath>(toModel(*stored));
      break;
    }
    default:
      scalar = std::monostate();
  }
}

void StoredValue::copyTo(Value& value) const {
  value.type = type_;
  value.isArray = isArray_;
  value.isNull = isNull();
  if (value.isNull) return value.elements.clear();
  if (kind_ != Kind::kArray) {
    value.elements.resize(1);
    return copyTo(value.elements.front());
  }
  const SharedElements& elements = payload_.elements;
  value.elements.resize(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) elements[i].copyTo(value.elements[i]);
}

StoredValue fromModel(const Value& value, TextPool& texts) {
  if (value.isNull || (!value.isArray && value.elements.empty())) {
    return StoredValue(value.type, value.isArray);
  }
  if (!value.isArray) return fromScalar(value.elements.front(), value.type, texts);
  SharedElements elements(value.elements.size(), value.type);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    elements.set(i, fromScalar(value.elements[i], value.type, texts));
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

void copyTo(std::vector<NamedValue>& model, const StoredValues& values) {
  model.resize(values.size());
  auto place = model.begin();
  for (const auto& [name, value] : values) {
    place->name.assign(name.view());
    value.copyTo(place->value);
    ++place;
  }
}

void copyTo(ObjectPath& model, const StoredPath& path) {
  model.host.assign(path.host.view());
  model.nameSpace.assign(path.nameSpace.view());
  model.className.assign(path.className.view());
  copyTo(model.keys, path.keys);
}

ObjectPath toModel(const StoredPath& path) {
  ObjectPath model;
  copyTo(model, path);
  return model;
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
