#include "operation_table.h"

#include <map>

#include <model/names.h>

namespace cimom {

const OperationEntry* findOperation(std::string_view method) {
  static const std::map<std::string_view, OperationEntry, NameLess> kEntries{
      {"EnumerateClassNames", {enumerateClassNames}},
      {"EnumerateClasses", {enumerateClasses}},
      {"GetClass", {getClass}},
      {"EnumerateInstanceNames", {enumerateInstanceNames}},
      {"EnumerateInstances", {enumerateInstances}},
      {"GetInstance", {getInstance}},
      {"GetProperty", {getProperty}},
      {"Associators", {associators}},
      {"AssociatorNames", {associatorNames}},
      {"References", {references}},
      {"ReferenceNames", {referenceNames}},
      {"EnumerateQualifiers", {enumerateQualifiers}},
      {"GetQualifier", {getQualifier}},
      {"OpenEnumerateInstances", {openEnumerateInstances, false}},
      {"OpenEnumerateInstancePaths", {openEnumerateInstancePaths, false}},
      {"OpenReferenceInstances", {openReferenceInstances, false}},
      {"OpenReferenceInstancePaths", {openReferenceInstancePaths, false}},
      {"OpenAssociatorInstances", {openAssociatorInstances, false}},
      {"OpenAssociatorInstancePaths", {openAssociatorInstancePaths, false}},
      {"PullInstancesWithPath", {pullInstancesWithPath, false}},
      {"PullInstancePaths", {pullInstancePaths, false}},
      {"PullInstances", {pullInstances, false}},
      {"CloseEnumeration", {closeEnumeration, false}},
  };
  const auto found = kEntries.find(method);
  return found != kEntries.end() ? &found->second : nullptr;
}

}  // namespace cimom
