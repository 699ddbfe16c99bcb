#pragma once

/// The cheapest object manager that still keeps its side of the C interface: it copies what it is
/// given and knows nothing of classes. A provider's work is measured against this one's, where
/// little can hide. One per process, one request at a time, no threads.

#include <cmpi/cmpi.h>
#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Where the objects of a request come from: a block of the heap each, given back one by one at the
/// request's end, or an arena that starts anew with each request.
typedef enum FloorAllocation { FLOOR_MALLOC, FLOOR_ARENA } FloorAllocation;

/// The function tables that objects carry; a recorder puts its own in front.
typedef struct FloorTables {
  const CMPIBrokerFT* broker;
  const CMPIBrokerEncFT* factory;
  const CMPIResultFT* result;
  const CMPIStringFT* string;
  const CMPIArrayFT* array;
  const CMPIEnumerationFT* enumeration;
  const CMPIInstanceFT* instance;
  const CMPIObjectPathFT* path;
} FloorTables;

/// What every object begins with. The slot is the recorder's number for it.
typedef struct FloorObject {
  void* hdl;
  const void* ft;
  CMPICount slot;
} FloorObject;

typedef struct FloorString FloorString;

typedef struct FloorEntry {
  FloorString* name;
  CMPIData data;
} FloorEntry;

typedef struct FloorEntries {
  FloorEntry* items;
  CMPICount count;
  CMPICount capacity;
} FloorEntries;

typedef struct FloorPath {
  CMPIObjectPath object;
  CMPICount slot;
  FloorString* name_space;
  FloorString* class_name;
  FloorEntries keys;
} FloorPath;

typedef struct FloorInstance {
  CMPIInstance object;
  CMPICount slot;
  FloorPath* path;
  FloorEntries properties;
} FloorInstance;

typedef struct FloorResult {
  CMPIResult object;
  CMPICount slot;
  /// Instances and paths in the order of their coming.
  const void** answers;
  CMPICount count;
  CMPICount capacity;
} FloorResult;

extern const FloorTables floor_plain_tables;

/// The broker, with the plain tables at first.
const CMPIBroker* floor_broker(void);
void floor_use_tables(const FloorTables* tables);

/// How objects are made from now on. Between requests only.
void floor_use_allocation(FloorAllocation allocation);

/// Objects made while this is on outlive their request; it is off at first.
void floor_keep_objects(bool keep);

/// Gives back everything that was made since the last call, kept objects excepted.
void floor_end_request(void);

/// What a request comes with. `floor_restart_result` makes one empty for the next request.
CMPIContext* floor_new_context(void);
FloorResult* floor_new_result(void);
void floor_restart_result(FloorResult* result);

/// A number for all that the result holds; results with the same answers have the same.
size_t floor_digest(const FloorResult* result);

/// A path in the namespace that all of the provider's paths are in.
FloorPath* floor_new_path(const char* class_name);
void floor_add_key(FloorPath* path, const char* name, const CMPIValue* value, CMPIType type);
FloorPath* floor_copy_path(const FloorPath* path);

/// The system that the broker itself serves, as a path.
FloorPath* floor_new_system_path(void);

#ifdef __cplusplus
}
#endif
