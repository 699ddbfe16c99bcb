#pragma once

#include "provider_requests.h"

/// Requests over the scripted machine that every class answers.
namespace scripted {

/// Paths of the machine's host system, of one of its ports, port groups and plain devices.
cimom::ObjectPath systemPath();
cimom::ObjectPath portPath(const std::string& id);
cimom::ObjectPath groupPath(const std::string& id);
cimom::ObjectPath plainDevicePath(const std::string& id);

/// An instance that each class answers when it is asked for it.
std::vector<cimom::ObjectPath> knownInstances();

/// The enumerations of the instance's class, the instance itself and, for an association, all that
/// navigates from the objects at its ends.
std::vector<requests::Request> requestsOf(const cimom::ObjectPath& instance);

/// Class, operation and path in a few words.
std::string nameOf(const requests::Request& request);

}  // namespace scripted
