#pragma once

#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>

namespace zelInt {

/// The association interface of a provider. Operations that a class does not override return
/// NOT_SUPPORTED. May be called from any thread. Filters that the client did not give are null.
/// `cop` is the object from which the client looks; an association that it has no end in returns OK
/// with nothing. Object managers enumerate an association through the instance interface:
///
///     class FanControl : public virtual CmpiInstanceMI, public virtual CmpiAssociationMI {
///       CmpiStatus referenceNames(...) override;
///       // if (cop.classPathIsA("Acme_Fan")) rslt.returnData(pathOfControl(cop));
class ZELCPPC_EXPORT CmpiAssociationMI : public virtual CmpiBaseMI {
 public:
  CmpiAssociationMI(const CmpiBroker& broker, const CmpiContext& context);
  ~CmpiAssociationMI() override;

  virtual CmpiStatus associators(const CmpiContext& ctx, CmpiResult& rslt,
                                 const CmpiObjectPath& cop, const char* assocClass,
                                 const char* resultClass, const char* role, const char* resultRole,
                                 const char** properties);
  virtual CmpiStatus associatorNames(const CmpiContext& ctx, CmpiResult& rslt,
                                     const CmpiObjectPath& cop, const char* assocClass,
                                     const char* resultClass, const char* role,
                                     const char* resultRole);
  virtual CmpiStatus references(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                const char* resultClass, const char* role, const char** properties);
  virtual CmpiStatus referenceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop, const char* resultClass,
                                    const char* role);

  /// Entry points of the function table, as those of the instance interface.
  static CMPIStatus driveAssociators(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                     const CMPIResult* rslt, const CMPIObjectPath* cop,
                                     const char* assocClass, const char* resultClass,
                                     const char* role, const char* resultRole,
                                     const char** properties);
  static CMPIStatus driveAssociatorNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                         const CMPIResult* rslt, const CMPIObjectPath* cop,
                                         const char* assocClass, const char* resultClass,
                                         const char* role, const char* resultRole);
  static CMPIStatus driveReferences(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                    const CMPIResult* rslt, const CMPIObjectPath* cop,
                                    const char* resultClass, const char* role,
                                    const char** properties);
  static CMPIStatus driveReferenceNames(CMPIAssociationMI* mi, const CMPIContext* ctx,
                                        const CMPIResult* rslt, const CMPIObjectPath* cop,
                                        const char* resultClass, const char* role);
};

}  // namespace zelInt
