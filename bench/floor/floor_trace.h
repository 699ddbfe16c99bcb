#pragma once

/// The broker calls of one request, recorded as the provider makes them and made again from values
/// that lie ready: the least that a provider which makes these calls can cost.

#include "floor_broker.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct FloorTrace FloorTrace;

/// From here to `floor_stop_recording`, every call that reaches the broker, its objects, the result
/// or the source is written down. The source may be any path, a class's too.
FloorTrace* floor_start_recording(CMPIContext* context, FloorResult* result, FloorPath* source);
void floor_stop_recording(FloorTrace* trace);

size_t floor_trace_calls(const FloorTrace* trace);

/// Makes the recorded calls, with the same context, result and source or such as equal them.
void floor_replay(FloorTrace* trace, CMPIContext* context, FloorResult* result, FloorPath* source);

/// Leaves out the calls that no answer comes from: what is read back from the provider's own
/// objects, set a second time, or made only to be compared. Each question about the source stays
/// once.
void floor_drop_needless(FloorTrace* trace);

void floor_free_trace(FloorTrace* trace);

#ifdef __cplusplus
}
#endif
