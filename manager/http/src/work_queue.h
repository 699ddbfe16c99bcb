#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace cimom {

/// Work handed to a fixed number of threads. Work must not throw. Safe from any thread.
class WorkQueue {
 public:
  using Work = std::function<void()>;

  /// `capacity` is how much may wait while all threads are at work.
  WorkQueue(unsigned threads, std::size_t capacity) : idle_(threads), capacity_(capacity) {
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
  }
  /// Waits for what has been taken, waiting work too.
  ~WorkQueue() {
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

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
