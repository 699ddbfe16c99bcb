// What the built provider costs beside a floor that makes the same broker calls from ready values:
// in instructions, when run by valgrind, else in CPU time. --verify compares what both return.
// Each request is sent once while its broker calls are recorded, and replaying these is the floor;
// both are measured over the same sources and by both ways of allocation. What outlives a request
// is kept explicitly, all else ends with it. For one thread: the broker has one request at a time.
// Usage: provider_bench --instructions [BEGINNING-OF-REQUESTS] | --verify | [BENCHMARK-OPTION]...
#include "floor_trace.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>
#include <syslog.h>

// The log is the system's: what it costs depends on the log daemon. Here calls do nothing.
extern "C" {
__attribute__((visibility("default"))) void syslog(int /*priority*/, const char*, ...) {}
// What hardened builds call.
__attribute__((visibility("default"))) void uncheckedLog(int /*priority*/, int, const char*,
                                                         ...) __asm__("__syslog_chk");
void uncheckedLog(int /*priority*/, int, const char*, ...) {}
}

namespace {

// Of each kind of source, so many objects spread over the listing are asked.
constexpr std::size_t kSourcesOfAKind = 4;

enum class Operation {
  kEnumInstanceNames,
  kEnumInstances,
  kGetInstance,
  kAssociators,
  kAssociatorNames,
  kReferences,
  kReferenceNames
};

struct NamedOperation {
  Operation operation;
  const char* name;
};

constexpr NamedOperation kAssociationOperations[] = {
    {Operation::kAssociators, "associators"},
    {Operation::kAssociatorNames, "associator-names"},
    {Operation::kReferences, "references"},
    {Operation::kReferenceNames, "reference-names"}};

constexpr const char* kInstanceClasses[] = {"PCIDevice", "PCIBridge", "PCIeSwitch", "PCIPort",
                                            "PCIPortGroup"};
constexpr const char* kAssociationClasses[] = {"PCISystemDevice", "PCIControlledBy",
                                               "PCIDeviceConnection", "PCIHostedCollection",
                                               "PCIMemberOfCollection"};

/// What a request is sent with, the same for all.
struct Surroundings {
  CMPIContext* context;
  FloorResult* result;
};

Surroundings& surroundings() {
  static Surroundings all = [] {
    floor_broker();
    floor_keep_objects(true);
    const Surroundings made{floor_new_context(), floor_new_result()};
    floor_keep_objects(false);
    return made;
  }();
  return all;
}

/// A copy that stays when its request ends.
FloorPath* keepPath(const FloorPath* path) {
  floor_keep_objects(true);
  FloorPath* kept = floor_copy_path(path);
  floor_keep_objects(false);
  return kept;
}

FloorPath* keptClassPath(const std::string& className) {
  floor_keep_objects(true);
  FloorPath* kept = floor_new_path(className.c_str());
  floor_keep_objects(false);
  return kept;
}

/// The records of one class of the provider library. They stay until the process ends.
class Provider {
 public:
  explicit Provider(const std::string& className)
      : instance_(made<CMPIInstanceMI>(className + "_Create_InstanceMI")),
        association_(made<CMPIAssociationMI>(className + "_Create_AssociationMI")) {
    if (instance_ == nullptr) throw std::runtime_error("no provider for " + className);
  }

  void send(Operation operation, FloorPath* source) const {
    const CMPIContext* context = surroundings().context;
    const CMPIResult* result = &surroundings().result->object;
    const CMPIObjectPath* path = &source->object;
    switch (operation) {
      case Operation::kEnumInstanceNames:
        instance_->ft->enumerateInstanceNames(instance_, context, result, path);
        return;
      case Operation::kEnumInstances:
        instance_->ft->enumerateInstances(instance_, context, result, path, nullptr);
        return;
      case Operation::kGetInstance:
        instance_->ft->getInstance(instance_, context, result, path, nullptr);
        return;
      case Operation::kAssociators:
        association_->ft->associators(association_, context, result, path, nullptr, nullptr,
                                      nullptr, nullptr, nullptr);
        return;
      case Operation::kAssociatorNames:
        association_->ft->associatorNames(association_, context, result, path, nullptr, nullptr,
                                          nullptr, nullptr);
        return;
      case Operation::kReferences:
        association_->ft->references(association_, context, result, path, nullptr, nullptr,
                                     nullptr);
        return;
      case Operation::kReferenceNames:
        association_->ft->referenceNames(association_, context, result, path, nullptr, nullptr);
        return;
    }
  }

 private:
  static void* library() {
    static void* const opened = dlopen(PROVIDER_LIBRARY, RTLD_LAZY | RTLD_GLOBAL);
    if (opened == nullptr) throw std::runtime_error(dlerror());
    return opened;
  }

