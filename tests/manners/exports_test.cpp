// What the platform libraries let out: their classes, as the headers mark them, and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace manners {
namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

struct Platform {
  const char* name;
  const char* library;
  const char* headers;
  const char* scope;
};

void PrintTo(const Platform& platform, std::ostream* out) {
  *out << platform.name;
}

std::vector<std::string> linesOf(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  std::vector<std::string> lines;
  std::array<char, 4096> line{};
  while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
    const std::string text(line.data());
    lines.push_back(text.substr(0, text.find('\n')));
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return lines;
}

class PlatformExports : public testing::TestWithParam<Platform> {
 protected:
  /// "W typeinfo for zelInt::CmpiStatus": the kind of symbol and its name as it is declared.
  static std::vector<std::string> symbols() {
    std::vector<std::string> result;
    for (const std::string& line :
         linesOf(std::string("nm -D -C --defined-only ") + GetParam().library)) {
      result.push_back(line.substr(line.find(' ') + 1));
    }
    return result;
  }

  /// The classes, without their namespaces, that the headers mark for export.
  static std::set<std::string> publicClasses() {
    const std::regex mark("^class [A-Z]+_EXPORT (\\w+)");
    std::set<std::string> classes;
    for (const auto& header : fs::directory_iterator(GetParam().headers)) {
      std::ifstream in(header.path());
      std::smatch found;
      for (std::string line; std::getline(in, line);) {
        if (std::regex_search(line, found, mark)) classes.insert(found[1]);
      }
    }
    return classes;
  }

  /// The class whose member, table or type record the symbol is; empty for anything else.
  static std::string classOf(const std::string& symbol) {
    const std::regex form(
        "^. (?:(?:vtable|VTT|typeinfo|typeinfo name) for |(?:non-)?(?:virtual )?"
        "thunk to )?" +
        std::string(GetParam().scope) +
        "::(?:Hardware::|Lib::)?(\\w+)(?:::[^ (]+(?: \\w+::\\w+)?\\(.*)?$");
    std::smatch found;
    return std::regex_match(symbol, found, form) ? found[1].str() : "";
  }
};

TEST_P(PlatformExports, AreThePublicClassesAlone) {
  const std::set<std::string> classes = publicClasses();
  std::set<std::string> exported;
  for (const std::string& symbol : symbols()) {
    const std::string name = classOf(symbol);
    EXPECT_EQ(classes.count(name), 1U) << symbol;
    exported.insert(name);
  }
  // The context is a plain holder, all of it in its header.
  exported.insert("CmpiContext");
  EXPECT_THAT(exported, IsSupersetOf(classes));
}

/// The loader never unmaps a library that such a symbol was found in.
TEST_P(PlatformExports, HoldNoSymbolThatIsUniqueInTheProcess) {
  const std::vector<std::string> all = symbols();
  EXPECT_THAT(all, Not(IsEmpty()));
  for (const std::string& symbol : all) EXPECT_NE(symbol.front(), 'u') << symbol;
}

/// Exceptions are caught and objects cast across libraries by these.
TEST_P(PlatformExports, HoldTheTypeRecordsOfClassesWithTables) {
  const std::vector<std::string> all = symbols();
  std::size_t tables = 0;
  const std::string start = "V vtable for ";
  for (const std::string& symbol : all) {
    if (!symbol.starts_with(start)) continue;
    const std::string name = symbol.substr(start.size());
    EXPECT_THAT(all, IsSupersetOf({"V typeinfo for " + name, "V typeinfo name for " + name}));
    ++tables;
  }
  EXPECT_GE(tables, 5U);
}

INSTANTIATE_TEST_SUITE_P(
    Of, PlatformExports,
    testing::Values(Platform{"Binding", ZELCPPC_LIBRARY, ZELCPPC_HEADERS, "zelInt"},
                    Platform{"HostControl", QARCTL_LIBRARY, QARCTL_HEADERS, "HostCtl"}),
    [](const auto& testInfo) { return std::string(testInfo.param.name); });

}  // namespace
}  // namespace manners
