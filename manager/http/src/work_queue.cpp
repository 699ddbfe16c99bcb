#include "work_queue.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace cimom {
WorkQueue::WorkQueue(unsigned threads, std::size_t capacity, std::chrono::milliseconds patience,
                     std::chrono::milliseconds longestPatience)
    : capacity_(capacity), patience_(patience), longestPatience_(longestPatience), idle_(threads) {
  try {
    for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
  } catch (const std::system_error& error) {
    // Those that were made run already.
    finish();
    throw std::runtime_error("cannot make " + std::to_string(threads) +
                             " threads for requests: " + error.code().message());
  }
}

void WorkQueue::finish() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

bool WorkQueue::offer(const Client& client, Work&& work) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() >= capacity_ + idle_) return false;
    if (waitingOf(client) >= capacity_ - capacity_ / 4 + idle_) return false;
    waiting_.push_back({client, std::move(work), Clock::now()});
  }
  changed_.notify_one();
  return true;
}

bool WorkQueue::mustGiveWay() {
  const std::lock_guard lock(mutex_);
  const auto own = running_.find(std::this_thread::get_id());
  if (own == running_.end()) return false;
  std::size_t most = 0;
  std::size_t onTheirWay = idle_;
  for (const auto& [thread, running] : running_) {
    most = std::max(most, runningOf(running.client));
    onTheirWay += running.givesWay ? 1 : 0;
  }
  if (runningOf(own->second.client) < most) return false;
  const auto owed = std::ranges::count_if(
      waiting_, [&](const Waiting& waiting) { return isOwedAThread(waiting, most); });
  if (static_cast<std::size_t>(owed) <= onTheirWay) return false;
  own->second.givesWay = true;
  return true;
}

std::size_t WorkQueue::runningOf(const Client& client) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      running_, [&](const auto& entry) { return entry.second.client == client; }));
}

std::size_t WorkQueue::waitingOf(const Client& client) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      waiting_, [&](const Waiting& waiting) { return waiting.client == client; }));
}

/// True when its client has none running, or would still have no more than the one with the `most`
/// if that had one less, or when it has waited long.
bool WorkQueue::isOwedAThread(const Waiting& waiting, std::size_t most) const {
  const auto waited = Clock::now() - waiting.since;
  if (waited < patience_) return false;
  if (waited >= longestPatience_) return true;
  const std::size_t running = runningOf(waiting.client);
  return running == 0 || running + 1 < most;
}

WorkQueue::Waiting WorkQueue::takeNext() {
  const auto next = std::ranges::min_element(
      waiting_, {}, [this](const Waiting& waiting) { return runningOf(waiting.client); });
  Waiting taken = std::move(*next);
  waiting_.erase(next);
  return taken;
}

void WorkQueue::run() {
  const auto self = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    Waiting next = takeNext();
    --idle_;
    running_[self] = {next.client};
    lock.unlock();
    next.work();
    next.work = nullptr;
    lock.lock();
    running_.erase(self);
    ++idle_;
  }
}

}  // namespace cimom
