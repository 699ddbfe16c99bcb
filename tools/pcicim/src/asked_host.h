#pragma once

#include <model/operations.h>

#include <memory>
#include <string>
#include <vector>

#include <topology/topology_reader.h>
#include "options.h"
#include "session.h"

namespace pcicim {

/// A host that a command asks: this one or a saved one through the providers, or one elsewhere
/// through its CIM server. Each for one thread at a time.
class AskedHost {
 public:
  virtual ~AskedHost() = default;

  /// What answers call it: the URL's HOST[:PORT], else the host's own name.
  virtual std::string name() const = 0;
  /// Live as long as the host. Throw what asking for the first time throws.
  virtual cimom::Operations& operations() = 0;
  virtual TopologySource& topology() = 0;
};

/// Those that the options name, in their order: one for each URL, else the one that the session's
/// providers know. The session outlives them. Asks for a password where one is needed and not
/// given. Throws std::runtime_error when passwords or certificates cannot be read.
std::vector<std::unique_ptr<AskedHost>> askedHosts(Session& session, const Options& options);

/// The only one that the options name. Throws also when they name several.
std::unique_ptr<AskedHost> askedHost(Session& session, const Options& options);

}  // namespace pcicim
