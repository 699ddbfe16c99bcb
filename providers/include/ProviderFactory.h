#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiAssociationMI.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiInstanceMI.h>
#include <zelcppc/CmpiProviderBase.h>

#include <memory>

/// How a class's factories come to be: a holder that remembers the one provider object of the
/// class, and for each factory a static record that the object manager receives.
namespace providers {

/// The holder's provider, made and initialized by the first caller. Object managers serialise
/// the first calls for a class, so nothing locks here. An exception from the constructor leaves
/// no provider behind and goes to the caller.
template <class Provider>
zelInt::CmpiBaseMI* obtainProvider(zelInt::CmpiProviderBase& holder, const CMPIBroker* broker,
                                   const zelInt::CmpiContext& context) {
  if (zelInt::CmpiBaseMI* remembered = holder.getBaseMI()) return remembered;
  auto provider = std::make_unique<Provider>(zelInt::CmpiBroker(broker), context);
  provider->setProviderBase(&holder);
  provider->initialize(context);
  holder.setBaseMI(provider.get());
  return provider.release();
}

inline constexpr int kCmpiInterfaceVersion = 200;

constexpr CMPIInstanceMIFT makeInstanceTable(const char* name) {
  using zelInt::CmpiBaseMI;
  using zelInt::CmpiInstanceMI;
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

constexpr CMPIAssociationMIFT makeAssociationTable(const char* name) {
  using zelInt::CmpiAssociationMI;
  using zelInt::CmpiBaseMI;
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
Record* createMI(Record& record, const Table& table, zelInt::CmpiProviderBase& holder,
                 const CMPIBroker* broker, const CMPIContext* cmpiContext, Announce announce) {
  const zelInt::CmpiContext context(cmpiContext);
  record.ft = &table;
  zelInt::CmpiBaseMI* provider = obtainProvider<Provider>(holder, broker, context);
  announce();
  record.hdl = provider;
  holder.addRecord(record.hdl);
  holder.incUseCount();
  return &record;
}

inline void announceNothing() {}

}  // namespace providers

#define PROVIDERS_EXPORT extern "C" __attribute__((visibility("default")))

/// Defines the exported holder of a CIM class.
#define PROVIDERS_HOLDER(cimClass)                                                       \
  extern __attribute__((visibility("default"))) zelInt::CmpiProviderBase base##cimClass; \
  zelInt::CmpiProviderBase base##cimClass

#define PROVIDERS_FACTORY(cimClass, Provider, Record, makeTable, kind, kindName, announce) \
  PROVIDERS_EXPORT Record* cimClass##_Create_##kind(const CMPIBroker* broker,              \
                                                    const CMPIContext* context);           \
  Record* cimClass##_Create_##kind(const CMPIBroker* broker, const CMPIContext* context) { \
    static const auto table = providers::makeTable(kindName #cimClass);                    \
    static Record record{};                                                                \
    return providers::createMI<Provider>(record, table, base##cimClass, broker, context,   \
                                         announce);                                        \
  }                                                                                        \
  static_assert(true, "a semicolon follows")

/// Defines the exported instance factory of a CIM class.
#define PROVIDERS_INSTANCE_FACTORY(cimClass, Provider, announce)                                   \
  PROVIDERS_FACTORY(cimClass, Provider, CMPIInstanceMI, makeInstanceTable, InstanceMI, "instance", \
                    announce)

/// Defines the exported association factory of a CIM class.
#define PROVIDERS_ASSOCIATION_FACTORY(cimClass, Provider)                                       \
  PROVIDERS_FACTORY(cimClass, Provider, CMPIAssociationMI, makeAssociationTable, AssociationMI, \
                    "association", providers::announceNothing)
