#include <changes/value_json.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace pcicim {
namespace {

constexpr const char* kClass = "@class";
constexpr const char* kNameSpace = "@namespace";

Json toJson(const cimom::Scalar& scalar) {
  return std::visit(
      [](const auto& value) -> Json {
        using Held = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<Held, std::shared_ptr<const cimom::ObjectPath>>) {
          return value ? pcicim::toJson(*value) : Json(nullptr);
        } else {
          return value;
        }
      },
      scalar);
}

cimom::ObjectPath toPath(const Json& json) {
  cimom::ObjectPath path;
  for (const auto& [name, value] : json.items()) {
    if (name == kClass && value.is_string()) {
      path.className = value.get<std::string>();
    } else if (name == kNameSpace && value.is_string()) {
      path.nameSpace = value.get<std::string>();
    } else {
      path.keys.push_back({name, toValue(value)});
    }
  }
  if (path.className.empty()) {
    throw std::runtime_error("a reference without a class");
  }
  return path;
}

cimom::Value real(double number) {
  cimom::Value value;
  value.type = cimom::CimType::kReal64;
  value.isNull = false;
  value.elements.emplace_back(number);
  return value;
}

cimom::Value array(const Json& json) {
  cimom::Value value = cimom::Value::null(cimom::CimType::kString, true);
  value.isNull = false;
  for (const Json& element : json) {
    if (element.is_array()) {
      throw std::runtime_error("an array in an array");
    }
    cimom::Value one = toValue(element);
    value.type = one.type;
    value.elements.push_back(one.elements.empty() ? cimom::Scalar()
                                                  : std::move(one.elements.front()));
  }
  return value;
}

}  // namespace

Json toJson(const cimom::Value& value) {
  if (value.isNull || (!value.isArray && value.elements.empty())) {
    return nullptr;
  }
  if (!value.isArray) {
    return toJson(value.elements.front());
  }
  Json list = Json::array();
  for (const cimom::Scalar& element : value.elements) {
    list.push_back(toJson(element));
  }
  return list;
}

void addValues(Json& object, const std::vector<cimom::NamedValue>& values) {
  for (const auto& [name, value] : values) {
    object[name] = toJson(value);
  }
}

Json toJson(const cimom::ObjectPath& path) {
  Json object = Json::object();
  object[kClass] = path.className;
  if (!path.nameSpace.empty()) {
    object[kNameSpace] = path.nameSpace;
  }
  addValues(object, path.keys);
  return object;
}

cimom::Value toValue(const Json& json) {
  switch (json.type()) {
    case Json::value_t::null:
      return cimom::Value::null(cimom::CimType::kString);
    case Json::value_t::boolean:
      return cimom::Value::boolean(json.get<bool>());
    case Json::value_t::number_unsigned:
      return cimom::Value::number(cimom::CimType::kUint64, json.get<std::uint64_t>());
    case Json::value_t::number_integer:
      return cimom::Value::signedNumber(cimom::CimType::kSint64, json.get<std::int64_t>());
    case Json::value_t::number_float:
      return real(json.get<double>());
    case Json::value_t::string:
      return cimom::Value::text(json.get<std::string>());
    case Json::value_t::array:
      return array(json);
    case Json::value_t::object:
      return cimom::Value::reference(toPath(json));
    default:
      throw std::runtime_error("not a value");
  }
}

std::string onOneLine(const Json& json) {
  // In ASCII, so that nothing in a name can steer a terminal.
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace pcicim
