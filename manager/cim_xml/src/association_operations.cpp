#include <utility>
#include <vector>

#include "class_links.h"
#include "operation_table.h"
#include "value_elements.h"

namespace cimom {
namespace {

std::vector<std::string> linkedClasses(const OperationCall& call, const RequestedObject& object,
                                       const AssociationFilter& filter) {
  return namesOf(ClassLinks(call.place.repository, filter).from(object.path.className),
                 &ClassLinks::Link::target);
}

std::vector<std::string> linkingClasses(const OperationCall& call, const RequestedObject& object,
                                        const AssociationFilter& filter) {
  const AssociationFilter byAssociation{filter.resultClass, "", filter.role, ""};
  return namesOf(ClassLinks(call.place.repository, byAssociation).from(object.path.className),
                 &ClassLinks::Link::association);
}

InstanceSink instanceWriter(const OperationCall& call, const ElementOptions& options) {
  return [&](Instance&& instance) {
    const XmlElement element(call.writer, "VALUE.OBJECTWITHPATH");
    writeFullPath(call.writer, call.place, instance.path);
    writeInstance(call.writer, call.place.repository, instance, options);
  };
}

PathSink pathWriter(const OperationCall& call) {
  return [&](ObjectPath&& path) {
    const XmlElement element(call.writer, "OBJECTPATH");
    writeFullPath(call.writer, call.place, std::move(path));
  };
}

void writeClasses(OperationCall& call, const std::vector<std::string>& names,
                  const ElementOptions& options) {
  const ClassRepository& repository = call.place.repository;
  for (const std::string& name : names) {
    const XmlElement element(call.writer, "VALUE.OBJECTWITHPATH");
    writeClassPath(call.writer, name, call.place.name, call.place.hostName);
    writeClass(call.writer, repository, *repository.find(name), options);
  }
}

void writeClassPaths(OperationCall& call, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const XmlElement element(call.writer, "OBJECTPATH");
    writeClassPath(call.writer, name, call.place.name, call.place.hostName);
  }
}

}  // namespace

void associators(OperationCall& call) {
  const RequestedObject object = takeObject(call);
  const AssociationFilter filter = takeAssociatorFilter(call);
  const ElementOptions options = takeInstanceOptions(call);
  call.parameters.expectNoOthers();
  if (object.isClass) return writeClasses(call, linkedClasses(call, object, filter), options);
  call.place.operations.associators(object.path, filter, options.propertyList,
                                    instanceWriter(call, options));
}

void associatorNames(OperationCall& call) {
  const RequestedObject object = takeObject(call);
  const AssociationFilter filter = takeAssociatorFilter(call);
  call.parameters.expectNoOthers();
  if (object.isClass) return writeClassPaths(call, linkedClasses(call, object, filter));
  call.place.operations.associatorNames(object.path, filter, pathWriter(call));
}

void references(OperationCall& call) {
  const RequestedObject object = takeObject(call);
  const AssociationFilter filter = takeReferenceFilter(call);
  const ElementOptions options = takeInstanceOptions(call);
  call.parameters.expectNoOthers();
  if (object.isClass) return writeClasses(call, linkingClasses(call, object, filter), options);
  call.place.operations.references(object.path, filter, options.propertyList,
                                   instanceWriter(call, options));
}

void referenceNames(OperationCall& call) {
  const RequestedObject object = takeObject(call);
  const AssociationFilter filter = takeReferenceFilter(call);
  call.parameters.expectNoOthers();
  if (object.isClass) return writeClassPaths(call, linkingClasses(call, object, filter));
  call.place.operations.referenceNames(object.path, filter, pathWriter(call));
}

}  // namespace cimom
