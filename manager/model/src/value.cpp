#include <model/names.h>
#include <model/value.h>

#include <algorithm>
#include <charconv>

namespace cimom {

namespace {

Value single(CimType type, Scalar scalar) {
  Value value;
  value.type = type;
  value.isNull = false;
  value.elements.push_back(std::move(scalar));
  return value;
}

const Value* findNamed(const std::vector<NamedValue>& values, std::string_view name) {
  const auto found = std::find_if(values.begin(), values.end(), [&](const NamedValue& candidate) {
    return sameName(candidate.name, name);
  });
  return found != values.end() ? &found->value : nullptr;
}

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

bool needsQuotes(CimType type) {
  return type == CimType::kString || type == CimType::kDateTime || type == CimType::kReference;
}

std::string keyText(const Value& value) {
  const std::string text = value.elements.empty() ? "" : toText(value.elements.front());
  return needsQuotes(value.type) ? quoted(text) : text;
}

struct ScalarText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::uint64_t value) const { return std::to_string(value); }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    char text[64];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    return {text, end};
  }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const std::shared_ptr<const ObjectPath>& value) const {
    return value ? toText(*value) : std::string();
  }
};

}  // namespace

Value Value::null(CimType type, bool isArray) {
  Value value;
  value.type = type;
  value.isArray = isArray;
  return value;
}

Value Value::text(std::string text) {
  return single(CimType::kString, std::move(text));
}
Value Value::number(CimType type, std::uint64_t number) {
  return single(type, number);
}
Value Value::signedNumber(CimType type, std::int64_t number) {
  return single(type, number);
}
Value Value::boolean(bool value) {
  return single(CimType::kBoolean, value);
}
Value Value::reference(ObjectPath path) {
  return single(CimType::kReference, std::make_shared<const ObjectPath>(std::move(path)));
}

const Value* ObjectPath::findKey(std::string_view name) const {
  return findNamed(keys, name);
}

const Value* Instance::findProperty(std::string_view name) const {
  return findNamed(properties, name);
}

std::string toText(const Scalar& scalar) {
  return std::visit(ScalarText{}, scalar);
}

std::string toText(const ObjectPath& path) {
  std::string text = path.nameSpace.empty() ? "" : path.nameSpace + ":";
  text += path.className;
  char separator = '.';
  for (const NamedValue& key : path.keys) {
    text += separator;
    text += key.name + "=" + keyText(key.value);
    separator = ',';
  }
  return text;
}

}  // namespace cimom
