#include <zelcppc/CmpiAssociationMI.h>

#include "Drive.h"

namespace zelInt {

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
  return driveRequest(mi, ctx, rslt, cop, &CmpiAssociationMI::associators, assocClass, resultClass,
                      role, resultRole, properties);
}

CMPIStatus CmpiAssociationMI::driveAssociatorNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                                   const CMPIResult* rslt,
                                                   const CMPIObjectPath* cop,
                                                   const char* assocClass, const char* resultClass,
                                                   const char* role, const char* resultRole) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiAssociationMI::associatorNames, assocClass,
                      resultClass, role, resultRole);
}

CMPIStatus CmpiAssociationMI::driveReferences(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                              const CMPIResult* rslt, const CMPIObjectPath* cop,
                                              const char* resultClass, const char* role,
                                              const char** properties) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiAssociationMI::references, resultClass, role,
                      properties);
}

CMPIStatus CmpiAssociationMI::driveReferenceNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                                  const CMPIResult* rslt, const CMPIObjectPath* cop,
                                                  const char* resultClass, const char* role) {
  return driveRequest(mi, ctx, rslt, cop, &CmpiAssociationMI::referenceNames, resultClass, role);
}

}  // namespace zelInt
