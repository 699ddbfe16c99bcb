/* Recording puts tables in front of the plain ones that note each call, with a number (slot) for
 * every object and copies of all texts, and then make it. Replaying makes the noted calls in their
 * order, each on the objects that the calls before it made. Dropping goes from the last call to the
 * first and keeps those that a later one, or the result, needs. One recording at a time, no
 * threads. Slots are the same in recording and replaying, dropped calls included. */
#include "floor_trace.h"

#include <stdlib.h>
#include <string.h>

/* Every object has a slot; slot 0 is none. These are there before the first call. */
enum { kNone, kContext, kResult, kSource, kFirstMade };

typedef enum Function {
  kClassPathIsA,
  kEnumerateInstanceNames,
  kEnumerateInstances,
  kNewArray,
  kNewInstance,
  kNewObjectPath,
  kNewString,
  kSetElementAt,
  kGetNext,
  kHasNext,
  kGetObjectPath,
  kGetProperty,
  kSetProperty,
  kSetPropertyFilter,
  kAddKey,
  kGetClassName,
  kGetKey,
  kGetKeyAt,
  kGetKeyCount,
  kGetNameSpace,
  kToString,
  kReturnDone,
  kReturnInstance,
  kReturnObjectPath,
  kGetCharPtr
} Function;

typedef struct Call {
  CMPIUint16 function;
  CMPIType type;
  /* The object that is called, and those that the answer fills. */
  CMPICount self;
  CMPICount made;
  CMPICount made_name;
  /* An object, an index or a size. */
  CMPICount argument;
  const void* first;
  const void* second;
  /* What is passed as value: the slot of an object, the text itself, or `value`. */
  const CMPIValue* ready;
  CMPIValue value;
} Call;

enum { kTextLists = 4096 };

typedef struct Text {
  struct Text* next;
  size_t size;
  char bytes[];
} Text;

typedef struct TextBlock {
  struct TextBlock* next;
  max_align_t bytes[];
} TextBlock;

enum { kTextBlockBytes = 1 << 20 };

struct FloorTrace {
  Call* calls;
  size_t count;
  size_t capacity;
  CMPIValue* slots;
  CMPICount slot_count;
  Text* texts[kTextLists];
  /* Texts lie in blocks of their own: among the request's they would spread the heap. */
  TextBlock* blocks;
  size_t block_used;
};

static FloorTrace* recording;

static void* checked(void* memory) {
  if (memory == NULL) abort();
  return memory;
}

/* Recording. */

static Call* new_call(Function function, const void* self) {
  FloorTrace* trace = recording;
  if (trace->count == trace->capacity) {
    trace->capacity = trace->capacity == 0 ? 64 : trace->capacity * 2;
    trace->calls = checked(realloc(trace->calls, trace->capacity * sizeof(Call)));
  }
  Call* call = &trace->calls[trace->count++];
  memset(call, 0, sizeof *call);
  call->function = (CMPIUint16)function;
  call->self = self != NULL ? ((const FloorObject*)self)->slot : kNone;
  return call;
}

static CMPICount new_slot(void* object) {
  if (object == NULL) return kNone;
  return ((FloorObject*)object)->slot = recording->slot_count++;
}

static CMPICount slot_of(const void* object) {
  return object != NULL ? ((const FloorObject*)object)->slot : kNone;
}

static size_t hash_of(const void* bytes, size_t size) {
  size_t hash = size;
  for (size_t at = 0; at < size; ++at) hash = hash * 31 + ((const unsigned char*)bytes)[at];
  return hash;
}

static void* text_memory(size_t size) {
  FloorTrace* trace = recording;
  size = (size + sizeof(max_align_t) - 1) / sizeof(max_align_t) * sizeof(max_align_t);
  if (size > kTextBlockBytes) abort();
  if (trace->blocks == NULL || trace->block_used + size > kTextBlockBytes) {
    TextBlock* block = checked(malloc(sizeof(TextBlock) + kTextBlockBytes));
    block->next = trace->blocks;
    trace->blocks = block;
    trace->block_used = 0;
  }
  void* memory = (char*)trace->blocks->bytes + trace->block_used;
  trace->block_used += size;
  return memory;
}

