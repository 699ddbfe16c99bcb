#pragma once

#include "PciNames.h"

#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>
#include <zelcppc/CmpiStatus.h>

#include <functional>
#include <initializer_list>

#include <syslog.h>

/// What the five association classes share.
namespace pciprovider {

/// The shape of an association: its class and its two reference keys, in order.
struct AssociationShape {
  const char* className;
  const char* firstRole;
  const char* secondRole;

  zelInt::CmpiObjectPath MakePath(const zelInt::CmpiObjectPath& first,
                                  const zelInt::CmpiObjectPath& second) const {
    zelInt::CmpiObjectPath path(kNameSpace, className);
    path.setKey(firstRole, zelInt::CmpiData(first));
    path.setKey(secondRole, zelInt::CmpiData(second));
    return path;
  }

  zelInt::CmpiInstance MakeInstance(const zelInt::CmpiObjectPath& first,
                                    const zelInt::CmpiObjectPath& second,
                                    const char** properties) const {
    zelInt::CmpiInstance instance(MakePath(first, second));
    instance.setPropertyFilter(properties, nullptr);
    return instance;
  }
};

/// Where a walk over pairs puts what it finds: the same walk answers instances or paths.
using PairSink =
    std::function<void(const zelInt::CmpiObjectPath& first, const zelInt::CmpiObjectPath& second)>;

template <class MakeInstance>
PairSink InstanceSink(zelInt::CmpiResult& result, const char** properties, MakeInstance make) {
  return [&result, properties, make](const auto& first, const auto& second) {
    result.returnData(make(first, second, properties));
  };
}

template <class MakePath>
PairSink PathSink(zelInt::CmpiResult& result, MakePath make) {
  return [&result, make](const auto& first, const auto& second) {
    result.returnData(make(first, second));
  };
}

/// A source class that an operation serves, and how.
struct ServedSource {
  const char* className;
  std::function<void()> answer;
};

/// Answers an association operation: the first served class that the source belongs to decides,
/// and a source that none serves is logged with `unservedText` before it. Always ends with
/// `returnDone` and OK: a source without counterpart is no error to a client that navigates.
inline zelInt::CmpiStatus AnswerBySourceClass(zelInt::CmpiResult& result,
                                              const zelInt::CmpiObjectPath& source,
                                              const char* unservedText,
                                              std::initializer_list<ServedSource> served) {
  bool answered = false;
  for (const ServedSource& candidate : served) {
    if (!source.classPathIsA(candidate.className)) continue;
    candidate.answer();
    answered = true;
    break;
  }
  if (!answered) syslog(LOG_DEBUG, "%s %s", unservedText, source.toString().charPtr());
  result.returnDone();
  return zelInt::CmpiStatus(CMPI_RC_OK);
}

/// The path of the host's computer system, which another provider serves.
zelInt::CmpiObjectPath PciCreateSystemRef();
/// The host's computer system as the object manager knows it: the first it enumerates.
zelInt::CmpiInstance FetchHostSystem(const zelInt::CmpiBroker& broker,
                                     const zelInt::CmpiContext& context, const char** properties);
zelInt::CmpiObjectPath FetchHostSystemPath(const zelInt::CmpiBroker& broker,
                                           const zelInt::CmpiContext& context);

zelInt::CmpiInstance MakePCISystemDevice(const zelInt::CmpiObjectPath& system,
                                         const zelInt::CmpiObjectPath& part,
                                         const char** properties);
zelInt::CmpiObjectPath MakePCISystemDeviceRef(const zelInt::CmpiObjectPath& system,
                                              const zelInt::CmpiObjectPath& part);

}  // namespace pciprovider
