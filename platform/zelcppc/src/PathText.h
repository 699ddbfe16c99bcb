#pragma once

#include <zelcppc/CmpiObjectPath.h>

/// The text of paths whose keys a client chose. At least one object manager writes a path's text
/// into a buffer of 4,096 bytes without looking at its end.
namespace zelInt {

/// Whether the object manager's own text function may be asked for the path's text: class,
/// namespace and keys are together no longer than 1 KiB, and no longer than half of that buffer
/// once the quotes of paths in paths are escaped. Throws CmpiStatus when the broker fails a call.
bool fitsManagersText(const CmpiObjectPath& path);

/// The path's text, cut to 512 bytes that end in "..."; a string of the thread's current broker.
/// Throws CmpiStatus when a call fails.
CmpiString cutPathText(const CmpiObjectPath& path);

}  // namespace zelInt
