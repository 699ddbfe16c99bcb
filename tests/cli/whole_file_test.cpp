#include "whole_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace clitest {
namespace {

namespace fs = std::filesystem;

/// A directory for each test, removed with everything in it.
class WholeFile : public testing::Test {
 protected:
  WholeFile() {
    std::string name = (fs::temp_directory_path() / "whole-file-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the test");
    directory_ = name;
  }
  ~WholeFile() override { fs::remove_all(directory_); }

  std::string path(const std::string& name) const { return (directory_ / name).string(); }

  static std::string read(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  static void put(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static unsigned mode(const std::string& name) {
    struct stat there {};
    return stat(name.c_str(), &there) == 0 ? there.st_mode & 07777U : 0;
  }
  std::size_t files() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_), fs::directory_iterator()));
  }
  /// What the failure says; empty when there is none.
  static std::string failure(const std::string& name) {
    try {
      pcicim::writeWholeFile(name, "new");
      return "";
    } catch (const std::system_error& error) {
      return error.what();
    }
  }

  fs::path directory_;
};

TEST_F(WholeFile, IsThereWithItsContentAndTheModeThatTheUmaskLeaves) {
  const mode_t before = umask(027);
  pcicim::writeWholeFile(path("new"), "content");
  umask(before);
  EXPECT_EQ(read(path("new")), "content");
  EXPECT_EQ(mode(path("new")), 0640U);
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFile, IsNotThereBeforeItIsKept) {
  put(path("old"), "old");
  {
    pcicim::WholeFile first(path("new"));
    pcicim::WholeFile second(path("old"));
    first.write("part");
    second.write("part");
    EXPECT_FALSE(fs::exists(path("new")));
    EXPECT_EQ(read(path("old")), "old");
  }
  EXPECT_FALSE(fs::exists(path("new")));
  EXPECT_EQ(read(path("old")), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFile, KeepsTheModeOfTheOneThatItReplaces) {
  put(path("old"), "old and longer than the new one");
  ASSERT_EQ(chmod(path("old").c_str(), 0604), 0);
  pcicim::writeWholeFile(path("old"), "new");
  EXPECT_EQ(read(path("old")), "new");
  EXPECT_EQ(mode(path("old")), 0604U);
}

TEST_F(WholeFile, ReplacesWhatLinksLeadTo) {
  fs::create_directory(path("other"));
  put(path("other/old"), "old");
  fs::create_symlink("other/old", path("one"));
  fs::create_symlink("one", path("two"));
  pcicim::writeWholeFile(path("two"), "new");
  EXPECT_TRUE(fs::is_symlink(path("two")));
  EXPECT_TRUE(fs::is_symlink(path("one")));
  EXPECT_EQ(read(path("other/old")), "new");
}

TEST_F(WholeFile, IsMadeWhereALinkLeadsToNothingYet) {
  fs::create_directory(path("other"));
  fs::create_symlink("other/new", path("link"));
  pcicim::writeWholeFile(path("link"), "new");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(read(path("other/new")), "new");
}

TEST_F(WholeFile, WritesToWhatIsNoRegularFileDirectly) {
  pcicim::writeWholeFile("/dev/null", "new");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(failure("/dev/full"), "cannot write /dev/full: No space left on device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(WholeFile, SaysWhyThereCanBeNone) {
  EXPECT_EQ(failure(path("no/new")),
            "cannot write " + path("no/new") + ": No such file or directory");
  EXPECT_EQ(failure(directory_.string()),
            "cannot write " + directory_.string() + ": Is a directory");
  EXPECT_EQ(failure(path("new/")), "cannot write " + path("new/") + ": Is a directory");
  EXPECT_EQ(failure(""), "cannot write : No such file or directory");
  fs::create_symlink("circle", path("circle"));
  EXPECT_EQ(failure(path("circle")),
            "cannot write " + path("circle") + ": Too many levels of symbolic links");
}

TEST_F(WholeFile, ADiskThatFillsUpLeavesTheOldOne) {
  put(path("old"), "old");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit bound = before;
  bound.rlim_cur = 2;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &bound), 0);
  const std::string said = failure(path("old"));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(said, "cannot write " + path("old") + ": File too large");
  EXPECT_EQ(read(path("old")), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFile, LeavesWhatIsProtectedAsItIs) {
  put(path("old"), "old");
  ASSERT_EQ(chmod(path("old").c_str(), 0444), 0);
  ASSERT_EQ(chmod(directory_.c_str(), 0777), 0);
  // Root may write to anything.
  if (geteuid() == 0) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  const std::string said = failure(path("old"));
  if (getuid() == 0) {
    ASSERT_EQ(seteuid(0), 0);
  }
  EXPECT_EQ(said, "cannot write " + path("old") + ": Permission denied");
  EXPECT_EQ(read(path("old")), "old");
}

}  // namespace
}  // namespace clitest
