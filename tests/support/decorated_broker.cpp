// A broker that records every call, and can fail any, around another that does the work.
//
// Each table of the wrapped broker, and of the objects that pass through its calls, is copied once
// into a DecoratedTable, and hookAll fills the copy's slots. A hook writes the arguments as text,
// notes the call, fails where a fault is set for it, and else calls the function beneath, which is
// the wrapped one or one that a manner put in its place. Objects that come back get the copy of
// their own table, so that calls on them pass through hooks too.
//
// Thread rule: one mutex guards the calls, counts, faults and tables; it is not held during a
// wrapped call, so that calls nest and run side by side. Invariants: the handle of an object is
// never changed, only its table; `beneath` and `original` of a table are those of one wrapped
// table, to which `originals_` leads back; tables live as long as the broker.
#include "decorated_broker.h"

#include <cmpi/embedded_broker.h>

#include <algorithm>
#include <concepts>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace test_support {

namespace {

/// Any object of a broker begins with its handle and its table.
struct AnyHandle {
  void* hdl;
  const void* ft;
};

/// Text as a template argument.
template <std::size_t Size>
struct FixedText {
  // NOLINTNEXTLINE(google-explicit-constructor): written as a plain literal.
  constexpr FixedText(const char (&literal)[Size]) {
    std::copy(std::begin(literal), std::end(literal), std::begin(text));
  }
  char text[Size];
};

/// A recording table: what the caller sees, what lies beneath it (the wrapped functions, changed
/// by the manners), and the wrapped table itself.
template <class FT>
struct DecoratedTable : FT {
  DecoratedTable(DecoratedBroker::State& state, const FT& wrapped)
      : FT(wrapped), beneath(wrapped), original(&wrapped), owner(&state) {}
  FT beneath;
  const FT* original;
  DecoratedBroker::State* owner;
};

template <class FT>
using Tables = std::map<const FT*, std::unique_ptr<DecoratedTable<FT>>>;

struct Fault {
  /// Empty for any function.
  std::string function;
  /// 0 for every call.
  std::size_t k;
  CMPIrc code;
  std::string text;
  bool throws = false;
};

std::string quoted(const char* text) {
  return text != nullptr ? '"' + std::string(text) + '"' : "null";
}

}  // namespace

class DecoratedBroker::State {
 public:
  State(const CMPIBroker* inner, Manners wanted);

  const CMPIBroker* record() const { return &record_; }
  const Manners& manners() const { return manners_; }

  void addFault(Fault fault);
  void clearFaults();
  std::vector<Call> calls() const;
  void clear();

  /// Notes a call; returns the fault that it has to end in.
  std::optional<Fault> note(Call call);

  /// Gives the object the recording table in place of its own.
  template <class Object>
  Object* decorate(Object* object);
  void decorate(CMPIStatus& status) { decorate(status.msg); }
  void decorate(CMPIData& data);
  void resetResult(const CMPIResult* result);

  /// Whether the result takes one more of what `taken` counts.
  bool takes(const CMPIResult* result, bool done);

  /// The object with the table that its broker knows.
  AnyHandle plain(const void* object) const;
  std::string textOf(const void* object) const;
  CMPIStatus failure(const Fault& fault);

 private:
  template <class FT>
  Tables<FT>& tables() {
    return std::get<Tables<FT>>(tables_);
  }
  template <class FT>
  const FT* recordingTable(const FT* wrapped);

  struct Taken {
    unsigned answers = 0;
    unsigned dones = 0;
  };

  mutable std::mutex mutex_;
  const CMPIBroker* inner_;
  Manners manners_;
  CMPIBroker record_;
  std::vector<Call> calls_;
  std::map<std::string, std::size_t> counts_;
  std::vector<Fault> faults_;
  std::map<const void*, Taken> taken_;
  std::map<const void*, const void*> originals_;
  std::tuple<Tables<CMPIBrokerFT>, Tables<CMPIBrokerEncFT>, Tables<CMPIBrokerMemFT>,
             Tables<CMPIContextFT>, Tables<CMPIResultFT>, Tables<CMPIStringFT>, Tables<CMPIArrayFT>,
             Tables<CMPIEnumerationFT>, Tables<CMPIInstanceFT>, Tables<CMPIObjectPathFT>>
      tables_;
};

