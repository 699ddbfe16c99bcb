#pragma once

#include <client/cim_xml_client.h>

#include <chrono>
#include <string>
#include <vector>

#include "scripted_server.h"

namespace clienttest {

inline cimom::ClientSettings settingsFor(const std::string& url,
                                         const cimom::ClientLimits& limits = {}) {
  cimom::ClientSettings settings;
  settings.url = cimom::parseServerUrl(url);
  settings.limits = limits;
  return settings;
}

/// For servers that say nothing.
inline cimom::ClientLimits impatient() {
  cimom::ClientLimits limits;
  limits.progressTime = std::chrono::milliseconds(300);
  return limits;
}

inline cimom::ObjectPath thing(const std::string& id = {}) {
  cimom::ObjectPath path;
  path.className = "Test_Thing";
  if (!id.empty()) path.keys.push_back({"Id", cimom::Value::text(id)});
  return path;
}

/// The keys `Id` of what the client lists.
inline std::vector<std::string> idsOf(cimom::CimXmlClient& client) {
  std::vector<std::string> ids;
  client.enumerateInstanceNames(thing(), [&](cimom::ObjectPath&& path) {
    ids.push_back(cimom::toText(path.keys.at(0).value.elements.at(0)));
  });
  return ids;
}

/// What the client's listing ends with: its error, or "listed".
inline std::string failureOf(cimom::CimXmlClient& client) {
  try {
    idsOf(client);
    return "listed";
  } catch (const cimom::RemoteError& error) {
    return error.what();
  }
}

inline std::string failureAt(const std::string& url, const cimom::ClientLimits& limits = {}) {
  cimom::CimXmlClient client(settingsFor(url, limits));
  return failureOf(client);
}

}  // namespace clienttest
