#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace pcicim {

/// Looks at the text of a saved inventory as it goes by: whether it has more of any function than
/// the header of its configuration space, the first 64 bytes. Not a reader of inventories: that is
/// the provider's.
class HeaderScan {
 public:
  void take(std::string_view piece);

  /// True when there were bytes and all of them below offset 64; at any time.
  bool sawHeadersAlone() const { return sawHeader_ && !sawMore_; }
  /// True once more than a header was seen: nothing that follows matters.
  bool sawMore() const { return sawMore_; }

 private:
  void takeLine();

  /// The beginning of the line that goes by, as far as it can matter.
  std::string line_;
  bool sawHeader_ = false;
  bool sawMore_ = false;
};

/// The same of a regular file, read as far as it takes; false for what is none or cannot be read.
bool holdsHeadersAlone(const std::filesystem::path& inventory);

/// True when the kernel gives the process no more than the header of a PCI function's configuration
/// space: a process without privilege. `sysfs` is the root of the tree. False where there is no
/// function, or none that can be read.
bool givesHeadersAlone(const std::filesystem::path& sysfs);

}  // namespace pcicim
