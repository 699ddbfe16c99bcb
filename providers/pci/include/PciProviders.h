#pragma once

#include "PciAnswers.h"

#include <zelcppc/CmpiAssociationMI.h>
#include <zelcppc/CmpiInstanceMI.h>

#include <cstdio>

/// The ten provider classes. None has data of its own: all state lives in the topology cache,
/// which each constructor loads as its last step. All operations may run on any thread.
namespace pciprovider {

/// Declares the instance operations of every class.
#define PCIPROVIDER_INSTANCE_OPERATIONS                                                          \
  zelInt::CmpiStatus enumInstanceNames(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt, \
                                       const zelInt::CmpiObjectPath& cop) override;              \
  zelInt::CmpiStatus enumInstances(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,     \
                                   const zelInt::CmpiObjectPath& cop, const char** properties)   \
      override;                                                                                  \
  zelInt::CmpiStatus getInstance(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,       \
                                 const zelInt::CmpiObjectPath& cop, const char** properties)     \
      override;

/// Declares the association operations of the five association classes.
#define PCIPROVIDER_ASSOCIATION_OPERATIONS                                                      \
  zelInt::CmpiStatus associators(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,      \
                                 const zelInt::CmpiObjectPath& cop, const char* assocClass,     \
                                 const char* resultClass, const char* role,                     \
                                 const char* resultRole, const char** properties) override;     \
  zelInt::CmpiStatus associatorNames(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,  \
                                     const zelInt::CmpiObjectPath& cop, const char* assocClass, \
                                     const char* resultClass, const char* role,                 \
                                     const char* resultRole) override;                          \
  zelInt::CmpiStatus references(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,       \
                                const zelInt::CmpiObjectPath& cop, const char* resultClass,     \
                                const char* role, const char** properties) override;            \
  zelInt::CmpiStatus referenceNames(const zelInt::CmpiContext& ctx, zelInt::CmpiResult& rslt,   \
                                    const zelInt::CmpiObjectPath& cop, const char* resultClass, \
                                    const char* role) override;

#define PCIPROVIDER_INSTANCE_CLASS(Class)                                        \
  class Class : virtual public zelInt::CmpiInstanceMI {                          \
   public:                                                                       \
    Class(const zelInt::CmpiBroker& broker, const zelInt::CmpiContext& context); \
    ~Class() override;                                                           \
    PCIPROVIDER_INSTANCE_OPERATIONS                                              \
  }

#define PCIPROVIDER_ASSOCIATION_CLASS(Class)                                                      \
  class Class : virtual public zelInt::CmpiInstanceMI, virtual public zelInt::CmpiAssociationMI { \
   public:                                                                                        \
    Class(const zelInt::CmpiBroker& broker, const zelInt::CmpiContext& context);                  \
    ~Class() override;                                                                            \
    PCIPROVIDER_INSTANCE_OPERATIONS                                                               \
    PCIPROVIDER_ASSOCIATION_OPERATIONS                                                            \
  }

PCIPROVIDER_INSTANCE_CLASS(PCIDevice);
PCIPROVIDER_INSTANCE_CLASS(PCIBridge);
PCIPROVIDER_INSTANCE_CLASS(PCIeSwitch);
PCIPROVIDER_INSTANCE_CLASS(PCIPort);
PCIPROVIDER_INSTANCE_CLASS(PCIPortGroup);
PCIPROVIDER_ASSOCIATION_CLASS(PCISystemDevice);
PCIPROVIDER_ASSOCIATION_CLASS(PCIDeviceConnection);
PCIPROVIDER_ASSOCIATION_CLASS(PCIControlledBy);
PCIPROVIDER_ASSOCIATION_CLASS(PCIHostedCollection);
PCIPROVIDER_ASSOCIATION_CLASS(PCIMemberOfCollection);

/// The line that administrators' scripts look for on standard error when an instance factory
/// runs. It names the type behind the record's handle, the same for every class.
inline void AnnounceInstanceFactory() {
  std::fprintf(stderr, "--- _Create_InstanceMI() %s\n", "PN6zelInt10CmpiBaseMIE");
}

}  // namespace pciprovider

/// Constructor and destructor of a provider class: the bases, then the one-time snapshot.
#define PCIPROVIDER_DEFINE_INSTANCE_CLASS(Class)                                       \
  Class::Class(const zelInt::CmpiBroker& broker, const zelInt::CmpiContext& context)   \
      : zelInt::CmpiBaseMI(broker, context), zelInt::CmpiInstanceMI(broker, context) { \
    LoadCache();                                                                       \
  }                                                                                    \
  Class::~Class() = default

#define PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(Class)                                  \
  Class::Class(const zelInt::CmpiBroker& broker, const zelInt::CmpiContext& context) \
      : zelInt::CmpiBaseMI(broker, context),                                         \
        zelInt::CmpiInstanceMI(broker, context),                                     \
        zelInt::CmpiAssociationMI(broker, context) {                                 \
    LoadCache();                                                                     \
  }                                                                                  \
  Class::~Class() = default
