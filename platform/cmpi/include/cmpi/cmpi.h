#pragma once

/// The C interface between a CIM object manager and its providers (CMPI 2.0), as far as this
/// project uses it. Orders, types and numbers are binary interface: the assertions at the end of
/// this header keep every slot at its place.

#include <cstddef>
#include <ctime>

// The interface is C: its names are introduced the C way.
// NOLINTBEGIN(modernize-use-using)
extern "C" {

typedef unsigned char CMPIBoolean;
typedef unsigned char CMPIUint8;
typedef unsigned short CMPIUint16;
typedef unsigned short CMPIChar16;
typedef unsigned int CMPIUint32;
typedef unsigned int CMPICount;
typedef unsigned long long CMPIUint64;
typedef signed char CMPISint8;
typedef short CMPISint16;
typedef int CMPISint32;
typedef long long CMPISint64;
typedef float CMPIReal32;
typedef double CMPIReal64;

typedef int CMPIVersion;
typedef unsigned short CMPIType;
typedef unsigned short CMPIValueState;
typedef void* CMPIMsgFileHandle;

enum : CMPIType {
  CMPI_null = 0,
  CMPI_boolean = 2,
  CMPI_char16 = 3,
  CMPI_real32 = 8,
  CMPI_real64 = 12,
  CMPI_uint8 = 128,
  CMPI_uint16 = 144,
  CMPI_uint32 = 160,
  CMPI_uint64 = 176,
  CMPI_sint8 = 192,
  CMPI_sint16 = 208,
  CMPI_sint32 = 224,
  CMPI_sint64 = 240,
  CMPI_instance = 4096,
  CMPI_ref = 4352,
  CMPI_args = 4608,
  CMPI_enumeration = 5376,
  CMPI_string = 5632,
  CMPI_chars = 5888,
  CMPI_dateTime = 6144,
  /// Or-ed to the element type of an array.
  CMPI_ARRAY = 8192
};

enum : CMPIValueState {
  CMPI_goodValue = 0,
  CMPI_nullValue = 256,
  CMPI_keyValue = 512,
  CMPI_notFound = 1024,
  CMPI_badValue = 32768
};

typedef enum CMPIrc {
  CMPI_RC_OK = 0,
  CMPI_RC_ERR_FAILED = 1,
  CMPI_RC_ERR_ACCESS_DENIED = 2,
  CMPI_RC_ERR_INVALID_NAMESPACE = 3,
  CMPI_RC_ERR_INVALID_PARAMETER = 4,
  CMPI_RC_ERR_INVALID_CLASS = 5,
  CMPI_RC_ERR_NOT_FOUND = 6,
  CMPI_RC_ERR_NOT_SUPPORTED = 7,
  CMPI_RC_ERR_ALREADY_EXISTS = 11,
  CMPI_RC_ERR_NO_SUCH_PROPERTY = 12,
  CMPI_RC_ERR_TYPE_MISMATCH = 13,
  CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED = 14,
  CMPI_RC_ERR_INVALID_QUERY = 15,
  CMPI_RC_ERR_METHOD_NOT_AVAILABLE = 16,
  CMPI_RC_ERR_METHOD_NOT_FOUND = 17,
  CMPI_RC_ERR_NO_MORE_ELEMENTS = 18,
  CMPI_RC_DO_NOT_UNLOAD = 50,
  CMPI_RC_NEVER_UNLOAD = 51,
  CMPI_RC_ERR_INVALID_HANDLE = 60,
  CMPI_RC_ERR_INVALID_DATA_TYPE = 61
} CMPIrc;

/// Bits of the context entry "CMPIInvocationFlags" (uint32).
enum : CMPIUint32 {
  CMPI_FLAG_LocalOnly = 1,
  CMPI_FLAG_DeepInheritance = 2,
  CMPI_FLAG_IncludeQualifiers = 4,
  CMPI_FLAG_IncludeClassOrigin = 8
};

typedef int CMPISeverity;
typedef int CMPILevel;
typedef int CMPIErrorSeverity;
typedef int CMPIErrorProbableCause;

typedef struct CMPIBroker CMPIBroker;
typedef struct CMPIBrokerFT CMPIBrokerFT;
typedef struct CMPIBrokerEncFT CMPIBrokerEncFT;
typedef struct CMPIBrokerExtFT CMPIBrokerExtFT;
typedef struct CMPIBrokerMemFT CMPIBrokerMemFT;
typedef struct CMPIContextFT CMPIContextFT;
typedef struct CMPIResultFT CMPIResultFT;
typedef struct CMPIStringFT CMPIStringFT;
typedef struct CMPIArrayFT CMPIArrayFT;
typedef struct CMPIEnumerationFT CMPIEnumerationFT;
typedef struct CMPIInstanceFT CMPIInstanceFT;
typedef struct CMPIObjectPathFT CMPIObjectPathFT;
typedef struct CMPIInstanceMIFT CMPIInstanceMIFT;
typedef struct CMPIAssociationMIFT CMPIAssociationMIFT;
typedef struct CMPIArgsFT CMPIArgsFT;
typedef struct CMPIDateTimeFT CMPIDateTimeFT;
typedef struct CMPISelectExpFT CMPISelectExpFT;
typedef struct CMPIErrorFT CMPIErrorFT;

typedef struct CMPIContext {
  void* hdl;
  const CMPIContextFT* ft;
} CMPIContext;
typedef struct CMPIResult {
  void* hdl;
  const CMPIResultFT* ft;
} CMPIResult;
typedef struct CMPIString {
  void* hdl;
  const CMPIStringFT* ft;
} CMPIString;
typedef struct CMPIArray {
  void* hdl;
  const CMPIArrayFT* ft;
} CMPIArray;
typedef struct CMPIEnumeration {
  void* hdl;
  const CMPIEnumerationFT* ft;
} CMPIEnumeration;
typedef struct CMPIInstance {
  void* hdl;
  const CMPIInstanceFT* ft;
} CMPIInstance;
typedef struct CMPIObjectPath {
  void* hdl;
  const CMPIObjectPathFT* ft;
} CMPIObjectPath;
typedef struct CMPIArgs {
  void* hdl;
  const CMPIArgsFT* ft;
} CMPIArgs;
typedef struct CMPIDateTime {
  void* hdl;
  const CMPIDateTimeFT* ft;
} CMPIDateTime;
typedef struct CMPISelectExp {
  void* hdl;
  const CMPISelectExpFT* ft;
} CMPISelectExp;
typedef struct CMPIError {
  void* hdl;
  const CMPIErrorFT* ft;
} CMPIError;

/// What an object manager receives from a factory: a handle of the provider's and its table.
typedef struct CMPIInstanceMI {
  void* hdl;
  const CMPIInstanceMIFT* ft;
} CMPIInstanceMI;
typedef struct CMPIAssociationMI {
  void* hdl;
  const CMPIAssociationMIFT* ft;
} CMPIAssociationMI;

typedef struct CMPIValuePtr {
  void* ptr;
  CMPIUint32 length;
} CMPIValuePtr;

typedef union CMPIValue {
  CMPIBoolean boolean;
  CMPIChar16 char16;
  CMPIUint8 uint8;
  CMPIUint16 uint16;
  CMPIUint32 uint32;
  CMPIUint64 uint64;
  CMPISint8 sint8;
  CMPISint16 sint16;
  CMPISint32 sint32;
  CMPISint64 sint64;
  CMPIReal32 real32;
  CMPIReal64 real64;
  CMPIInstance* inst;
  CMPIObjectPath* ref;
  CMPIArgs* args;
  CMPISelectExp* filter;
  CMPIEnumeration* Enum;
  CMPIArray* array;
  CMPIString* string;
  char* chars;
  CMPIDateTime* dateTime;
  CMPIValuePtr dataPtr;
} CMPIValue;

typedef struct CMPIData {
  CMPIType type;
  CMPIValueState state;
  CMPIValue value;
} CMPIData;

typedef struct CMPIStatus {
  CMPIrc rc;
  CMPIString* msg;
} CMPIStatus;

struct CMPIBroker {
  void* hdl;
  const CMPIBrokerFT* bft;
  const CMPIBrokerEncFT* eft;
  const CMPIBrokerExtFT* xft;
  const CMPIBrokerMemFT* mft;
};

struct CMPIBrokerFT {
  CMPIUint32 brokerCapabilities;
  CMPIVersion brokerVersion;
  const char* brokerName;
  CMPIContext* (*prepareAttachThread)(const CMPIBroker*, const CMPIContext*);
  CMPIStatus (*attachThread)(const CMPIBroker*, const CMPIContext*);
  CMPIStatus (*detachThread)(const CMPIBroker*, const CMPIContext*);
  CMPIStatus (*deliverIndication)(const CMPIBroker*, const CMPIContext*, const char* ns,
                                  const CMPIInstance* ind);
  CMPIEnumeration* (*enumerateInstanceNames)(const CMPIBroker*, const CMPIContext*,
                                             const CMPIObjectPath*, CMPIStatus*);
  CMPIInstance* (*getInstance)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                               const char** properties, CMPIStatus*);
  CMPIObjectPath* (*createInstance)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                    const CMPIInstance*, CMPIStatus*);
  CMPIStatus (*modifyInstance)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                               const CMPIInstance*, const char** properties);
  CMPIStatus (*deleteInstance)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*);
  CMPIEnumeration* (*execQuery)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                const char* query, const char* lang, CMPIStatus*);
  CMPIEnumeration* (*enumerateInstances)(const CMPIBroker*, const CMPIContext*,
                                         const CMPIObjectPath*, const char** properties,
                                         CMPIStatus*);
  CMPIEnumeration* (*associators)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                  const char* assocClass, const char* resultClass, const char* role,
                                  const char* resultRole, const char** properties, CMPIStatus*);
  CMPIEnumeration* (*associatorNames)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                      const char* assocClass, const char* resultClass,
                                      const char* role, const char* resultRole, CMPIStatus*);
  CMPIEnumeration* (*references)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                 const char* resultClass, const char* role, const char** properties,
                                 CMPIStatus*);
  CMPIEnumeration* (*referenceNames)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                                     const char* resultClass, const char* role, CMPIStatus*);
  CMPIData (*invokeMethod)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                           const char* method, const CMPIArgs* in, CMPIArgs* out, CMPIStatus*);
  CMPIStatus (*setProperty)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                            const char* name, const CMPIValue*, CMPIType);
  CMPIData (*getProperty)(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*,
                          const char* name, CMPIStatus*);
  CMPIEnumeration* (*enumerateInstancesFiltered)(const CMPIBroker*, const CMPIContext*,
                                                 const CMPIObjectPath*, const char** properties,
                                                 const char* filterQueryLanguage,
                                                 const char* filterQuery, CMPIStatus*);
  CMPIEnumeration* (*associatorsFiltered)(const CMPIBroker*, const CMPIContext*,
                                          const CMPIObjectPath*, const char* assocClass,
                                          const char* resultClass, const char* role,
                                          const char* resultRole, const char** properties,
                                          const char* filterQueryLanguage, const char* filterQuery,
                                          CMPIStatus*);
  CMPIEnumeration* (*referencesFiltered)(const CMPIBroker*, const CMPIContext*,
                                         const CMPIObjectPath*, const char* resultClass,
                                         const char* role, const char** properties,
                                         const char* filterQueryLanguage, const char* filterQuery,
                                         CMPIStatus*);
};

