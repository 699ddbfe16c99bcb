// Listings as they are printed, object by object.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "output.h"

namespace clitest {
namespace {

using cimom::CimType;
using cimom::Instance;
using cimom::ObjectPath;
using cimom::Value;
using pcicim::Format;
using pcicim::ListingPrinter;

class ListingTest : public testing::Test {
 protected:
  static Instance thing(const std::string& className, std::uint64_t size) {
    return {{"", "", className, {}}, {{"Size", Value::number(CimType::kUint16, size)}}};
  }
  static ObjectPath path(const std::string& name) {
    return {"", "", "Thing", {{"Name", Value::text(name)}}};
  }
  /// What was printed since the last call.
  std::string taken() {
    std::string text = out.str();
    out.str("");
    return text;
  }

  cimom::ClassRepository classes = cimom::ClassRepository::parse(R"(
    class Thing {
      [ValueMap {"1", "2", "2"}, Values {"one", "two", "again"}] uint16 Size;
    };
    class Part : Thing {
      [Override("Size"), ValueMap {"1"}, Values {"single"}] uint16 Size;
    };
    class Plain { uint16 Size; };
  )");
  std::ostringstream out;
};

TEST_F(ListingTest, EachObjectIsWrittenAtOnce) {
  ListingPrinter text(classes, Format::kText, out);
  text.print(thing("Plain", 1));
  EXPECT_EQ(taken(), "Plain\n  Size = 1\n");
  text.print(thing("Plain", 2));
  EXPECT_EQ(taken(), "\nPlain\n  Size = 2\n");
  text.finish();
  EXPECT_EQ(taken(), "");

  ListingPrinter mof(classes, Format::kMof, out);
  mof.print(thing("Plain", 1));
  EXPECT_EQ(taken(), "instance of Plain {\n  Size = 1;\n};\n");
  mof.print(thing("Plain", 2));
  EXPECT_EQ(taken(), "\ninstance of Plain {\n  Size = 2;\n};\n");

  ListingPrinter paths(classes, Format::kText, out);
  paths.print(path("one"));
  EXPECT_EQ(taken(), "Thing.Name=\"one\"\n");
  paths.print(path("two"));
  EXPECT_EQ(taken(), "Thing.Name=\"two\"\n");
}

TEST_F(ListingTest, AJsonArrayIsOpenUntilTheListingIsFinished) {
  ListingPrinter json(classes, Format::kJson, out);
  json.print(thing("Plain", 1));
  EXPECT_EQ(taken(), "[\n{\"@class\":\"Plain\",\"Size\":1}");
  json.print(path("two"));
  EXPECT_EQ(taken(), ",\n{\"@class\":\"Thing\",\"Name\":\"two\"}");
  json.finish();
  EXPECT_EQ(taken(), "\n]\n");
}

TEST_F(ListingTest, AnEmptyListingIsAnEmptyArrayOrNothing) {
  ListingPrinter(classes, Format::kJson, out).finish();
  EXPECT_EQ(taken(), "[]\n");
  ListingPrinter(classes, Format::kText, out).finish();
  EXPECT_EQ(taken(), "");
}

TEST_F(ListingTest, EachClassExplainsItsOwnValues) {
  ListingPrinter printer(classes, Format::kText, out);
  for (const char* name : {"Thing", "Part", "Plain", "Thing"}) printer.print(thing(name, 1));
  EXPECT_EQ(taken(),
            "Thing\n  Size = 1 (one)\n\nPart\n  Size = 1 (single)\n\nPlain\n  Size = 1\n\n"
            "Thing\n  Size = 1 (one)\n");
  printer.print(thing("Thing", 2));
  EXPECT_EQ(taken(), "\nThing\n  Size = 2 (two)\n") << "the first of equal numbers counts";
  printer.print(thing("Thing", 3));
  EXPECT_EQ(taken(), "\nThing\n  Size = 3\n");
}

TEST_F(ListingTest, AFailedStreamEndsTheListing) {
  ListingPrinter printer(classes, Format::kText, out);
  printer.print(path("one"));
  out.setstate(std::ios::badbit);
  EXPECT_THROW(printer.print(path("two")), pcicim::OutputFailure);
  EXPECT_THROW(printer.print(thing("Plain", 1)), pcicim::OutputFailure);
  EXPECT_EQ(taken(), "Thing.Name=\"one\"\n");
}

}  // namespace
}  // namespace clitest
