#include <zelcppc/CmpiInstanceMI.h>

#include "Drive.h"

namespace zelInt {

namespace {

CmpiStatus notSupported() {
  return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace

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
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.enumInstanceNames(CmpiContext(ctx), result, CmpiObjectPath(cop));
  });
}

CMPIStatus CmpiInstanceMI::driveEnumInstances(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                              const CMPIResult* rslt, const CMPIObjectPath* cop,
                                              const char** properties) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.enumInstances(CmpiContext(ctx), result, CmpiObjectPath(cop), properties);
  });
}

CMPIStatus CmpiInstanceMI::driveGetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                            const CMPIResult* rslt, const CMPIObjectPath* cop,
                                            const char** properties) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.getInstance(CmpiContext(ctx), result, CmpiObjectPath(cop), properties);
  });
}

CMPIStatus CmpiInstanceMI::driveCreateInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                               const CMPIResult* rslt, const CMPIObjectPath* cop,
                                               const CMPIInstance* instance) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.createInstance(CmpiContext(ctx), result, CmpiObjectPath(cop),
                                   CmpiInstance(instance));
  });
}

CMPIStatus CmpiInstanceMI::driveSetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                            const CMPIResult* rslt, const CMPIObjectPath* cop,
                                            const CMPIInstance* instance, const char** properties) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.setInstance(CmpiContext(ctx), result, CmpiObjectPath(cop),
                                CmpiInstance(instance), properties);
  });
}

CMPIStatus CmpiInstanceMI::driveDeleteInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                               const CMPIResult* rslt, const CMPIObjectPath* cop) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.deleteInstance(CmpiContext(ctx), result, CmpiObjectPath(cop));
  });
}

CMPIStatus CmpiInstanceMI::driveExecQuery(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                          const CMPIResult* rslt, const CMPIObjectPath* cop,
                                          const char* query, const char* language) {
  return drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& provider) {
    CmpiResult result(rslt);
    return provider.execQuery(CmpiContext(ctx), result, CmpiObjectPath(cop), query, language);
  });
}

}  // namespace zelInt