  template <class Record>
  static Record* made(const std::string& factoryName) {
    using Factory = Record* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
    const auto factory = reinterpret_cast<Factory>(dlsym(library(), factoryName.c_str()));
    if (factory == nullptr) return nullptr;
    CMPIStatus status{CMPI_RC_OK, nullptr};
    Record* record = factory(floor_broker(), surroundings().context, &status);
    if (record == nullptr || status.rc != CMPI_RC_OK) {
      throw std::runtime_error(factoryName + " failed");
    }
    return record;
  }

  CMPIInstanceMI* instance_;
  CMPIAssociationMI* association_;
};

std::string fullName(const std::string& className) {
  return "Zelmar_" + className;
}

const Provider& providerOf(const std::string& className) {
  static std::vector<std::pair<std::string, std::unique_ptr<Provider>>> all;
  for (const auto& [name, provider] : all) {
    if (name == className) return *provider;
  }
  all.emplace_back(className, std::make_unique<Provider>(fullName(className)));
  return *all.back().second;
}

/// One request from one or several sources, by the provider and by the floor.
class Request {
 public:
  Request(std::string name, const Provider& provider, Operation operation,
          std::vector<FloorPath*> sources)
      : name_(std::move(name)),
        provider_(provider),
        operation_(operation),
        sources_(std::move(sources)) {}

  const std::string& name() const { return name_; }

  /// Sends it from each source; returns the number of answers.
  std::size_t provide() const {
    return forEachSource([this](std::size_t at) { provider_.send(operation_, sources_[at]); });
  }

  /// Sends it and makes the recorded calls, and fails when the answers differ.
  void checkReplay() const {
    for (std::size_t at = 0; at < sources_.size(); ++at) {
      floor_restart_result(surroundings().result);
      provider_.send(operation_, sources_[at]);
      const std::size_t provided = floor_digest(surroundings().result);
      floor_restart_result(surroundings().result);
      floor_replay(traces_[at].get(), surroundings().context, surroundings().result, sources_[at]);
      const std::size_t replayed = floor_digest(surroundings().result);
      floor_end_request();
      if (provided != replayed) throw std::runtime_error(name_ + ": the floor answers otherwise");
    }
  }

  void dropNeedless() {
    for (const auto& trace : traces_) floor_drop_needless(trace.get());
  }

  /// Writes down the calls that `replay` makes.
  void record() {
    if (!traces_.empty()) return;
    forEachSource([this](std::size_t at) {
      FloorTrace* trace =
          floor_start_recording(surroundings().context, surroundings().result, sources_[at]);
      provider_.send(operation_, sources_[at]);
      floor_stop_recording(trace);
      traces_.emplace_back(trace);
    });
  }

  std::size_t replay() const {
    return forEachSource([this](std::size_t at) {
      floor_replay(traces_[at].get(), surroundings().context, surroundings().result, sources_[at]);
    });
  }

  void forget() { traces_.clear(); }

  std::size_t calls() const {
    std::size_t sum = 0;
    for (const auto& trace : traces_) sum += floor_trace_calls(trace.get());
    return sum;
  }

 private:
  template <class Send>
  std::size_t forEachSource(Send send) const {
    std::size_t answers = 0;
    for (std::size_t at = 0; at < sources_.size(); ++at) {
      floor_restart_result(surroundings().result);
      send(at);
      answers += surroundings().result->count;
      floor_end_request();
    }
    return answers;
  }

  struct FreeTrace {
    void operator()(FloorTrace* trace) const { floor_free_trace(trace); }
  };