struct CMPIBrokerEncFT {
  CMPIVersion ftVersion;
  CMPIInstance* (*newInstance)(const CMPIBroker*, const CMPIObjectPath*, CMPIStatus*);
  CMPIObjectPath* (*newObjectPath)(const CMPIBroker*, const char* ns, const char* cn, CMPIStatus*);
  CMPIArgs* (*newArgs)(const CMPIBroker*, CMPIStatus*);
  CMPIString* (*newString)(const CMPIBroker*, const char* data, CMPIStatus*);
  CMPIArray* (*newArray)(const CMPIBroker*, CMPICount size, CMPIType, CMPIStatus*);
  CMPIDateTime* (*newDateTime)(const CMPIBroker*, CMPIStatus*);
  CMPIDateTime* (*newDateTimeFromBinary)(const CMPIBroker*, CMPIUint64 binTime,
                                         CMPIBoolean interval, CMPIStatus*);
  CMPIDateTime* (*newDateTimeFromChars)(const CMPIBroker*, const char* datetime, CMPIStatus*);
  CMPISelectExp* (*newSelectExp)(const CMPIBroker*, const char* query, const char* lang,
                                 CMPIArray** projection, CMPIStatus*);
  CMPIBoolean (*classPathIsA)(const CMPIBroker*, const CMPIObjectPath*, const char* className,
                              CMPIStatus*);
  CMPIString* (*toString)(const CMPIBroker*, const void* object, CMPIStatus*);
  CMPIBoolean (*isOfType)(const CMPIBroker*, const void* object, const char* type, CMPIStatus*);
  CMPIString* (*getType)(const CMPIBroker*, const void* object, CMPIStatus*);
  CMPIString* (*getMessage)(const CMPIBroker*, const char* msgId, const char* defMsg, CMPIStatus*,
                            CMPICount count, ...);
  CMPIStatus (*logMessage)(const CMPIBroker*, CMPISeverity, const char* id, const char* text,
                           const CMPIString*);
  CMPIStatus (*trace)(const CMPIBroker*, CMPILevel, const char* component, const char* text,
                      const CMPIString*);
  CMPIError* (*newCMPIError)(const CMPIBroker*, const char* owner, const char* msgID,
                             const char* msg, CMPIErrorSeverity, CMPIErrorProbableCause, CMPIrc,
                             CMPIStatus*);
  CMPIStatus (*openMessageFile)(const CMPIBroker*, const char* msgFile, CMPIMsgFileHandle*);
  CMPIStatus (*closeMessageFile)(const CMPIBroker*, CMPIMsgFileHandle);
  CMPIString* (*getMessage2)(const CMPIBroker*, const char* msgId, CMPIMsgFileHandle,
                             const char* defMsg, CMPIStatus*, CMPICount count, ...);
};

