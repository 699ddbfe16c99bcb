#include <broker/request_scope.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "broker_object.h"
#include "context_object.h"
#include "name_set.h"
#include "path_object.h"
#include "result_object.h"
#include "stored_value.h"
#include "text_pool.h"

namespace cimom {

/// The memory of a request: objects lie one behind the other in pieces, which end together.
class RequestScope::Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() { endObjects(); }

  /// As a new one, but that the memory of small requests is there already.
  void reset() noexcept {
    endObjects();
    texts_.clear();
    latestFilter_.reset();
    if (pieces_.empty()) return;
    pieces_.erase(pieces_.begin() + 1, pieces_.end());
    free_ = pieces_.front().memory.get();
    left_ = pieces_.front().size;
    nextPiece_ = kFirstPiece;
  }

  void* place(std::size_t size) {
    const std::size_t rounded = (size + kObjectAlignment - 1) & ~(kObjectAlignment - 1);
    if (rounded > left_) addPiece(rounded);
    left_ -= rounded;
    return std::exchange(free_, free_ + rounded);
  }
  template <class Object, class... Arguments>
  typename Object::Record* make(Arguments&&... arguments) {
    auto* object = new (place(sizeof(Object))) Object(std::forward<Arguments>(arguments)...);
    adopt(*object);
    return &object->handle;
  }
  void adopt(BrokerObject& object) noexcept { object.next = std::exchange(newest_, &object); }
  TextPool& texts() noexcept { return texts_; }
  std::shared_ptr<const NameSet>& latestFilter() noexcept { return latestFilter_; }

 private:
  static constexpr std::size_t kFirstPiece = 2048;
  static constexpr std::size_t kLargestPiece = 65536;

  struct Piece {
    std::unique_ptr<std::byte[]> memory;
    std::size_t size;
  };

  void endObjects() noexcept {
    while (newest_ != nullptr) {
      BrokerObject* object = newest_;
      newest_ = object->next;
      object->~BrokerObject();
    }
  }

  void addPiece(std::size_t atLeast) {
    const std::size_t size = std::max(nextPiece_, atLeast);
    pieces_.push_back({std::make_unique_for_overwrite<std::byte[]>(size), size});
    free_ = pieces_.back().memory.get();
    left_ = size;
    nextPiece_ = std::min(2 * nextPiece_, kLargestPiece);
  }

  std::vector<Piece> pieces_;
  std::byte* free_ = nullptr;
  std::size_t left_ = 0;
  std::size_t nextPiece_ = kFirstPiece;
  BrokerObject* newest_ = nullptr;
  TextPool texts_;
  std::shared_ptr<const NameSet> latestFilter_;
};

namespace {

thread_local RequestScope* innermost = nullptr;

}  // namespace

struct ArenaAccess {
  /// Objects made outside a request live until their thread ends.
  static RequestScope::Arena& current() {
    if (innermost != nullptr) return *innermost->arena_;
    static thread_local RequestScope::Arena outsideRequests;
    return outsideRequests;
  }

  static std::unique_ptr<RequestScope::Arena> take() {
    if (spare() != nullptr) return std::move(spare());
    return std::make_unique<RequestScope::Arena>();
  }
  static void giveBack([[maybe_unused]] std::unique_ptr<RequestScope::Arena> arena) noexcept {
#ifndef __SANITIZE_ADDRESS__
    // The sanitizer is to see what uses an object after its request.
    arena->reset();
    if (spare() == nullptr) spare() = std::move(arena);
#endif
  }

 private:
  /// The arena of this thread's latest request, for its next: a new one costs as much as a small
  /// request.
  static std::unique_ptr<RequestScope::Arena>& spare() noexcept {
    static thread_local std::unique_ptr<RequestScope::Arena> arena;
    return arena;
  }
};

void* placeForObject(std::size_t size) {
  return ArenaAccess::current().place(size);
}

void adopt(BrokerObject& object) noexcept {
  ArenaAccess::current().adopt(object);
}

TextPool& requestTexts() {
  return ArenaAccess::current().texts();
}

std::shared_ptr<const NameSet>& latestFilter() {
  return ArenaAccess::current().latestFilter();
}

RequestScope::RequestScope() : arena_(ArenaAccess::take()), outer_(innermost) {
  innermost = this;
}

RequestScope::~RequestScope() {
  innermost = outer_;
  ArenaAccess::giveBack(std::move(arena_));
}

CMPIResult* RequestScope::newResult(AnswerReceiver& receiver) {
  return arena_->make<ResultObject>(receiver);
}

CMPIContext* RequestScope::newContext(const std::string& nameSpace, CMPIUint32 invocationFlags) {
  const std::vector<NamedValue> entries{
      {"CMPIInitNameSpace", Value::text(nameSpace)},
      {"CMPIInvocationFlags", Value::number(CimType::kUint32, invocationFlags)}};
  return arena_->make<ContextObject>(fromModel(entries, arena_->texts()));
}

CMPIObjectPath* RequestScope::newPath(const ObjectPath& path) {
  return arena_->make<PathObject>(fromModel(path, arena_->texts()));
}

}  // namespace cimom
