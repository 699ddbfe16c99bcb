#include <mof/mof_error.h>

#include <utility>

namespace cimom {
namespace {

std::string describePlace(const std::string& file, std::size_t line, std::size_t column,
                          const std::string& reason) {
  if (line == 0) return file + ": " + reason;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason;
}

}  // namespace

MofError::MofError(std::string file, std::size_t line, std::size_t column, std::string reason)
    : std::runtime_error(describePlace(file, line, column, reason)),
      file_(std::move(file)),
      line_(line),
      column_(column),
      reason_(std::move(reason)) {}

}  // namespace cimom