/// Operating system services; threads, keys, mutexes and conditions are opaque pointers or words.
struct CMPIBrokerExtFT {
  CMPIVersion ftVersion;
  char* (*resolveFileName)(const char* filename);
  void* (*newThread)(void* (*start)(void*), void* parm, int detached);
  int (*joinThread)(void* thread, void** returnCode);
  int (*exitThread)(void* returnCode);
  int (*cancelThread)(void* thread);
  int (*threadSleep)(CMPIUint32 milliseconds);
  int (*threadOnce)(int* once, void (*init)(void));
  int (*createThreadKey)(unsigned int* key, void (*cleanup)(void*));
  int (*destroyThreadKey)(unsigned int key);
  void* (*getThreadSpecific)(unsigned int key);
  int (*setThreadSpecific)(unsigned int key, void* value);
  void* (*newMutex)(int opt);
  void (*destroyMutex)(void* mutex);
  void (*lockMutex)(void* mutex);
  void (*unlockMutex)(void* mutex);
  void* (*newCondition)(int opt);
  void (*destroyCondition)(void* condition);
  int (*condWait)(void* condition, void* mutex);
  int (*timedCondWait)(void* condition, void* mutex, struct timespec* wait);
  int (*signalCondition)(void* condition);
};

struct CMPIBrokerMemFT {
  CMPIVersion ftVersion;
  void* (*mark)(const CMPIBroker*, CMPIStatus*);
  CMPIStatus (*release)(const CMPIBroker*, const void* mark);
  void* (*cmpiMalloc)(const CMPIBroker*, size_t size);
  void* (*cmpiCalloc)(const CMPIBroker*, size_t count, size_t size);
  void* (*cmpiRealloc)(const CMPIBroker*, void* ptr, size_t size);
  char* (*cmpiStrDup)(const CMPIBroker*, const char* str);
  void (*cmpiFree)(const CMPIBroker*, void* ptr);
  void (*freeInstance)(const CMPIBroker*, CMPIInstance*);
  void (*freeObjectPath)(const CMPIBroker*, CMPIObjectPath*);
  void (*freeArgs)(const CMPIBroker*, CMPIArgs*);
  void (*freeString)(const CMPIBroker*, CMPIString*);
  void (*freeArray)(const CMPIBroker*, CMPIArray*);
  void (*freeDateTime)(const CMPIBroker*, CMPIDateTime*);
  void (*freeSelectExp)(const CMPIBroker*, CMPISelectExp*);
};

