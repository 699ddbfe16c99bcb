#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace pcicim {

/// Says on a terminal, while it lives, how far long work has come: one line on standard error,
/// renewed five times a second, that is gone when the object is. It comes only after half a second,
/// and never where standard error is no terminal.
class Progress {
 public:
  /// `state` says where the work stands, such as "reading x.txt: 40 %"; it is called on a thread of
  /// the object's own until the object is gone, and must not throw.
  explicit Progress(std::function<std::string()> state);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void run();

  std::function<std::string()> state_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isEnded_ = false;
  std::thread thread_;
};

}  // namespace pcicim
