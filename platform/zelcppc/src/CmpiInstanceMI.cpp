#include <zelcppc/CmpiInstanceMI.h>

#include "Drive.h"

namespace zelInt {

CmpiInstanceMI::CmpiInstanceMI(const CmpiBroker& broker, const CmpiContext& context)
    : CmpiBaseMI(broker, context) {}
CmpiInstanceMI::~CmpiInstanceMI() = default;

CmpiStatus CmpiInstanceMI::enumInstanceNames(const CmpiContext&, CmpiResult&,
                                             const CmpiObjectPath&) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::enumInstances(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                         const char**) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::getInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const char**) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::createInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                          const CmpiInstance&) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::setInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const CmpiInstance&, const char**) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::deleteInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&) {
  return notSupported();
}

CmpiStatus CmpiInstanceMI::execQuery(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                     const char*, const char*) {
  return notSupported();
}

CMPIStatus CmpiInstanceMI::driveEnumInstanceNames(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                                  const CMPIResult* rslt,
                                                  const CMPIObjectPath* cop) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::enumInstanceNames);
}

CMPIStatus CmpiInstanceMI::driveEnumInstances(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                              const CMPIResult* rslt, const CMPIObjectPath* cop,
                                              const char** properties) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::enumInstances, properties);
}

CMPIStatus CmpiInstanceMI::driveGetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                            const CMPIResult* rslt, const CMPIObjectPath* cop,
                                            const char** properties) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::getInstance, properties);
}

CMPIStatus CmpiInstanceMI::driveCreateInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                               const CMPIResult* rslt, const CMPIObjectPath* cop,
                                               const CMPIInstance* instance) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::createInstance, instance);
}

CMPIStatus CmpiInstanceMI::driveSetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                            const CMPIResult* rslt, const CMPIObjectPath* cop,
                                            const CMPIInstance* instance, const char** properties) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::setInstance, instance, properties);
}

CMPIStatus CmpiInstanceMI::driveDeleteInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                               const CMPIResult* rslt, const CMPIObjectPath* cop) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::deleteInstance);
}

CMPIStatus CmpiInstanceMI::driveExecQuery(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                          const CMPIResult* rslt, const CMPIObjectPath* cop,
                                          const char* query, const char* language) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiInstanceMI::execQuery, query, language);
}

}  // namespace zelInt
