#include "browser.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace browsertest {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

std::string fromBase64(std::string_view text) {
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) break;
    bits = bits << 6U | static_cast<unsigned>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> static_cast<unsigned>(count) & 0xffU);
  }
  return bytes;
}

/// What the driver says until it listens; it ends when the driver does.
std::string portIn(int output) {
  std::string text;
  for (std::array<char, 4096> part{};;) {
    const ssize_t count = read(output, part.data(), part.size());
    if (count <= 0) throw std::runtime_error("chromedriver did not start: " + text);
    text.append(part.data(), static_cast<std::size_t>(count));
    constexpr std::string_view kMark = "started successfully on port ";
    const std::size_t at = text.find(kMark);
    if (at == std::string::npos || text.find('\n', at) == std::string::npos) continue;
    const std::size_t start = at + kMark.size();
    return text.substr(start, text.find_first_not_of("0123456789", start) - start);
  }
}

Json capabilities(const std::string& profile) {
  return {{"capabilities",
           {{"alwaysMatch",
             {{"browserName", "chrome"},
              {"goog:loggingPrefs", {{"browser", "ALL"}}},
              {"goog:chromeOptions",
               {{"binary", "/usr/bin/chromium"},
                {"args",
                 {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync",
                  "--disable-dev-shm-usage", "--user-data-dir=" + profile}}}}}}}}};
}

}  // namespace

Browser::Browser() {
  std::string name = (fs::temp_directory_path() / "browser-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the browser");
  profile_ = name;
  try {
    startDriver();
    session_ = ask("POST", "/session", capabilities(profile_)).at("sessionId");
  } catch (...) {
    endDriver();
    throw;
  }
}

Browser::~Browser() {
  try {
    inSession("DELETE", "");
  } catch (const std::exception&) {
    // It goes with its driver.
  }
  endDriver();
}

void Browser::startDriver() {
  std::array<int, 2> output{};
  if (pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = "chromedriver";
  std::string port = "--port=0";
  std::array<char*, 3> words{program.data(), port.data(), nullptr};
  // In a group of its own, that the browser goes with it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int error =
      posix_spawnp(&driver_, program.c_str(), &actions, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  if (error != 0) driver_ = -1;
  const std::string number = portIn(output[0]);
  client_ = std::make_unique<servetest::HttpClient>(std::stoi(number));
  client_->keepAlive(false);
}

void Browser::endDriver() {
  if (driver_ > 0) {
    kill(-driver_, SIGKILL);
    waitpid(driver_, nullptr, 0);
  }
  std::error_code ignored;
  fs::remove_all(profile_, ignored);
}

Json Browser::ask(const std::string& method, const std::string& path, const Json& body) {
  const std::string text = method == "POST" ? body.dump() : "";
  const auto answer =
      client_->send(method, path, {{"Content-Type", "application/json; charset=utf-8"}}, text);
  if (!answer) throw std::runtime_error(path + ": no answer");
  Json value = Json::parse(answer->body).at("value");
  if (answer->status != 200) throw std::runtime_error(path + ": " + value.dump());
  return value;
}

Json Browser::inSession(const std::string& method, const std::string& path, const Json& body) {
  return ask(method, "/session/" + session_ + path, body);
}

void Browser::open(const std::string& url) {
  inSession("POST", "/url", {{"url", url}});
}

std::string Browser::url() {
  return inSession("GET", "/url");
}

Json Browser::run(const std::string& script) {
  return inSession("POST", "/execute/sync", {{"script", script}, {"args", Json::array()}});
}

void Browser::follow(const std::string& linkText) {
  const Json element = inSession("POST", "/element", {{"using", "link text"}, {"value", linkText}});
  const std::string id = element.begin().value();
  inSession("POST", "/element/" + id + "/click");
}

void Browser::resize(int width, int height) {
  inSession("POST", "/window/rect", {{"width", width}, {"height", height}});
}

void Browser::prefer(const std::string& colourScheme) {
  const Json feature{{"name", "prefers-color-scheme"}, {"value", colourScheme}};
  inSession(
      "POST", "/goog/cdp/execute",
      {{"cmd", "Emulation.setEmulatedMedia"}, {"params", {{"features", Json::array({feature})}}}});
}

std::vector<std::string> Browser::console() {
  std::vector<std::string> lines;
  for (const Json& entry : inSession("POST", "/se/log", {{"type", "browser"}})) {
    lines.push_back(entry.at("message"));
  }
  return lines;
}

void Browser::saveScreenshot(const std::string& name) {
  const std::string base64 = inSession("GET", "/screenshot");
  std::ofstream(fs::path(SCREENSHOTS_DIRECTORY) / (name + ".png"), std::ios::binary)
      << fromBase64(base64);
}

}  // namespace browsertest
