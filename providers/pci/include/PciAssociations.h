#pragma once

#include "PciAnswers.h"
#include "PciLog.h"
#include "PciNames.h"

#include <zelcppc/CmpiBroker.h>

/// What the five association classes share.
namespace pciprovider {

/// The shape of an association: its class and its two reference keys, in order.
struct AssociationShape {
  const char* className;
  const char* firstRole;
  const char* secondRole;

  CmpiObjectPath MakePath(const CmpiObjectPath& first, const CmpiObjectPath& second) const {
    CmpiObjectPath path(kNameSpace, className);
    path.setKey(firstRole, CmpiData(first));
    path.setKey(secondRole, CmpiData(second));
    return path;
  }

  CmpiInstance MakeInstance(const CmpiObjectPath& first, const CmpiObjectPath& second,
                            const char** properties) const {
    CmpiInstance instance(MakePath(first, second));
    instance.setPropertyFilter(properties, nullptr);
    return instance;
  }
};

/// An instance and a path of the association of that shape. Each association calls them by names of
/// its own, Make<Class> and Make<Class>Ref.
template <const AssociationShape& shape>
CmpiInstance MakePair(const CmpiObjectPath& first, const CmpiObjectPath& second,
                      const char** properties) {
  return shape.MakeInstance(first, second, properties);
}
template <const AssociationShape& shape>
CmpiObjectPath MakePairRef(const CmpiObjectPath& first, const CmpiObjectPath& second) {
  return shape.MakePath(first, second);
}

/// An association's two sinks, from the functions that make its instance and its path of a pair.
/// The same walk over pairs returns instances by the one and paths by the other.
template <auto MakeInstance, auto MakePath>
struct PairSinks {
  static auto Instances(CmpiResult& result, const char** properties) {
    return [&result, properties](const CmpiObjectPath& first, const CmpiObjectPath& second) {
      result.returnData(MakeInstance(first, second, properties));
    };
  }

  static auto Paths(CmpiResult& result) {
    return [&result](const CmpiObjectPath& first, const CmpiObjectPath& second) {
      result.returnData(MakePath(first, second));
    };
  }
};

/// A source class that an operation serves, and how.
template <class Serve>
struct ServedSource {
  const char* className;
  Serve serve;
};
template <class Serve>
ServedSource(const char*, Serve) -> ServedSource<Serve>;

/// Serves the source if it is of that class, and returns whether it is.
template <class Serve>
bool ServeIfOfClass(const CmpiObjectPath& source, const ServedSource<Serve>& served) {
  if (!source.classPathIsA(served.className)) return false;
  served.serve();
  return true;
}

/// Serves an association operation: the first served class that the source belongs to decides,
/// and a source that none serves is logged with `unservedText` before it. Always ends with
/// `returnDone` and OK: a source without counterpart is no error to a client that navigates.
template <class... Serve>
CmpiStatus ServeBySourceClass(CmpiResult& result, const CmpiObjectPath& source,
                              const char* unservedText, const ServedSource<Serve>&... served) {
  const bool isServed = (ServeIfOfClass(source, served) || ...);
  if (!isServed) LogPath(unservedText, " ", source);
  return Done(result);
}

/// The path of the host's computer system, which another provider serves.
CmpiObjectPath PciCreateSystemRef();
/// The host's computer system as the object manager knows it: the first it enumerates. Where the
/// object manager has none, throws CmpiStatus with its code and a text that names what is missing,
/// which is logged the first time.
CmpiInstance FetchHostSystem(const zelInt::CmpiBroker& broker, const CmpiContext& context,
                             const char** properties);
CmpiObjectPath FetchHostSystemPath(const zelInt::CmpiBroker& broker, const CmpiContext& context);

CmpiInstance MakePCISystemDevice(const CmpiObjectPath& system, const CmpiObjectPath& part,
                                 const char** properties);
CmpiObjectPath MakePCISystemDeviceRef(const CmpiObjectPath& system, const CmpiObjectPath& part);

}  // namespace pciprovider
