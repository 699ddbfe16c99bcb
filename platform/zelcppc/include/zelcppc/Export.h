#pragma once

/// Marks what libzelcppc.so offers to providers; everything else of the library stays hidden.
#define ZELCPPC_EXPORT __attribute__((visibility("default")))

/// Marks a function that a provider library can do without: where the binding lacks it the library
/// loads all the same, and finds it null.
#define ZELCPPC_OPTIONAL __attribute__((weak))

/// Marks a member function that is inline because it is called for each value of an answer. The
/// binding holds it all the same, for providers that were built when it was not; a provider keeps
/// what it made of it to itself.
#ifdef ZELCPPC_BUILDS_BINDING
#define ZELCPPC_INLINE __attribute__((used)) ZELCPPC_EXPORT
#else
#define ZELCPPC_INLINE __attribute__((visibility("hidden")))
#endif
