#pragma once

#include "provider_requests.h"

/// Requests over the scripted machine that every class serves.
namespace scripted {

/// The path of the machine's host system, with all keys.
cimom::ObjectPath systemPath();
/// Paths of its ports, port groups and functions by their id alone, as clients may send them.
cimom::ObjectPath portPath(const std::string& id);
cimom::ObjectPath groupPath(const std::string& id);
cimom::ObjectPath devicePath(const std::string& id);
cimom::ObjectPath bridgePath(const std::string& id);
cimom::ObjectPath switchPath(const std::string& id);
/// The path of a function with all keys, as an enumeration of its class returns it.
cimom::ObjectPath fullDevicePath(const std::string& className, const std::string& id);
/// The same for a plain device.
cimom::ObjectPath plainDevicePath(const std::string& id);

/// An instance of each class that is returned when it is asked for.
std::vector<cimom::ObjectPath> knownInstances();

/// The enumerations of the instance's class, the instance itself and, for an association, all that
/// navigates from the objects at its ends.
std::vector<requests::Request> requestsOf(const cimom::ObjectPath& instance);

/// Those of all known instances.
std::vector<requests::Request> allRequests();

/// Class, operation and path in a few words.
std::string nameOf(const requests::Request& request);

}  // namespace scripted
