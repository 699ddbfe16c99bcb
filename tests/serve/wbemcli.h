#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "run_pcicim.h"
#include "served_process.h"

namespace servetest {

/// Order of properties matters: the client prints them as they come.
using Json = nlohmann::ordered_json;

/// What `pcicim` itself answers to a question, in JSON. Fails the test when it does not.
Json askPcicim(const clitest::Arguments& host, const clitest::Arguments& question);

/// The client's answer: `options` are before the object's URL, `words` behind it.
clitest::Outcome runWbemcli(const std::string& operation, const clitest::Arguments& options,
                            const std::string& url, const clitest::Arguments& words = {});

/// A path from pcicim's JSON as the client prints it, without its namespace: CLASS.KEY=VALUE,...
std::string clientPath(const Json& path);

/// Paths as the client prints them, a line each, with `prefix` (host and namespace) before each.
std::string clientPaths(const Json& paths, const std::string& prefix);

/// The paths of the instances in their order, which need not be that of the candidates.
Json pathsOf(const Json& instances, const Json& candidates);

/// Instances as the client prints them with -nl. `paths` are theirs, in the same order; with a
/// list of properties these alone.
std::string clientInstances(const Json& instances, const Json& paths, const std::string& prefix,
                            const std::vector<std::string>& properties = {});

}  // namespace servetest
