#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiAssociationMI.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiInstanceMI.h>
#include <zelcppc/CmpiProviderBase.h>

#include <memory>

/// How object managers get at a provider: a holder that remembers the one provider object of a
/// CIM class, and for each interface an exported factory with a static record that the object
/// manager receives. However often the factories of a class are called, and whichever comes first,
/// there is one provider object until its last user has cleaned up.
///
/// Use, outside of any namespace, after the provider class of an association:
///
///     ZELCPPC_HOLDER(Acme_FanControl);
///     ZELCPPC_INSTANCE_FACTORY(Acme_FanControl, acme::FanControl);
///     ZELCPPC_ASSOCIATION_FACTORY(Acme_FanControl, acme::FanControl);
///
/// What is here belongs to the provider library that includes it. It is hidden, so that no other
/// library in the object manager's process gets to serve in its place.
#pragma GCC visibility push(hidden)
namespace zelInt {

/// The holder's provider, made and initialized by the first caller. Object managers serialise
/// the first calls for a class, so nothing locks here. An exception from the constructor leaves
/// no provider behind and goes to the caller.
template <class Provider>
CmpiBaseMI* obtainProvider(CmpiProviderBase& holder, const CMPIBroker* broker,
                           const CmpiContext& context) {
  if (CmpiBaseMI* remembered = holder.getBaseMI()) return remembered;
  auto provider = std::make_unique<Provider>(CmpiBroker(broker), context);
  provider->setProviderBase(&holder);
  provider->initialize(context);
  holder.setBaseMI(provider.get());
  return provider.release();
}

inline constexpr int kCmpiInterfaceVersion = 200;

/// The function table of an instance interface. `name` has to live as long as the table.
constexpr CMPIInstanceMIFT makeInstanceTable(const char* name) {
  return {kCmpiInterfaceVersion,
          kCmpiInterfaceVersion,
          name,
          &CmpiBaseMI::driveBaseCleanup,
          &CmpiInstanceMI::driveEnumInstanceNames,
          &CmpiInstanceMI::driveEnumInstances,
          &CmpiInstanceMI::driveGetInstance,
          &CmpiInstanceMI::driveCreateInstance,
          &CmpiInstanceMI::driveSetInstance,
          &CmpiInstanceMI::driveDeleteInstance,
          &CmpiInstanceMI::driveExecQuery};
}

/// The function table of an association interface. `name` has to live as long as the table.
constexpr CMPIAssociationMIFT makeAssociationTable(const char* name) {
  return {kCmpiInterfaceVersion,
          kCmpiInterfaceVersion,
          name,
          &CmpiBaseMI::driveBaseCleanup,
          &CmpiAssociationMI::driveAssociators,
          &CmpiAssociationMI::driveAssociatorNames,
          &CmpiAssociationMI::driveReferences,
          &CmpiAssociationMI::driveReferenceNames};
}

/// The body of a factory. `announce` runs on every call, once the provider is there.
template <class Provider, class Record, class Table, class Announce>
Record* createMI(Record& record, const Table& table, CmpiProviderBase& holder,
                 const CMPIBroker* broker, const CMPIContext* cmpiContext, Announce announce) {
  const CmpiContext context(cmpiContext);
  record.ft = &table;
  CmpiBaseMI* provider = obtainProvider<Provider>(holder, broker, context);
  announce();
  record.hdl = provider;
  holder.addRecord(record.hdl);
  holder.incUseCount();
  return &record;
}

inline void announceNothing() {}

}  // namespace zelInt
#pragma GCC visibility pop

/// Defines the exported holder of a CIM class, which its factories share: once for each class.
#define ZELCPPC_HOLDER(cimClass)                                 \
  extern ZELCPPC_EXPORT zelInt::CmpiProviderBase base##cimClass; \
  zelInt::CmpiProviderBase base##cimClass

#define ZELCPPC_FACTORY(cimClass, Provider, Record, makeTable, kind, kindName, announce)         \
  extern "C" ZELCPPC_EXPORT Record* cimClass##_Create_##kind(const CMPIBroker* broker,           \
                                                             const CMPIContext* context);        \
  Record* cimClass##_Create_##kind(const CMPIBroker* broker, const CMPIContext* context) {       \
    static const auto table = zelInt::makeTable(kindName #cimClass);                             \
    static Record record{};                                                                      \
    return zelInt::createMI<Provider>(record, table, base##cimClass, broker, context, announce); \
  }                                                                                              \
  static_assert(true, "a semicolon follows")

/// Defines the exported instance factory of a CIM class.
#define ZELCPPC_INSTANCE_FACTORY(cimClass, Provider) \
  ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(cimClass, Provider, zelInt::announceNothing)

/// The same, for a factory that calls `announce()` each time it runs.
#define ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(cimClass, Provider, announce)                         \
  ZELCPPC_FACTORY(cimClass, Provider, CMPIInstanceMI, makeInstanceTable, InstanceMI, "instance", \
                  announce)

/// Defines the exported association factory of a CIM class, whose provider is a
/// CmpiAssociationMI too.
#define ZELCPPC_ASSOCIATION_FACTORY(cimClass, Provider)                                       \
  ZELCPPC_FACTORY(cimClass, Provider, CMPIAssociationMI, makeAssociationTable, AssociationMI, \
                  "association", zelInt::announceNothing)
