#pragma once

#include <functional>
#include <vector>

namespace pcicim {

/// What a serving process does: serves at listening sockets, calls the function as soon as clients
/// are answered, and returns its exit code when SIGTERM has stopped it.
using ServeProcess =
    std::function<int(const std::vector<int>& sockets, const std::function<void()>& isReady)>;

/// Runs a serving process, and at SIGHUP a fresh one with the same sockets: once that one is ready,
/// the former is stopped, and finishes what it was asked. When the fresh one ends without becoming
/// ready, the former goes on. SIGTERM and SIGINT go to all of them; the service manager is told.
///
/// Returns the exit code of the last serving process, 128 plus the signal that ended it. Takes the
/// sockets over. A provider reads its host once in the life of a process, hence the processes. Call
/// it from a process with one thread. Throws std::system_error when no process can be made.
int supervise(const std::vector<int>& sockets, const ServeProcess& serve);

}  // namespace pcicim
