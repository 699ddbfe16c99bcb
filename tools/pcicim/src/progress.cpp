#include "progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "report.h"

namespace pcicim {
namespace {

using namespace std::chrono_literals;

bool canShow() {
  const char* terminal = std::getenv("TERM");
  const std::string_view kind = terminal == nullptr ? "" : terminal;
  return isatty(STDERR_FILENO) != 0 && !kind.empty() && kind != "dumb";
}

}  // namespace

Progress::Progress(std::function<std::string()> state) : state_(std::move(state)) {
  if (canShow()) {
    thread_ = std::thread([this] { run(); });
  }
}

Progress::~Progress() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isEnded_ = true;
  }
  ended_.notify_all();
  thread_.join();
  clearStatus();
}

void Progress::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (auto pause = 500ms; !ended_.wait_for(lock, pause, [this] { return isEnded_; });
       pause = 200ms) {
    showStatus(state_());
  }
}

}  // namespace pcicim