struct CMPIContextFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIContext*);
  CMPIContext* (*clone)(const CMPIContext*, CMPIStatus*);
  CMPIData (*getEntry)(const CMPIContext*, const char* name, CMPIStatus*);
  CMPIData (*getEntryAt)(const CMPIContext*, CMPICount index, CMPIString** name, CMPIStatus*);
  CMPICount (*getEntryCount)(const CMPIContext*, CMPIStatus*);
  CMPIStatus (*addEntry)(const CMPIContext*, const char* name, const CMPIValue*, CMPIType);
};

struct CMPIResultFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIResult*);
  CMPIResult* (*clone)(const CMPIResult*, CMPIStatus*);
  CMPIStatus (*returnData)(const CMPIResult*, const CMPIValue*, CMPIType);
  CMPIStatus (*returnInstance)(const CMPIResult*, const CMPIInstance*);
  CMPIStatus (*returnObjectPath)(const CMPIResult*, const CMPIObjectPath*);
  CMPIStatus (*returnDone)(const CMPIResult*);
  CMPIStatus (*returnError)(const CMPIResult*, const CMPIError*);
};

struct CMPIStringFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIString*);
  CMPIString* (*clone)(const CMPIString*, CMPIStatus*);
  char* (*getCharPtr)(const CMPIString*, CMPIStatus*);
};

struct CMPIArrayFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIArray*);
  CMPIArray* (*clone)(const CMPIArray*, CMPIStatus*);
  CMPICount (*getSize)(const CMPIArray*, CMPIStatus*);
  CMPIType (*getSimpleType)(const CMPIArray*, CMPIStatus*);
  CMPIData (*getElementAt)(const CMPIArray*, CMPICount index, CMPIStatus*);
  CMPIStatus (*setElementAt)(const CMPIArray*, CMPICount index, const CMPIValue*, CMPIType);
};

struct CMPIEnumerationFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIEnumeration*);
  CMPIEnumeration* (*clone)(const CMPIEnumeration*, CMPIStatus*);
  CMPIData (*getNext)(const CMPIEnumeration*, CMPIStatus*);
  CMPIBoolean (*hasNext)(const CMPIEnumeration*, CMPIStatus*);
  CMPIArray* (*toArray)(const CMPIEnumeration*, CMPIStatus*);
};

