#include "class_links.h"

#include <algorithm>

#include <model/names.h>

namespace cimom {
namespace {

/// True for a reference that may have that role; any role where none is given.
bool isEnd(const PropertyDeclaration& property, const std::string& role) {
  return property.type == CimType::kReference && (role.empty() || sameName(role, property.name));
}

}  // namespace

std::vector<ClassLinks::Link> ClassLinks::from(const std::string& className) const {
  std::vector<Link> links;
  for (const std::string& name : repository_.classNames()) {
    if (!repository_.find(name)->isAssociation || !allows(filter_.assocClass, name)) continue;
    addLinks(links, name, className);
  }
  return links;
}

bool ClassLinks::allows(const std::string& filter, const std::string& className) const {
  return filter.empty() || repository_.isA(className, filter);
}

void ClassLinks::addLinks(std::vector<Link>& links, const std::string& association,
                          const std::string& className) const {
  const std::vector<PropertyDeclaration>& properties = repository_.allProperties(association);
  for (const PropertyDeclaration& near : properties) {
    if (!isEnd(near, filter_.role) || !repository_.isA(className, near.referenceClass)) continue;
    for (const PropertyDeclaration& far : properties) {
      if (&near == &far || !isEnd(far, filter_.resultRole)) continue;
      if (allows(filter_.resultClass, far.referenceClass)) {
        links.push_back({association, far.referenceClass});
      }
    }
  }
}

std::vector<std::string> namesOf(const std::vector<ClassLinks::Link>& links,
                                 std::string ClassLinks::Link::*member) {
  std::vector<std::string> names;
  for (const ClassLinks::Link& link : links) {
    if (std::ranges::find(names, link.*member) == names.end()) names.push_back(link.*member);
  }
  return names;
}

}  // namespace cimom