namespace {

using State = DecoratedBroker::State;

// Where a call's table is

template <class FT, class Object>
const DecoratedTable<FT>& tableOf(const Object* object) {
  return *static_cast<const DecoratedTable<FT>*>(object->ft);
}
template <class FT>
const DecoratedTable<FT>& tableOf(const CMPIBroker* broker) {
  const FT* table = nullptr;
  if constexpr (std::is_same_v<FT, CMPIBrokerFT>) table = broker->bft;
  if constexpr (std::is_same_v<FT, CMPIBrokerEncFT>) table = broker->eft;
  if constexpr (std::is_same_v<FT, CMPIBrokerMemFT>) table = broker->mft;
  return *static_cast<const DecoratedTable<FT>*>(table);
}

// Arguments as text

std::string describe(const State&, const char* text) {
  return text != nullptr ? text : "null";
}
std::string describe(const State&, const char** names) {
  if (names == nullptr) return "null";
  std::string list = "[";
  for (; *names != nullptr; ++names) list += (list.size() > 1 ? ", " : "") + std::string(*names);
  return list + "]";
}
std::string describe(const State& state, const CMPIObjectPath* path) {
  return state.textOf(path);
}
std::string describe(const State& state, const CMPIInstance* instance) {
  return state.textOf(instance);
}
std::string describe(const State& state, const CMPIString* text) {
  return state.textOf(text);
}
template <class Number>
requires std::is_arithmetic_v<Number> std::string describe(const State&, Number number) {
  return std::to_string(number);
}
std::string describe(const State&, CMPIrc code) {
  return std::to_string(int{code});
}
/// Pointers whose content does not matter to the call.
template <class Other>
requires std::is_pointer_v<Other> std::string describe(const State&, Other) {
  return {};
}

std::string describeValue(const State& state, const CMPIValue* value, CMPIType type) {
  if (value == nullptr) return "null";
  // Text comes as the pointer itself.
  if (type == CMPI_chars) return quoted(reinterpret_cast<const char*>(value));
  if ((type & CMPI_ARRAY) != 0) return "array";
  switch (type) {
    case CMPI_boolean:
      return value->boolean != 0 ? "true" : "false";
    case CMPI_uint8:
      return std::to_string(value->uint8);
    case CMPI_uint16:
      return std::to_string(value->uint16);
    case CMPI_uint32:
      return std::to_string(value->uint32);
    case CMPI_uint64:
      return std::to_string(value->uint64);
    case CMPI_string:
      return quoted(state.textOf(value->string).c_str());
    case CMPI_ref:
      return state.textOf(value->ref);
    case CMPI_instance:
      return state.textOf(value->inst);
    default:
      return "type " + std::to_string(type);
  }
}

void addText(std::string& all, const std::string& text) {
  if (!text.empty()) all += (all.empty() ? "" : ", ") + text;
}

void describeAll(const State&, std::string&) {}
template <class First, class... More>
void describeAll(const State& state, std::string& all, First first, More... more);
template <class... More>
void describeAll(const State& state, std::string& all, const CMPIValue* value, CMPIType type,
                 More... more) {
  addText(all, describeValue(state, value, type));
  describeAll(state, all, more...);
}
template <class First, class... More>
void describeAll(const State& state, std::string& all, First first, More... more) {
  addText(all, describe(state, first));
  describeAll(state, all, more...);
}

// Calls that end in a fault

void report(State& state, const Fault& fault, CMPIStatus* status) {
  if (status != nullptr) *status = state.failure(fault);
}
template <class Other>
void report(State&, const Fault&, const Other&) {}

template <class Answer, class... Arguments>
Answer failed(State& state, const Fault& fault, Arguments... arguments) {
  (report(state, fault, arguments), ...);
  if constexpr (std::is_same_v<Answer, CMPIStatus>) {
    return state.failure(fault);
  } else if constexpr (std::is_same_v<Answer, CMPIData>) {
    CMPIData data{};
    data.state = CMPI_nullValue;
    return data;
  } else if constexpr (!std::is_void_v<Answer>) {
    return Answer{};
  }
}

// Objects that a call returns

template <class Object>
concept Decoratable = requires(State& state, Object* object) {
  { object->hdl } -> std::convertible_to<void*>;
  object->ft;
}
&&!std::is_same_v<Object, CMPIArgs> && !std::is_same_v<Object, CMPIDateTime> &&
    !std::is_same_v<Object, CMPISelectExp> && !std::is_same_v<Object, CMPIError>;

void decorateOutput(State& state, CMPIStatus* status) {
  if (status != nullptr) state.decorate(*status);
}
void decorateOutput(State& state, CMPIString** name) {
  if (name != nullptr) state.decorate(*name);
}
template <class Other>
void decorateOutput(State&, const Other&) {}

template <class Answer>
Answer decorateAnswer(State& state, Answer answer) {
  if constexpr (std::is_same_v<Answer, CMPIStatus> || std::is_same_v<Answer, CMPIData>) {
    state.decorate(answer);
  } else if constexpr (std::is_pointer_v<Answer>) {
    if constexpr (Decoratable<std::remove_pointer_t<Answer>>) state.decorate(answer);
  }
  return answer;
}

/// Hands an argument on; brokers know an object of unknown kind by its own table.
template <class FT, class Argument>
class Passed {
 public:
  Passed(const State&, Argument argument) : argument_(argument) {}
  Argument get() const { return argument_; }

