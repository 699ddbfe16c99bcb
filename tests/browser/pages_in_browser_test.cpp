// The pages of `pcicim serve` in a browser.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "browser.h"
#include "served_process.h"

namespace browsertest {
namespace {

using servetest::ServedProcess;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kScript = "<script>document.title='run'</script>";

clitest::Arguments hostNamed(const std::string& name) {
  return {"--host-name", name, "--inventory", clitest::sample("q35-pcie-switches.txt").string()};
}

class Browser : public testing::Test {
 protected:
  explicit Browser(const std::string& hostName = "node7") : server(hostNamed(hostName)) {}

  std::string at(const std::string& path) const { return "http://" + server.authority() + path; }
  std::string heading() { return browser.run("return document.querySelector('h1').textContent"); }

  ServedProcess server;
  browsertest::Browser browser;
};

TEST_F(Browser, FollowsLinksFromTheHostToAnObjectAndOn) {
  browser.open(at("/"));
  EXPECT_EQ(heading(), "node7");
  browser.follow("Zelmar_PCIPort");
  EXPECT_EQ(browser.url(), at("/class/Zelmar_PCIPort"));
  browser.saveScreenshot("class-wide-light");
  browser.follow("0000:02:00.0-ep");
  EXPECT_EQ(heading(), "0000:02:00.0-ep");
  browser.saveScreenshot("object-wide-light");
  browser.follow("Zelmar_PCIDevice 0000:02:00.0");
  EXPECT_EQ(heading(), "0000:02:00.0");
  browser.follow("node7");
  EXPECT_EQ(browser.url(), at("/"));
  EXPECT_THAT(browser.console(), IsEmpty());
}

class HostileBrowser : public Browser {
 protected:
  HostileBrowser() : Browser(kScript) {}
};

TEST_F(HostileBrowser, ShowsHostileTextAsText) {
  for (const char* path : {"/", "/class/Zelmar_PCISystemDevice", "/picture.svg",
                           "/object/OMC_UnitaryComputerSystem?Name=%3Cscript%3E"}) {
    browser.open(at(path));
    EXPECT_EQ(browser.run("return document.querySelectorAll('script').length"), 0) << path;
    EXPECT_NE(browser.run("return document.title"), "run") << path;
    EXPECT_THAT(browser.run("return document.documentElement.textContent").get<std::string>(),
                HasSubstr(kScript))
        << path;
  }
}

TEST_F(Browser, LoadsNothingThatThePolicyForbids) {
  browser.open(at("/"));
  browser.run("document.body.appendChild(document.createElement('img')).src = 'data:,x'");
  browser.run(
      "const style = document.createElement('style');"
      "style.textContent = 'h1 { display: none }'; document.head.appendChild(style)");
  EXPECT_EQ(browser.run("return getComputedStyle(document.querySelector('h1')).display"), "block");
  // What is refused is told there, so that an empty console elsewhere says something.
  EXPECT_THAT(browser.console(), testing::Contains(HasSubstr("Content Security Policy")));
}

TEST_F(Browser, ShowsThePicture) {
  browser.open(at("/"));
  EXPECT_EQ(browser.run("return document.querySelector('img').complete"), true);
  EXPECT_GT(browser.run("return document.querySelector('img').naturalWidth").get<int>(), 500);
  browser.open(at("/picture.svg"));
  EXPECT_EQ(browser.run("return document.querySelectorAll('g[data-address]').length"), 30);
  // Its style sheet is let in.
  EXPECT_EQ(browser.run("return getComputedStyle(document.querySelector('.switch')).fill"),
            "rgb(220, 239, 219)");
  EXPECT_THAT(browser.console(), IsEmpty());
  // No text leaves its box, whatever the fonts of this host are.
  EXPECT_THAT(browser.run("return [...document.querySelectorAll('g')].flatMap(g => {"
                          "  const box = g.querySelector(':scope > rect').getBBox();"
                          "  return [...g.querySelectorAll(':scope > text')].filter(t => {"
                          "    const b = t.getBBox();"
                          "    return b.x < box.x || b.x + b.width > box.x + box.width;"
                          "  }).map(t => t.textContent);"
                          "})"),
              IsEmpty());
}

TEST_F(Browser, KeepsWithinANarrowWindow) {
  browser.resize(500, 900);
  for (const auto& [name, path] :
       {std::pair{"host", "/"}, std::pair{"class", "/class/Zelmar_PCIPort"},
        std::pair{"object", "/object/Zelmar_PCIPort?DeviceID=0000%3A02%3A00.0-ep"}}) {
    browser.open(at(path));
    EXPECT_EQ(browser.run("return document.documentElement.scrollWidth <= innerWidth"), true)
        << path;
    browser.saveScreenshot(std::string(name) + "-narrow-light");
  }
  EXPECT_THAT(browser.console(), IsEmpty());
}

TEST_F(Browser, FollowsTheChoiceOfLightAndDark) {
  browser.resize(1300, 1000);
  std::string background[2];
  for (const std::string scheme : {"light", "dark"}) {
    browser.prefer(scheme);
    browser.open(at("/"));
    background[scheme == "dark" ? 1 : 0] =
        browser.run("return getComputedStyle(document.body).backgroundColor");
    browser.saveScreenshot("host-wide-" + scheme);
  }
  EXPECT_THAT(background, ElementsAre("rgb(255, 255, 255)", "rgb(20, 24, 29)"));
  browser.open(at("/class/Zelmar_PCIPort"));
  browser.saveScreenshot("class-wide-dark");
  EXPECT_THAT(browser.console(), IsEmpty());
}

}  // namespace
}  // namespace browsertest