/* Names come again and again: what was kept before serves again. */
static void* keep_bytes(const void* bytes, size_t size) {
  Text** place = &recording->texts[hash_of(bytes, size) % kTextLists];
  for (Text* text = *place; text != NULL; text = text->next) {
    if (text->size == size && memcmp(text->bytes, bytes, size) == 0) return text->bytes;
  }
  Text* text = text_memory(sizeof(Text) + size);
  text->next = *place;
  text->size = size;
  *place = text;
  return memcpy(text->bytes, bytes, size);
}

static const void* keep_text(const char* text) {
  return text != NULL ? keep_bytes(text, strlen(text) + 1) : NULL;
}

static const void* keep_list(const char** names) {
  if (names == NULL) return NULL;
  size_t count = 0;
  while (names[count] != NULL) ++count;
  const char** copy = keep_bytes(names, (count + 1) * sizeof(char*));
  for (size_t index = 0; index < count; ++index) copy[index] = keep_text(names[index]);
  return copy;
}

static bool is_object(CMPIType type) {
  return type == CMPI_ref || type == CMPI_instance || type == CMPI_string ||
         (type & CMPI_ARRAY) != 0;
}

static bool is_object_value(const CMPIData* data) {
  return data->state == CMPI_goodValue && is_object(data->type);
}

static void keep_value(Call* call, const CMPIValue* value, CMPIType type) {
  call->type = type;
  if (value == NULL) {
    call->type = CMPI_null;
  } else if (type == CMPI_chars) {
    call->second = keep_text((const char*)value);
  } else if (is_object(type)) {
    call->argument = slot_of(value->ref);
  } else {
    call->value = *value;
  }
}

static CMPIBoolean record_class_path_is_a(const CMPIBroker* self, const CMPIObjectPath* path,
                                          const char* class_name, CMPIStatus* status) {
  new_call(kClassPathIsA, path)->first = keep_text(class_name);
  return floor_plain_tables.factory->classPathIsA(self, path, class_name, status);
}

static CMPIEnumeration* record_enumerate_instance_names(const CMPIBroker* self,
                                                        const CMPIContext* context,
                                                        const CMPIObjectPath* path,
                                                        CMPIStatus* status) {
  CMPIEnumeration* made =
      floor_plain_tables.broker->enumerateInstanceNames(self, context, path, status);
  new_call(kEnumerateInstanceNames, path)->made = new_slot(made);
  return made;
}

static CMPIEnumeration* record_enumerate_instances(const CMPIBroker* self,
                                                   const CMPIContext* context,
                                                   const CMPIObjectPath* path,
                                                   const char** properties, CMPIStatus* status) {
  CMPIEnumeration* made =
      floor_plain_tables.broker->enumerateInstances(self, context, path, properties, status);
  Call* call = new_call(kEnumerateInstances, path);
  call->made = new_slot(made);
  call->first = keep_list(properties);
  return made;
}

static CMPIArray* record_new_array(const CMPIBroker* self, CMPICount size, CMPIType type,
                                   CMPIStatus* status) {
  CMPIArray* made = floor_plain_tables.factory->newArray(self, size, type, status);
  Call* call = new_call(kNewArray, NULL);
  call->made = new_slot(made);
  call->argument = size;
  call->type = type;
  return made;
}

static CMPIInstance* record_new_instance(const CMPIBroker* self, const CMPIObjectPath* path,
                                         CMPIStatus* status) {
  CMPIInstance* made = floor_plain_tables.factory->newInstance(self, path, status);
  new_call(kNewInstance, path)->made = new_slot(made);
  return made;
}

static CMPIObjectPath* record_new_object_path(const CMPIBroker* self, const char* name_space,
                                              const char* class_name, CMPIStatus* status) {
  CMPIObjectPath* made =
      floor_plain_tables.factory->newObjectPath(self, name_space, class_name, status);
  Call* call = new_call(kNewObjectPath, NULL);
  call->made = new_slot(made);
  call->first = keep_text(name_space);
  call->second = keep_text(class_name);
  return made;
}

static CMPIString* record_new_string(const CMPIBroker* self, const char* text, CMPIStatus* status) {
  CMPIString* made = floor_plain_tables.factory->newString(self, text, status);
  Call* call = new_call(kNewString, NULL);
  call->made = new_slot(made);
  call->first = keep_text(text);
  return made;
}

