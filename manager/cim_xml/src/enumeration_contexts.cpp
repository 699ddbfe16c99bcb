// Keeps the open answers by name. A name leaves the map when its answer ends, fails, is closed or
// runs out of time; its producer may run on a while, which is why closed contexts are kept, and
// counted, until it has returned. Only the map is under the lock: takers wait at their context.
#include "enumeration_contexts.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "cim_status.h"

namespace cimom {
namespace {

/// 128 random bits: nobody guesses the name of another client's answer.
std::string newId() {
  std::array<unsigned char, 16> bytes{};
  // Up to 256 bytes come whole or not at all.
  while (getrandom(bytes.data(), bytes.size(), 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  constexpr const char* kDigits = "0123456789abcdef";
  std::string id;
  for (const unsigned char byte : bytes) {
    id += kDigits[byte >> 4];
    id += kDigits[byte & 15];
  }
  return id;
}

[[noreturn]] void refuseContext() {
  throw CimError(kInvalidEnumerationContext, "no such enumeration context is open");
}

}  // namespace

EnumerationContexts::EnumerationContexts(const PullLimits& limits, Clock clock)
    : limits_(limits), clock_(std::move(clock)) {}

EnumerationContexts::~EnumerationContexts() {
  shutDown();
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    changed_.notify_all();
  }
  if (timekeeper_.joinable()) timekeeper_.join();
}

EnumerationContexts::Opened EnumerationContexts::open(const Subject& subject,
                                                      std::optional<std::chrono::seconds> timeout,
                                                      std::size_t most,
                                                      EnumerationContext::Produce produce) {
  const std::chrono::seconds checked = checkedTimeout(timeout);
  std::string id;
  std::shared_ptr<EnumerationContext> context;
  {
    const std::lock_guard lock(mutex_);
    requireRunning();
    id = add(subject, checked, std::move(produce));
    context = entries_.at(id).context;
  }
  Part part = takeFrom(id, context, most);
  return {part.isLast ? std::string() : id, std::move(part)};
}

EnumerationContexts::Part EnumerationContexts::pull(const std::string& id, const Subject& subject,
                                                    std::size_t most) {
  std::shared_ptr<EnumerationContext> context;
  {
    const std::lock_guard lock(mutex_);
    Entry& entry = find(id)->second;
    if (entry.subject != subject || entry.isAsked) refuseContext();
    entry.isAsked = true;
    context = entry.context;
  }
  return takeFrom(id, context, most);
}

void EnumerationContexts::close(const std::string& id, std::string_view nameSpace) {
  const std::lock_guard lock(mutex_);
  const auto found = find(id);
  if (found->second.subject.nameSpace != nameSpace) refuseContext();
  erase(found, kPullHasBeenAbandoned);
}

void EnumerationContexts::closeExpired() {
  const std::lock_guard lock(mutex_);
  eraseExpired();
  sweepClosed();
}

void EnumerationContexts::shutDown() {
  const std::lock_guard lock(mutex_);
  isShutDown_ = true;
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    entry = erase(entry, kServerIsShuttingDown);
  }
}

bool EnumerationContexts::waitForProducers(std::chrono::milliseconds longest) {
  constexpr std::chrono::milliseconds kStep{10};
  for (auto waited = std::chrono::milliseconds(0);; waited += kStep) {
    {
      const std::lock_guard lock(mutex_);
      sweepClosed();
      if (closed_.empty()) return true;
    }
    if (waited >= longest) return false;
    std::this_thread::sleep_for(kStep);
  }
}

void EnumerationContexts::requireRunning() const {
  if (isShutDown_) throw CimError(kServerIsShuttingDown, "the server is about to stop");
}

EnumerationContexts::Entries::iterator EnumerationContexts::find(const std::string& id) {
  requireRunning();
  eraseExpired();
  const auto found = entries_.find(id);
  if (found == entries_.end()) refuseContext();
  return found;
}

EnumerationContexts::Entries::iterator EnumerationContexts::erase(Entries::iterator entry,
                                                                  CMPIrc reason) {
  entry->second.context->close(reason);
  closed_.push_back(std::move(entry->second.context));
  return entries_.erase(entry);
}

void EnumerationContexts::eraseExpired() {
  const TimePoint now = clock_();
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    const bool isExpired = !entry->second.isAsked && entry->second.deadline <= now;
    entry = isExpired ? erase(entry, kInvalidEnumerationContext) : std::next(entry);
  }
}

/// The last owner of a context joins its thread, which has nothing left to do then.
void EnumerationContexts::sweepClosed() {
  std::erase_if(closed_, [](const auto& context) { return !context->isProducing(); });
}

std::string EnumerationContexts::add(const Subject& subject, std::chrono::seconds timeout,
                                     EnumerationContext::Produce produce) {
  eraseExpired();
  sweepClosed();
  if (entries_.size() + closed_.size() >= limits_.contexts) {
    throw CimError(kServerLimitsExceeded, "too many enumerations are open");
  }
  std::string id = newId();
  try {
    if (!timekeeper_.joinable()) timekeeper_ = std::thread([this] { keepTime(); });
    auto context = std::make_shared<EnumerationContext>(std::move(produce), limits_.readyBytes);
    entries_.emplace(id, Entry{std::move(context), subject, timeout, {}, true});
  } catch (const std::system_error& error) {
    throw CimError(kServerLimitsExceeded, std::string("no further enumeration: ") + error.what());
  }
  changed_.notify_all();
  return id;
}

std::chrono::seconds EnumerationContexts::checkedTimeout(
    std::optional<std::chrono::seconds> timeout) const {
  const std::chrono::seconds wanted = timeout.value_or(limits_.usualTimeout);
  if (wanted.count() > 0 && wanted <= limits_.longestTimeout) return wanted;
  throw CimError(kInvalidOperationTimeout, "the operation timeout must be 1 to " +
                                               std::to_string(limits_.longestTimeout.count()) +
                                               " seconds");
}

/// The entry is marked as being asked, so nobody else takes from it; it may be gone afterwards.
EnumerationContexts::Part EnumerationContexts::takeFrom(
    const std::string& id, const std::shared_ptr<EnumerationContext>& context, std::size_t most) {
  std::optional<Part> part;
  std::exception_ptr failure;
  try {
    part = context->take(most, limits_.partBytes);
  } catch (...) {
    failure = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  if (const auto found = entries_.find(id); found != entries_.end()) {
    if (failure || part->isLast) {
      erase(found, kInvalidEnumerationContext);
    } else {
      found->second.isAsked = false;
      found->second.deadline = clock_() + found->second.timeout;
    }
  }
  if (failure) std::rethrow_exception(failure);
  return *std::move(part);
}

/// Without questions, too, an answer whose time is over must not keep its memory.
void EnumerationContexts::keepTime() {
  std::unique_lock lock(mutex_);
  while (!isEnding_) {
    if (entries_.empty() && closed_.empty()) {
      changed_.wait(lock);
    } else {
      changed_.wait_for(lock, std::chrono::seconds(1));
    }
    eraseExpired();
    sweepClosed();
  }
}

}  // namespace cimom
