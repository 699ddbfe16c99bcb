#pragma once

#include <utility>

#include <unistd.h>

namespace cimom {

/// A file descriptor that is closed with its holder.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int number() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }

 private:
  int number_;
};

}  // namespace cimom