struct CMPIInstanceFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIInstance*);
  CMPIInstance* (*clone)(const CMPIInstance*, CMPIStatus*);
  CMPIData (*getProperty)(const CMPIInstance*, const char* name, CMPIStatus*);
  CMPIData (*getPropertyAt)(const CMPIInstance*, CMPICount index, CMPIString** name, CMPIStatus*);
  CMPICount (*getPropertyCount)(const CMPIInstance*, CMPIStatus*);
  CMPIStatus (*setProperty)(const CMPIInstance*, const char* name, const CMPIValue*, CMPIType);
  CMPIObjectPath* (*getObjectPath)(const CMPIInstance*, CMPIStatus*);
  CMPIStatus (*setPropertyFilter)(const CMPIInstance*, const char** properties,
                                  const char** keyList);
  CMPIStatus (*setObjectPath)(const CMPIInstance*, const CMPIObjectPath*);
  CMPIStatus (*setPropertyWithOrigin)(const CMPIInstance*, const char* name, const CMPIValue*,
                                      CMPIType, const char* origin);
};

struct CMPIObjectPathFT {
  CMPIVersion ftVersion;
  CMPIStatus (*release)(CMPIObjectPath*);
  CMPIObjectPath* (*clone)(const CMPIObjectPath*, CMPIStatus*);
  CMPIStatus (*setNameSpace)(const CMPIObjectPath*, const char* ns);
  CMPIString* (*getNameSpace)(const CMPIObjectPath*, CMPIStatus*);
  CMPIStatus (*setHostname)(const CMPIObjectPath*, const char* hn);
  CMPIString* (*getHostname)(const CMPIObjectPath*, CMPIStatus*);
  CMPIStatus (*setClassName)(const CMPIObjectPath*, const char* cn);
  CMPIString* (*getClassName)(const CMPIObjectPath*, CMPIStatus*);
  CMPIStatus (*addKey)(const CMPIObjectPath*, const char* key, const CMPIValue*, CMPIType);
  CMPIData (*getKey)(const CMPIObjectPath*, const char* key, CMPIStatus*);
  CMPIData (*getKeyAt)(const CMPIObjectPath*, CMPICount index, CMPIString** name, CMPIStatus*);
  CMPICount (*getKeyCount)(const CMPIObjectPath*, CMPIStatus*);
  CMPIStatus (*setNameSpaceFromObjectPath)(const CMPIObjectPath*, const CMPIObjectPath* src);
  CMPIStatus (*setHostAndNameSpaceFromObjectPath)(const CMPIObjectPath*, const CMPIObjectPath* src);
  CMPIData (*getClassQualifier)(const CMPIObjectPath*, const char* qName, CMPIStatus*);
  CMPIData (*getPropertyQualifier)(const CMPIObjectPath*, const char* pName, const char* qName,
                                   CMPIStatus*);
  CMPIData (*getMethodQualifier)(const CMPIObjectPath*, const char* methodName, const char* qName,
                                 CMPIStatus*);
  CMPIData (*getParameterQualifier)(const CMPIObjectPath*, const char* mName, const char* pName,
                                    const char* qName, CMPIStatus*);
  CMPIString* (*toString)(const CMPIObjectPath*, CMPIStatus*);
};

struct CMPIInstanceMIFT {
  int ftVersion;
  int miVersion;
  const char* miName;
  CMPIStatus (*cleanup)(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean terminating);
  CMPIStatus (*enumerateInstanceNames)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                                       const CMPIObjectPath*);
  CMPIStatus (*enumerateInstances)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                                   const CMPIObjectPath*, const char** properties);
  CMPIStatus (*getInstance)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                            const CMPIObjectPath*, const char** properties);
  CMPIStatus (*createInstance)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                               const CMPIObjectPath*, const CMPIInstance*);
  CMPIStatus (*modifyInstance)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                               const CMPIObjectPath*, const CMPIInstance*, const char** properties);
  CMPIStatus (*deleteInstance)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                               const CMPIObjectPath*);
  CMPIStatus (*execQuery)(CMPIInstanceMI*, const CMPIContext*, const CMPIResult*,
                          const CMPIObjectPath*, const char* query, const char* lang);
};

struct CMPIAssociationMIFT {
  int ftVersion;
  int miVersion;
  const char* miName;
  CMPIStatus (*cleanup)(CMPIAssociationMI*, const CMPIContext*, CMPIBoolean terminating);
  CMPIStatus (*associators)(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                            const CMPIObjectPath*, const char* assocClass, const char* resultClass,
                            const char* role, const char* resultRole, const char** properties);
  CMPIStatus (*associatorNames)(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                                const CMPIObjectPath*, const char* assocClass,
                                const char* resultClass, const char* role, const char* resultRole);
  CMPIStatus (*references)(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                           const CMPIObjectPath*, const char* resultClass, const char* role,
                           const char** properties);
  CMPIStatus (*referenceNames)(CMPIAssociationMI*, const CMPIContext*, const CMPIResult*,
                               const CMPIObjectPath*, const char* resultClass, const char* role);
};

}  // extern "C"
// NOLINTEND(modernize-use-using)

