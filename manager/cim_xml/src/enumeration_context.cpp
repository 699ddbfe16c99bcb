#include "enumeration_context.h"

#include <utility>

namespace cimom {

EnumerationContext::EnumerationContext(Produce produce, std::size_t queueBytes)
    : queueBytes_(queueBytes), thread_([this, made = std::move(produce)] { run(made); }) {}

EnumerationContext::~EnumerationContext() {
  close(CMPI_RC_ERR_FAILED);
  thread_.join();
}

EnumerationContext::Part EnumerationContext::take(std::size_t most, std::size_t mostBytes) {
  Part part;
  std::unique_lock lock(mutex_);
  bool isMore = waitForElement(lock);
  while (isMore && part.count < most && part.elements.size() < mostBytes) {
    takeFirst(part);
    isMore = waitForElement(lock);
  }
  // Behind what is taken now, an error is for the next call.
  if (!isMore && failure_ && part.count == 0) std::rethrow_exception(failure_);
  part.isLast = !isMore && !failure_;
  return part;
}

bool EnumerationContext::waitForElement(std::unique_lock<std::mutex>& lock) {
  changed_.wait(lock, [this] { return closed_ || !elements_.empty() || !isProducing_; });
  if (closed_) throw CimError(*closed_, "the enumeration was closed meanwhile");
  return !elements_.empty();
}

void EnumerationContext::takeFirst(Part& part) {
  part.elements += elements_.front();
  ++part.count;
  bytes_ -= elements_.front().size();
  elements_.pop_front();
  changed_.notify_all();
}

void EnumerationContext::close(CMPIrc reason) {
  const std::lock_guard lock(mutex_);
  if (closed_) return;
  closed_ = reason;
  elements_.clear();
  elements_.shrink_to_fit();
  bytes_ = 0;
  changed_.notify_all();
}

bool EnumerationContext::isProducing() const {
  const std::lock_guard lock(mutex_);
  return isProducing_;
}

void EnumerationContext::run(const Produce& produce) {
  std::exception_ptr failure;
  try {
    produce([this](std::string element) { add(std::move(element)); });
  } catch (...) {
    failure = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  failure_ = failure;
  isProducing_ = false;
  changed_.notify_all();
}

void EnumerationContext::add(std::string element) {
  std::unique_lock lock(mutex_);
  changed_.wait(
      lock, [&] { return closed_ || elements_.empty() || bytes_ + element.size() <= queueBytes_; });
  if (closed_) return;
  bytes_ += element.size();
  elements_.push_back(std::move(element));
  changed_.notify_all();
}

}  // namespace cimom
