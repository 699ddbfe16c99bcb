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

  std::vector<cimom::Instance> enumerateInstances(const cimom::ObjectPath& path,
                                                  const cimom::PropertyList& properties) override {
    return answer(instances, "enumerateInstances", path, textOf(properties));
  }
  std::vector<cimom::ObjectPath> enumerateInstanceNames(const cimom::ObjectPath& path) override {
    return answer(paths, "enumerateInstanceNames", path);
  }
  cimom::Instance getInstance(const cimom::ObjectPath& path,
                              const cimom::PropertyList& properties) override {
    return answer(instances, "getInstance", path, textOf(properties)).front();
  }
  std::vector<cimom::Instance> associators(const cimom::ObjectPath& path,
                                           const cimom::AssociationFilter& filter,
                                           const cimom::PropertyList& properties) override {
    return answer(instances, "associators", path, textOf(filter) + textOf(properties));
  }
  std::vector<cimom::ObjectPath> associatorNames(const cimom::ObjectPath& path,
                                                 const cimom::AssociationFilter& filter) override {
    return answer(paths, "associatorNames", path, textOf(filter));
  }
  std::vector<cimom::Instance> references(const cimom::ObjectPath& path,
                                          const cimom::AssociationFilter& filter,
                                          const cimom::PropertyList& properties) override {
    return answer(instances, "references", path, textOf(filter) + textOf(properties));
  }
  std::vector<cimom::ObjectPath> referenceNames(const cimom::ObjectPath& path,
                                                const cimom::AssociationFilter& filter) override {
    return answer(paths, "referenceNames", path, textOf(filter));
  }

 private:
  template <class Answer>
  Answer answer(const Answer& prepared, const std::string& operation, const cimom::ObjectPath& path,
                const std::string& rest = {}) {
    seen.push_back(operation + " " + cimom::toText(path) + rest);
    if (failure) std::rethrow_exception(failure);
    return prepared;
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