static CMPIStatus record_set_element_at(const CMPIArray* self, CMPICount index,
                                        const CMPIValue* value, CMPIType type) {
  Call* call = new_call(kSetElementAt, self);
  keep_value(call, value, type);
  /* The array's elements are plain numbers, so the place of an object's slot is free. */
  call->argument = index;
  return floor_plain_tables.array->setElementAt(self, index, value, type);
}

static CMPIData record_get_next(const CMPIEnumeration* self, CMPIStatus* status) {
  const CMPIData data = floor_plain_tables.enumeration->getNext(self, status);
  Call* call = new_call(kGetNext, self);
  if (is_object_value(&data)) call->made = new_slot(data.value.ref);
  return data;
}

static CMPIBoolean record_has_next(const CMPIEnumeration* self, CMPIStatus* status) {
  new_call(kHasNext, self);
  return floor_plain_tables.enumeration->hasNext(self, status);
}

static CMPIObjectPath* record_get_object_path(const CMPIInstance* self, CMPIStatus* status) {
  CMPIObjectPath* made = floor_plain_tables.instance->getObjectPath(self, status);
  new_call(kGetObjectPath, self)->made = new_slot(made);
  return made;
}

static CMPIData record_get_property(const CMPIInstance* self, const char* name,
                                    CMPIStatus* status) {
  const CMPIData data = floor_plain_tables.instance->getProperty(self, name, status);
  Call* call = new_call(kGetProperty, self);
  call->first = keep_text(name);
  if (is_object_value(&data)) call->made = new_slot(data.value.ref);
  return data;
}

static CMPIStatus record_set_property(const CMPIInstance* self, const char* name,
                                      const CMPIValue* value, CMPIType type) {
  Call* call = new_call(kSetProperty, self);
  call->first = keep_text(name);
  keep_value(call, value, type);
  return floor_plain_tables.instance->setProperty(self, name, value, type);
}

static CMPIStatus record_set_property_filter(const CMPIInstance* self, const char** properties,
                                             const char** keys) {
  Call* call = new_call(kSetPropertyFilter, self);
  call->first = keep_list(properties);
  call->second = keep_list(keys);
  return floor_plain_tables.instance->setPropertyFilter(self, properties, keys);
}

static CMPIStatus record_add_key(const CMPIObjectPath* self, const char* name,
                                 const CMPIValue* value, CMPIType type) {
  Call* call = new_call(kAddKey, self);
  call->first = keep_text(name);
  keep_value(call, value, type);
  return floor_plain_tables.path->addKey(self, name, value, type);
}

static CMPIString* record_get_class_name(const CMPIObjectPath* self, CMPIStatus* status) {
  CMPIString* made = floor_plain_tables.path->getClassName(self, status);
  new_call(kGetClassName, self)->made = new_slot(made);
  return made;
}

static CMPIData record_get_key(const CMPIObjectPath* self, const char* name, CMPIStatus* status) {
  const CMPIData data = floor_plain_tables.path->getKey(self, name, status);
  Call* call = new_call(kGetKey, self);
  call->first = keep_text(name);
  if (is_object_value(&data)) call->made = new_slot(data.value.ref);
  return data;
}

static CMPIData record_get_key_at(const CMPIObjectPath* self, CMPICount index, CMPIString** name,
                                  CMPIStatus* status) {
  const CMPIData data = floor_plain_tables.path->getKeyAt(self, index, name, status);
  Call* call = new_call(kGetKeyAt, self);
  call->argument = index;
  if (data.state == CMPI_notFound) return data;
  if (name != NULL) call->made_name = new_slot(*name);
  if (is_object_value(&data)) call->made = new_slot(data.value.ref);
  return data;
}

static CMPICount record_get_key_count(const CMPIObjectPath* self, CMPIStatus* status) {
  new_call(kGetKeyCount, self);
  return floor_plain_tables.path->getKeyCount(self, status);
}

static CMPIString* record_get_name_space(const CMPIObjectPath* self, CMPIStatus* status) {
  CMPIString* made = floor_plain_tables.path->getNameSpace(self, status);
  new_call(kGetNameSpace, self)->made = new_slot(made);
  return made;
}

static CMPIString* record_to_string(const CMPIObjectPath* self, CMPIStatus* status) {
  CMPIString* made = floor_plain_tables.path->toString(self, status);
  new_call(kToString, self)->made = new_slot(made);
  return made;
}

