#pragma once

/// Marks what libqarctl.so offers to its users; everything else of the library stays hidden.
#define QARCTL_EXPORT __attribute__((visibility("default")))
