#pragma once

#include <model/operations.h>
#include <mof/class_repository.h>

#include <string>
#include <vector>

namespace cimom {

/// Associations between classes, as the classes declare them. For one request; what it is made of
/// outlives it.
class ClassLinks {
 public:
  struct Link {
    std::string association;
    /// The class at the other end.
    std::string target;
  };

  ClassLinks(const ClassRepository& repository, const AssociationFilter& filter)
      : repository_(repository), filter_(filter) {}

  /// The links from the class that the filter lets pass; those of its superclasses are its own.
  std::vector<Link> from(const std::string& className) const;

 private:
  bool allows(const std::string& filter, const std::string& className) const;
  void addLinks(std::vector<Link>& links, const std::string& association,
                const std::string& className) const;

  const ClassRepository& repository_;
  const AssociationFilter& filter_;
};

/// One side of the links, each name once.
std::vector<std::string> namesOf(const std::vector<ClassLinks::Link>& links,
                                 std::string ClassLinks::Link::*member);

}  // namespace cimom
