#pragma once

/// Marks what libzelcppc.so offers to providers; everything else of the library stays hidden.
#define ZELCPPC_EXPORT __attribute__((visibility("default")))
