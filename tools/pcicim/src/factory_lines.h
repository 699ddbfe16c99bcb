#pragma once

namespace pcicim {

/// Takes the lines out of what libraries write to the C library's `stderr` that provider factories
/// write there each time they are called ("--- _Create_InstanceMI() ..."): they say nothing to a
/// user. All else passes at once, whatever its thread. Call it before other threads are started.
void leaveOutFactoryLines();

}  // namespace pcicim
