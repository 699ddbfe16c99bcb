#pragma once

/// Marks what libzelcppc.so offers to providers; everything else of the library stays hidden.
#define ZELCPPC_EXPORT __attribute__((visibility("default")))

/// Marks a function that a provider library can do without: where the binding lacks it the library
/// loads all the same, and finds it null.
#define ZELCPPC_OPTIONAL __attribute__((weak))