 private:
  Argument argument_;
};
template <>
class Passed<CMPIBrokerEncFT, const void*> {
 public:
  Passed(const State& state, const void* object)
      : isNull_(object == nullptr), plain_(state.plain(object)) {}
  const void* get() const { return isNull_ ? nullptr : &plain_; }

 private:
  bool isNull_;
  AnyHandle plain_;
};

// Recording

template <class FT>
constexpr const char* kKind = "broker";
template <>
constexpr const char* kKind<CMPIBrokerMemFT> = "memory";
template <>
constexpr const char* kKind<CMPIContextFT> = "context";
template <>
constexpr const char* kKind<CMPIResultFT> = "result";
template <>
constexpr const char* kKind<CMPIStringFT> = "string";
template <>
constexpr const char* kKind<CMPIArrayFT> = "array";
template <>
constexpr const char* kKind<CMPIEnumerationFT> = "enumeration";
template <>
constexpr const char* kKind<CMPIInstanceFT> = "instance";
template <>
constexpr const char* kKind<CMPIObjectPathFT> = "objectPath";

template <class Slot>
struct SlotType;
template <class TableType, class FunctionType>
struct SlotType<FunctionType TableType::*> {
  using Table = TableType;
  using Function = FunctionType;
};

template <auto Slot, FixedText Name, class Function = typename SlotType<decltype(Slot)>::Function>
struct Hook;

template <auto Slot, FixedText Name, class Answer, class Self, class... Arguments>
struct Hook<Slot, Name, Answer (*)(Self*, Arguments...)> {
  using FT = typename SlotType<decltype(Slot)>::Table;
  static constexpr bool kReleases = std::string_view(Name.text) == "release";

  static Answer call(Self* self, Arguments... arguments) {
    State& state = *tableOf<FT>(self).owner;
    std::string texts;
    describeAll(state, texts, arguments...);
    const auto fault = state.note({std::string(kKind<FT>) + "." + Name.text, texts, self});
    if (!fault) return carryOut(state, self, arguments...);
    if (fault->throws) throw std::runtime_error(fault->text);
    if constexpr (kReleases) carryOut(state, self, arguments...);
    return failed<Answer>(state, *fault, arguments...);
  }

