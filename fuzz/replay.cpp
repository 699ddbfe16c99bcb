// Runs a fuzz target once over files, without a fuzzer: each file whole, and a small one also cut
// off at every byte. Usage: PROGRAM FILE-OR-DIRECTORY...
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSmall = 2048;

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(in), {}};
}

void runBytes(const std::string& bytes) {
  // Exactly as long as the input, so that a sanitizer sees a step beyond its end.
  const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

void runFile(const fs::path& file) {
  const std::string content = contentOf(file);
  std::printf("%s: %zu bytes\n", file.filename().c_str(), content.size());
  std::fflush(stdout);
  runBytes(content);
  if (content.size() > kSmall) return;
  for (std::size_t length = 0; length < content.size(); ++length) {
    runBytes(content.substr(0, length));
  }
}

std::vector<fs::path> filesOf(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  if (files.empty()) throw std::runtime_error("no files in " + place.string());
  return files;
}

void runAll(int count, char** places) {
  if (count == 0) throw std::runtime_error("nothing to run over is named");
  for (int index = 0; index < count; ++index) {
    for (const fs::path& file : filesOf(places[index])) runFile(file);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    runAll(argc - 1, argv + 1);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
