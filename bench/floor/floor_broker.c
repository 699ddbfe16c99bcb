/* The broker of the floor: strings, arrays, values, paths, instances, enumerations and results,
 * then the tables that make them. Objects copy what they are given, and come from the heap or an
 * arena; all are given back at the end of the request but those made while objects are kept. It has
 * no classes: a class is itself alone. The state is static: one request at a time, no threads. */
#include "floor_broker.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

static const char kNameSpace[] = "root/cimv2";
static const char kSystemClass[] = "OMC_UnitaryComputerSystem";

enum { kChunkBytes = 1 << 20, kFirstEntries = 8 };

/* A block of the heap, or a chunk of the arena. */
typedef struct Block {
  struct Block* next;
  size_t size;
  max_align_t bytes[];
} Block;

static struct {
  FloorAllocation allocation;
  bool keep;
  const FloorTables* tables;
  Block* blocks;
  Block* chunks;
  Block* chunk;
  char* free;
  char* end;
} state = {.tables = &floor_plain_tables};

static CMPIBroker broker;

struct FloorString {
  CMPIString object;
  CMPICount slot;
  char text[];
};

static void* checked(void* memory) {
  if (memory == NULL) abort();
  return memory;
}

static Block* new_block(size_t size) {
  Block* block = checked(malloc(sizeof(Block) + size));
  block->size = size;
  return block;
}

static void* heap_memory(size_t size) {
  Block* block = new_block(size);
  block->next = state.blocks;
  state.blocks = block;
  return block->bytes;
}

static void open_chunk(Block* chunk) {
  state.chunk = chunk;
  state.free = (char*)chunk->bytes;
  state.end = state.free + chunk->size;
}

static void* arena_memory_elsewhere(size_t size) {
  Block** link = state.chunk == NULL ? &state.chunks : &state.chunk->next;
  while (*link != NULL && (*link)->size < size) link = &(*link)->next;
  if (*link == NULL) {
    *link = new_block(size > kChunkBytes ? size : kChunkBytes);
    (*link)->next = NULL;
  }
  open_chunk(*link);
  state.free += size;
  return (*link)->bytes;
}

static void* new_memory(size_t size) {
  if (state.keep) return checked(malloc(size));
  if (state.allocation == FLOOR_MALLOC) return heap_memory(size);
  size = (size + sizeof(max_align_t) - 1) / sizeof(max_align_t) * sizeof(max_align_t);
  if (size > (size_t)(state.end - state.free)) return arena_memory_elsewhere(size);
  char* memory = state.free;
  state.free += size;
  return memory;
}

void floor_end_request(void) {
  while (state.blocks != NULL) {
    Block* next = state.blocks->next;
    free(state.blocks);
    state.blocks = next;
  }
  if (state.chunks != NULL) open_chunk(state.chunks);
}

static void* new_object(size_t size, const void* table) {
  FloorObject* object = new_memory(size);
  object->hdl = object;
  object->ft = table;
  object->slot = 0;
  return object;
}

static void answer(CMPIStatus* status, CMPIrc code) {
  if (status == NULL) return;
  status->rc = code;
  status->msg = NULL;
}

static CMPIStatus status_of(CMPIrc code) {
  const CMPIStatus status = {code, NULL};
  return status;
}

static FloorString* new_string(const char* text) {
  const size_t size = strlen(text) + 1;
  FloorString* string = new_object(sizeof(FloorString) + size, state.tables->string);
  memcpy(string->text, text, size);
  return string;
}

/* Arrays. */

typedef struct FloorArray {
  CMPIArray object;
  CMPICount slot;
  CMPIType type;
  CMPICount size;
  CMPIData elements[];
} FloorArray;

static FloorArray* new_array(CMPICount size, CMPIType type) {
  FloorArray* array = new_object(sizeof(FloorArray) + size * sizeof(CMPIData), state.tables->array);
  array->type = type;
  array->size = size;
  for (CMPICount index = 0; index < size; ++index) {
    array->elements[index] = (CMPIData){.type = type, .state = CMPI_nullValue};
  }
  return array;
}

