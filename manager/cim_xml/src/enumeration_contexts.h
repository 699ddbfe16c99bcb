#pragma once

#include <cim_xml/pull_limits.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "enumeration_context.h"

namespace cimom {

/// The answers that clients are taking in parts, each under a name that cannot be guessed. Errors
/// are CimError with the codes that DMTF DSP0200 gives them. Safe from any number of threads.
class EnumerationContexts {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;
  using Part = EnumerationContext::Part;

  /// What a pull must fit to.
  struct Subject {
    enum class Kind { kInstances, kPaths };
    Kind kind = Kind::kInstances;
    std::string nameSpace;
    bool operator==(const Subject&) const = default;
  };

  struct Opened {
    /// Empty when the first part is the whole answer.
    std::string id;
    Part part;
  };

  explicit EnumerationContexts(const PullLimits& limits,
                               Clock clock = std::chrono::steady_clock::now);
  /// Closes all and waits for their producers.
  ~EnumerationContexts();
  EnumerationContexts(const EnumerationContexts&) = delete;
  EnumerationContexts& operator=(const EnumerationContexts&) = delete;

  /// Begins an answer and returns its first part, of at most `most` elements. It is closed when
  /// nothing is asked of it for the time given, without one for the usual time. Throws
  /// INVALID_OPERATION_TIMEOUT, SERVER_LIMITS_EXCEEDED, SERVER_IS_SHUTTING_DOWN, and what the
  /// producer throws before its first element.
  Opened open(const Subject& subject, std::optional<std::chrono::seconds> timeout, std::size_t most,
              EnumerationContext::Produce produce);

  /// The next part; the last one closes the answer, and so does an error of its producer. Throws
  /// INVALID_ENUMERATION_CONTEXT for a name that is not or no longer there, of another subject, or
  /// that is being asked already; PULL_HAS_BEEN_ABANDONED when it is closed meanwhile.
  Part pull(const std::string& id, const Subject& subject, std::size_t most);

  /// Throws INVALID_ENUMERATION_CONTEXT as pull() does, but not for one that is being asked.
  void close(const std::string& id, std::string_view nameSpace);

  /// Closes those of which nothing was asked in time. A thread of its own does so every second.
  void closeExpired();

  /// Closes all; whatever is asked later ends with SERVER_IS_SHUTTING_DOWN.
  void shutDown();

  /// True once no producer of a closed one runs any more, false when that takes longer.
  bool waitForProducers(std::chrono::milliseconds longest);

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  struct Entry {
    std::shared_ptr<EnumerationContext> context;
    Subject subject;
    std::chrono::seconds timeout{};
    TimePoint deadline;
    bool isAsked = false;
  };
  using Entries = std::map<std::string, Entry>;

  // All of these need the lock.
  void requireRunning() const;
  Entries::iterator find(const std::string& id);
  Entries::iterator erase(Entries::iterator entry, CMPIrc reason);
  void eraseExpired();
  void sweepClosed();
  std::string add(const Subject& subject, std::chrono::seconds timeout,
                  EnumerationContext::Produce produce);

  std::chrono::seconds checkedTimeout(std::optional<std::chrono::seconds> timeout) const;
  Part takeFrom(const std::string& id, const std::shared_ptr<EnumerationContext>& context,
                std::size_t most);
  void keepTime();

  const PullLimits limits_;
  const Clock clock_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Entries entries_;
  /// Closed ones whose producers have not returned: they count as long as they run.
  std::vector<std::shared_ptr<EnumerationContext>> closed_;
  bool isShutDown_ = false;
  bool isEnding_ = false;
  /// Started with the first answer.
  std::thread timekeeper_;
};

}  // namespace cimom