 private:
  static Answer carryOut(State& state, Self* self, Arguments... arguments) {
    const auto function = tableOf<FT>(self).beneath.*Slot;
    if constexpr (std::is_void_v<Answer>) {
      function(self, Passed<FT, Arguments>(state, arguments).get()...);
    } else {
      const Answer answer = function(self, Passed<FT, Arguments>(state, arguments).get()...);
      (decorateOutput(state, arguments), ...);
      return decorateAnswer(state, answer);
    }
  }
};

// Names a slot once, as code and as text.
#define HOOK(slot) table.slot = &Hook<&FT::slot, #slot>::call

template <class FT>
void hookObject(DecoratedTable<FT>& table) {
  HOOK(release);
  HOOK(clone);
}

void hookAll(DecoratedTable<CMPIBrokerFT>& table) {
  using FT = CMPIBrokerFT;
  HOOK(prepareAttachThread);
  HOOK(attachThread);
  HOOK(detachThread);
  HOOK(deliverIndication);
  HOOK(enumerateInstanceNames);
  HOOK(getInstance);
  HOOK(createInstance);
  HOOK(modifyInstance);
  HOOK(deleteInstance);
  HOOK(execQuery);
  HOOK(enumerateInstances);
  HOOK(associators);
  HOOK(associatorNames);
  HOOK(references);
  HOOK(referenceNames);
  HOOK(invokeMethod);
  HOOK(setProperty);
  HOOK(getProperty);
  HOOK(enumerateInstancesFiltered);
  HOOK(associatorsFiltered);
  HOOK(referencesFiltered);
}

void hookAll(DecoratedTable<CMPIBrokerEncFT>& table) {
  using FT = CMPIBrokerEncFT;
  HOOK(newInstance);
  HOOK(newObjectPath);
  HOOK(newArgs);
  HOOK(newString);
  HOOK(newArray);
  HOOK(newDateTime);
  HOOK(newDateTimeFromBinary);
  HOOK(newDateTimeFromChars);
  HOOK(newSelectExp);
  HOOK(classPathIsA);
  HOOK(toString);
  HOOK(isOfType);
  HOOK(getType);
  HOOK(logMessage);
  HOOK(trace);
  HOOK(newCMPIError);
  HOOK(openMessageFile);
  HOOK(closeMessageFile);
}

void hookAll(DecoratedTable<CMPIBrokerMemFT>& table) {
  using FT = CMPIBrokerMemFT;
  HOOK(mark);
  HOOK(release);
  HOOK(cmpiMalloc);
  HOOK(cmpiCalloc);
  HOOK(cmpiRealloc);
  HOOK(cmpiStrDup);
  HOOK(cmpiFree);
  HOOK(freeInstance);
  HOOK(freeObjectPath);
  HOOK(freeArgs);
  HOOK(freeString);
  HOOK(freeArray);
  HOOK(freeDateTime);
  HOOK(freeSelectExp);
}

void hookAll(DecoratedTable<CMPIContextFT>& table) {
  using FT = CMPIContextFT;
  hookObject(table);
  HOOK(getEntry);
  HOOK(getEntryAt);
  HOOK(getEntryCount);
  HOOK(addEntry);
}

void hookAll(DecoratedTable<CMPIResultFT>& table) {
  using FT = CMPIResultFT;
  hookObject(table);
  HOOK(returnData);
  HOOK(returnInstance);
  HOOK(returnObjectPath);
  HOOK(returnDone);
  HOOK(returnError);
}

void hookAll(DecoratedTable<CMPIStringFT>& table) {
  using FT = CMPIStringFT;
  hookObject(table);
  HOOK(getCharPtr);
}

void hookAll(DecoratedTable<CMPIArrayFT>& table) {
  using FT = CMPIArrayFT;
  hookObject(table);
  HOOK(getSize);
  HOOK(getSimpleType);
  HOOK(getElementAt);
  HOOK(setElementAt);
}

void hookAll(DecoratedTable<CMPIEnumerationFT>& table) {
  using FT = CMPIEnumerationFT;
  hookObject(table);
  HOOK(getNext);
  HOOK(hasNext);
  HOOK(toArray);
}

void hookAll(DecoratedTable<CMPIInstanceFT>& table) {
  using FT = CMPIInstanceFT;
  hookObject(table);
  HOOK(getProperty);
  HOOK(getPropertyAt);
  HOOK(getPropertyCount);
  HOOK(setProperty);
  HOOK(getObjectPath);
  HOOK(setPropertyFilter);
  HOOK(setObjectPath);
  HOOK(setPropertyWithOrigin);
}

void hookAll(DecoratedTable<CMPIObjectPathFT>& table) {
  using FT = CMPIObjectPathFT;
  hookObject(table);
  HOOK(setNameSpace);
  HOOK(getNameSpace);
  HOOK(setHostname);
  HOOK(getHostname);
  HOOK(setClassName);
  HOOK(getClassName);
  HOOK(addKey);
  HOOK(getKey);
  HOOK(getKeyAt);
  HOOK(getKeyCount);
  HOOK(setNameSpaceFromObjectPath);
  HOOK(setHostAndNameSpaceFromObjectPath);
  HOOK(getClassQualifier);
  HOOK(getPropertyQualifier);
  HOOK(getMethodQualifier);
  HOOK(getParameterQualifier);
  HOOK(toString);
}

#undef HOOK

// Manners: functions that lie between the recording and the wrapped table

CMPIInstance* newInstanceWithoutKeys(const CMPIBroker* broker, const CMPIObjectPath* path,
                                     CMPIStatus* status) {
  CMPIInstance* instance =
      tableOf<CMPIBrokerEncFT>(broker).original->newInstance(broker, path, status);
  if (instance == nullptr) return nullptr;
  // A filter of no names drops what was copied; without a list it is lifted again.
  const char* none[] = {nullptr};
  instance->ft->setPropertyFilter(instance, none, none);
  instance->ft->setPropertyFilter(instance, nullptr, nullptr);
  return instance;
}

CMPIData getKeyWithoutError(const CMPIObjectPath* path, const char* name, CMPIStatus* status) {
  CMPIStatus own{CMPI_RC_OK, nullptr};
  const CMPIData data = tableOf<CMPIObjectPathFT>(path).original->getKey(path, name, &own);
  if (own.rc == CMPI_RC_ERR_NOT_FOUND) own = {CMPI_RC_OK, nullptr};
  if (status != nullptr) *status = own;
  return data;
}

CMPIString* textWithinBuffer(const CMPIObjectPath* path, CMPIStatus* status) {
  const auto& table = tableOf<CMPIObjectPathFT>(path);
  CMPIString* text = table.original->toString(path, status);
  if (text == nullptr) return nullptr;
  const std::size_t bytes = std::strlen(text->ft->getCharPtr(text, nullptr)) + 1;
  if (bytes <= *table.owner->manners().pathTextBytes) return text;
  std::fprintf(stderr, "the text of a path needs %zu bytes\n", bytes);
  std::abort();
}

CMPIData nextWithoutPointer(const CMPIEnumeration* enumeration, CMPIStatus* status) {
  CMPIData data = tableOf<CMPIEnumerationFT>(enumeration).original->getNext(enumeration, status);
  data.value = {};
  return data;
}

constexpr CMPIStatus kRefused{CMPI_RC_ERR_FAILED, nullptr};

CMPIStatus returnSomeInstances(const CMPIResult* result, const CMPIInstance* instance) {
  const auto& table = tableOf<CMPIResultFT>(result);
  if (!table.owner->takes(result, false)) return kRefused;
  return table.original->returnInstance(result, instance);
}

CMPIStatus returnSomePaths(const CMPIResult* result, const CMPIObjectPath* path) {
  const auto& table = tableOf<CMPIResultFT>(result);
  if (!table.owner->takes(result, false)) return kRefused;
  return table.original->returnObjectPath(result, path);
}

CMPIStatus returnSomeDones(const CMPIResult* result) {
  const auto& table = tableOf<CMPIResultFT>(result);
  if (!table.owner->takes(result, true)) return kRefused;
  return table.original->returnDone(result);
}

std::vector<const char*> keyNames(const CMPIObjectPath* path) {
  std::vector<const char*> names;
  const CMPICount count = path->ft->getKeyCount(path, nullptr);
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString* name = nullptr;
    path->ft->getKeyAt(path, index, &name, nullptr);
    names.push_back(name->ft->getCharPtr(name, nullptr));
  }
  names.push_back(nullptr);
  return names;
}

