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

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#endif

namespace cimom {

/// The memory of a request: objects lie one behind the other in pieces, and end together or, behind
/// a mark, with its release.
class RequestScope::Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() { endObjects(nullptr); }

  /// As a new one, but that the memory of small requests is there already.
  void reset() noexcept {
    endObjects(nullptr);
    texts_.clear();
    latestFilter_.reset();
    latestMark_ = nullptr;
    isRefused_ = false;
    goTo({0, nullptr, 0});
    nextPiece_ = kFirstPiece;
  }

  void* place(std::size_t size) {
    const std::size_t rounded = (size + kObjectAlignment - 1) & ~(kObjectAlignment - 1);
    if (rounded > end_.left) addPiece(rounded);
    end_.left -= rounded;
    return std::exchange(end_.free, end_.free + rounded);
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

  void refuse() noexcept { isRefused_ = true; }
  void* mark() {
    if (isRefused_) return nullptr;
    const Place start = end_;
    latestMark_ = new (place(sizeof(Mark))) Mark{latestMark_, newest_, start};
    return latestMark_;
  }
  bool release(const void* which) noexcept {
    const Mark* found = latestMark_;
    while (found != nullptr && found != which) found = found->before;
    if (found == nullptr) return false;
    // It lies in the memory that is about to be used again.
    const Mark mark = *found;
    endObjects(mark.newest);
    texts_.forgetStrings();
    latestMark_ = mark.before;
    giveUp(mark.start);
    return true;
  }

 private:
  static constexpr std::size_t kFirstPiece = 2048;
  static constexpr std::size_t kLargestPiece = 65536;

  struct Piece {
    std::unique_ptr<std::byte[]> memory;
    std::size_t size;
  };

  /// Where the next object goes.
  struct Place {
    /// Pieces in use; the last of them has the rest.
    std::size_t pieces;
    std::byte* free;
    std::size_t left;
  };

  struct Mark {
    Mark* before;
    BrokerObject* newest;
    Place start;
  };

  /// Ends the objects that were made after `last`.
  void endObjects(const BrokerObject* last) noexcept {
    while (newest_ != last) {
      BrokerObject* object = newest_;
      newest_ = object->next;
      object->~BrokerObject();
    }
  }

  void addPiece(std::size_t atLeast) {
    const auto next = pieces_.begin() + static_cast<std::ptrdiff_t>(end_.pieces);
    if (next != pieces_.end() && next->size < atLeast) pieces_.erase(next, pieces_.end());
    if (end_.pieces == pieces_.size()) {
      const std::size_t size = std::max(nextPiece_, atLeast);
      pieces_.push_back({std::make_unique_for_overwrite<std::byte[]>(size), size});
      nextPiece_ = std::min(2 * nextPiece_, kLargestPiece);
    }
    const Piece& piece = pieces_[end_.pieces];
    end_ = {end_.pieces + 1, piece.memory.get(), piece.size};
  }

  /// One piece behind the place stays, so that a loop need not get it anew each time.
  void goTo(const Place& start) noexcept {
    if (pieces_.size() > start.pieces + 1) {
      pieces_.erase(pieces_.begin() + static_cast<std::ptrdiff_t>(start.pieces) + 1, pieces_.end());
    }
    end_ = start;
  }

#ifdef __SANITIZE_ADDRESS__
  /// What lay there is not written over, so that the sanitizer sees who still uses it.
  void giveUp(const Place& start) const noexcept {
    if (start.pieces == end_.pieces) return poison(start.free, end_.free);
    if (start.pieces > 0) poison(start.free, start.free + start.left);
    for (std::size_t i = start.pieces; i + 1 < end_.pieces; ++i) {
      poison(pieces_[i].memory.get(), pieces_[i].memory.get() + pieces_[i].size);
    }
    poison(pieces_[end_.pieces - 1].memory.get(), end_.free);
  }
  static void poison(const std::byte* begin, const std::byte* end) noexcept {
    ASAN_POISON_MEMORY_REGION(begin, static_cast<std::size_t>(end - begin));
  }
#else
  void giveUp(const Place& start) noexcept {
    goTo(start);
  }
#endif

  std::vector<Piece> pieces_;
  Place end_{0, nullptr, 0};
  std::size_t nextPiece_ = kFirstPiece;
  BrokerObject* newest_ = nullptr;
  Mark* latestMark_ = nullptr;
  /// The request's answer is not taken any more.
  bool isRefused_ = false;
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

void* markRequest() {
  return ArenaAccess::current().mark();
}

bool releaseToMark(const void* mark) noexcept {
  return ArenaAccess::current().release(mark);
}

void noteRefusal() noexcept {
  if (innermost != nullptr) ArenaAccess::current().refuse();
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
