#include "guest_answers.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace vmtest {
namespace {

std::filesystem::path answerFile(const std::string& name) {
  return std::filesystem::path(GUEST_ANSWERS_DIRECTORY) / name;
}

std::string readFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    throw std::runtime_error("the guest sent no " + file.string());
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

std::string answer(const std::string& name) {
  const std::filesystem::path failed = answerFile(name + ".failed");
  if (std::filesystem::exists(failed)) {
    throw std::runtime_error("the guest failed at " + name + ": " + readFile(failed));
  }
  return readFile(answerFile(name));
}

std::vector<Json> instances(const std::string& source, const std::string& className) {
  return Json::parse(answer(source + '.' + className)).get<std::vector<Json>>();
}

std::map<std::string, Fields> fieldsByAddress(const std::string& text) {
  std::map<std::string, Fields> functions;
  Fields* current = nullptr;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(":\t");
    if (colon == std::string::npos) {
      continue;
    }
    const std::string name = line.substr(0, colon);
    const std::string value = line.substr(colon + 2);
    if (name == "Slot") {
      current = &functions[value];
    }
    if (current == nullptr) {
      throw std::runtime_error("a field before the first function: " + line);
    }
    current->emplace(name, value);
  }
  return functions;
}

std::uint32_t hexField(const Fields& fields, const std::string& name) {
  const auto field = fields.find(name);
  return field == fields.end() ? 0
                               : static_cast<std::uint32_t>(std::stoul(field->second, nullptr, 16));
}

std::map<std::string, int> slotsByDevice(const std::string& text) {
  std::map<std::string, int> slots;
  std::istringstream words(text);
  for (std::string name, device; words >> name >> device;) {
    slots.emplace(device, std::stoi(name));
  }
  return slots;
}

std::size_t occurrences(const std::string& text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

}  // namespace vmtest
