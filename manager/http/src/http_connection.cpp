#include "http_connection.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

namespace cimom {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A client that reads slower than this loses the answer.
constexpr std::size_t kSlowestBytesPerSecond = std::size_t{64} << 10;

/// How long, and how much, a client may still send that has got its answer.
constexpr milliseconds kFinishTime{1000};
constexpr std::size_t kFinishBytes = std::size_t{8} << 20;

constexpr std::string_view kHeadEnd = "\r\n\r\n";

/// Rounded up, so that whoever has waited for so long finds the deadline passed.
int millisecondsUntil(HttpConnection::Clock::time_point deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - HttpConnection::Clock::now());
  return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, 1'000'000));
}

}  // namespace

HttpConnection::HttpConnection(Descriptor socket, int stopDescriptor)
    : socket_(std::move(socket)), stopDescriptor_(stopDescriptor) {}

bool HttpConnection::waitFor(short event, Clock::time_point deadline, bool stoppable) const {
  // A negative descriptor is one that poll passes over.
  pollfd waited[] = {{socket_.number(), event, 0}, {stoppable ? stopDescriptor_ : -1, POLLIN, 0}};
  int count = 0;
  do {
    count = poll(waited, 2, millisecondsUntil(deadline));
  } while (count < 0 && errno == EINTR);
  return count > 0 && waited[0].revents != 0;
}

bool HttpConnection::waitForRequest(milliseconds time) {
  return !buffer_.empty() || waitFor(POLLIN, Clock::now() + time, true);
}

bool HttpConnection::fill() {
  char bytes[4096];
  if (ended_) return false;
  if (!waitFor(POLLIN, readDeadline_, true)) {
    tooSlow_ = Clock::now() >= readDeadline_;
    return false;
  }
  const ssize_t count = recv(socket_.number(), bytes, sizeof bytes, MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  ended_ = count <= 0;
  if (!ended_) buffer_.append(bytes, static_cast<std::size_t>(count));
  return !ended_;
}

HttpConnection::HeadResult HttpConnection::readHead(seconds requestTime) {
  requestTime_ = requestTime;
  readDeadline_ = Clock::now() + requestTime;
  head_.clear();
  std::size_t end = buffer_.find(kHeadEnd);
  while (end == std::string::npos && buffer_.size() <= kHttpHeadBytes) {
    const std::size_t seen = buffer_.size();
    if (!fill()) return tooSlow_ ? HeadResult::kTooSlow : HeadResult::kNobody;
    end = buffer_.find(kHeadEnd, seen - std::min(seen, kHeadEnd.size()));
  }
  if (end > kHttpHeadBytes) return HeadResult::kTooLarge;
  replaceHead(buffer_.substr(0, end + kHeadEnd.size()));
  buffer_.erase(0, end + kHeadEnd.size());
  writeDeadline_ = Clock::time_point::max();
  return HeadResult::kRead;
}

ssize_t HttpConnection::read(char* target, std::size_t size) {
  if (headPlace_ < head_.size()) {
    const std::size_t count = head_.copy(target, size, headPlace_);
    headPlace_ += count;
    return static_cast<ssize_t>(count);
  }
  size = std::min(size, bodyBytes_);
  if (size == 0) return -1;
  while (buffer_.empty()) {
    if (!fill()) return ended_ ? 0 : -1;
  }
  const std::size_t count = buffer_.copy(target, size);
  buffer_.erase(0, count);
  bodyBytes_ -= count;
  return static_cast<ssize_t>(count);
}

bool HttpConnection::write(std::string_view text) {
  // The time for the answer starts with its first byte.
  if (writeDeadline_ == Clock::time_point::max()) writeDeadline_ = Clock::now() + requestTime_;
  writeDeadline_ += seconds(text.size() / kSlowestBytesPerSecond);
  while (!text.empty()) {
    const ssize_t count =
        send(socket_.number(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    const bool passes = errno == EAGAIN || errno == EINTR;
    if (!passes || !waitToWrite()) return false;
  }
  return true;
}

bool HttpConnection::waitToWrite() {
  if (waitFor(POLLOUT, writeDeadline_, true)) return true;
  // Once all is to end, only a client that goes on reading is waited for.
  writeDeadline_ = std::min(writeDeadline_, Clock::now() + kFinishTime);
  return waitFor(POLLOUT, writeDeadline_, false);
}

void HttpConnection::replaceHead(std::string head) {
  head_ = std::move(head);
  headPlace_ = 0;
}

void HttpConnection::finish() {
  shutdown(socket_.number(), SHUT_WR);
  buffer_.clear();
  readDeadline_ = Clock::now() + kFinishTime;
  std::size_t dropped = 0;
  while (dropped < kFinishBytes && fill()) {
    dropped += buffer_.size();
    buffer_.clear();
  }
}

}  // namespace cimom