static FloorInstance* copy_instance(const FloorInstance* instance);
static CMPIData copy_value(const CMPIValue* value, CMPIType type);

static FloorArray* copy_array(const FloorArray* array) {
  FloorArray* copy = new_array(array->size, array->type);
  for (CMPICount index = 0; index < array->size; ++index) {
    const CMPIData* element = &array->elements[index];
    if (element->state != CMPI_nullValue) {
      copy->elements[index] = copy_value(&element->value, element->type);
    }
  }
  return copy;
}

/* Values and the entries that hold them by name. */

static CMPIData copy_value(const CMPIValue* value, CMPIType type) {
  CMPIData data = {.type = type, .state = CMPI_goodValue};
  if (value == NULL) {
    data.state = CMPI_nullValue;
  } else if (type == CMPI_chars) {
    data.type = CMPI_string;
    data.value.string = &new_string((const char*)value)->object;
  } else if (type == CMPI_string) {
    data.value.string = &new_string(((const FloorString*)value->string)->text)->object;
  } else if (type == CMPI_ref) {
    data.value.ref = &floor_copy_path((const FloorPath*)value->ref)->object;
  } else if (type == CMPI_instance) {
    data.value.inst = &copy_instance((const FloorInstance*)value->inst)->object;
  } else if ((type & CMPI_ARRAY) != 0) {
    data.value.array = &copy_array((const FloorArray*)value->array)->object;
  } else {
    data.value = *value;
  }
  return data;
}

static FloorEntry* find_entry(const FloorEntries* entries, const char* name) {
  for (CMPICount index = 0; index < entries->count; ++index) {
    FloorEntry* entry = &entries->items[index];
    /* Letters of either case differ in one bit: most names need no call. */
    if (((entry->name->text[0] ^ name[0]) & ~0x20) != 0) continue;
    if (strcasecmp(entry->name->text, name) == 0) return entry;
  }
  return NULL;
}

static FloorEntry* add_entry(FloorEntries* entries, const char* name) {
  if (entries->count == entries->capacity) {
    const CMPICount capacity = entries->capacity == 0 ? kFirstEntries : entries->capacity * 2;
    FloorEntry* items = new_memory(capacity * sizeof(FloorEntry));
    if (entries->count != 0) memcpy(items, entries->items, entries->count * sizeof(FloorEntry));
    entries->items = items;
    entries->capacity = capacity;
  }
  FloorEntry* entry = &entries->items[entries->count++];
  entry->name = new_string(name);
  return entry;
}

static void set_entry(FloorEntries* entries, const char* name, const CMPIValue* value,
                      CMPIType type) {
  const CMPIData data = copy_value(value, type);
  FloorEntry* entry = find_entry(entries, name);
  if (entry == NULL) entry = add_entry(entries, name);
  entry->data = data;
}

static void copy_entries(FloorEntries* to, const FloorEntries* from) {
  for (CMPICount index = 0; index < from->count; ++index) {
    const FloorEntry* entry = &from->items[index];
    const CMPIData data = copy_value(&entry->data.value, entry->data.type);
    add_entry(to, entry->name->text)->data = data;
  }
}

/* Paths. */

static FloorPath* new_path(const char* name_space, const char* class_name) {
  FloorPath* path = new_object(sizeof(FloorPath), state.tables->path);
  path->name_space = new_string(name_space);
  path->class_name = new_string(class_name);
  path->keys = (FloorEntries){NULL, 0, 0};
  return path;
}

FloorPath* floor_copy_path(const FloorPath* path) {
  FloorPath* copy = new_path(path->name_space->text, path->class_name->text);
  copy_entries(&copy->keys, &path->keys);
  return copy;
}