  std::string name_;
  const Provider& provider_;
  Operation operation_;
  std::vector<FloorPath*> sources_;
  std::vector<std::unique_ptr<FloorTrace, FreeTrace>> traces_;
};

/// Names of some instances of the class, spread over its listing.
std::vector<FloorPath*> someNames(const std::string& className) {
  const FloorResult& result = *surroundings().result;
  floor_restart_result(surroundings().result);
  providerOf(className).send(Operation::kEnumInstanceNames, keptClassPath(fullName(className)));
  std::vector<FloorPath*> names;
  const std::size_t wanted = std::min<std::size_t>(kSourcesOfAKind, result.count);
  for (std::size_t at = 0; at < wanted; ++at) {
    const void* found = result.answers[at * result.count / wanted];
    names.push_back(keepPath(static_cast<const FloorPath*>(found)));
  }
  floor_end_request();
  return names;
}

struct Source {
  std::string kind;
  std::vector<FloorPath*> paths;
};

std::vector<Source> commonSources() {
  floor_keep_objects(true);
  FloorPath* system = floor_new_system_path();
  floor_keep_objects(false);
  return {{"device", someNames("PCIDevice")},   {"bridge", someNames("PCIBridge")},
          {"switch", someNames("PCIeSwitch")},  {"port", someNames("PCIPort")},
          {"group", someNames("PCIPortGroup")}, {"system", {system}}};
}

void addInstanceRequests(const std::string& className, std::vector<Request>& all) {
  const Provider& provider = providerOf(className);
  const std::vector<FloorPath*> classPath{keptClassPath(fullName(className))};
  all.emplace_back(className + " names", provider, Operation::kEnumInstanceNames, classPath);
  all.emplace_back(className + " instances", provider, Operation::kEnumInstances, classPath);
  const std::vector<FloorPath*> names = someNames(className);
  if (names.empty()) return;
  all.emplace_back(className + " get", provider, Operation::kGetInstance, names);
}

void addAssociationRequests(const std::string& className, std::vector<Source> sources,
                            std::vector<Request>& all) {
  sources.push_back({"association", someNames(className)});
  for (const auto& [operation, name] : kAssociationOperations) {
    for (const auto& [kind, paths] : sources) {
      if (paths.empty()) continue;
      all.emplace_back(className + " " + name + " of " + kind, providerOf(className), operation,
                       paths);
    }
  }
}

/// Every operation of the ten classes, from each kind of source.
std::vector<Request> everyRequest() {
  std::vector<Request> all;
  const std::vector<Source> sources = commonSources();
  for (const char* className : kInstanceClasses) addInstanceRequests(className, all);
  for (const char* className : kAssociationClasses) {
    addInstanceRequests(className, all);
    addAssociationRequests(className, sources, all);
  }
  return all;
}

struct Allocation {
  FloorAllocation kind;
  const char* name;
};

constexpr Allocation kAllocations[] = {{FLOOR_MALLOC, "malloc"}, {FLOOR_ARENA, "arena"}};

/// Counts the instructions of one run under a name of its own.
template <class Run>
std::size_t counted(const std::string& name, Run run) {
  CALLGRIND_ZERO_STATS;
  CALLGRIND_TOGGLE_COLLECT;
  const std::size_t answers = run();
  CALLGRIND_TOGGLE_COLLECT;
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  return answers;
}

std::size_t coldStart() {
  const Provider& provider = providerOf("PCIDevice");
  floor_restart_result(surroundings().result);
  provider.send(Operation::kEnumInstanceNames, keptClassPath("Zelmar_PCIDevice"));
  const std::size_t answers = surroundings().result->count;
  floor_end_request();
  return answers;
}

/// What a request costs when it was made before: what happens only the first time is the start's.
template <class Run>
std::size_t countedAgain(const Request& request, const Allocation& allocation, const char* whose,
                         Run run) {
  floor_use_allocation(allocation.kind);
  run();
  return counted(request.name() + "|" + allocation.name + "|" + whose, run);
}

void countFloor(const Request& request, const char* whose) {
  for (const Allocation& allocation : kAllocations) {
    countedAgain(request, allocation, whose, [&request] { return request.replay(); });
  }
}

void countRequest(Request& request) {
  for (const Allocation& allocation : kAllocations) {
    countedAgain(request, allocation, "provider", [&request] { return request.provide(); });
  }
  request.record();
  countFloor(request, "floor");
  request.dropNeedless();
  countFloor(request, "least");
  request.forget();
}

void countEverything(const std::string& only) {
  counted("cold start", coldStart);
  for (Request& request : everyRequest()) {
    if (request.name().starts_with(only)) countRequest(request);
  }
}

/// Fails where a floor's results differ from the provider's, and prints what each request gives and
/// the calls that it makes.
void verifyEverything() {
  for (Request& request : everyRequest()) {
    request.record();
    request.checkReplay();
    const std::size_t calls = request.calls();
    request.dropNeedless();
    request.checkReplay();
    std::cout << "answers|" << request.name() << "|" << request.replay() << "|" << calls << "|"
              << request.calls() << '\n';
    request.forget();
  }
}

void timeRun(benchmark::State& state, const std::function<std::size_t()>& run) {
  // Memory that is touched for the first time costs more than the request.
  std::size_t answers = run();
  for (auto _ : state) answers = run();
  state.counters["answers"] = static_cast<double>(answers);
}

void registerTimings(Request& request) {
  for (const Allocation& allocation : kAllocations) {
    const std::string name = request.name() + "|" + allocation.name;
    benchmark::RegisterBenchmark((name + "|provider").c_str(), [&](benchmark::State& state) {
      floor_use_allocation(allocation.kind);
      timeRun(state, [&request] { return request.provide(); });
    });
    benchmark::RegisterBenchmark((name + "|floor").c_str(), [&](benchmark::State& state) {
      request.record();
      floor_use_allocation(allocation.kind);
      timeRun(state, [&request] { return request.replay(); });
      // Traces of large machines are large: one is held at a time.
      if (allocation.kind == FLOOR_ARENA) request.forget();
    });
  }
}

/// Lets the heap keep what it has: giving pages back and fetching them again would be most of what
/// large requests take.
void keepPages() {
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_MMAP_MAX, 0);
}

void timeEverything(int argc, char** argv) {
  keepPages();
  std::vector<Request> all = everyRequest();
  for (Request& request : all) registerTimings(request);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "--instructions") {
      countEverything(argc > 2 ? argv[2] : "");
    } else if (mode == "--verify") {
      verifyEverything();
    } else {
      timeEverything(argc, argv);
    }
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "provider_bench: " << failure.what() << '\n';
    return 1;
  }
}
