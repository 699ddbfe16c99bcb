// What all classes return over saved machines, compared with what is written down beside them.
#include "machine_answers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace machines {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRewrite = "PCIPROVIDER_REWRITE_ANSWERS";

fs::path answersFile(const std::string& machine) {
  return fs::path(MACHINES_DIRECTORY) / (machine + ".answers");
}

/// Each saved machine by its name, the samples and those made for these tests.
std::map<std::string, fs::path> allMachines() {
  std::map<std::string, fs::path> all;
  for (const char* directory : {SAMPLES_DIRECTORY, MACHINES_DIRECTORY}) {
    for (const auto& file : fs::directory_iterator(directory)) {
      const fs::path& path = file.path();
      if (path.extension() == ".txt" && path.filename() != "CMakeLists.txt")
        all[path.stem()] = path;
    }
  }
  return all;
}

std::vector<std::string> machineNames() {
  std::vector<std::string> names;
  for (const auto& machine : allMachines()) names.push_back(machine.first);
  return names;
}

std::string readFile(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

class Machine : public testing::TestWithParam<std::string> {};

TEST_P(Machine, AnswersAsWrittenDown) {
  const fs::path file = answersFile(GetParam());
  const std::string actual = answersOver(allMachines().at(GetParam()));
  if (std::getenv(kRewrite) != nullptr) {
    std::ofstream(file) << actual;
    ASSERT_EQ(readFile(file), actual) << file;
    GTEST_SKIP() << file << " is written anew";
  }
  ASSERT_TRUE(fs::exists(file)) << kRewrite << "=1 writes it";
  EXPECT_EQ(readFile(file), actual)
      << "If the change is meant, " << kRewrite << "=1 writes it to " << file;
}

INSTANTIATE_TEST_SUITE_P(Saved, Machine, testing::ValuesIn(machineNames()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(Answers, BelongToAMachine) {
  const std::vector<std::string> machines = machineNames();
  ASSERT_GE(machines.size(), 9U);
  for (const auto& file : fs::directory_iterator(MACHINES_DIRECTORY)) {
    if (file.path().extension() != ".answers") continue;
    EXPECT_EQ(std::count(machines.begin(), machines.end(), file.path().stem()), 1) << file;
  }
}

}  // namespace
}  // namespace machines