CMPIStatus filterKeepingKeys(const CMPIInstance* instance, const char** properties,
                             const char** keys) {
  const CMPIInstanceFT& original = *tableOf<CMPIInstanceFT>(instance).original;
  std::vector<const char*> own = keyNames(original.getObjectPath(instance, nullptr));
  return original.setPropertyFilter(instance, properties, keys != nullptr ? keys : own.data());
}

CMPIStatus filterNothing(const CMPIInstance*, const char**, const char**) {
  return {CMPI_RC_OK, nullptr};
}

template <class FT>
void applyManners(DecoratedTable<FT>&, const Manners&) {}

void applyManners(DecoratedTable<CMPIBrokerFT>& table, const Manners& manners) {
  table.brokerName = manners.isEmbedded ? cmpi::kEmbeddedBrokerName : "a broker of the tests";
}

void applyManners(DecoratedTable<CMPIBrokerEncFT>& table, const Manners& manners) {
  if (!manners.newInstanceCopiesKeys) table.beneath.newInstance = newInstanceWithoutKeys;
}

void applyManners(DecoratedTable<CMPIResultFT>& table, const Manners&) {
  table.beneath.returnInstance = returnSomeInstances;
  table.beneath.returnObjectPath = returnSomePaths;
  table.beneath.returnDone = returnSomeDones;
}

