#include <zelcppc/CmpiAssociationMI.h>

#include "Drive.h"

namespace zelInt {

namespace {

CmpiStatus notSupported() {
  return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

}  // namespace

CmpiAssociationMI::CmpiAssociationMI(const CmpiBroker& broker, const CmpiContext& context)
    : CmpiBaseMI(broker, context) {}
CmpiAssociationMI::~CmpiAssociationMI() = default;

CmpiStatus CmpiAssociationMI::associators(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                          const char*, const char*, const char*, const char*,
                                          const char**) {
  return notSupported();
}

CmpiStatus CmpiAssociationMI::associatorNames(const CmpiContext&, CmpiResult&,
                                              const CmpiObjectPath&, const char*, const char*,
                                              const char*, const char*) {
  return notSupported();
}

CmpiStatus CmpiAssociationMI::references(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                         const char*, const char*, const char**) {
  return notSupported();
}

CmpiStatus CmpiAssociationMI::referenceNames(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                             const char*, const char*) {
  return notSupported();
}

CMPIStatus CmpiAssociationMI::driveAssociators(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                               const CMPIResult* rslt, const CMPIObjectPath* cop,
                                               const char* assocClass, const char* resultClass,
                                               const char* role, const char* resultRole,
                                               const char** properties) {
  return drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& provider) {
    CmpiResult result(rslt);
    return provider.associators(CmpiContext(ctx), result, CmpiObjectPath(cop), assocClass,
                                resultClass, role, resultRole, properties);
  });
}

CMPIStatus CmpiAssociationMI::driveAssociatorNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                                   const CMPIResult* rslt,
                                                   const CMPIObjectPath* cop,
                                                   const char* assocClass, const char* resultClass,
                                                   const char* role, const char* resultRole) {
  return drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& provider) {
    CmpiResult result(rslt);
    return provider.associatorNames(CmpiContext(ctx), result, CmpiObjectPath(cop), assocClass,
                                    resultClass, role, resultRole);
  });
}

CMPIStatus CmpiAssociationMI::driveReferences(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                              const CMPIResult* rslt, const CMPIObjectPath* cop,
                                              const char* resultClass, const char* role,
                                              const char** properties) {
  return drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& provider) {
    CmpiResult result(rslt);
    return provider.references(CmpiContext(ctx), result, CmpiObjectPath(cop), resultClass, role,
                               properties);
  });
}

CMPIStatus CmpiAssociationMI::driveReferenceNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                                  const CMPIResult* rslt, const CMPIObjectPath* cop,
                                                  const char* resultClass, const char* role) {
  return drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& provider) {
    CmpiResult result(rslt);
    return provider.referenceNames(CmpiContext(ctx), result, CmpiObjectPath(cop), resultClass,
                                   role);
  });
}

}  // namespace zelInt
