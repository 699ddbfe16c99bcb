#include "mof_files.h"

#include <algorithm>
#include <array>
#include <deque>
#include <fstream>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include <model/names.h>
#include <mof/mof_error.h>

#include "mof_index.h"

namespace cimom {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failForFile(const fs::path& file, const std::string& reason) {
  throw MofError(file.string(), 0, 0, reason);
}

std::string readFile(const fs::path& file) {
  if (fs::is_directory(file)) failForFile(file, "is a directory");
  std::ifstream in(file, std::ios::binary);
  if (!in) failForFile(file, "cannot be opened");
  std::string text;
  std::array<char, 16384> block;
  do {
    in.read(block.data(), block.size());
    text.append(block.data(), static_cast<std::size_t>(in.gcount()));
  } while (in);
  if (in.bad()) failForFile(file, "cannot be read");
  return text;
}

std::vector<fs::path> listMofFiles(const fs::path& directory) {
  std::vector<fs::path> files;
  std::error_code error;
  fs::recursive_directory_iterator entries(directory, error);
  while (!error && entries != fs::recursive_directory_iterator()) {
    const fs::path& path = entries->path();
    if (sameName(path.extension().string(), ".mof") && !fs::is_directory(path)) {
      files.push_back(path);
    }
    entries.increment(error);
  }
  if (error) failForFile(directory, error.message());
  if (files.empty()) failForFile(directory, "holds no MOF file");
  // Directories list in no order of their own; errors should not depend on it.
  std::ranges::sort(files);
  return files;
}

// Reads files and what they include, each once however it is named.
class FileReader {
 public:
  explicit FileReader(MofReading reading) : reading_(reading) {}

  void add(fs::path file);
  std::vector<MofDocument> readAll();

 private:
  void addIncludes(const MofDocument& document, const fs::path& file);

  MofReading reading_;
  std::set<fs::path> known_;
  std::deque<fs::path> waiting_;
};

void FileReader::add(fs::path file) {
  std::error_code error;
  const fs::path canonical = fs::canonical(file, error);
  if (known_.insert(error ? file : canonical).second) waiting_.push_back(std::move(file));
}

std::vector<MofDocument> FileReader::readAll() {
  std::vector<MofDocument> documents;
  while (!waiting_.empty()) {
    const fs::path file = std::move(waiting_.front());
    waiting_.pop_front();
    documents.push_back(readMof(readFile(file), file.string(), reading_));
    addIncludes(documents.back(), file);
  }
  return documents;
}

void FileReader::addIncludes(const MofDocument& document, const fs::path& file) {
  for (const MofDocument::Include& include : document.includes) {
    const fs::path target = file.parent_path() / include.path;
    std::error_code error;
    if (!fs::exists(target, error)) {
      throw MofError(file.string(), include.place.line, include.place.column,
                     "included file '" + include.path + "' does not exist");
    }
    add(target);
  }
}

}  // namespace

std::vector<MofDocument> readMofFiles(const std::vector<fs::path>& filesAndDirectories,
                                      MofReading reading) {
  FileReader reader(reading);
  for (const fs::path& path : filesAndDirectories) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
      for (fs::path& file : listMofFiles(path)) reader.add(std::move(file));
    } else {
      reader.add(path);
    }
  }
  return reader.readAll();
}

}  // namespace cimom
