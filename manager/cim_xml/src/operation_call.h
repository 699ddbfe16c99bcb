#pragma once

#include <cim_xml/cim_xml_service.h>
#include <model/cim_error.h>
#include <model/operations.h>
#include <mof/class_repository.h>

#include <string>

#include "enumeration_contexts.h"
#include "object_elements.h"
#include "request_parameters.h"
#include "xml_writer.h"

namespace cimom {

/// What all requests to one namespace share; lives as long as the service.
struct ServedNamespace {
  const ClassRepository& repository;
  Operations& operations;
  /// The name that paths carry.
  std::string name;
  std::string hostName;
};

/// One request: its parameters in, what its response holds out.
struct OperationCall {
  const ServedNamespace& place;
  EnumerationContexts& contexts;
  RequestParameters& parameters;
  XmlWriter& writer;
};

[[noreturn]] void fail(CMPIrc code, const std::string& reason);

/// Throws CimError of that code when there is no such class.
void requireClass(const ServedNamespace& place, const std::string& name, CMPIrc otherwise);

/// Parameters that several operations have.
ObjectPath takeClassPath(OperationCall& call);
ElementOptions takeInstanceOptions(OperationCall& call);
/// The standard knows no INVALID_CLASS for associations: a class in a parameter of theirs that is
/// not there is a wrong parameter.
RequestedObject takeObject(OperationCall& call);
/// The same of operations that start from instances alone and call the parameter InstanceName.
ObjectPath takeLinkedInstance(OperationCall& call);
AssociationFilter takeAssociatorFilter(OperationCall& call);
AssociationFilter takeReferenceFilter(OperationCall& call);

/// INSTANCEPATH, in this namespace where the path names none.
void writeFullPath(XmlWriter& writer, const ServedNamespace& place, ObjectPath path);

}  // namespace cimom