FloorPath* floor_new_path(const char* class_name) {
  return new_path(kNameSpace, class_name);
}

void floor_add_key(FloorPath* path, const char* name, const CMPIValue* value, CMPIType type) {
  set_entry(&path->keys, name, value, type);
}

FloorPath* floor_new_system_path(void) {
  FloorPath* path = floor_new_path(kSystemClass);
  floor_add_key(path, "CreationClassName", (const CMPIValue*)kSystemClass, CMPI_chars);
  floor_add_key(path, "Name", (const CMPIValue*)"HostA01", CMPI_chars);
  return path;
}

static CMPIString* get_name_space(const CMPIObjectPath* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return &((const FloorPath*)object)->name_space->object;
}

static CMPIString* get_class_name(const CMPIObjectPath* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return &((const FloorPath*)object)->class_name->object;
}

static CMPIStatus add_key(const CMPIObjectPath* object, const char* name, const CMPIValue* value,
                          CMPIType type) {
  floor_add_key((FloorPath*)object->hdl, name, value, type);
  return status_of(CMPI_RC_OK);
}

static CMPIData get_key(const CMPIObjectPath* object, const char* name, CMPIStatus* status) {
  const FloorEntry* entry = find_entry(&((const FloorPath*)object)->keys, name);
  answer(status, entry != NULL ? CMPI_RC_OK : CMPI_RC_ERR_NOT_FOUND);
  return entry != NULL ? entry->data : (CMPIData){.type = CMPI_null, .state = CMPI_notFound};
}

static CMPIData get_key_at(const CMPIObjectPath* object, CMPICount index, CMPIString** name,
                           CMPIStatus* status) {
  const FloorEntries* keys = &((const FloorPath*)object)->keys;
  const bool found = index < keys->count;
  answer(status, found ? CMPI_RC_OK : CMPI_RC_ERR_NO_SUCH_PROPERTY);
  if (!found) return (CMPIData){.type = CMPI_null, .state = CMPI_notFound};
  if (name != NULL) *name = &keys->items[index].name->object;
  return keys->items[index].data;
}

static CMPICount get_key_count(const CMPIObjectPath* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return ((const FloorPath*)object)->keys.count;
}

/* References are written by their class alone: the provider only logs this text. */
static CMPIString* path_text(const CMPIObjectPath* object, CMPIStatus* status) {
  const FloorPath* path = (const FloorPath*)object;
  char text[1024];
  size_t used =
      (size_t)snprintf(text, sizeof text, "%s:%s", path->name_space->text, path->class_name->text);
  for (CMPICount index = 0; index < path->keys.count && used < sizeof text; ++index) {
    const FloorEntry* key = &path->keys.items[index];
    const FloorString* value = key->data.type == CMPI_ref
                                   ? ((const FloorPath*)key->data.value.ref)->class_name
                                   : (const FloorString*)key->data.value.string;
    used += (size_t)snprintf(text + used, sizeof text - used, "%c%s=\"%s\"", index == 0 ? '.' : ',',
                             key->name->text, value->text);
  }
  answer(status, CMPI_RC_OK);
  return &new_string(text)->object;
}

/* Instances. */

static FloorInstance* new_instance(const FloorPath* path) {
  FloorInstance* instance = new_object(sizeof(FloorInstance), state.tables->instance);
  instance->path = floor_copy_path(path);
  instance->properties = (FloorEntries){NULL, 0, 0};
  return instance;
}

static FloorInstance* copy_instance(const FloorInstance* instance) {
  FloorInstance* copy = new_instance(instance->path);
  copy_entries(&copy->properties, &instance->properties);
  return copy;
}

static CMPIStatus set_property(const CMPIInstance* object, const char* name, const CMPIValue* value,
                               CMPIType type) {
  set_entry(&((FloorInstance*)object->hdl)->properties, name, value, type);
  return status_of(CMPI_RC_OK);
}

