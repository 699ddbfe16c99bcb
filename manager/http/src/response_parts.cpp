#include "response_parts.h"

#include <array>
#include <charconv>
#include <utility>

namespace cimom {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
/// How often a worker that waits looks around.
constexpr std::chrono::milliseconds kStep{250};

void appendChunk(std::string& out, std::string_view part) {
  std::array<char, 16> size{};
  const auto end = std::to_chars(size.begin(), size.end(), part.size(), 16).ptr;
  out.append(size.begin(), end).append(kLineEnd).append(part).append(kLineEnd);
}

}  // namespace

void ResponseParts::put(std::string_view part, const MustGiveWay& mustGiveWay) {
  std::unique_lock lock(mutex_);
  const auto hasRoom = [&] {
    return isAbandoned_ || waiting_.empty() || waiting_.size() + part.size() <= kMostWaiting;
  };
  while (!hasRoom()) {
    if (mustGiveWay()) isAbandoned_ = true;
    changed_.wait_for(lock, kStep, hasRoom);
  }
  if (isAbandoned_) throw ResponseAbandoned();
  // A chunk of no bytes would be the last.
  if (!part.empty()) appendChunk(waiting_, part);
}

std::string ResponseParts::take() {
  const std::lock_guard lock(mutex_);
  changed_.notify_all();
  return std::exchange(waiting_, {});
}

void ResponseParts::abandon() noexcept {
  const std::lock_guard lock(mutex_);
  isAbandoned_ = true;
  changed_.notify_all();
}

bool ResponseParts::isAbandoned() const {
  const std::lock_guard lock(mutex_);
  return isAbandoned_;
}

std::string lastChunk(std::string_view trailer) {
  return std::string("0").append(kLineEnd).append(trailer).append(kLineEnd);
}

}  // namespace cimom
