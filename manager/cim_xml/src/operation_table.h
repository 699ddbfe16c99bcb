#pragma once

#include <string_view>

#include "operation_call.h"

namespace cimom {

/// How an operation is carried out.
struct OperationEntry {
  /// Takes all parameters, refuses those that are left, and writes its result. Throws CimError.
  void (*carryOut)(OperationCall& call);
  /// False where it writes IRETURNVALUE itself, or has none.
  bool writesReturnValueOnly = true;
};

/// The operation of that name in any case; null for one that is not supported.
const OperationEntry* findOperation(std::string_view method);

// Classes: class_operations.cpp.
void enumerateClassNames(OperationCall& call);
void enumerateClasses(OperationCall& call);
void getClass(OperationCall& call);

// Instances: instance_operations.cpp.
void enumerateInstanceNames(OperationCall& call);
void enumerateInstances(OperationCall& call);
void getInstance(OperationCall& call);
void getProperty(OperationCall& call);

// Associations between instances or classes: association_operations.cpp.
void associators(OperationCall& call);
void associatorNames(OperationCall& call);
void references(OperationCall& call);
void referenceNames(OperationCall& call);

// Declarations of qualifiers: qualifier_operations.cpp.
void enumerateQualifiers(OperationCall& call);
void getQualifier(OperationCall& call);

// Answers in parts: pull_operations.cpp.
void openEnumerateInstances(OperationCall& call);
void openEnumerateInstancePaths(OperationCall& call);
void openReferenceInstances(OperationCall& call);
void openReferenceInstancePaths(OperationCall& call);
void openAssociatorInstances(OperationCall& call);
void openAssociatorInstancePaths(OperationCall& call);
void pullInstancesWithPath(OperationCall& call);
void pullInstancePaths(OperationCall& call);
void pullInstances(OperationCall& call);
void closeEnumeration(OperationCall& call);

}  // namespace cimom