// Binary interface: a slot out of place must not compile. Offsets are those of x86-64.
static_assert(sizeof(void*) == 8 && sizeof(CMPICount) == 4 && sizeof(CMPIUint64) == 8);
static_assert(sizeof(CMPIValue) == 16 && alignof(CMPIValue) == 8);
static_assert(sizeof(CMPIData) == 24 && offsetof(CMPIData, state) == 2 &&
              offsetof(CMPIData, value) == 8);
static_assert(sizeof(CMPIStatus) == 16 && offsetof(CMPIStatus, msg) == 8);
static_assert(sizeof(CMPIContext) == 16 && offsetof(CMPIContext, ft) == 8);
static_assert(sizeof(CMPIResult) == 16 && offsetof(CMPIResult, ft) == 8);
static_assert(sizeof(CMPIString) == 16 && offsetof(CMPIString, ft) == 8);
static_assert(sizeof(CMPIArray) == 16 && offsetof(CMPIArray, ft) == 8);
static_assert(sizeof(CMPIEnumeration) == 16 && offsetof(CMPIEnumeration, ft) == 8);
static_assert(sizeof(CMPIInstance) == 16 && offsetof(CMPIInstance, ft) == 8);
static_assert(sizeof(CMPIObjectPath) == 16 && offsetof(CMPIObjectPath, ft) == 8);
static_assert(sizeof(CMPIInstanceMI) == 16 && offsetof(CMPIInstanceMI, ft) == 8);
static_assert(sizeof(CMPIAssociationMI) == 16 && offsetof(CMPIAssociationMI, ft) == 8);

static_assert(offsetof(CMPIBroker, hdl) == 0);
static_assert(offsetof(CMPIBroker, bft) == 8);
static_assert(offsetof(CMPIBroker, eft) == 16);
static_assert(offsetof(CMPIBroker, xft) == 24);
static_assert(offsetof(CMPIBroker, mft) == 32);
static_assert(sizeof(CMPIBroker) == 40);

static_assert(offsetof(CMPIBrokerFT, brokerCapabilities) == 0);
static_assert(offsetof(CMPIBrokerFT, brokerVersion) == 4);
static_assert(offsetof(CMPIBrokerFT, brokerName) == 8);
static_assert(offsetof(CMPIBrokerFT, prepareAttachThread) == 16);
static_assert(offsetof(CMPIBrokerFT, attachThread) == 24);
static_assert(offsetof(CMPIBrokerFT, detachThread) == 32);
static_assert(offsetof(CMPIBrokerFT, deliverIndication) == 40);
static_assert(offsetof(CMPIBrokerFT, enumerateInstanceNames) == 48);
static_assert(offsetof(CMPIBrokerFT, getInstance) == 56);
static_assert(offsetof(CMPIBrokerFT, createInstance) == 64);
static_assert(offsetof(CMPIBrokerFT, modifyInstance) == 72);
static_assert(offsetof(CMPIBrokerFT, deleteInstance) == 80);
static_assert(offsetof(CMPIBrokerFT, execQuery) == 88);
static_assert(offsetof(CMPIBrokerFT, enumerateInstances) == 96);
static_assert(offsetof(CMPIBrokerFT, associators) == 104);
static_assert(offsetof(CMPIBrokerFT, associatorNames) == 112);
static_assert(offsetof(CMPIBrokerFT, references) == 120);
static_assert(offsetof(CMPIBrokerFT, referenceNames) == 128);
static_assert(offsetof(CMPIBrokerFT, invokeMethod) == 136);
static_assert(offsetof(CMPIBrokerFT, setProperty) == 144);
static_assert(offsetof(CMPIBrokerFT, getProperty) == 152);
static_assert(offsetof(CMPIBrokerFT, enumerateInstancesFiltered) == 160);
static_assert(offsetof(CMPIBrokerFT, associatorsFiltered) == 168);
static_assert(offsetof(CMPIBrokerFT, referencesFiltered) == 176);
static_assert(sizeof(CMPIBrokerFT) == 184);