static CMPIData get_property(const CMPIInstance* object, const char* name, CMPIStatus* status) {
  const FloorEntry* entry = find_entry(&((const FloorInstance*)object)->properties, name);
  answer(status, entry != NULL ? CMPI_RC_OK : CMPI_RC_ERR_NO_SUCH_PROPERTY);
  return entry != NULL ? entry->data : (CMPIData){.type = CMPI_null, .state = CMPI_notFound};
}

static CMPIObjectPath* get_object_path(const CMPIInstance* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return &((const FloorInstance*)object)->path->object;
}

static bool is_listed(const char** names, const char* name) {
  for (; names != NULL && *names != NULL; ++names) {
    if (strcasecmp(*names, name) == 0) return true;
  }
  return false;
}

static CMPIStatus set_property_filter(const CMPIInstance* object, const char** properties,
                                      const char** keys) {
  if (properties == NULL) return status_of(CMPI_RC_OK);
  FloorEntries* entries = &((FloorInstance*)object->hdl)->properties;
  CMPICount kept = 0;
  for (CMPICount index = 0; index < entries->count; ++index) {
    const char* name = entries->items[index].name->text;
    if (!is_listed(properties, name) && !is_listed(keys, name)) continue;
    entries->items[kept++] = entries->items[index];
  }
  entries->count = kept;
  return status_of(CMPI_RC_OK);
}

/* Enumerations, which hold the one system that the broker serves. */

typedef struct FloorEnumeration {
  CMPIEnumeration object;
  CMPICount slot;
  bool done;
  CMPIData item;
} FloorEnumeration;

static CMPIEnumeration* new_enumeration(CMPIData item) {
  FloorEnumeration* enumeration = new_object(sizeof(FloorEnumeration), state.tables->enumeration);
  enumeration->done = false;
  enumeration->item = item;
  return &enumeration->object;
}

static CMPIData get_next(const CMPIEnumeration* object, CMPIStatus* status) {
  FloorEnumeration* enumeration = object->hdl;
  answer(status, enumeration->done ? CMPI_RC_ERR_NO_MORE_ELEMENTS : CMPI_RC_OK);
  if (enumeration->done) return (CMPIData){.type = CMPI_null, .state = CMPI_nullValue};
  enumeration->done = true;
  return enumeration->item;
}

static CMPIBoolean has_next(const CMPIEnumeration* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return !((const FloorEnumeration*)object)->done;
}

static CMPIEnumeration* enumerate_instance_names(const CMPIBroker* self, const CMPIContext* context,
                                                 const CMPIObjectPath* path, CMPIStatus* status) {
  (void)self, (void)context, (void)path;
  answer(status, CMPI_RC_OK);
  CMPIData item = {.type = CMPI_ref, .state = CMPI_goodValue};
  item.value.ref = &floor_new_system_path()->object;
  return new_enumeration(item);
}

static CMPIEnumeration* enumerate_instances(const CMPIBroker* self, const CMPIContext* context,
                                            const CMPIObjectPath* path, const char** properties,
                                            CMPIStatus* status) {
  (void)self, (void)context, (void)path, (void)properties;
  answer(status, CMPI_RC_OK);
  CMPIData item = {.type = CMPI_instance, .state = CMPI_goodValue};
  FloorInstance* system = new_instance(floor_new_system_path());
  copy_entries(&system->properties, &system->path->keys);
  item.value.inst = &system->object;
  return new_enumeration(item);
}

/* Results keep what was handed over until the request's end. */

static CMPIStatus add_answer(FloorResult* result, const void* object) {
  if (result->count == result->capacity) {
    const CMPICount capacity = result->capacity == 0 ? 64 : result->capacity * 2;
    const void** answers = new_memory(capacity * sizeof(void*));
    if (result->count != 0) memcpy(answers, result->answers, result->count * sizeof(void*));
    result->answers = answers;
    result->capacity = capacity;
  }
  result->answers[result->count++] = object;
  return status_of(CMPI_RC_OK);
}