static CMPIStatus record_return_done(const CMPIResult* self) {
  new_call(kReturnDone, self);
  return floor_plain_tables.result->returnDone(self);
}

static CMPIStatus record_return_instance(const CMPIResult* self, const CMPIInstance* instance) {
  new_call(kReturnInstance, self)->argument = slot_of(instance);
  return floor_plain_tables.result->returnInstance(self, instance);
}

static CMPIStatus record_return_object_path(const CMPIResult* self, const CMPIObjectPath* path) {
  new_call(kReturnObjectPath, self)->argument = slot_of(path);
  return floor_plain_tables.result->returnObjectPath(self, path);
}

static char* record_get_char_ptr(const CMPIString* self, CMPIStatus* status) {
  new_call(kGetCharPtr, self);
  return floor_plain_tables.string->getCharPtr(self, status);
}

static const CMPIBrokerFT kBrokerTable = {
    .brokerVersion = 200,
    .brokerName = "floor",
    .enumerateInstanceNames = record_enumerate_instance_names,
    .enumerateInstances = record_enumerate_instances,
};
static const CMPIBrokerEncFT kFactoryTable = {
    .newInstance = record_new_instance,
    .newObjectPath = record_new_object_path,
    .newString = record_new_string,
    .newArray = record_new_array,
    .classPathIsA = record_class_path_is_a,
};
static const CMPIResultFT kResultTable = {
    .returnInstance = record_return_instance,
    .returnObjectPath = record_return_object_path,
    .returnDone = record_return_done,
};
static const CMPIStringFT kStringTable = {.getCharPtr = record_get_char_ptr};
static const CMPIArrayFT kArrayTable = {.setElementAt = record_set_element_at};
static const CMPIEnumerationFT kEnumerationTable = {.getNext = record_get_next,
                                                    .hasNext = record_has_next};
static const CMPIInstanceFT kInstanceTable = {
    .setProperty = record_set_property,
    .getProperty = record_get_property,
    .getObjectPath = record_get_object_path,
    .setPropertyFilter = record_set_property_filter,
};
static const CMPIObjectPathFT kPathTable = {
    .getNameSpace = record_get_name_space,
    .getClassName = record_get_class_name,
    .addKey = record_add_key,
    .getKey = record_get_key,
    .getKeyAt = record_get_key_at,
    .getKeyCount = record_get_key_count,
    .toString = record_to_string,
};
static const FloorTables kRecordingTables = {
    .broker = &kBrokerTable,
    .factory = &kFactoryTable,
    .result = &kResultTable,
    .string = &kStringTable,
    .array = &kArrayTable,
    .enumeration = &kEnumerationTable,
    .instance = &kInstanceTable,
    .path = &kPathTable,
};

/* What was made before the recording carries the tables of that time. */
static void give_tables(FloorPath* path, const FloorTables* tables) {
  path->object.ft = tables->path;
  ((FloorObject*)path->name_space)->ft = tables->string;
  ((FloorObject*)path->class_name)->ft = tables->string;
  for (CMPICount index = 0; index < path->keys.count; ++index) {
    FloorEntry* key = &path->keys.items[index];
    ((FloorObject*)key->name)->ft = tables->string;
    if (key->data.type == CMPI_string) key->data.value.string->ft = tables->string;
    if (key->data.type == CMPI_ref) give_tables((FloorPath*)key->data.value.ref, tables);
  }
}

static FloorPath* recorded_source;

FloorTrace* floor_start_recording(CMPIContext* context, FloorResult* result, FloorPath* source) {
  recording = checked(calloc(1, sizeof *recording));
  recording->slot_count = kFirstMade;
  recorded_source = source;
  floor_use_tables(&kRecordingTables);
  give_tables(source, &kRecordingTables);
  floor_restart_result(result);
  ((FloorObject*)(void*)context)->slot = kContext;
  result->slot = kResult;
  source->slot = kSource;
  return recording;
}

static const CMPIValue* ready_value(const FloorTrace* trace, const Call* call) {
  if (call->type == CMPI_null) return NULL;
  if (call->type == CMPI_chars) return call->second;
  if (call->function != kSetElementAt && is_object(call->type)) {
    return &trace->slots[call->argument];
  }
  return &call->value;
}

