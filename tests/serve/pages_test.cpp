// The pages that `pcicim serve` shows to browsers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <pugixml.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "cim_request.h"
#include "http_client.h"
#include "made_inventory.h"
#include "raw_client.h"
#include "served_process.h"
#include "tls_files.h"

namespace servetest {
namespace {

using clitest::sample;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kScript = "<script>alert('1')</script>\"&";

clitest::Arguments hostNamed(const std::string& name) {
  return {"--host-name", name, "--inventory", sample("q35-pcie-switches.txt").string()};
}

HttpAnswer get(const ServedProcess& server, const std::string& target,
               const HttpHeaders& headers = {}) {
  HttpClient client(server.port());
  return client.send("GET", target, headers).value();
}

/// A page that has to be well-formed.
pugi::xml_document parsed(const std::string& html) {
  pugi::xml_document document;
  const auto result = document.load_string(html.c_str());
  if (!result) throw std::runtime_error(std::string(result.description()) + "\n" + html);
  return document;
}

std::string textOf(const pugi::xml_node& node) {
  std::string text;
  for (const auto& found : node.select_nodes(".//text()")) text += found.node().value();
  return text;
}

/// The cells of the first table, row by row.
std::vector<std::vector<std::string>> tableOf(const pugi::xml_document& page) {
  std::vector<std::vector<std::string>> rows;
  for (const auto& row : page.select_nodes("(//table)[1]/tbody/tr")) {
    rows.emplace_back();
    for (const pugi::xml_node& cell : row.node().children()) rows.back().push_back(textOf(cell));
  }
  return rows;
}

std::vector<std::string> linksOf(const pugi::xml_document& page) {
  std::vector<std::string> links;
  for (const auto& found : page.select_nodes("//a/@href")) {
    const std::string url = found.attribute().value();
    if (!url.starts_with('#')) links.push_back(url);
  }
  return links;
}

TEST(Pages, ShowTheHostWithItsPictureAndTheCountsOfItsClasses) {
  const ServedProcess server(hostNamed("node7"));
  EXPECT_THAT(server.announcement(),
              HasSubstr("In a browser: http://" + server.authority() + "/\n"));
  const HttpAnswer answer = get(server, "/");
  EXPECT_EQ(answer.status, 200U);
  EXPECT_EQ(answer.header("Content-Type"), "text/html; charset=utf-8");
  const auto page = parsed(answer.body);
  EXPECT_EQ(textOf(page.select_node("//h1").node()), "node7");
  EXPECT_STREQ(page.child("html").attribute("lang").value(), "en");
  EXPECT_EQ(page.select_nodes("//main").size(), 1U);
  const auto rows = tableOf(page);
  ASSERT_GE(rows.size(), 10U);
  EXPECT_EQ(rows[0][0], "Zelmar_PCIDevice");
  EXPECT_EQ(rows[0][1], "13");
  EXPECT_EQ(rows[3][1], "33");
  const HttpAnswer picture = get(server, page.select_node("//img/@src").attribute().value());
  EXPECT_EQ(picture.header("Content-Type"), "image/svg+xml");
  EXPECT_EQ(parsed(picture.body).select_nodes("//g[@data-address]").size(), 30U);
}

TEST(Pages, LetABrowserLoadNothingElse) {
  const ServedProcess server(hostNamed("node7"));
  for (const char* target : {"/", "/class/Zelmar_PCIPort", "/picture.svg", "/style.css",
                             "/icon.svg", "/class/Nonsense"}) {
    const HttpAnswer answer = get(server, target);
    const std::string policy = answer.header("Content-Security-Policy");
    EXPECT_THAT(policy, StartsWith("default-src 'none'; ")) << target;
    EXPECT_THAT(policy, Not(HasSubstr("unsafe"))) << target;
    EXPECT_EQ(answer.header("X-Content-Type-Options"), "nosniff") << target;
    EXPECT_EQ(answer.header("Referrer-Policy"), "no-referrer") << target;
    EXPECT_EQ(answer.header("Cache-Control"), "no-store") << target;
    EXPECT_THAT(answer.body, Not(HasSubstr(" style=\""))) << target;
  }
}

TEST(Pages, ShowEachClassWithWordsForItsValues) {
  const ServedProcess server(hostNamed("node7"));
  const HttpAnswer answer = get(server, "/class/Zelmar_PCIPort");
  const auto page = parsed(answer.body);
  EXPECT_EQ(textOf(page.select_node("//caption").node()), "Zelmar_PCIPort, objects 1 to 33 of 33");
  const auto rows = tableOf(page);
  ASSERT_EQ(rows.size(), 33U);
  EXPECT_EQ(rows[1][0], "0000:00:04.0-pri");
  EXPECT_THAT(rows[1], testing::Contains("150 (PCI)"));
  for (const auto& head : page.select_nodes("//th")) {
    EXPECT_TRUE(head.node().attribute("scope")) << textOf(head.node());
  }
  // In any case, as names of classes are.
  EXPECT_EQ(textOf(parsed(get(server, "/class/zelmar_pciport").body).select_node("//h1").node()),
            "Zelmar_PCIPort");
  EXPECT_THAT(get(server, "/class/Zelmar_PCIDeviceConnection").body,
              HasSubstr("There are no objects of this class."));
}

TEST(Pages, LeadFromAnObjectToThoseAssociatedWithIt) {
  const ServedProcess server(hostNamed("node7"));
  const auto port = parsed(get(server, "/object/Zelmar_PCIPort?DeviceID=0000%3A02%3A00.0-ep").body);
  EXPECT_EQ(textOf(port.select_node("//h1").node()), "0000:02:00.0-ep");
  const auto link =
      port.select_node("//h3[contains(., 'Zelmar_PCIControlledBy')]/following-sibling::ul[1]//a");
  EXPECT_EQ(textOf(link.node()), "Zelmar_PCIDevice 0000:02:00.0");
  const HttpAnswer other = get(server, link.node().attribute("href").value());
  EXPECT_EQ(other.status, 200U);
  EXPECT_THAT(other.body, AllOf(HasSubstr("<h1>0000:02:00.0</h1>"), HasSubstr("XIO3130")));
}

TEST(Pages, HaveNoLinkThatLeadsNowhere) {
  const ServedProcess server(hostNamed(kScript));
  std::set<std::string> known{"/"};
  std::vector<std::string> left{"/"};
  while (!left.empty()) {
    const std::string target = left.back();
    left.pop_back();
    const HttpAnswer answer = get(server, target);
    ASSERT_EQ(answer.status, 200U) << target << '\n' << answer.body;
    const auto page = parsed(answer.body);
    EXPECT_TRUE(page.select_nodes("//script").empty()) << target;
    for (const std::string& url : linksOf(page)) {
      if (known.insert(url).second) left.push_back(url);
    }
  }
  // Host, picture, classes, and an object each for devices, bridges, switches, ports and buses.
  EXPECT_GT(known.size(), 13U + 6U + 2U + 33U + 14U);
}

TEST(Pages, ShowHostileTextAsText) {
  const ServedProcess server(hostNamed(kScript));
  for (const char* target : {"/", "/class/Zelmar_PCISystemDevice", "/picture.svg"}) {
    const HttpAnswer answer = get(server, target);
    EXPECT_THAT(answer.body,
                HasSubstr("&lt;script&gt;alert(&#39;1&#39;)&lt;/script&gt;&quot;&amp;"))
        << target;
    EXPECT_THAT(answer.body, Not(HasSubstr("<script"))) << target;
  }
  const HttpAnswer asked = get(server, "/class/%3Cscript%3E%0A");
  EXPECT_EQ(asked.status, 404U);
  EXPECT_THAT(asked.body, HasSubstr("There is no class &lt;script&gt;\\x0a."));
}

TEST(Pages, ShowLargeClassesInParts) {
  const clitest::TemporaryFile machine(clitest::machineOf(250));
  const ServedProcess server({"--inventory", machine.path().string()});
  const std::string devices = "/class/Zelmar_PCIDevice";
  const auto first = parsed(get(server, devices).body);
  EXPECT_EQ(tableOf(first).size(), 100U);
  EXPECT_THAT(linksOf(first), testing::Contains(devices + "?from=101"));
  const auto last = parsed(get(server, devices + "?from=201").body);
  EXPECT_EQ(tableOf(last).size(), 49U);
  EXPECT_THAT(linksOf(last), AllOf(testing::Contains(devices + "?from=101"),
                                   Not(testing::Contains(devices + "?from=301"))));
  EXPECT_EQ(get(server, devices + "?from=250").status, 404U);
}

TEST(Pages, SayWhatIsWrongWithATarget) {
  const ServedProcess server(hostNamed("node7"));
  const std::string port = "/object/Zelmar_PCIPort";
  const std::vector<std::pair<std::string, std::pair<unsigned, const char*>>> refused{
      {"/class/", {404, "There is no class ."}},
      {"/class/Nonsense", {404, "There is no class Nonsense."}},
      {"/class/%zz", {400, "A % comes with two hexadecimal digits."}},
      {"/class/a%f", {400, "A % comes with two hexadecimal digits."}},
      {"/class/%ff", {400, "The address is not in UTF-8."}},
      {"/class/Zelmar_PCIPort?from=0", {400, "counted from 1"}},
      {"/class/Zelmar_PCIPort?from=1x", {400, "counted from 1"}},
      {"/class/Zelmar_PCIPort?to=1", {400, "counted from 1"}},
      {"/class/Zelmar_PCIPort?from", {400, "NAME=VALUE"}},
      {"/class/Zelmar_PCIPort?from=34", {404, "has 33 objects"}},
      {port, {400, "names no key"}},
      {port + "?", {400, "names no key"}},
      {port + "?DeviceID=nothing", {404, "CIM_ERR_NOT_FOUND"}},
      {port + "?DeviceID=a%00b", {400, "The address is not in UTF-8."}},
      {port + "?DeviceID=a&DeviceID=b", {400, "names DeviceID twice"}},
      {port + "?DeviceID=a&deviceid=b", {400, "names deviceid twice"}},
      {port + "?DeviceID=a&", {400, "ends with &amp;"}},
      {port + "?PortType=150", {400, "has no key PortType"}},
      {port + "?Nonsense=1", {400, "has no key Nonsense"}},
      {"/object/Zelmar_PCISystemDevice?PartComponent=x", {400, "no page of their own"}},
      {"/?a=b", {400, "no query"}},
      {"/picture.svg?a=b", {400, "no query"}}};
  for (const auto& [target, expected] : refused) {
    const HttpAnswer answer = get(server, target);
    EXPECT_EQ(answer.status, expected.first) << target;
    EXPECT_THAT(answer.body, HasSubstr(expected.second)) << target;
    EXPECT_EQ(answer.header("Content-Type"), "text/html; charset=utf-8") << target;
  }
}

TEST(Pages, AreOneAmongWhatTheServerServes) {
  const ServedProcess server(hostNamed("node7"));
  EXPECT_EQ(get(server, "/cimom").status, 405U);
  EXPECT_EQ(get(server, "/nonsense").status, 405U);
  EXPECT_EQ(get(server, "/pictureXsvg").status, 405U);
  HttpClient client(server.port());
  EXPECT_EQ(client.send("DELETE", "/")->status, 405U);
  EXPECT_EQ(client.send("GET", "/", {}, "body")->status, 400U);
  EXPECT_EQ(
      client.post(CimRequest("EnumerateInstanceNames").className("ClassName", "Zelmar_PCIDevice"))
          ->status,
      200U);
}

TEST(Pages, TellHeadTheLengthAlone) {
  const ServedProcess server(hostNamed("node7"));
  RawClient client(server.port());
  ASSERT_TRUE(client.send("HEAD / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n"));
  const std::string answer = client.receiveAll();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(answer.ends_with("\r\n\r\n")) << answer;
  const std::size_t length = get(server, "/").body.size();
  EXPECT_THAT(answer, HasSubstr("\r\nContent-Length: " + std::to_string(length) + "\r\n"));
}

TEST(Pages, FollowTheRulesOfCimRequests) {
  const ServedProcess server(hostNamed("node7"));
  RawClient other(server.port());
  ASSERT_TRUE(other.send("GET / HTTP/1.1\r\nHost: elsewhere.example\r\n\r\n"));
  EXPECT_THAT(other.receiveAll(), StartsWith("HTTP/1.1 421 "));
  EXPECT_EQ(get(server, "/", {{"Sec-Fetch-Site", "cross-site"}}).status, 403U);
  EXPECT_EQ(get(server, "/", {{"Sec-Fetch-Site", "none"}}).status, 200U);
  const clitest::TemporaryFile passwords(passwordLine("alice", "s3cret"));
  const ServedProcess closed(hostNamed("node7"), {"--password-file", passwords.path().string()});
  for (const char* target : {"/", "/picture.svg", "/style.css", "/class/Zelmar_PCIPort"}) {
    const HttpAnswer answer = get(closed, target);
    EXPECT_EQ(answer.status, 401U);
    EXPECT_THAT(answer.body, Not(HasSubstr("node7")));
    // alice:s3cret
    EXPECT_EQ(get(closed, target, {{"Authorization", "Basic YWxpY2U6czNjcmV0"}}).status, 200U);
  }
}

TEST(Pages, OfAHostWithoutPciSaySo) {
  const clitest::TemporaryFile machine("");
  const ServedProcess server({"--inventory", machine.path().string()});
  const HttpAnswer answer = get(server, "/");
  EXPECT_EQ(answer.status, 200U);
  EXPECT_EQ(tableOf(parsed(answer.body))[0][1], "0");
  EXPECT_THAT(get(server, "/picture.svg").body, HasSubstr("No PCI functions."));
}

}  // namespace
}  // namespace servetest
