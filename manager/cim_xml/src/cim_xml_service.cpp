// One request message in, one response message out. The headers are compared with the message, then
// an Operation, found by its method's name, takes its parameters, refuses those that are left, asks
// the repository (classes) or the operations (instances) and writes what IRETURNVALUE holds. A
// failed operation rewinds the writer, so that a response holds a result or an error, never both.
// Everything of a request is on the stack of its thread; nothing is shared but what the service
// refers to.
#include <cim_xml/cim_xml_service.h>
#include <model/cim_error.h>
#include <model/names.h>
#include <model/short_text.h>

#include <exception>
#include <map>
#include <utility>
#include <vector>

#include "class_links.h"
#include "object_elements.h"
#include "request_message.h"
#include "request_parameters.h"
#include "value_elements.h"
#include "xml_writer.h"

namespace cimom {
namespace {

[[noreturn]] void fail(CMPIrc code, const std::string& reason) {
  throw CimError(code, reason);
}

/// One request: its parameters in, what IRETURNVALUE holds out.
class Operation {
 public:
  Operation(const ClassRepository& repository, Operations& operations,
            const CimXmlSettings& settings, const CimMessage& message, XmlWriter& writer)
      : repository_(repository),
        operations_(operations),
        settings_(settings),
        message_(message),
        writer_(writer) {}

  void perform() {
    const auto found = members().find(message_.method);
    if (!message_.isIntrinsic || found == members().end()) {
      fail(CMPI_RC_ERR_NOT_SUPPORTED, message_.method + " is not supported");
    }
    if (!sameName(message_.nameSpace, settings_.nameSpace)) {
      fail(CMPI_RC_ERR_INVALID_NAMESPACE, "no namespace " + message_.nameSpace);
    }
    RequestParameters parameters(message_.call, settings_.nameSpace, repository_);
    const XmlElement result(writer_, "IRETURNVALUE");
    (this->*found->second)(parameters);
  }

 private:
  using Member = void (Operation::*)(RequestParameters&);
  using Members = std::map<std::string, Member, NameLess>;

  static const Members& members() {
    static const Members kMembers{
        {"EnumerateClassNames", &Operation::enumerateClassNames},
        {"EnumerateClasses", &Operation::enumerateClasses},
        {"GetClass", &Operation::getClass},
        {"EnumerateInstanceNames", &Operation::enumerateInstanceNames},
        {"EnumerateInstances", &Operation::enumerateInstances},
        {"GetInstance", &Operation::getInstance},
        {"GetProperty", &Operation::getProperty},
        {"Associators", &Operation::associators},
        {"AssociatorNames", &Operation::associatorNames},
        {"References", &Operation::references},
        {"ReferenceNames", &Operation::referenceNames},
    };
    return kMembers;
  }

  // Classes.

  void enumerateClassNames(RequestParameters& parameters) {
    for (const std::string& name : takeSubclasses(parameters)) writeClassName(writer_, name);
  }

  void enumerateClasses(RequestParameters& parameters) {
    const ElementOptions options = takeClassOptions(parameters);
    for (const std::string& name : takeSubclasses(parameters)) {
      writeClass(writer_, repository_, *repository_.find(name), options);
    }
  }

  void getClass(RequestParameters& parameters) {
    const std::string name = parameters.requiredClassName("ClassName");
    ElementOptions options = takeClassOptions(parameters);
    options.properties = parameters.properties();
    parameters.expectNoOthers();
    const ClassDeclaration* declaration = repository_.find(name);
    if (declaration == nullptr) fail(CMPI_RC_ERR_NOT_FOUND, "no class " + name);
    writeClass(writer_, repository_, *declaration, options);
  }

  std::vector<std::string> takeSubclasses(RequestParameters& parameters) const {
    const std::string name = parameters.className("ClassName");
    const bool deep = parameters.boolean("DeepInheritance", false);
    parameters.expectNoOthers();
    if (!name.empty()) requireClass(name, CMPI_RC_ERR_INVALID_CLASS);
    return repository_.subclasses(name, deep);
  }

  static ElementOptions takeClassOptions(RequestParameters& parameters) {
    ElementOptions options;
    options.localOnly = parameters.boolean("LocalOnly", true);
    options.qualifiers = parameters.boolean("IncludeQualifiers", true);
    options.classOrigin = parameters.boolean("IncludeClassOrigin", false);
    return options;
  }

  // Instances.

  void enumerateInstanceNames(RequestParameters& parameters) {
    const ObjectPath path = takeClassPath(parameters);
    parameters.expectNoOthers();
    for (const ObjectPath& name : operations_.enumerateInstanceNames(path)) {
      writeInstanceName(writer_, name);
    }
  }

