#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

/// Texts that are put together for a value, and short as a rule. All are safe on any thread.
namespace pciprovider {

/// Whether two texts are equal, for addresses, most of which differ in their first eight bytes: one
/// that was only just written is read as it was written, in words.
inline bool IsSameAddress(std::string_view left, std::string_view right) noexcept {
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  if (left.size() != right.size()) return false;
  if (left.size() >= sizeof first) {
    std::memcpy(&first, left.data(), sizeof first);
    std::memcpy(&second, right.data(), sizeof second);
  }
  return first == second && left == right;
}

/// Parts one behind the other. The heap is used where they are longer than any usual name.
class JoinedText {
 public:
  JoinedText(std::initializer_list<std::string_view> parts) {
    std::size_t length = 0;
    for (const std::string_view part : parts) length += part.size();
    char* to = short_.data();
    if (length >= short_.size()) {
      long_.resize(length);
      to = long_.data();
    }
    text_ = to;
    for (const std::string_view part : parts) {
      std::memcpy(to, part.data(), part.size());
      to += part.size();
    }
    *to = '\0';
  }
  JoinedText(const JoinedText&) = delete;
  JoinedText& operator=(const JoinedText&) = delete;

  const char* c_str() const noexcept { return text_; }

 private:
  const char* text_;
  std::array<char, 256> short_;
  std::string long_;
};

/// A number below 256 in decimal digits.
class ByteDigits {
 public:
  explicit ByteDigits(std::uint8_t number) noexcept {
    do {
      digits_[--first_] = static_cast<char>('0' + number % 10);
      number = static_cast<std::uint8_t>(number / 10);
    } while (number != 0);
  }
  operator std::string_view() const noexcept {
    return {digits_.data() + first_, digits_.size() - first_};
  }

 private:
  std::array<char, 3> digits_{};
  std::size_t first_ = 3;
};

}  // namespace pciprovider
