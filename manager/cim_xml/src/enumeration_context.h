#pragma once

#include <model/cim_error.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace cimom {

/// An answer that a client takes in parts. A thread of its own produces the elements and waits
/// while as many bytes as the queue may hold are not taken yet, so that what is kept does not grow
/// with the answer. Safe from any thread, except that one alone may take().
class EnumerationContext {
 public:
  /// Takes one element of the answer; may wait. Once the context is closed, elements are dropped.
  using Emit = std::function<void(std::string)>;
  /// Emits the whole answer, or throws the error that it ends with.
  using Produce = std::function<void(const Emit&)>;

  struct Part {
    /// The elements one behind the other.
    std::string elements;
    std::size_t count = 0;
    /// True when nothing follows.
    bool isLast = false;
  };

  /// Starts to produce. Throws std::system_error when there can be no further thread.
  EnumerationContext(Produce produce, std::size_t queueBytes);
  /// Closes it and waits until the producer has returned.
  ~EnumerationContext();
  EnumerationContext(const EnumerationContext&) = delete;
  EnumerationContext& operator=(const EnumerationContext&) = delete;

  /// The next elements, at most `most` of them, and none more once they hold `mostBytes`; waits
  /// until they are there and until it is known whether others follow. Throws what the producer
  /// threw, once all elements before it are taken, and CimError when the context is closed
  /// meanwhile.
  Part take(std::size_t most, std::size_t mostBytes);

  /// Drops what is not taken and lets the producer run to its end; a waiting take() throws CimError
  /// with that code. Later calls change nothing.
  void close(CMPIrc reason);

  /// False once the producer has returned.
  bool isProducing() const;

 private:
  void run(const Produce& produce);
  void add(std::string element);
  /// True when there is an element to take.
  bool waitForElement(std::unique_lock<std::mutex>& lock);
  void takeFirst(Part& part);

  const std::size_t queueBytes_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::string> elements_;
  std::size_t bytes_ = 0;
  std::optional<CMPIrc> closed_;
  std::exception_ptr failure_;
  bool isProducing_ = true;
  /// Last: it uses all others.
  std::thread thread_;
};

}  // namespace cimom
