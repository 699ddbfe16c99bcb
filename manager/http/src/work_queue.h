#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace cimom {

/// Work handed to a fixed number of threads. Work must not throw. Safe from any thread.
class WorkQueue {
 public:
  using Work = std::function<void()>;

  /// `capacity` is how much may wait while all threads are at work. Throws std::runtime_error when
  /// the threads cannot be made.
  WorkQueue(unsigned threads, std::size_t capacity) : idle_(threads), capacity_(capacity) {
    try {
      for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
    } catch (const std::system_error& error) {
      // Those that were made run already.
      finish();
      throw std::runtime_error("cannot make " + std::to_string(threads) +
                               " threads for requests: " + error.code().message());
    }
  }
  ~WorkQueue() { finish(); }
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Waits for what has been taken, waiting work too, and ends the threads. Once this has begun no
  /// more may be offered.
  void finish() {
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

  /// False, and `work` untouched, when too much waits already.
  bool offer(Work&& work) {
    {
      const std::lock_guard lock(mutex_);
      if (waiting_.size() >= capacity_ + idle_) return false;
      waiting_.push_back(std::move(work));
    }
    changed_.notify_one();
    return true;
  }

 private:
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
      if (waiting_.empty()) return;
      Work work = std::move(waiting_.front());
      waiting_.pop_front();
      --idle_;
      lock.unlock();
      work();
      work = nullptr;
      lock.lock();
      ++idle_;
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Work> waiting_;
  std::size_t idle_;
  std::size_t capacity_;
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace cimom