static CMPIStatus return_instance(const CMPIResult* object, const CMPIInstance* instance) {
  return add_answer(object->hdl, instance);
}

static CMPIStatus return_object_path(const CMPIResult* object, const CMPIObjectPath* path) {
  return add_answer(object->hdl, path);
}

static CMPIStatus return_done(const CMPIResult* object) {
  (void)object;
  return status_of(CMPI_RC_OK);
}

/* Digests. */

static size_t digest_bytes(size_t digest, const void* bytes, size_t size) {
  for (size_t at = 0; at < size; ++at) digest = digest * 31 + ((const unsigned char*)bytes)[at];
  return digest;
}

static size_t digest_text(size_t digest, const FloorString* string) {
  return digest_bytes(digest, string->text, strlen(string->text) + 1);
}

static size_t digest_path(size_t digest, const FloorPath* path);

/* The bytes of a number that count. */
static size_t size_of(CMPIType type) {
  static const size_t sizes[] = {1, 2, 4, 8};
  return type == CMPI_boolean ? 1 : sizes[type >> 4 & 3];
}

static size_t digest_data(size_t digest, const CMPIData* data) {
  digest = digest_bytes(digest, &data->type, sizeof data->type);
  digest = digest_bytes(digest, &data->state, sizeof data->state);
  if (data->state == CMPI_nullValue) return digest;
  if (data->type == CMPI_string) return digest_text(digest, (const FloorString*)data->value.string);
  if (data->type == CMPI_ref) return digest_path(digest, (const FloorPath*)data->value.ref);
  if ((data->type & CMPI_ARRAY) != 0) {
    const FloorArray* array = (const FloorArray*)data->value.array;
    for (CMPICount at = 0; at < array->size; ++at)
      digest = digest_data(digest, array->elements + at);
    return digest;
  }
  return digest_bytes(digest, &data->value, size_of(data->type));
}

static size_t digest_entries(size_t digest, const FloorEntries* entries) {
  for (CMPICount index = 0; index < entries->count; ++index) {
    digest = digest_text(digest, entries->items[index].name);
    digest = digest_data(digest, &entries->items[index].data);
  }
  return digest;
}

static size_t digest_path(size_t digest, const FloorPath* path) {
  digest = digest_text(digest, path->name_space);
  digest = digest_text(digest, path->class_name);
  return digest_entries(digest, &path->keys);
}

static bool is_path(const void* object) {
  return ((const FloorObject*)object)->ft == state.tables->path;
}

size_t floor_digest(const FloorResult* result) {
  size_t digest = result->count;
  for (CMPICount index = 0; index < result->count; ++index) {
    const FloorInstance* instance = result->answers[index];
    const FloorPath* path = is_path(instance) ? result->answers[index] : instance->path;
    digest = digest_path(digest, path);
    if (!is_path(instance)) digest = digest_entries(digest, &instance->properties);
  }
  return digest;
}

/* What the broker makes. */

static CMPIInstance* broker_new_instance(const CMPIBroker* self, const CMPIObjectPath* path,
                                         CMPIStatus* status) {
  (void)self;
  answer(status, CMPI_RC_OK);
  FloorInstance* instance = new_instance((const FloorPath*)path);
  copy_entries(&instance->properties, &instance->path->keys);
  return &instance->object;
}

static CMPIObjectPath* broker_new_object_path(const CMPIBroker* self, const char* name_space,
                                              const char* class_name, CMPIStatus* status) {
  (void)self;
  answer(status, CMPI_RC_OK);
  return &new_path(name_space, class_name)->object;
}

static CMPIString* broker_new_string(const CMPIBroker* self, const char* text, CMPIStatus* status) {
  (void)self;
  answer(status, CMPI_RC_OK);
  return &new_string(text)->object;
}

