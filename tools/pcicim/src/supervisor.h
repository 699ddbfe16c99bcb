#pragma once

#include <csignal>
#include <functional>
#include <vector>

namespace pcicim {

/// Tells a serving process that another one has taken over.
constexpr int kLeaveSignal = SIGUSR1;

/// What a serving process does: serves at listening sockets, calls the function as soon as clients
/// are answered, and returns its exit code when SIGTERM has stopped it, or when it has finished
/// what it was asked before kLeaveSignal came.
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
