#pragma once

/// The C interface between a CIM object manager and its providers (CMPI 2.0), as far as this
/// project uses it. Orders, types and numbers are binary interface: the assertions at the end of
/// this header keep every slot at its place.

#include <cstddef>
#include <ctime>

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
