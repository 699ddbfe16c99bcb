#include "object_text.h"

#include "array_object.h"
#include "context_object.h"
#include "enumeration_object.h"
#include "instance_object.h"
#include "path_object.h"
#include "result_object.h"
#include "string_object.h"

namespace cimom {
namespace {

/// Any encapsulated object begins with its handle and its table.
struct AnyHandle {
  void* hdl;
  const void* ft;
};

const void* tableOf(const void* object) {
  return object != nullptr ? static_cast<const AnyHandle*>(object)->ft : nullptr;
}

}  // namespace

const char* objectTypeName(const void* object) {
  const void* table = tableOf(object);
  if (table == &StringObject::table) return "CMPIString";
  if (table == &ArrayObject::table) return "CMPIArray";
  if (table == &PathObject::table) return "CMPIObjectPath";
  if (table == &InstanceObject::table) return "CMPIInstance";
  if (table == &EnumerationObject::table) return "CMPIEnumeration";
  if (table == &ContextObject::table) return "CMPIContext";
  if (table == &ResultObject::table) return "CMPIResult";
  return nullptr;
}

std::optional<std::string> objectText(const void* object) {
  const void* table = tableOf(object);
  if (table == &StringObject::table) {
    return get<StringObject>(static_cast<const CMPIString*>(object))->text.string();
  }
  if (table == &PathObject::table)
    return toText(toModel(*pathOf(static_cast<const CMPIObjectPath*>(object))));
  if (table == &InstanceObject::table) {
    return toText(toModel(get<InstanceObject>(static_cast<const CMPIInstance*>(object))->path));
  }
  const char* type = objectTypeName(object);
  return type != nullptr ? std::optional<std::string>(type) : std::nullopt;
}

}  // namespace cimom
