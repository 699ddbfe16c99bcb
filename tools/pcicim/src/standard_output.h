#pragma once

#include <array>
#include <ostream>
#include <streambuf>

#include "options.h"

namespace pcicim {

/// Whether text at standard output is to be coloured: by itself on a terminal that can, unless the
/// variable NO_COLOR is set and not empty.
bool wantsColours(Colours choice);

/// Writes to standard output and remembers why that failed: a stream reports only that it did, and
/// errno has changed by the time it is read.
class StandardOutputBuffer : public std::streambuf {
 public:
  StandardOutputBuffer();

  /// errno of the first write that failed, 0 when none did. Nothing is written after that one.
  int error() const noexcept { return error_; }

 protected:
  int_type overflow(int_type character) override;
  int sync() override;

 private:
  void writeOut();

  std::array<char, 16384> characters_{};
  int error_ = 0;
};

}  // namespace pcicim