static void make_ready(FloorTrace* trace) {
  for (size_t index = 0; index < trace->count; ++index) {
    trace->calls[index].ready = ready_value(trace, &trace->calls[index]);
  }
}

void floor_stop_recording(FloorTrace* trace) {
  floor_use_tables(&floor_plain_tables);
  give_tables(recorded_source, &floor_plain_tables);
  recording = NULL;
  trace->slots = checked(calloc(trace->slot_count, sizeof(CMPIValue)));
  make_ready(trace);
}

size_t floor_trace_calls(const FloorTrace* trace) {
  return trace->count;
}

void floor_free_trace(FloorTrace* trace) {
  while (trace->blocks != NULL) {
    TextBlock* next = trace->blocks->next;
    free(trace->blocks);
    trace->blocks = next;
  }
  free(trace->slots);
  free(trace->calls);
  free(trace);
}

/* What a request needs of its calls: those that answers come from, and each question about the
 * source once. */

static bool makes_something(const Call* call) {
  return call->made != kNone || call->made_name != kNone;
}

/* Calls that change the object that they are made to. */
static bool is_change(const Call* call) {
  switch ((Function)call->function) {
    case kSetElementAt:
    case kSetProperty:
    case kSetPropertyFilter:
    case kAddKey:
      return true;
    default:
      return false;
  }
}

static bool is_answer(const Call* call) {
  switch ((Function)call->function) {
    case kReturnDone:
    case kReturnInstance:
    case kReturnObjectPath:
      return true;
    default:
      return false;
  }
}

static bool passes_object(const Call* call) {
  if (call->function == kReturnInstance || call->function == kReturnObjectPath) return true;
  return call->function != kSetElementAt && is_change(call) && is_object(call->type);
}

typedef struct Needs {
  /* By slot: whether an answer comes from the object, and whether it is the source or from there.
   */
  bool* slots;
  bool* asked;
  /* By call. */
  bool* calls;
} Needs;

static bool same_question(const Call* left, const Call* right) {
  return left->function == right->function && left->self == right->self &&
         left->first == right->first && left->argument == right->argument;
}

/* Questions about the source stay when they come for the first time. */
static void need_questions(const FloorTrace* trace, Needs* needs) {
  needs->asked[kSource] = true;
  for (size_t index = 0; index < trace->count; ++index) {
    const Call* call = &trace->calls[index];
    if (!needs->asked[call->self] || is_change(call) || call->function == kNewInstance) continue;
    bool first = true;
    for (size_t other = 0; first && other < index; ++other) {
      first = !needs->calls[other] || !same_question(&trace->calls[other], call);
    }
    if (!first) continue;
    needs->calls[index] = true;
    if (call->function != kEnumerateInstances && call->function != kEnumerateInstanceNames) {
      needs->asked[call->made] = true;
    }
    needs->asked[kNone] = false;
  }
}

/* Whether an instance has a property already, as a key of the path that it was made from. */
static bool is_key_already(const FloorTrace* trace, size_t index) {
  const Call* property = &trace->calls[index];
  CMPICount path = kNone;
  if (property->function != kSetProperty) return false;
  while (index-- > 0) {
    const Call* call = &trace->calls[index];
    if (call->function == kNewInstance && call->made == property->self) path = call->self;
    if (path == kNone) continue;
    if (call->function == kNewObjectPath && call->made == path) break;
    if (call->function == kAddKey && call->self == path && call->first == property->first) {
      return true;
    }
  }
  return false;
}

/* From the last call to the first: an object is needed when a later call needs it. */
static void need_answers(const FloorTrace* trace, Needs* needs) {
  for (size_t index = trace->count; index-- > 0;) {
    const Call* call = &trace->calls[index];
    needs->slots[kNone] = false;
    const bool needed =
        is_answer(call) || needs->calls[index] ||
        (is_change(call) && needs->slots[call->self] && !is_key_already(trace, index)) ||
        (makes_something(call) && needs->slots[call->made]);
    if (!needed) continue;
    needs->calls[index] = true;
    needs->slots[call->self] = true;
    if (passes_object(call)) needs->slots[call->argument] = true;
  }
}

