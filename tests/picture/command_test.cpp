// The command `picture` as a user runs it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <string>

#include "made_inventory.h"
#include "run_pcicim.h"
#include "tree_text.h"

namespace clitest {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kSample = "q35-pcie-switches";

Outcome drawSample(const Arguments& arguments) {
  Arguments all{"--host-name", "q35", "picture"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return runOn(sample(std::string(kSample) + ".txt"), all);
}

/// Draws the sample into a file with that ending and returns what is in it.
std::string drawn(const std::string& suffix) {
  const TemporaryFile place("");
  const fs::path file = place.path().string() + suffix;
  const Outcome outcome = drawSample({file.string()});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  std::string content = readFile(file);
  fs::remove(file);
  return content;
}

/// Where each element with an address is, in the address of the nearest around it.
Parents parentsIn(const std::string& svg) {
  pugi::xml_document document;
  if (!document.load_string(svg.c_str())) throw std::runtime_error("not well-formed: " + svg);
  Parents parents;
  for (const auto& found : document.select_nodes("//g[@data-address]")) {
    const auto around = found.node().select_node("ancestor::g[@data-address][1]").node();
    const bool isNew = parents
                           .emplace(found.node().attribute("data-address").value(),
                                    around.attribute("data-address").value())
                           .second;
    if (!isNew) throw std::runtime_error("a function that is drawn twice");
  }
  return parents;
}

class SamplePicture : public testing::TestWithParam<const char*> {};

TEST_P(SamplePicture, AgreesWithLspciOnWhatSitsBehindWhat) {
  const std::string name = GetParam();
  const Outcome outcome = runOn(sample(name + ".txt"), {"picture", "-"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Parents expected = parseLspciTree(readFile(sample(name + ".tree")));
  ASSERT_GT(expected.size(), 10U);
  EXPECT_EQ(parentsIn(outcome.out), expected);
}

INSTANTIATE_TEST_SUITE_P(Samples, SamplePicture, testing::Values(kSample, "i440fx-conventional"));

/// By address, the frame of each box.
std::map<std::string, pugi::xml_node> framesIn(const pugi::xml_document& document) {
  std::map<std::string, pugi::xml_node> frames;
  for (const auto& found : document.select_nodes("//g[@data-address]")) {
    frames[found.node().attribute("data-address").value()] = found.node().child("rect");
  }
  return frames;
}

TEST(Picture, DrawsEachFunctionInTheFrameOfItsParent) {
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(drawn(".svg").c_str()));
  auto frames = framesIn(document);
  const auto value = [](const pugi::xml_node& node, const char* name) {
    return node.attribute(name).as_int();
  };
  int inside = 0;
  for (const auto& [address, parent] :
       parseLspciTree(readFile(sample(std::string(kSample) + ".tree")))) {
    ASSERT_TRUE(frames[address]) << address;
    if (parent.empty()) continue;
    const pugi::xml_node inner = frames[address];
    const pugi::xml_node outer = frames[parent];
    ++inside;
    for (const auto& [at, length] : {std::pair{"x", "width"}, std::pair{"y", "height"}}) {
      EXPECT_GT(value(inner, at), value(outer, at)) << address;
      EXPECT_LT(value(inner, at) + value(inner, length), value(outer, at) + value(outer, length))
          << address;
    }
  }
  EXPECT_GT(inside, 10);
}

TEST(Picture, InTheDocumentationIsWhatTheCommandDraws) {
  EXPECT_EQ(drawn(".svg"), readFile(PICTURE_IN_DOCS))
      << "Where the change is meant: pcicim --inventory samples/q35-pcie-switches.txt --host-name "
         "q35 picture docs/q35-pcie-switches.svg";
}

unsigned bigEndian(const std::string& bytes, std::size_t at) {
  unsigned number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number = number << 8U | static_cast<unsigned char>(bytes.at(at + i));
  }
  return number;
}

TEST(Picture, AsPngHasTheProportionsOfTheSvg) {
  const std::string png = drawn(".png");
  ASSERT_THAT(png, StartsWith("\x89PNG\r\n\x1a\n"));
  EXPECT_THAT(png.substr(png.size() - 8), StartsWith("IEND"));
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(drawn(".svg").c_str()));
  EXPECT_EQ(bigEndian(png, 16), 2 * document.child("svg").attribute("width").as_uint());
  EXPECT_EQ(bigEndian(png, 20), 2 * document.child("svg").attribute("height").as_uint());
}

TEST(Picture, AsPdfHasTextThatCanBeFound) {
  const TemporaryFile pdf("");
  ASSERT_EQ(drawSample({pdf.path().string(), "--format", "pdf"}).status, 0);
  const Outcome text = runProgram(PDFTOTEXT_PROGRAM, {pdf.path().string(), "-"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_THAT(text.out, HasSubstr("Switch 01:00.0"));
  EXPECT_THAT(text.out, HasSubstr("PCIe, bus 03"));
}

TEST(Picture, IsTheSameEachTime) {
  for (const char* suffix : {".svg", ".png", ".pdf"}) EXPECT_EQ(drawn(suffix), drawn(suffix));
}

TEST(Picture, TakesTheFormatFromTheNameInAnyCaseOrFromTheOption) {
  EXPECT_THAT(drawn(".SVG"), StartsWith("<svg "));
  EXPECT_THAT(drawSample({"-", "--format", "pdf"}).out, StartsWith("%PDF-"));
  EXPECT_THAT(drawSample({"-"}).out, StartsWith("<svg "));
}

TEST(Picture, OfAnUnknownFormatIsRefused) {
  for (const char* name : {"picture.gif", "picture", ".svg", "svg"}) {
    const Outcome outcome = drawSample({name});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, std::string("pcicim: cannot tell the format of ") + name +
                               ": end its name in .svg, .png or .pdf, or give --format\n");
    EXPECT_FALSE(fs::exists(name));
  }
  EXPECT_EQ(drawSample({"-", "--format", "gif"}).status, 2);
}

TEST(Picture, ThatCannotBeWrittenIsTold) {
  const Outcome nowhere = drawSample({"/nonexistent/picture.svg"});
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.err,
            "pcicim: cannot write /nonexistent/picture.svg: No such file or directory\n");
  for (const char* format : {"svg", "png", "pdf"}) {
    const Outcome full = drawSample({"/dev/full", "--format", format});
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "pcicim: cannot write /dev/full: No space left on device\n") << format;
  }
}

TEST(Picture, LeavesAnOldFileWhereItCannotBeDrawn) {
  const TemporaryFile old("old");
  const TemporaryFile machine("no inventory");
  EXPECT_EQ(runOn(machine.path(), {"picture", "--format", "svg", old.path().string()}).status, 1);
  EXPECT_EQ(readFile(old.path()), "old");
}

TEST(Picture, OfAHostWithoutPciSaysSo) {
  const TemporaryFile machine("");
  const Outcome outcome = runOn(machine.path(), {"picture", "-"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr(">No PCI functions.</text>"));
}

TEST(Picture, ShowsTheHostNameAsText) {
  const Outcome outcome = runOn(sample("i440fx-conventional.txt"),
                                {"--host-name", "<script>alert(1)</script>", "picture", "-"});
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr(">&lt;script&gt;alert(1)&lt;/script&gt;</text>"));
  EXPECT_THAT(outcome.out, testing::Not(HasSubstr("<script")));
}

}  // namespace
}  // namespace clitest
