#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "options.h"
#include "session.h"

namespace pcicim {

/// Serves CIM-XML over HTTP until SIGINT or SIGTERM comes, then finishes what clients have asked;
/// a second signal of the same kind ends the process, and so does the end of the stop time. Says
/// first what is served, where, and how to ask for one of the `published` classes. Throws what
/// Session::manager() throws, and std::runtime_error when the address cannot be listened at, a file
/// of the options cannot be used, or others would reach the server without its being wanted. Once
/// per process.
void serve(Session& session, const Options& options, const std::vector<std::string>& published,
           std::ostream& out);

/// A listening socket where the options say. Throws std::runtime_error when the address cannot be
/// listened at, or others would reach it without its being wanted.
int openSocket(const ServeOptions& options);

}  // namespace pcicim
