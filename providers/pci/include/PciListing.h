#pragma once

#include <zelcppc/ObjectScope.h>

namespace pciprovider {

/// Visits each element of a listing. What is made for one, and is not handed on, does not outlive
/// its visit: there may be tens of thousands.
template <class Elements, class Visit>
void ForEachListed(const Elements& elements, const Visit& visit) {
  for (const auto& element : elements) {
    const zelInt::ObjectScope each;
    visit(element);
  }
}

}  // namespace pciprovider