void applyManners(DecoratedTable<CMPIInstanceFT>& table, const Manners& manners) {
  if (manners.filter == FilterManner::kKeepKeys)
    table.beneath.setPropertyFilter = filterKeepingKeys;
  if (manners.filter == FilterManner::kIgnoreFilter)
    table.beneath.setPropertyFilter = filterNothing;
}

void applyManners(DecoratedTable<CMPIEnumerationFT>& table, const Manners& manners) {
  if (manners.elementsAreMissing) table.beneath.getNext = nextWithoutPointer;
}

void applyManners(DecoratedTable<CMPIObjectPathFT>& table, const Manners& manners) {
  if (manners.pathTextBytes) table.beneath.toString = textWithinBuffer;
  if (!manners.missingKeyIsAnError) table.beneath.getKey = getKeyWithoutError;
  if (manners.hasQualifierFunctions) return;
  table.getClassQualifier = nullptr;
  table.getPropertyQualifier = nullptr;
  table.getMethodQualifier = nullptr;
  table.getParameterQualifier = nullptr;
}

}  // namespace

std::string Call::text() const {
  return function + "(" + arguments + ")";
}

DecoratedBroker::State::State(const CMPIBroker* inner, Manners wanted)
    : inner_(inner), manners_(wanted), record_(*inner) {
  record_.bft = recordingTable(inner->bft);
  record_.eft = recordingTable(inner->eft);
  record_.mft = manners_.hasMemoryTable ? recordingTable(inner->mft) : nullptr;
  if (!manners_.hasOperatingSystemTable) record_.xft = nullptr;
}

template <class FT>
const FT* DecoratedBroker::State::recordingTable(const FT* wrapped) {
  if (originals_.count(wrapped) != 0) return wrapped;
  auto& made = tables<FT>()[wrapped];
  if (!made) {
    made = std::make_unique<DecoratedTable<FT>>(*this, *wrapped);
    hookAll(*made);
    applyManners(*made, manners_);
    originals_[static_cast<const FT*>(made.get())] = wrapped;
  }
  return made.get();
}

template <class Object>
Object* DecoratedBroker::State::decorate(Object* object) {
  if (object == nullptr) return nullptr;
  const std::lock_guard<std::mutex> lock(mutex_);
  object->ft = recordingTable(object->ft);
  return object;
}

void DecoratedBroker::State::decorate(CMPIData& data) {
  if ((data.state & CMPI_nullValue) != 0) return;
  if ((data.type & CMPI_ARRAY) != 0) decorate(data.value.array);
  if (data.type == CMPI_string) decorate(data.value.string);
  if (data.type == CMPI_ref) decorate(data.value.ref);
  if (data.type == CMPI_instance) decorate(data.value.inst);
  if (data.type == CMPI_enumeration) decorate(data.value.Enum);
  // Every type whose value is a pointer has the bit of instances.
  const bool isPointer = (data.type & (CMPI_ARRAY | CMPI_instance)) != 0;
  if (manners_.marksDataNull && isPointer) data.state = CMPI_nullValue;
}

void DecoratedBroker::State::resetResult(const CMPIResult* result) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (result != nullptr) taken_.erase(result->hdl);
}

bool DecoratedBroker::State::takes(const CMPIResult* result, bool done) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Taken& taken = taken_[result->hdl];
  if (done && taken.answers == 0 && !manners_.takesEmptyDone) return false;
  unsigned& count = done ? taken.dones : taken.answers;
  const auto most = done ? manners_.mostDonesPerResult : manners_.mostAnswersPerResult;
  ++count;
  return !most || count <= *most;
}

