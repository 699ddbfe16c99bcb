// Answers that clients take in parts. An open operation makes a producer, which asks the operations
// on a thread of its own and writes each object as the element that a part holds; the open itself
// and the pulls copy those elements into their responses.
#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include <model/names.h>

#include "cim_status.h"
#include "operation_table.h"
#include "value_elements.h"

namespace cimom {
namespace {

using Emit = EnumerationContext::Emit;
using Produce = EnumerationContext::Produce;
using Kind = EnumerationContexts::Subject::Kind;

// What all open operations have.
struct OpenParameters {
  std::optional<std::chrono::seconds> timeout;
  std::size_t most = 0;
};

void refuseFilter(OperationCall& call) {
  const std::string language = call.parameters.text("FilterQueryLanguage");
  const std::string query = call.parameters.text("FilterQuery");
  if (language.empty() && query.empty()) return;
  if (language.empty()) fail(CMPI_RC_ERR_INVALID_PARAMETER, "FilterQuery without its language");
  if (sameName(language, "DMTF:FQL")) {
    fail(kFilteredEnumerationNotSupported, "enumerations are not filtered by queries");
  }
  fail(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, "no query language " + language);
}

OpenParameters takeOpenParameters(OperationCall& call) {
  OpenParameters open;
  if (const auto seconds = call.parameters.number("OperationTimeout")) {
    open.timeout = std::chrono::seconds(*seconds);
  }
  open.most = call.parameters.number("MaxObjectCount").value_or(0);
  const bool continues = call.parameters.boolean("ContinueOnError", false);
  refuseFilter(call);
  call.parameters.expectNoOthers();
  if (continues) fail(kContinuationOnErrorNotSupported, "an enumeration ends with its first error");
  return open;
}

ElementOptions takePulledOptions(OperationCall& call) {
  ElementOptions options;
  options.classOrigin = call.parameters.boolean("IncludeClassOrigin", false);
  options.setProperties(call.parameters.properties());
  return options;
}

std::string takeContext(OperationCall& call) {
  return call.parameters.requiredText("EnumerationContext");
}

template <typename Write>
std::string elementText(Write write) {
  XmlWriter writer = XmlWriter::fragment();
  write(writer);
  return writer.take();
}

/// Emits each instance; what it refers to outlives it.
InstanceSink instanceEmitter(const Emit& emit, const ServedNamespace& place,
                             const ElementOptions& options, std::string asClass = {}) {
  return [&, asClass = std::move(asClass)](Instance&& instance) {
    emit(elementText([&](XmlWriter& writer) {
      const XmlElement element(writer, "VALUE.INSTANCEWITHPATH");
      writeFullPath(writer, place, instance.path);
      writeInstance(writer, place.repository, instance, options, asClass);
    }));
  };
}

PathSink pathEmitter(const Emit& emit, const ServedNamespace& place) {
  return [&](ObjectPath&& path) {
    emit(elementText([&](XmlWriter& writer) { writeFullPath(writer, place, std::move(path)); }));
  };
}

void writeOutput(XmlWriter& writer, const char* name, const char* type, const std::string& value) {
  XmlElement output(writer, "PARAMVALUE");
  output.attribute("NAME", name).attribute("PARAMTYPE", type);
  if (value.empty()) return;
  const XmlElement element(writer, "VALUE");
  writer.text(value);
}

void writePart(XmlWriter& writer, const EnumerationContexts::Part& part, const std::string& id) {
  {
    const XmlElement result(writer, "IRETURNVALUE");
    writer.elements(part.elements);
  }
  writeOutput(writer, "EndOfSequence", "boolean", part.isLast ? "TRUE" : "FALSE");
  writeOutput(writer, "EnumerationContext", "string", part.isLast ? "" : id);
}

void answerOpen(OperationCall& call, const OpenParameters& open, Kind kind, Produce produce) {
  const auto [id, part] =
      call.contexts.open({kind, call.place.name}, open.timeout, open.most, std::move(produce));
  writePart(call.writer, part, id);
}

void answerPull(OperationCall& call, Kind kind) {
  const std::string id = takeContext(call);
  const std::size_t most = call.parameters.requiredNumber("MaxObjectCount");
  call.parameters.expectNoOthers();
  writePart(call.writer, call.contexts.pull(id, {kind, call.place.name}, most), id);
}

}  // namespace

void openEnumerateInstances(OperationCall& call) {
  const ObjectPath path = takeClassPath(call);
  const bool deep = call.parameters.boolean("DeepInheritance", true);
  const ElementOptions options = takePulledOptions(call);
  const OpenParameters open = takeOpenParameters(call);
  const std::string asClass = deep ? "" : path.className;
  answerOpen(call, open, Kind::kInstances, [=, &place = call.place](const Emit& emit) {
    place.operations.enumerateInstances(path, options.propertyList,
                                        instanceEmitter(emit, place, options, asClass));
  });
}

void openEnumerateInstancePaths(OperationCall& call) {
  const ObjectPath path = takeClassPath(call);
  const OpenParameters open = takeOpenParameters(call);
  answerOpen(call, open, Kind::kPaths, [=, &place = call.place](const Emit& emit) {
    place.operations.enumerateInstanceNames(path, pathEmitter(emit, place));
  });
}

void openReferenceInstances(OperationCall& call) {
  const ObjectPath object = takeLinkedInstance(call);
  const AssociationFilter filter = takeReferenceFilter(call);
  const ElementOptions options = takePulledOptions(call);
  const OpenParameters open = takeOpenParameters(call);
  answerOpen(call, open, Kind::kInstances, [=, &place = call.place](const Emit& emit) {
    place.operations.references(object, filter, options.propertyList,
                                instanceEmitter(emit, place, options));
  });
}

void openReferenceInstancePaths(OperationCall& call) {
  const ObjectPath object = takeLinkedInstance(call);
  const AssociationFilter filter = takeReferenceFilter(call);
  const OpenParameters open = takeOpenParameters(call);
  answerOpen(call, open, Kind::kPaths, [=, &place = call.place](const Emit& emit) {
    place.operations.referenceNames(object, filter, pathEmitter(emit, place));
  });
}

void openAssociatorInstances(OperationCall& call) {
  const ObjectPath object = takeLinkedInstance(call);
  const AssociationFilter filter = takeAssociatorFilter(call);
  const ElementOptions options = takePulledOptions(call);
  const OpenParameters open = takeOpenParameters(call);
  answerOpen(call, open, Kind::kInstances, [=, &place = call.place](const Emit& emit) {
    place.operations.associators(object, filter, options.propertyList,
                                 instanceEmitter(emit, place, options));
  });
}

void openAssociatorInstancePaths(OperationCall& call) {
  const ObjectPath object = takeLinkedInstance(call);
  const AssociationFilter filter = takeAssociatorFilter(call);
  const OpenParameters open = takeOpenParameters(call);
  answerOpen(call, open, Kind::kPaths, [=, &place = call.place](const Emit& emit) {
    place.operations.associatorNames(object, filter, pathEmitter(emit, place));
  });
}

void pullInstancesWithPath(OperationCall& call) {
  answerPull(call, Kind::kInstances);
}

void pullInstancePaths(OperationCall& call) {
  answerPull(call, Kind::kPaths);
}

/// Only a query could be answered by instances without paths, and queries are not supported: no
/// context is ever of that kind.
void pullInstances(OperationCall& call) {
  takeContext(call);
  call.parameters.requiredNumber("MaxObjectCount");
  call.parameters.expectNoOthers();
  fail(kInvalidEnumerationContext, "instances of no enumeration come without their paths");
}

void closeEnumeration(OperationCall& call) {
  const std::string id = takeContext(call);
  call.parameters.expectNoOthers();
  call.contexts.close(id, call.place.name);
}

}  // namespace cimom
