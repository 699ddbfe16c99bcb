#include "configuration_file.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>

namespace pcicim {
namespace {

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return "";
  return std::string(text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin));
}

CLI::Option* findOption(const std::vector<CLI::App*>& commands, const std::string& name) {
  // What says something and ends, the file itself and how other hosts are asked are for the command
  // line alone.
  static const std::set<std::string> kNotInFiles{"config",  "help",     "version", "url",
                                                 "ca-file", "insecure", "timeout"};
  if (name.empty() || kNotInFiles.contains(name)) return nullptr;
  for (CLI::App* command : commands) {
    CLI::Option* option = command->get_option_no_throw("--" + name);
    if (option != nullptr) return option;
  }
  return nullptr;
}

void give(CLI::Option& option, const std::string& name, const std::string& value) {
  const bool isFlag = option.get_expected_max() == 0;
  option.add_result(isFlag ? option.get_flag_value(name, value) : value);
  option.run_callback();
}

/// The name of an option that must be given with this one and is not; empty when there is none.
std::string missingBeside(const CLI::Option& option) {
  for (const CLI::Option* needed : option.get_needs()) {
    if (needed->count() == 0) return needed->get_name().substr(2);
  }
  return "";
}

}  // namespace

ConfigurationFile::ConfigurationFile(const std::string& file) : file_(file) {
  std::ifstream in(file);
  int number = 0;
  for (std::string line; std::getline(in, line);) read(++number, trimmed(line));
  if (!in.eof()) {
    throw ConfigurationError("cannot read " + file + ": " + std::generic_category().message(errno));
  }
}

void ConfigurationFile::read(int number, const std::string& text) {
  if (text.empty() || text.starts_with('#')) return;
  const std::size_t sign = text.find('=');
  if (sign == std::string::npos) fail(number, "this is not NAME = VALUE: " + text);
  lines_.push_back({number, trimmed(text.substr(0, sign)), trimmed(text.substr(sign + 1))});
}

void ConfigurationFile::apply(const std::vector<CLI::App*>& commands) const {
  std::vector<std::pair<const Line*, CLI::Option*>> given;
  std::set<const CLI::Option*> onCommandLine;
  for (const Line& line : lines_) {
    CLI::Option* option = findOption(commands, line.name);
    if (option == nullptr) fail(line.number, "there is no option " + line.name);
    if (line.value.empty()) fail(line.number, line.name + " has no value");
    if (option->count() > 0) onCommandLine.insert(option);
    given.emplace_back(&line, option);
  }
  for (const auto& [line, option] : given) {
    if (onCommandLine.contains(option)) continue;
    try {
      give(*option, line->name, line->value);
    } catch (const CLI::Error& error) {
      fail(line->number, error.what());
    }
  }
  for (const auto& [line, option] : given) {
    const std::string missing = missingBeside(*option);
    if (!missing.empty()) fail(line->number, line->name + " needs " + missing);
  }
}

void ConfigurationFile::fail(int line, const std::string& reason) const {
  throw ConfigurationError(file_ + ", line " + std::to_string(line) + ": " + reason);
}

}  // namespace pcicim
