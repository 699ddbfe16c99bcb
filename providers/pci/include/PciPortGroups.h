#pragma once

#include "PciAnswers.h"

/// Port groups: one for each bus number, with nothing to them but that number. All are safe on
/// any thread.
namespace pciprovider {

/// The path of a bus's group.
CmpiObjectPath MakePortGroupRef(unsigned char bus);
/// The instance of a bus's group; narrowing it to `properties` is the caller's.
CmpiInstance MakePortGroup(unsigned char bus, const char** properties);
/// The same, narrowed.
CmpiInstance MakeFilteredPortGroup(unsigned char bus, const char** properties);
/// Reads the bus number behind the first '-' of the path's "InstanceID", as strtol does, modulo
/// 256. False without a '-'.
bool ParseBusID(const CmpiObjectPath& path, unsigned char& bus);
/// Whether any port sits on the bus.
bool PortGroupExists(unsigned char bus);

/// Every group, then `returnDone`; always OK.
CmpiStatus ListPortGroups(CmpiResult& result, const CmpiObjectPath& path, const char** properties);
CmpiStatus ListPortGroupRefs(CmpiResult& result, const CmpiObjectPath& path);
/// The group that the path names, then `returnDone`; NOT_FOUND when no port sits on its bus.
CmpiStatus GetRelatedPortGroup(CmpiResult& result, const CmpiObjectPath& path,
                               const char** properties);

}  // namespace pciprovider