void floor_drop_needless(FloorTrace* trace) {
  Needs needs = {.slots = checked(calloc(trace->slot_count, sizeof(bool))),
                 .asked = checked(calloc(trace->slot_count, sizeof(bool))),
                 .calls = checked(calloc(trace->count + 1, sizeof(bool)))};
  need_questions(trace, &needs);
  need_answers(trace, &needs);
  size_t kept = 0;
  for (size_t index = 0; index < trace->count; ++index) {
    if (needs.calls[index]) trace->calls[kept++] = trace->calls[index];
  }
  trace->count = kept;
  make_ready(trace);
  free(needs.slots);
  free(needs.asked);
  free(needs.calls);
}

/* Replaying. One function, as a compiler would make of the provider's own straight run of calls:
 * what it spends between two calls is what the floor pays for not being one. */

/* NOLINTNEXTLINE(readability-function-size) */
void floor_replay(FloorTrace* trace, CMPIContext* context, FloorResult* result, FloorPath* source) {
  CMPIValue* slots = trace->slots;
  const CMPIBroker* broker = floor_broker();
  CMPIStatus status = {CMPI_RC_OK, NULL};
  CMPIData data;
  slots[kSource].ref = &source->object;
  const Call* end = trace->calls + trace->count;
  for (const Call* call = trace->calls; call != end; ++call) {
    const CMPIValue* self = &slots[call->self];
    CMPIValue* made = &slots[call->made];
    switch ((Function)call->function) {
      case kClassPathIsA:
        broker->eft->classPathIsA(broker, self->ref, call->first, &status);
        break;
      case kEnumerateInstanceNames:
        made->Enum = broker->bft->enumerateInstanceNames(broker, context, self->ref, &status);
        break;
      case kEnumerateInstances:
        made->Enum = broker->bft->enumerateInstances(broker, context, self->ref,
                                                     (const char**)call->first, &status);
        break;
      case kNewArray:
        made->array = broker->eft->newArray(broker, call->argument, call->type, &status);
        break;
      case kNewInstance:
        made->inst = broker->eft->newInstance(broker, self->ref, &status);
        break;
      case kNewObjectPath:
        made->ref = broker->eft->newObjectPath(broker, call->first, call->second, &status);
        break;
      case kNewString:
        made->string = broker->eft->newString(broker, call->first, &status);
        break;
      case kSetElementAt:
        self->array->ft->setElementAt(self->array, call->argument, call->ready, call->type);
        break;
      case kGetNext:
        *made = self->Enum->ft->getNext(self->Enum, &status).value;
        break;
      case kHasNext:
        self->Enum->ft->hasNext(self->Enum, &status);
        break;
      case kGetObjectPath:
        made->ref = self->inst->ft->getObjectPath(self->inst, &status);
        break;
      case kGetProperty:
        *made = self->inst->ft->getProperty(self->inst, call->first, &status).value;
        break;
      case kSetProperty:
        self->inst->ft->setProperty(self->inst, call->first, call->ready, call->type);
        break;
      case kSetPropertyFilter:
        self->inst->ft->setPropertyFilter(self->inst, (const char**)call->first,
                                          (const char**)call->second);
        break;
      case kAddKey:
        self->ref->ft->addKey(self->ref, call->first, call->ready, call->type);
        break;
      case kGetClassName:
        made->string = self->ref->ft->getClassName(self->ref, &status);
        break;
      case kGetKey:
        *made = self->ref->ft->getKey(self->ref, call->first, &status).value;
        break;
      case kGetKeyAt:
        data = self->ref->ft->getKeyAt(self->ref, call->argument, &slots[call->made_name].string,
                                       &status);
        *made = data.value;
        break;
      case kGetKeyCount:
        self->ref->ft->getKeyCount(self->ref, &status);
        break;
      case kGetNameSpace:
        made->string = self->ref->ft->getNameSpace(self->ref, &status);
        break;
      case kToString:
        made->string = self->ref->ft->toString(self->ref, &status);
        break;
      case kReturnDone:
        result->object.ft->returnDone(&result->object);
        break;
      case kReturnInstance:
        result->object.ft->returnInstance(&result->object, slots[call->argument].inst);
        break;
      case kReturnObjectPath:
        result->object.ft->returnObjectPath(&result->object, slots[call->argument].ref);
        break;
      case kGetCharPtr:
        self->string->ft->getCharPtr(self->string, &status);
        break;
    }
  }
}