static_assert(offsetof(CMPIBrokerEncFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerEncFT, newInstance) == 8);
static_assert(offsetof(CMPIBrokerEncFT, newObjectPath) == 16);
static_assert(offsetof(CMPIBrokerEncFT, newArgs) == 24);
static_assert(offsetof(CMPIBrokerEncFT, newString) == 32);
static_assert(offsetof(CMPIBrokerEncFT, newArray) == 40);
static_assert(offsetof(CMPIBrokerEncFT, newDateTime) == 48);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromBinary) == 56);
static_assert(offsetof(CMPIBrokerEncFT, newDateTimeFromChars) == 64);
static_assert(offsetof(CMPIBrokerEncFT, newSelectExp) == 72);
static_assert(offsetof(CMPIBrokerEncFT, classPathIsA) == 80);
static_assert(offsetof(CMPIBrokerEncFT, toString) == 88);
static_assert(offsetof(CMPIBrokerEncFT, isOfType) == 96);
static_assert(offsetof(CMPIBrokerEncFT, getType) == 104);
static_assert(offsetof(CMPIBrokerEncFT, getMessage) == 112);
static_assert(offsetof(CMPIBrokerEncFT, logMessage) == 120);
static_assert(offsetof(CMPIBrokerEncFT, trace) == 128);
static_assert(offsetof(CMPIBrokerEncFT, newCMPIError) == 136);
static_assert(offsetof(CMPIBrokerEncFT, openMessageFile) == 144);
static_assert(offsetof(CMPIBrokerEncFT, closeMessageFile) == 152);
static_assert(offsetof(CMPIBrokerEncFT, getMessage2) == 160);
static_assert(sizeof(CMPIBrokerEncFT) == 168);

static_assert(offsetof(CMPIBrokerMemFT, ftVersion) == 0);
static_assert(offsetof(CMPIBrokerMemFT, mark) == 8);
static_assert(offsetof(CMPIBrokerMemFT, release) == 16);
static_assert(offsetof(CMPIBrokerMemFT, cmpiMalloc) == 24);
static_assert(offsetof(CMPIBrokerMemFT, cmpiCalloc) == 32);
static_assert(offsetof(CMPIBrokerMemFT, cmpiRealloc) == 40);
static_assert(offsetof(CMPIBrokerMemFT, cmpiStrDup) == 48);
static_assert(offsetof(CMPIBrokerMemFT, cmpiFree) == 56);
static_assert(offsetof(CMPIBrokerMemFT, freeInstance) == 64);
static_assert(offsetof(CMPIBrokerMemFT, freeObjectPath) == 72);
static_assert(offsetof(CMPIBrokerMemFT, freeArgs) == 80);
static_assert(offsetof(CMPIBrokerMemFT, freeString) == 88);
static_assert(offsetof(CMPIBrokerMemFT, freeArray) == 96);
static_assert(offsetof(CMPIBrokerMemFT, freeDateTime) == 104);
static_assert(offsetof(CMPIBrokerMemFT, freeSelectExp) == 112);
static_assert(sizeof(CMPIBrokerMemFT) == 120);

static_assert(offsetof(CMPIContextFT, ftVersion) == 0);
static_assert(offsetof(CMPIContextFT, release) == 8);
static_assert(offsetof(CMPIContextFT, clone) == 16);
static_assert(offsetof(CMPIContextFT, getEntry) == 24);
static_assert(offsetof(CMPIContextFT, getEntryAt) == 32);
static_assert(offsetof(CMPIContextFT, getEntryCount) == 40);
static_assert(offsetof(CMPIContextFT, addEntry) == 48);
static_assert(sizeof(CMPIContextFT) == 56);

static_assert(offsetof(CMPIResultFT, ftVersion) == 0);
static_assert(offsetof(CMPIResultFT, release) == 8);
static_assert(offsetof(CMPIResultFT, clone) == 16);
static_assert(offsetof(CMPIResultFT, returnData) == 24);
static_assert(offsetof(CMPIResultFT, returnInstance) == 32);
static_assert(offsetof(CMPIResultFT, returnObjectPath) == 40);
static_assert(offsetof(CMPIResultFT, returnDone) == 48);
static_assert(offsetof(CMPIResultFT, returnError) == 56);
static_assert(sizeof(CMPIResultFT) == 64);

static_assert(offsetof(CMPIStringFT, ftVersion) == 0);
static_assert(offsetof(CMPIStringFT, release) == 8);
static_assert(offsetof(CMPIStringFT, clone) == 16);
static_assert(offsetof(CMPIStringFT, getCharPtr) == 24);
static_assert(sizeof(CMPIStringFT) == 32);

static_assert(offsetof(CMPIArrayFT, ftVersion) == 0);
static_assert(offsetof(CMPIArrayFT, release) == 8);
static_assert(offsetof(CMPIArrayFT, clone) == 16);
static_assert(offsetof(CMPIArrayFT, getSize) == 24);
static_assert(offsetof(CMPIArrayFT, getSimpleType) == 32);
static_assert(offsetof(CMPIArrayFT, getElementAt) == 40);
static_assert(offsetof(CMPIArrayFT, setElementAt) == 48);
static_assert(sizeof(CMPIArrayFT) == 56);

