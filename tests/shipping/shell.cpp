#include "shell.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace shipping {

namespace fs = std::filesystem;

Outcome shell(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::system_error(errno, std::generic_category(), "popen");
  Outcome outcome;
  std::array<char, 4096> buffer{};
  for (std::size_t count; (count = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    outcome.out.append(buffer.data(), count);
  }
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

std::string quoted(const std::string& word) {
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string(R"('\'')") : std::string(1, c);
  return result + '\'';
}

std::vector<std::string> linesOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> filesBelow(const fs::path& directory) {
  std::vector<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_symlink() || entry.is_regular_file()) {
      files.push_back(entry.path().lexically_relative(directory));
    }
  }
  std::ranges::sort(files);
  return files;
}

bool anyFileMentions(const fs::path& directory, std::string_view word) {
  return std::ranges::any_of(filesBelow(directory), [&](const std::string& file) {
    return !fs::is_symlink(directory / file) &&
           contentOf(directory / file).find(word) != std::string::npos;
  });
}

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (fs::temp_directory_path() / "shipping-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), name);
  }
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace shipping
