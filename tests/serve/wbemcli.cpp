#include "wbemcli.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace servetest {
namespace {

bool isName(const std::string& key) {
  return !key.starts_with('@');
}

/// The client doubles backslashes and leaves quotes as they are.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) result += c == '\\' ? std::string("\\\\") : std::string(1, c);
  return result + '"';
}

std::string clientValue(const Json& value) {
  if (value.is_null()) return "";
  if (value.is_string()) return quoted(value.get<std::string>());
  if (value.is_boolean()) return value.get<bool>() ? "TRUE" : "FALSE";
  if (value.is_object()) {
    return value.at("@namespace").get<std::string>() + ':' + clientPath(value);
  }
  if (!value.is_array()) return value.dump();
  std::string list;
  for (const Json& element : value) list += (list.empty() ? "" : ",") + clientValue(element);
  return list;
}

bool names(const Json& path, const Json& instance) {
  if (path.at("@class") != instance.at("@class")) return false;
  for (const auto& [name, value] : path.items()) {
    if (isName(name) && instance.value(name, Json()) != value) return false;
  }
  return true;
}

bool isWanted(const std::string& name, const std::vector<std::string>& properties) {
  return isName(name) &&
         (properties.empty() || std::ranges::find(properties, name) != properties.end());
}

}  // namespace

Json askPcicim(const clitest::Arguments& host, const clitest::Arguments& question) {
  clitest::Arguments words = host;
  words.insert(words.end(), question.begin(), question.end());
  words.insert(words.end(), {"--format", "json"});
  const clitest::Outcome outcome = clitest::runPcicim(words);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return Json::parse(outcome.out);
}

clitest::Outcome runWbemcli(const std::string& operation, const clitest::Arguments& options,
                            const std::string& url, const clitest::Arguments& words) {
  clitest::Arguments all{operation};
  all.insert(all.end(), options.begin(), options.end());
  all.push_back(url);
  all.insert(all.end(), words.begin(), words.end());
  return clitest::runProgram(WBEMCLI_PROGRAM, all);
}

std::string clientPath(const Json& path) {
  std::string keys;
  for (const auto& [name, value] : path.items()) {
    if (!isName(name)) continue;
    keys += (keys.empty() ? '.' : ',') + name + '=' + clientValue(value);
  }
  return path.at("@class").get<std::string>() + keys;
}

std::string clientPaths(const Json& paths, const std::string& prefix) {
  std::string lines;
  for (const Json& path : paths) lines += prefix + clientPath(path) + '\n';
  return lines;
}

Json pathsOf(const Json& instances, const Json& candidates) {
  Json paths = Json::array();
  for (const Json& instance : instances) {
    const auto found = std::ranges::find_if(
        candidates, [&](const Json& candidate) { return names(candidate, instance); });
    EXPECT_NE(found, candidates.end()) << instance;
    if (found != candidates.end()) paths.push_back(*found);
  }
  return paths;
}

std::string clientInstances(const Json& instances, const Json& paths, const std::string& prefix,
                            const std::vector<std::string>& properties) {
  EXPECT_EQ(instances.size(), paths.size());
  std::string lines;
  for (std::size_t i = 0; i < std::min(instances.size(), paths.size()); ++i) {
    lines += prefix + clientPath(paths.at(i)) + '\n';
    for (const auto& [name, value] : instances.at(i).items()) {
      if (isWanted(name, properties)) lines += '-' + name + '=' + clientValue(value) + '\n';
    }
    lines += '\n';
  }
  return lines;
}

}  // namespace servetest