  void enumerateInstances(RequestParameters& parameters) {
    const ObjectPath path = takeClassPath(parameters);
    const bool deep = parameters.boolean("DeepInheritance", true);
    parameters.boolean("LocalOnly", true);
    const ElementOptions options = takeInstanceOptions(parameters);
    parameters.expectNoOthers();
    for (const Instance& instance : operations_.enumerateInstances(path, options.properties)) {
      const XmlElement element(writer_, "VALUE.NAMEDINSTANCE");
      writeInstanceName(writer_, instance.path);
      writeInstance(writer_, repository_, instance, options, deep ? "" : path.className);
    }
  }

  void getInstance(RequestParameters& parameters) {
    const ObjectPath path = parameters.requiredInstanceName("InstanceName");
    parameters.boolean("LocalOnly", true);
    const ElementOptions options = takeInstanceOptions(parameters);
    parameters.expectNoOthers();
    const Instance instance = operations_.getInstance(path, options.properties);
    writeInstance(writer_, repository_, instance, options);
  }

  void getProperty(RequestParameters& parameters) {
    const ObjectPath path = parameters.requiredInstanceName("InstanceName");
    const std::string name = parameters.requiredText("PropertyName");
    parameters.expectNoOthers();
    if (repository_.findProperty(path.className, name) == nullptr) {
      fail(CMPI_RC_ERR_NO_SUCH_PROPERTY, path.className + " has no property " + name);
    }
    const Instance instance = operations_.getInstance(path, {{name}});
    if (const Value* value = instance.findProperty(name)) writeValue(writer_, *value);
  }

  ObjectPath takeClassPath(RequestParameters& parameters) const {
    ObjectPath path;
    path.nameSpace = settings_.nameSpace;
    path.className = parameters.requiredClassName("ClassName");
    requireClass(path.className, CMPI_RC_ERR_INVALID_CLASS);
    return path;
  }

  static ElementOptions takeInstanceOptions(RequestParameters& parameters) {
    ElementOptions options;
    options.qualifiers = parameters.boolean("IncludeQualifiers", false);
    options.classOrigin = parameters.boolean("IncludeClassOrigin", false);
    options.properties = parameters.properties();
    return options;
  }

  // Associations. The standard knows no INVALID_CLASS there: a class in a parameter that is not
  // there is a wrong parameter.

  void associators(RequestParameters& parameters) { writeRelated(parameters, kAssociators); }
  void associatorNames(RequestParameters& parameters) {
    writeRelatedNames(parameters, kAssociators);
  }
  void references(RequestParameters& parameters) { writeRelated(parameters, kReferences); }
  void referenceNames(RequestParameters& parameters) { writeRelatedNames(parameters, kReferences); }

  /// What the two kinds of association requests differ in: which filters they take, and what they
  /// find for a class and for an instance.
  struct Relation {
    AssociationFilter (Operation::*filter)(RequestParameters&) const;
    std::vector<std::string> (Operation::*classes)(const RequestedObject&,
                                                   const AssociationFilter&) const;
    std::vector<Instance> (Operations::*instances)(const ObjectPath&, const AssociationFilter&,
                                                   const PropertyList&);
    std::vector<ObjectPath> (Operations::*names)(const ObjectPath&, const AssociationFilter&);
  };
  static const Relation kAssociators;
  static const Relation kReferences;

  void writeRelated(RequestParameters& parameters, const Relation& relation) {
    const RequestedObject object = takeObject(parameters);
    const AssociationFilter filter = (this->*relation.filter)(parameters);
    const ElementOptions options = takeInstanceOptions(parameters);
    parameters.expectNoOthers();
    if (object.isClass) {
      writeClasses((this->*relation.classes)(object, filter), options);
    } else {
      writeInstances((operations_.*relation.instances)(object.path, filter, options.properties),
                     options);
    }
  }

  void writeRelatedNames(RequestParameters& parameters, const Relation& relation) {
    const RequestedObject object = takeObject(parameters);
    const AssociationFilter filter = (this->*relation.filter)(parameters);
    parameters.expectNoOthers();
    if (object.isClass) {
      writeClassPaths((this->*relation.classes)(object, filter));
    } else {
      writePaths((operations_.*relation.names)(object.path, filter));
    }
  }

  RequestedObject takeObject(RequestParameters& parameters) const {
    try {
      RequestedObject object = parameters.requiredObject("ObjectName");
      requireClass(object.path.className, CMPI_RC_ERR_INVALID_PARAMETER);
      return object;
    } catch (const CimError& error) {
      fail(CMPI_RC_ERR_INVALID_PARAMETER, error.text());
    }
  }

  AssociationFilter takeAssociatorFilter(RequestParameters& parameters) const {
    AssociationFilter filter = takeReferenceFilter(parameters);
    filter.assocClass = takeFilterClass(parameters, "AssocClass");
    filter.resultRole = parameters.text("ResultRole");
    return filter;
  }

  AssociationFilter takeReferenceFilter(RequestParameters& parameters) const {
    AssociationFilter filter;
    filter.resultClass = takeFilterClass(parameters, "ResultClass");
    filter.role = parameters.text("Role");
    return filter;
  }

  std::string takeFilterClass(RequestParameters& parameters, const char* name) const {
    std::string className = parameters.className(name);
    if (!className.empty()) requireClass(className, CMPI_RC_ERR_INVALID_PARAMETER);
    return className;
  }

