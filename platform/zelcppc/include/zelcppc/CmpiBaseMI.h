#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiStatus.h>
#include <zelcppc/Export.h>

namespace zelInt {

class CmpiProviderBase;

/// What every provider has: its broker and its life. The context of the constructor lives only
/// as long as the factory call and is not kept.
class ZELCPPC_EXPORT CmpiBaseMI {
 public:
  CmpiBaseMI(const CmpiBroker& broker, const CmpiContext& context);
  virtual ~CmpiBaseMI();
  CmpiBaseMI(const CmpiBaseMI&) = delete;
  CmpiBaseMI& operator=(const CmpiBaseMI&) = delete;

  void setProviderBase(CmpiProviderBase* holder) noexcept { holder_ = holder; }
  CmpiProviderBase* getProviderBase() const noexcept { return holder_; }
  const CmpiBroker& getBroker() const noexcept { return broker_; }

  /// Called once, after construction. Returns OK by default.
  virtual CmpiStatus initialize(const CmpiContext& context);
  /// Called when a user lets go of the provider. Returns OK by default.
  virtual CmpiStatus cleanup(CmpiContext& context, bool terminating);
  /// Whether the object manager may let go of an idle provider; true by default.
  virtual bool isUnloadable() const;

  /// Entry points of the function tables. When the last user of the holder has gone, the
  /// provider is destroyed. Cleanups of the class's records then return OK and their requests
  /// FAILED, also where another object lives at the provider's address, until their factory is
  /// called again. Nothing is thrown.
  static CMPIStatus driveBaseCleanup(CMPIInstanceMI* mi, const CMPIContext* context,
                                     CMPIBoolean terminating);
  static CMPIStatus driveBaseCleanup(CMPIAssociationMI* mi, const CMPIContext* context,
                                     CMPIBoolean terminating);

 private:
  CmpiBroker broker_;
  CmpiProviderBase* holder_ = nullptr;
};

}  // namespace zelInt
