#pragma once

#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>

namespace zelInt {

/// The instance interface of a provider. Operations that a class does not override return
/// NOT_SUPPORTED. May be called from any thread.
///
///     class Fans : public virtual CmpiInstanceMI {
///       // constructor: CmpiBaseMI(broker, context), CmpiInstanceMI(broker, context)
///       CmpiStatus enumInstances(...) override;  // rslt.returnData for each, rslt.returnDone
///
/// Its factory: ZELCPPC_INSTANCE_FACTORY in ProviderFactory.h.
class ZELCPPC_EXPORT CmpiInstanceMI : public virtual CmpiBaseMI {
 public:
  CmpiInstanceMI(const CmpiBroker& broker, const CmpiContext& context);
  ~CmpiInstanceMI() override;

  virtual CmpiStatus enumInstanceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                       const CmpiObjectPath& cop);
  virtual CmpiStatus enumInstances(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& cop, const char** properties);
  virtual CmpiStatus getInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                 const CmpiObjectPath& cop, const char** properties);
  virtual CmpiStatus createInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop, const CmpiInstance& instance);
  virtual CmpiStatus setInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                 const CmpiObjectPath& cop, const CmpiInstance& instance,
                                 const char** properties);
  virtual CmpiStatus deleteInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop);
  virtual CmpiStatus execQuery(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                               const char* query, const char* language);

  /// Entry points of the function table: each calls its operation on the record's provider and
  /// turns what is thrown into a status.
  static CMPIStatus driveEnumInstanceNames(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                           const CMPIResult* rslt, const CMPIObjectPath* cop);
  static CMPIStatus driveEnumInstances(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                       const CMPIResult* rslt, const CMPIObjectPath* cop,
                                       const char** properties);
  static CMPIStatus driveGetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                     const CMPIResult* rslt, const CMPIObjectPath* cop,
                                     const char** properties);
  static CMPIStatus driveCreateInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                        const CMPIResult* rslt, const CMPIObjectPath* cop,
                                        const CMPIInstance* instance);
  static CMPIStatus driveSetInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                     const CMPIResult* rslt, const CMPIObjectPath* cop,
                                     const CMPIInstance* instance, const char** properties);
  static CMPIStatus driveDeleteInstance(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                        const CMPIResult* rslt, const CMPIObjectPath* cop);
  static CMPIStatus driveExecQuery(CMPIInstanceMI* mi, const CMPIContext* ctx,
                                   const CMPIResult* rslt, const CMPIObjectPath* cop,
                                   const char* query, const char* language);
};

}  // namespace zelInt
