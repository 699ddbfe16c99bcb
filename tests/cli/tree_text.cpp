#include "tree_text.h"

#include <cctype>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace clitest {
namespace {

/// Where functions named next sit: their bus ("0000:02") and the function that leads there.
struct Place {
  std::string segment;
  std::string bus;
  std::string parent;
};

class LspciTreeReader {
 public:
  void readLine(const std::string& line) {
    std::size_t at = line.find_first_not_of(" |");
    if (at == std::string::npos) {
      return;
    }
    Place place;
    if (line[at] == '+' || line[at] == '\\') {
      place = branches_.at(at);
    }
    std::string function;
    for (; at < line.size() && line[at] != ' '; ++at) {
      const char c = line[at];
      if (c == '+') {
        branches_[at] = place;
      } else if (c == '[') {
        at = enterBus(line, at, function, place);
      } else if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
        function = place.segment + ':' + place.bus + ':' + line.substr(at, 4);
        parents_[function] = place.parent;
        at += 3;
      } else if (c != '-' && c != '\\') {
        throw std::runtime_error("cannot follow: " + line);
      }
    }
  }

  const Parents& parents() const { return parents_; }

 private:
  /// Reads "[0000:00]" (a root bus), "[02]" or "[02-09]"; the position of the closing bracket.
  static std::size_t enterBus(const std::string& line, std::size_t at, const std::string& function,
                              Place& place) {
    const std::size_t end = line.find(']', at);
    const std::string text = line.substr(at + 1, end - at - 1);
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
      place.bus = text.substr(0, 2);
      place.parent = function;
    } else {
      place = {text.substr(0, colon), text.substr(colon + 1), ""};
    }
    return end;
  }

  std::map<std::size_t, Place> branches_;
  Parents parents_;
};

}  // namespace

Parents parseLspciTree(std::string_view text) {
  LspciTreeReader reader;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    reader.readLine(line);
  }
  return reader.parents();
}

Parents parsePcicimTree(std::string_view text) {
  Parents parents;
  std::vector<std::string> above;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.find_first_not_of(" |`-");
    const std::size_t mark = line.find("- ");
    if (line.empty() || at == 0) {
      above.clear();
      continue;
    }
    if (mark == std::string::npos || mark + 2 != at || mark % 3 != 1 || mark / 3 > above.size()) {
      throw std::runtime_error("cannot follow: " + line);
    }
    above.resize(mark / 3);
    const std::string address = line.substr(at, line.find(' ', at) - at);
    if (!parents.emplace(address, above.empty() ? "" : above.back()).second) {
      throw std::runtime_error("printed twice: " + address);
    }
    above.push_back(address);
  }
  return parents;
}

}  // namespace clitest