AnyHandle DecoratedBroker::State::plain(const void* object) const {
  if (object == nullptr) return {nullptr, nullptr};
  AnyHandle handle = *static_cast<const AnyHandle*>(object);
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = originals_.find(handle.ft);
  if (found != originals_.end()) handle.ft = found->second;
  return handle;
}

std::string DecoratedBroker::State::textOf(const void* object) const {
  if (object == nullptr) return "null";
  const AnyHandle handle = plain(object);
  const CMPIString* text = inner_->eft->toString(inner_, &handle, nullptr);
  const char* characters = text != nullptr ? text->ft->getCharPtr(text, nullptr) : nullptr;
  return characters != nullptr ? characters : "(no text)";
}

CMPIStatus DecoratedBroker::State::failure(const Fault& fault) {
  CMPIStatus status{fault.code, nullptr};
  if (!fault.text.empty()) {
    status.msg = decorate(inner_->eft->newString(inner_, fault.text.c_str(), nullptr));
  }
  return status;
}

void DecoratedBroker::State::addFault(Fault fault) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.push_back(std::move(fault));
}

void DecoratedBroker::State::clearFaults() {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear();
}

std::vector<Call> DecoratedBroker::State::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

void DecoratedBroker::State::clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.clear();
  counts_.clear();
}

std::optional<Fault> DecoratedBroker::State::note(Call call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string function = call.function;
  calls_.push_back(std::move(call));
  const std::size_t ofFunction = ++counts_[function];
  for (const Fault& fault : faults_) {
    const bool hit = fault.function.empty()
                         ? fault.k == calls_.size()
                         : fault.function == function && (fault.k == 0 || fault.k == ofFunction);
    if (hit) return fault;
  }
  return std::nullopt;
}

DecoratedBroker::DecoratedBroker(const CMPIBroker* inner, Manners manners)
    : state_(std::make_unique<State>(inner, manners)) {}
DecoratedBroker::~DecoratedBroker() = default;

const CMPIBroker* DecoratedBroker::record() const noexcept {
  return state_->record();
}

CMPIContext* DecoratedBroker::decorate(CMPIContext* object) {
  return state_->decorate(object);
}
CMPIResult* DecoratedBroker::decorate(CMPIResult* object) {
  state_->resetResult(object);
  return state_->decorate(object);
}
CMPIString* DecoratedBroker::decorate(CMPIString* object) {
  return state_->decorate(object);
}
CMPIArray* DecoratedBroker::decorate(CMPIArray* object) {
  return state_->decorate(object);
}
CMPIEnumeration* DecoratedBroker::decorate(CMPIEnumeration* object) {
  return state_->decorate(object);
}
CMPIInstance* DecoratedBroker::decorate(CMPIInstance* object) {
  return state_->decorate(object);
}
CMPIObjectPath* DecoratedBroker::decorate(CMPIObjectPath* object) {
  return state_->decorate(object);
}

void DecoratedBroker::failCall(std::size_t k, CMPIrc code, std::string text) {
  state_->addFault({{}, k, code, std::move(text)});
}
void DecoratedBroker::failCall(const std::string& function, std::size_t k, CMPIrc code,
                               std::string text) {
  state_->addFault({function, k, code, std::move(text)});
}
void DecoratedBroker::throwFromCall(const std::string& function, std::size_t k, std::string text) {
  state_->addFault({function, k, CMPI_RC_ERR_FAILED, std::move(text), true});
}
void DecoratedBroker::failNothing() {
  state_->clearFaults();
}

std::vector<Call> DecoratedBroker::calls() const {
  return state_->calls();
}

std::vector<std::string> DecoratedBroker::callTexts() const {
  std::vector<std::string> texts;
  for (const Call& call : calls()) texts.push_back(call.text());
  return texts;
}

std::vector<std::string> DecoratedBroker::callTexts(const std::string& function) const {
  std::vector<std::string> texts;
  for (const Call& call : calls()) {
    if (call.function == function) texts.push_back(call.text());
  }
  return texts;
}

std::size_t DecoratedBroker::count(const std::string& function) const {
  return callTexts(function).size();
}

void DecoratedBroker::clear() {
  state_->clear();
}

}  // namespace test_support
