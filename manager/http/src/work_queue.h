#pragma once

#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace cimom {

/// Clients' work, handed to a fixed number of threads so that no client keeps the others from
/// theirs: a free thread takes the oldest work of the client that has the least running. Work must
/// not throw. Safe from any thread.
class WorkQueue {
 public:
  using Client = boost::asio::ip::address;
  using Work = std::function<void()>;
  using Clock = std::chrono::steady_clock;

  /// `capacity` is how much may wait while all threads are at work, three quarters of it of one
  /// client. Work that has waited for `patience` makes that of others give way, and after
  /// `longestPatience` that of its own client, too, which else could hold all threads for ever with
  /// slow responses. Throws std::runtime_error when the threads cannot be made.
  WorkQueue(unsigned threads, std::size_t capacity,
            std::chrono::milliseconds patience = std::chrono::seconds(2),
            std::chrono::milliseconds longestPatience = std::chrono::seconds(20));
  ~WorkQueue() { finish(); }
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Waits for what has been taken, waiting work too, and ends the threads. Once this has begun no
  /// more may be offered.
  void finish();

  /// False, and `work` untouched, when too much waits already, of all clients or of this one.
  bool offer(const Client& client, Work&& work);

  /// Asked by work that waits for its client: true when it should end, since others have waited for
  /// a thread for too long and no client has more running than its own. It has to end then.
  bool mustGiveWay();

 private:
  struct Waiting {
    Client client;
    Work work;
    Clock::time_point since;
  };
  struct Running {
    Client client;
    bool givesWay = false;
  };

  // All of these need the lock.
  std::size_t runningOf(const Client& client) const;
  std::size_t waitingOf(const Client& client) const;
  bool isOwedAThread(const Waiting& waiting, std::size_t most) const;
  Waiting takeNext();

  void run();

  const std::size_t capacity_;
  const std::chrono::milliseconds patience_;
  const std::chrono::milliseconds longestPatience_;
  std::mutex mutex_;
  std::condition_variable changed_;
  /// The oldest first.
  std::deque<Waiting> waiting_;
  std::map<std::thread::id, Running> running_;
  std::size_t idle_;
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace cimom