static CMPIArray* broker_new_array(const CMPIBroker* self, CMPICount size, CMPIType type,
                                   CMPIStatus* status) {
  (void)self;
  answer(status, CMPI_RC_OK);
  return &new_array(size, type)->object;
}

static CMPIStatus set_element_at(const CMPIArray* object, CMPICount index, const CMPIValue* value,
                                 CMPIType type) {
  FloorArray* array = object->hdl;
  if (index >= array->size) return status_of(CMPI_RC_ERR_INVALID_PARAMETER);
  array->elements[index] = copy_value(value, type);
  return status_of(CMPI_RC_OK);
}

/* There are no classes here: a class is itself alone, which is all that the provider asks. */
static CMPIBoolean class_path_is_a(const CMPIBroker* self, const CMPIObjectPath* path,
                                   const char* class_name, CMPIStatus* status) {
  (void)self;
  answer(status, CMPI_RC_OK);
  return strcasecmp(((const FloorPath*)path)->class_name->text, class_name) == 0;
}

static char* get_char_ptr(const CMPIString* object, CMPIStatus* status) {
  answer(status, CMPI_RC_OK);
  return ((FloorString*)object->hdl)->text;
}

static const CMPIBrokerFT kBrokerTable = {
    .brokerVersion = 200,
    .brokerName = "floor",
    .enumerateInstanceNames = enumerate_instance_names,
    .enumerateInstances = enumerate_instances,
};
static const CMPIBrokerEncFT kFactoryTable = {
    .newInstance = broker_new_instance,
    .newObjectPath = broker_new_object_path,
    .newString = broker_new_string,
    .newArray = broker_new_array,
    .classPathIsA = class_path_is_a,
};
static const CMPIResultFT kResultTable = {
    .returnInstance = return_instance,
    .returnObjectPath = return_object_path,
    .returnDone = return_done,
};
static const CMPIStringFT kStringTable = {.getCharPtr = get_char_ptr};
static const CMPIArrayFT kArrayTable = {.setElementAt = set_element_at};
static const CMPIEnumerationFT kEnumerationTable = {.getNext = get_next, .hasNext = has_next};
static const CMPIInstanceFT kInstanceTable = {
    .setProperty = set_property,
    .getProperty = get_property,
    .getObjectPath = get_object_path,
    .setPropertyFilter = set_property_filter,
};
static const CMPIObjectPathFT kPathTable = {
    .getNameSpace = get_name_space,
    .getClassName = get_class_name,
    .addKey = add_key,
    .getKey = get_key,
    .getKeyAt = get_key_at,
    .getKeyCount = get_key_count,
    .toString = path_text,
};

const FloorTables floor_plain_tables = {
    .broker = &kBrokerTable,
    .factory = &kFactoryTable,
    .result = &kResultTable,
    .string = &kStringTable,
    .array = &kArrayTable,
    .enumeration = &kEnumerationTable,
    .instance = &kInstanceTable,
    .path = &kPathTable,
};

const CMPIBroker* floor_broker(void) {
  if (broker.bft == NULL) floor_use_tables(state.tables);
  return &broker;
}

void floor_use_tables(const FloorTables* tables) {
  state.tables = tables;
  broker.bft = tables->broker;
  broker.eft = tables->factory;
}

void floor_use_allocation(FloorAllocation allocation) {
  floor_end_request();
  state.allocation = allocation;
}

void floor_keep_objects(bool keep) {
  state.keep = keep;
}

CMPIContext* floor_new_context(void) {
  static CMPIContextFT table;
  return new_object(sizeof(FloorObject), &table);
}

FloorResult* floor_new_result(void) {
  FloorResult* result = new_object(sizeof(FloorResult), state.tables->result);
  floor_restart_result(result);
  return result;
}

void floor_restart_result(FloorResult* result) {
  result->object.ft = state.tables->result;
  result->answers = NULL;
  result->count = 0;
  result->capacity = 0;
}