static_assert(offsetof(CMPIEnumerationFT, ftVersion) == 0);
static_assert(offsetof(CMPIEnumerationFT, release) == 8);
static_assert(offsetof(CMPIEnumerationFT, clone) == 16);
static_assert(offsetof(CMPIEnumerationFT, getNext) == 24);
static_assert(offsetof(CMPIEnumerationFT, hasNext) == 32);
static_assert(offsetof(CMPIEnumerationFT, toArray) == 40);
static_assert(sizeof(CMPIEnumerationFT) == 48);

static_assert(offsetof(CMPIInstanceFT, ftVersion) == 0);
static_assert(offsetof(CMPIInstanceFT, release) == 8);
static_assert(offsetof(CMPIInstanceFT, clone) == 16);
static_assert(offsetof(CMPIInstanceFT, getProperty) == 24);
static_assert(offsetof(CMPIInstanceFT, getPropertyAt) == 32);
static_assert(offsetof(CMPIInstanceFT, getPropertyCount) == 40);
static_assert(offsetof(CMPIInstanceFT, setProperty) == 48);
static_assert(offsetof(CMPIInstanceFT, getObjectPath) == 56);
static_assert(offsetof(CMPIInstanceFT, setPropertyFilter) == 64);
static_assert(offsetof(CMPIInstanceFT, setObjectPath) == 72);
static_assert(offsetof(CMPIInstanceFT, setPropertyWithOrigin) == 80);
static_assert(sizeof(CMPIInstanceFT) == 88);

static_assert(offsetof(CMPIObjectPathFT, ftVersion) == 0);
static_assert(offsetof(CMPIObjectPathFT, release) == 8);
static_assert(offsetof(CMPIObjectPathFT, clone) == 16);
static_assert(offsetof(CMPIObjectPathFT, setNameSpace) == 24);
static_assert(offsetof(CMPIObjectPathFT, getNameSpace) == 32);
static_assert(offsetof(CMPIObjectPathFT, setHostname) == 40);
static_assert(offsetof(CMPIObjectPathFT, getHostname) == 48);
static_assert(offsetof(CMPIObjectPathFT, setClassName) == 56);
static_assert(offsetof(CMPIObjectPathFT, getClassName) == 64);
static_assert(offsetof(CMPIObjectPathFT, addKey) == 72);
static_assert(offsetof(CMPIObjectPathFT, getKey) == 80);
static_assert(offsetof(CMPIObjectPathFT, getKeyAt) == 88);
static_assert(offsetof(CMPIObjectPathFT, getKeyCount) == 96);
static_assert(offsetof(CMPIObjectPathFT, setNameSpaceFromObjectPath) == 104);
static_assert(offsetof(CMPIObjectPathFT, setHostAndNameSpaceFromObjectPath) == 112);
static_assert(offsetof(CMPIObjectPathFT, getClassQualifier) == 120);
static_assert(offsetof(CMPIObjectPathFT, getPropertyQualifier) == 128);
static_assert(offsetof(CMPIObjectPathFT, getMethodQualifier) == 136);
static_assert(offsetof(CMPIObjectPathFT, getParameterQualifier) == 144);
static_assert(offsetof(CMPIObjectPathFT, toString) == 152);
static_assert(sizeof(CMPIObjectPathFT) == 160);

static_assert(offsetof(CMPIInstanceMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIInstanceMIFT, miVersion) == 4);
static_assert(offsetof(CMPIInstanceMIFT, miName) == 8);
static_assert(offsetof(CMPIInstanceMIFT, cleanup) == 16);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstanceNames) == 24);
static_assert(offsetof(CMPIInstanceMIFT, enumerateInstances) == 32);
static_assert(offsetof(CMPIInstanceMIFT, getInstance) == 40);
static_assert(offsetof(CMPIInstanceMIFT, createInstance) == 48);
static_assert(offsetof(CMPIInstanceMIFT, modifyInstance) == 56);
static_assert(offsetof(CMPIInstanceMIFT, deleteInstance) == 64);
static_assert(offsetof(CMPIInstanceMIFT, execQuery) == 72);
static_assert(sizeof(CMPIInstanceMIFT) == 80);

static_assert(offsetof(CMPIAssociationMIFT, ftVersion) == 0);
static_assert(offsetof(CMPIAssociationMIFT, miVersion) == 4);
static_assert(offsetof(CMPIAssociationMIFT, miName) == 8);
static_assert(offsetof(CMPIAssociationMIFT, cleanup) == 16);
static_assert(offsetof(CMPIAssociationMIFT, associators) == 24);
static_assert(offsetof(CMPIAssociationMIFT, associatorNames) == 32);
static_assert(offsetof(CMPIAssociationMIFT, references) == 40);
static_assert(offsetof(CMPIAssociationMIFT, referenceNames) == 48);
static_assert(sizeof(CMPIAssociationMIFT) == 56);
