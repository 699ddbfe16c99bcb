#pragma once

#include <unistd.h>

#include <cerrno>
#include <streambuf>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace pcicim {

/// Reads from a file descriptor, which stays its owner's. A read that fails throws
/// std::system_error, which names the file as it is called here.
class DescriptorBuffer : public std::streambuf {
 public:
  DescriptorBuffer(int descriptor, std::string name)
      : descriptor_(descriptor), name_(std::move(name)), bytes_(kSize) {}

  /// True once the end was reached.
  bool hasEnded() const noexcept { return hasEnded_; }

  /// Takes as many of the bytes that peek() showed.
  void take(std::size_t count) { gbump(static_cast<int>(count)); }

  /// What was read and not taken yet, at least one byte unless the end was reached.
  std::string_view peek() {
    if (gptr() == egptr()) {
      underflow();
    }
    return {gptr(), static_cast<std::size_t>(egptr() - gptr())};
  }

 protected:
  int_type underflow() override {
    ssize_t count = -1;
    do {
      count = hasEnded_ ? 0 : ::read(descriptor_, bytes_.data(), bytes_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      throw std::system_error(errno, std::generic_category(), name_);
    }
    hasEnded_ = count == 0;
    setg(bytes_.data(), bytes_.data(), bytes_.data() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
  }

 private:
  static constexpr std::size_t kSize = 65536;

  int descriptor_;
  std::string name_;
  std::vector<char> bytes_;
  bool hasEnded_ = false;
};

}  // namespace pcicim
