// Every sampled byte of the saved machines changed to several values: nothing but the functions
// whose text was changed may be lost or described differently.
#include "function_record.h"
#include "host_fixture.h"
#include "snapshot.h"

#include <algorithm>
#include <map>
#include <set>

namespace qarctltest {
namespace {

using Descriptions = std::multiset<std::string>;

Descriptions describeText(const std::string& text) {
  Descriptions all;
  try {
    const auto snapshot = HostCtl::Snapshot::Make(HostCtl::ReadInventoryText(text, "changed"));
    for (std::size_t at = 0; at < snapshot->Size(); ++at) {
      all.insert(ownWords(*snapshot->MakeDevice(at)));
    }
  } catch (const HostCtl::Lib::HostCtlException&) {
    return all;
  }
  return all;
}

/// Where each function's text begins: behind an empty line or at the start.
std::vector<std::size_t> beginningsOf(const std::string& text) {
  std::vector<std::size_t> beginnings = {0};
  for (std::size_t at = text.find("\n\n"); at != std::string::npos && at + 2 < text.size();
       at = text.find("\n\n", at + 2)) {
    beginnings.push_back(at + 2);
  }
  return beginnings;
}

class ByteSweep : public HostTest {
 protected:
  /// `text` without the functions that a change at `at` touches; the line ends before a function
  /// are its own as well.
  static std::string withoutFunctionsAt(const std::string& text, std::size_t at) {
    const auto beginnings = beginningsOf(text);
    std::string rest;
    for (std::size_t function = 0; function < beginnings.size(); ++function) {
      const std::size_t begin = beginnings[function];
      const std::size_t end =
          function + 1 < beginnings.size() ? beginnings[function + 1] : text.size();
      if (at + 2 >= begin && at < end) continue;
      rest += text.substr(begin, end - begin);
    }
    return rest;
  }

  /// Changes every `stride`-th byte to each of the values.
  static void sweep(const std::string& text, std::size_t stride) {
    std::map<std::string, Descriptions> expectations;
    for (std::size_t at = 0; at < text.size(); at += stride) {
      const std::string untouched = withoutFunctionsAt(text, at);
      auto& expected = expectations[untouched];
      if (expected.empty()) expected = describeText(untouched);
      for (const char value : {'\n', ' ', '0', 'f', ':', 'x', '\0', '\xff'}) {
        std::string changed = text;
        changed[at] = value;
        const Descriptions found = describeText(changed);
        ASSERT_TRUE(std::includes(found.begin(), found.end(), expected.begin(), expected.end()))
            << "byte " << at << " changed to " << +value;
        ASSERT_LE(found.size(), expected.size() + 3) << "byte " << at << " made functions up";
      }
    }
  }
};

TEST_F(ByteSweep, OfConventionalPciLosesOnlyWhatItDamages) {
  const std::string text = readSample("i440fx-conventional.txt");
  ASSERT_EQ(describeText(text).size(), beginningsOf(text).size());
  sweep(text, 11);
}

TEST_F(ByteSweep, OfPcieSwitchesLosesOnlyWhatItDamages) {
  const std::string text = readSample("q35-pcie-switches.txt");
  ASSERT_EQ(describeText(text).size(), beginningsOf(text).size());
  sweep(text, 1999);
}

TEST_F(ByteSweep, OfTheLinesThatNameFunctionsLosesOnlyWhatItDamages) {
  const std::string text = readSample("i440fx-conventional.txt");
  std::string small;
  const auto beginnings = beginningsOf(text);
  for (std::size_t function = 0; function < 4; ++function) {
    const std::size_t begin = beginnings[function];
    small += text.substr(begin, text.find("40:", begin) - begin) + "\n";
  }
  sweep(small, 1);
}

TEST_F(ByteSweep, EveryBeginningOfAnInventoryIsReadOrRefused) {
  const std::string text = readSample("i440fx-conventional.txt");
  const Descriptions all = describeText(text);
  std::size_t before = 0;
  for (std::size_t length = 0; length <= text.size(); length += 7) {
    const std::size_t found = describeText(text.substr(0, length)).size();
    EXPECT_GE(found, before) << length;
    EXPECT_LE(found, all.size()) << length;
    before = found;
  }
  EXPECT_EQ(describeText(text), all);
}

}  // namespace
}  // namespace qarctltest
