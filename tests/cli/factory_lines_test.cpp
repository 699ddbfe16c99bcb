// What is left of standard error without the lines of factories.
#include "factory_lines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace pcicim {
namespace {

/// What `write` leaves at descriptor 2; to be called once in a process.
template <typename Write>
std::string standardErrorOf(Write write) {
  std::string name = testing::TempDir() + "factory-lines-XXXXXX";
  const int file = mkstemp(name.data());
  const int before = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  leaveOutFactoryLines();
  write();
  dup2(before, STDERR_FILENO);
  close(before);
  close(file);
  std::ifstream in(name);
  std::ostringstream text;
  text << in.rdbuf();
  unlink(name.c_str());
  return text.str();
}

void printFactoryLine() {
  std::fprintf(stderr, "--- _Create_InstanceMI() %s\n", "PN6zelInt10CmpiBaseMIE");
}

TEST(FactoryLines, AreTakenOutAndNothingElse) {
  const std::string text = standardErrorOf([] {
    printFactoryLine();
    std::fputs("begun, ", stderr);
    std::fprintf(stderr, "ended\n%s", "--- other\n\n");
    printFactoryLine();
    printFactoryLine();
    std::fputs("said: --- _Create_InstanceMI() x\n--", stderr);
  });
  EXPECT_EQ(text, "begun, ended\n--- other\n\nsaid: --- _Create_InstanceMI() x\n--");
}

TEST(FactoryLines, OfSeveralThreadsTakeNothingWithThem) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  const std::string text = standardErrorOf([] {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([] {
        for (int line = 0; line < kLines; ++line) {
          printFactoryLine();
          std::fprintf(stderr, "line %d\n", line);
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  });
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kThreads * kLines);
  EXPECT_EQ(text.find("---"), std::string::npos);
}

}  // namespace
}  // namespace pcicim
