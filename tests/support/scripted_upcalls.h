#pragma once

#include <model/operations.h>

#include <exception>
#include <string>
#include <vector>

namespace test_support {

/// An object manager behind a broker: it answers upcalls with what the test put in and notes them.
class ScriptedUpcalls : public cimom::Operations {
 public:
  std::vector<cimom::Instance> instances;
  std::vector<cimom::ObjectPath> paths;
  /// Thrown by every upcall when set.
  std::exception_ptr failure;
  /// The upcalls so far: the operation, the path and, where there are such, the filters between
  /// slashes and the property list.
  std::vector<std::string> seen;

  void enumerateInstances(const cimom::ObjectPath& path, const cimom::PropertyList& properties,
                          const cimom::InstanceSink& sink) override {
    note("enumerateInstances", path, textOf(properties));
    handOver(instances, sink);
  }
  void enumerateInstanceNames(const cimom::ObjectPath& path, const cimom::PathSink& sink) override {
    note("enumerateInstanceNames", path);
    handOver(paths, sink);
  }
  cimom::Instance getInstance(const cimom::ObjectPath& path,
                              const cimom::PropertyList& properties) override {
    note("getInstance", path, textOf(properties));
    return instances.front();
  }
  void associators(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                   const cimom::PropertyList& properties,
                   const cimom::InstanceSink& sink) override {
    note("associators", path, textOf(filter) + textOf(properties));
    handOver(instances, sink);
  }
  void associatorNames(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                       const cimom::PathSink& sink) override {
    note("associatorNames", path, textOf(filter));
    handOver(paths, sink);
  }
  void references(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                  const cimom::PropertyList& properties, const cimom::InstanceSink& sink) override {
    note("references", path, textOf(filter) + textOf(properties));
    handOver(instances, sink);
  }
  void referenceNames(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                      const cimom::PathSink& sink) override {
    note("referenceNames", path, textOf(filter));
    handOver(paths, sink);
  }

 private:
  void note(const std::string& operation, const cimom::ObjectPath& path,
            const std::string& rest = {}) {
    seen.push_back(operation + " " + cimom::toText(path) + rest);
    if (failure) std::rethrow_exception(failure);
  }
  template <class Object, class Sink>
  static void handOver(const std::vector<Object>& prepared, const Sink& sink) {
    for (const Object& object : prepared) sink(Object(object));
  }
  static std::string textOf(const cimom::AssociationFilter& filter) {
    return " " + filter.assocClass + "/" + filter.resultClass + "/" + filter.role + "/" +
           filter.resultRole;
  }
  static std::string textOf(const cimom::PropertyList& properties) {
    if (!properties) return " all";
    std::string text = " [";
    for (const std::string& name : *properties) text += (text.size() > 2 ? "," : "") + name;
    return text + "]";
  }
};

}  // namespace test_support
