#include "stored_value.h"

#include <model/names.h>

#include <algorithm>
#include <atomic>
#include <iterator>
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

/// Most that are compared differ in length.
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
    // Elements that are whole from the start: to copy one may throw.
    SharedElements own(block_->count, CimType::kString);
    std::copy_n(block_->elements(), block_->count, own.block_->elements());
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
  stored.hold(Kind::kBoolean, value);
  return stored;
}

StoredValue StoredValue::number(CimType type, std::uint64_t value) noexcept {
  StoredValue stored(type);
  stored.hold(Kind::kUnsigned, value);
  return stored;
}

StoredValue StoredValue::signedNumber(CimType type, std::int64_t value) noexcept {
  StoredValue stored(type);
  stored.hold(Kind::kSigned, value);
  return stored;
}

StoredValue StoredValue::real(CimType type, double value) noexcept {
  StoredValue stored(type);
  stored.hold(Kind::kReal, value);
  return stored;
}

StoredValue StoredValue::text(SharedText text, CimType type) noexcept {
  StoredValue stored(type);
  stored.hold(Kind::kText, std::move(text));
  return stored;
}

StoredValue StoredValue::reference(StoredReference reference) {
  StoredValue stored(CimType::kReference);
  stored.hold(Kind::kReference, new StoredReference(std::move(reference)));
  return stored;
}

StoredValue StoredValue::array(CimType type, SharedElements elements) noexcept {
  StoredValue stored(type, true);
  stored.hold(Kind::kArray, std::move(elements));
  return stored;
  // The analyzer does not see that the value frees what lies in its bytes.
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
}

StoredValue::StoredValue(const StoredValue& other) : type_(other.type_), isArray_(other.isArray_) {
  switch (other.kind_) {
    case Kind::kText:
      hold(Kind::kText, other.held<SharedText>());
      break;
    case Kind::kReference:
      hold(Kind::kReference, new StoredReference(*other.held<Reference>()));
      break;
    case Kind::kArray:
      hold(Kind::kArray, other.held<SharedElements>());
      break;
    default:
      std::copy(std::begin(other.payload_), std::end(other.payload_), payload_);
      kind_ = other.kind_;
  }
}

// None of what a payload holds minds where its bytes are.
StoredValue::StoredValue(StoredValue&& other) noexcept
    : type_(other.type_), isArray_(other.isArray_), kind_(std::exchange(other.kind_, Kind::kNull)) {
  std::copy(std::begin(other.payload_), std::end(other.payload_), payload_);
}

StoredValue& StoredValue::operator=(StoredValue other) noexcept {
  std::swap(type_, other.type_);
  std::swap(isArray_, other.isArray_);
  std::swap(kind_, other.kind_);
  std::swap(payload_, other.payload_);
  return *this;
}

StoredValue::~StoredValue() {
  if (kind_ == Kind::kText) held<SharedText>().~SharedText();
  if (kind_ == Kind::kReference) delete held<Reference>();
  if (kind_ == Kind::kArray) held<SharedElements>().~SharedElements();
}

SharedText StoredValue::asText() const {
  if (kind_ == Kind::kText) return held<SharedText>();
  Scalar scalar;
  copyTo(scalar);
  return SharedText(toText(scalar));
}

const StoredReference* StoredValue::asReference() const noexcept {
  return kind_ == Kind::kReference ? held<Reference>() : nullptr;
}

SharedElements StoredValue::elements() const noexcept {
  return kind_ == Kind::kArray ? held<SharedElements>() : SharedElements();
}

void StoredValue::copyTo(Scalar& scalar) const {
  switch (kind_) {
    case Kind::kBoolean:
      scalar = held<bool>();
      break;
    case Kind::kUnsigned:
      scalar = held<std::uint64_t>();
      break;
    case Kind::kSigned:
      scalar = held<std::int64_t>();
      break;
    case Kind::kReal:
      scalar = held<double>();
      break;
    case Kind::kText:
      if (auto* present = std::get_if<std::string>(&scalar)) {
        present->assign(held<SharedText>().view());
      } else {
        scalar = held<SharedText>().string();
      }
      break;
    case Kind::kReference: {
      const auto& [model, stored] = *held<Reference>();
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
  const SharedElements& elements = held<SharedElements>();
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
