#pragma once

#include <model/operations.h>
#include <mof/class_repository.h>

#include <string>
#include <vector>

namespace pcicim {

/// Throws CimError (INVALID_CLASS) over a class that is not there, with the one that may be meant:
/// the published ones come before the standard's.
[[noreturn]] void refuseClass(const cimom::ClassRepository& classes, const std::string& name);

/// The operations of an object manager as people expect them. Providers may take no notice of the
/// filters of an association request; here every answer is of the result class or below it, comes
/// over an association of the association class or below it, and plays the roles that were asked
/// for. Names of classes, properties and roles that nothing has are errors (CimError, INVALID_CLASS
/// or INVALID_PARAMETER) instead of answers that hold nothing.
///
/// Which role an object plays is read from the references to it. Where a provider shows an
/// associated object and no reference to it, the object counts for each role that their association
/// has.
///
/// Without filters all is passed on as it comes. As safe for threads as the operations that are
/// asked; those and the classes outlive it.
class CheckedOperations final : public cimom::Operations {
 public:
  CheckedOperations(cimom::Operations& asked, const cimom::ClassRepository& classes);

  cimom::Instance getInstance(const cimom::ObjectPath& path,
                              const cimom::PropertyList& properties) override;
  void enumerateInstances(const cimom::ObjectPath& classPath, const cimom::PropertyList& properties,
                          const cimom::InstanceSink& sink) override;
  void enumerateInstanceNames(const cimom::ObjectPath& classPath,
                              const cimom::PathSink& sink) override;
  void associators(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                   const cimom::PropertyList& properties, const cimom::InstanceSink& sink) override;
  void associatorNames(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                       const cimom::PathSink& sink) override;
  void references(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                  const cimom::PropertyList& properties, const cimom::InstanceSink& sink) override;
  void referenceNames(const cimom::ObjectPath& path, const cimom::AssociationFilter& filter,
                      const cimom::PathSink& sink) override;

 private:
  class Links;

  void check(const cimom::AssociationFilter& filter) const;
  /// The associations at the bottom, of the filter's class, that have its roles.
  std::vector<std::string> associationsWithRoles(const cimom::AssociationFilter& filter) const;
  std::string identityOf(const cimom::Instance& instance) const;
  void checkRole(const std::string& role) const;
  /// That some class of those has each property; `of` says whose they are.
  void check(const cimom::PropertyList& properties, const std::vector<std::string>& classNames,
             const std::string& of) const;
  /// The class and those below it, or all for an empty name.
  std::vector<std::string> withSubclasses(const std::string& className) const;
  bool isWanted(const std::string& className, const std::string& wantedClass) const;
  bool refersTo(const cimom::Value* reference, const cimom::ObjectPath& path) const;

  cimom::Operations& asked_;
  const cimom::ClassRepository& classes_;
};

}  // namespace pcicim