  std::vector<std::string> linkedClasses(const RequestedObject& object,
                                         const AssociationFilter& filter) const {
    return namesOf(ClassLinks(repository_, filter).from(object.path.className),
                   &ClassLinks::Link::target);
  }

  std::vector<std::string> linkingClasses(const RequestedObject& object,
                                          const AssociationFilter& filter) const {
    const AssociationFilter byAssociation{filter.resultClass, "", filter.role, ""};
    return namesOf(ClassLinks(repository_, byAssociation).from(object.path.className),
                   &ClassLinks::Link::association);
  }

  void requireClass(const std::string& name, CMPIrc otherwise) const {
    if (repository_.find(name) == nullptr) fail(otherwise, "no class " + name);
  }

  void writeInstances(const std::vector<Instance>& instances, const ElementOptions& options) {
    for (const Instance& instance : instances) {
      const XmlElement element(writer_, "VALUE.OBJECTWITHPATH");
      writeFullPath(instance.path);
      writeInstance(writer_, repository_, instance, options);
    }
  }

  void writePaths(const std::vector<ObjectPath>& paths) {
    for (const ObjectPath& path : paths) {
      const XmlElement element(writer_, "OBJECTPATH");
      writeFullPath(path);
    }
  }

  void writeFullPath(ObjectPath path) {
    if (path.nameSpace.empty()) path.nameSpace = settings_.nameSpace;
    writeInstancePath(writer_, path, settings_.hostName);
  }

  void writeClasses(const std::vector<std::string>& names, const ElementOptions& options) {
    for (const std::string& name : names) {
      const XmlElement element(writer_, "VALUE.OBJECTWITHPATH");
      writeClassPath(writer_, name, settings_.nameSpace, settings_.hostName);
      writeClass(writer_, repository_, *repository_.find(name), options);
    }
  }

  void writeClassPaths(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
      const XmlElement element(writer_, "OBJECTPATH");
      writeClassPath(writer_, name, settings_.nameSpace, settings_.hostName);
    }
  }

  const ClassRepository& repository_;
  Operations& operations_;
  const CimXmlSettings& settings_;
  const CimMessage& message_;
  XmlWriter& writer_;
};

const Operation::Relation Operation::kAssociators{
    &Operation::takeAssociatorFilter, &Operation::linkedClasses, &Operations::associators,
    &Operations::associatorNames};
const Operation::Relation Operation::kReferences{
    &Operation::takeReferenceFilter, &Operation::linkingClasses, &Operations::references,
    &Operations::referenceNames};

/// Codes beyond those of CIM are CMPI's own and mean nothing to a client.
int cimCode(CMPIrc code) {
  const auto number = static_cast<int>(code);
  constexpr int kLastCimCode = CMPI_RC_ERR_METHOD_NOT_FOUND;
  return number >= 1 && number <= kLastCimCode ? number : CMPI_RC_ERR_FAILED;
}

void writeError(XmlWriter& writer, CMPIrc code, const std::string& text) {
  XmlElement(writer, "ERROR")
      .attribute("CODE", std::to_string(cimCode(code)))
      .attribute("DESCRIPTION", shortText(text));
}

/// What the operation writes, or the error that it ends with, never a part of either.
void writeOutcome(XmlWriter& writer, Operation operation) {
  const XmlWriter::Mark start = writer.mark();
  try {
    operation.perform();
  } catch (const CimError& error) {
    writer.rewind(start);
    writeError(writer, error.code(), error.text().empty() ? error.name() : error.text());
  } catch (const std::exception& error) {
    writer.rewind(start);
    writeError(writer, CMPI_RC_ERR_FAILED, error.what());
  }
}

}  // namespace

CimXmlService::CimXmlService(const ClassRepository& repository, Operations& operations,
                             CimXmlSettings settings)
    : repository_(repository), operations_(operations), settings_(std::move(settings)) {}

CimXmlReply CimXmlService::answer(const CimXmlHeaders& headers, std::string_view body) const {
  try {
    checkHeaders(headers);
    const CimMessage message = readMessage(body);
    compareHeaders(headers, message);
    XmlWriter writer;
    {
      XmlElement root(writer, "CIM");
      root.attribute("CIMVERSION", "2.0").attribute("DTDVERSION", "2.0");
      XmlElement element(writer, "MESSAGE");
      element.attribute("ID", message.id).attribute("PROTOCOLVERSION", "1.0");
      const XmlElement response(writer, "SIMPLERSP");
      XmlElement method(writer, message.isIntrinsic ? "IMETHODRESPONSE" : "METHODRESPONSE");
      method.attribute("NAME", message.method);
      writeOutcome(writer, {repository_, operations_, settings_, message, writer});
    }
    return {200, "", writer.take()};
  } catch (const HttpRefusal& refusal) {
    return {refusal.status(), refusal.cimError(), refusal.what()};
  }
}

}  // namespace cimom
