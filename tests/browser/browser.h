#pragma once

#include <sys/types.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "http_client.h"

namespace browsertest {

/// Debian's Chromium without a window, driven through chromedriver over WebDriver (W3C). Ended with
/// the object. Each function throws std::runtime_error when the browser reports an error or does
/// not answer.
class Browser {
 public:
  Browser();
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  void open(const std::string& url);
  std::string url();
  /// What the script (of the test, not of the page) returns.
  nlohmann::json run(const std::string& script);
  /// Clicks the link with that text, the first of several.
  void follow(const std::string& linkText);
  void resize(int width, int height);
  /// What the media query says: "light" or "dark".
  void prefer(const std::string& colourScheme);
  /// Everything in the console since the last call: errors, warnings, refusals by policy.
  std::vector<std::string> console();
  /// Leaves a picture of the window among what the build makes.
  void saveScreenshot(const std::string& name);

 private:
  void startDriver();
  void endDriver();
  nlohmann::json ask(const std::string& method, const std::string& path,
                     const nlohmann::json& body = nlohmann::json::object());
  nlohmann::json inSession(const std::string& method, const std::string& path,
                           const nlohmann::json& body = nlohmann::json::object());

  std::string profile_;
  pid_t driver_ = -1;
  std::unique_ptr<servetest::HttpClient> client_;
  std::string session_;
};

}  // namespace browsertest
