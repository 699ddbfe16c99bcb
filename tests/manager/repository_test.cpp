#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <mof/class_repository.h>
#include <unistd.h>

namespace cimom {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr std::string_view kSchema = R"(
  class Leaf : Middle { [Override("Name"), Description("leaf's")] string Name = "leaf"; uint8 Own; };
  [Abstract] class Top {
      [Key, Description("top's"), MaxLen(64)] string Name = "top";
    uint16 Kind;
  };
  class Middle : Top { [Deprecated{"Kind"}] uint16 Kind; string List[]; };
  class Another : top { };
  [Association] class Link { [Key] Top REF First; [Key] Top REF Second; };
  class NarrowLink : Link { [Override("Second")] Leaf REF Second; };
)";

Names namesOf(const std::vector<PropertyDeclaration>& properties) {
  Names names;
  for (const auto& property : properties) names.push_back(property.name);
  return names;
}

std::string reasonOf(std::string_view text) {
  try {
    ClassRepository::parse(text);
  } catch (const MofError& error) {
    return error.reason();
  }
  return "no error";
}

// A directory of its own for each test, gone at its end.
class RepositoryFileTest : public testing::Test {
 protected:
  RepositoryFileTest()
      : directory_(fs::temp_directory_path() / ("repository_test." + std::to_string(getpid()))) {
    fs::create_directories(directory_ / "below");
  }
  ~RepositoryFileTest() override { fs::remove_all(directory_); }

  fs::path write(const fs::path& name, std::string_view text) const {
    std::ofstream(directory_ / name) << text;
    return directory_ / name;
  }
  std::string loadReason() const {
    try {
      ClassRepository::loadDirectory(directory_);
    } catch (const MofError& error) {
      return error.what();
    }
    return "no error";
  }

  fs::path directory_;
};

TEST(RepositoryTest, FindsClassesRegardlessOfCase) {
  const auto repository = ClassRepository::parse(kSchema);
  ASSERT_NE(repository.find("lEAF"), nullptr);
  EXPECT_EQ(repository.find("lEAF")->name, "Leaf");
  EXPECT_EQ(repository.find("Lea"), nullptr);
  EXPECT_EQ(repository.find(""), nullptr);
}

TEST(RepositoryTest, AnswersInheritance) {
  const auto repository = ClassRepository::parse(kSchema);
  EXPECT_TRUE(repository.isA("leaf", "TOP"));
  EXPECT_TRUE(repository.isA("Leaf", "Leaf"));
  EXPECT_FALSE(repository.isA("Top", "Leaf"));
  EXPECT_FALSE(repository.isA("Another", "Middle"));
  EXPECT_FALSE(repository.isA("None", "None"));
  EXPECT_FALSE(repository.isA("Leaf", "None"));
  EXPECT_FALSE(repository.isA("None", "Top"));
}

TEST(RepositoryTest, ListsSubclassesAndSuperclasses) {
  const auto repository = ClassRepository::parse(kSchema);
  EXPECT_EQ(repository.subclasses("Top", false), (Names{"Another", "Middle"}));
  EXPECT_EQ(repository.subclasses("top", true), (Names{"Another", "Middle", "Leaf"}));
  EXPECT_EQ(repository.subclasses("", false), (Names{"Link", "Top"}));
  EXPECT_EQ(repository.subclasses("", true),
            (Names{"Link", "NarrowLink", "Top", "Another", "Middle", "Leaf"}));
  EXPECT_TRUE(repository.subclasses("Leaf", true).empty());
  EXPECT_TRUE(repository.subclasses("None", true).empty());
  EXPECT_EQ(repository.superclasses("Leaf"), (Names{"Middle", "Top"}));
  EXPECT_TRUE(repository.superclasses("Top").empty());
  EXPECT_TRUE(repository.superclasses("None").empty());
  EXPECT_EQ(repository.classNames(),
            (Names{"Another", "Leaf", "Link", "Middle", "NarrowLink", "Top"}));
}

TEST(RepositoryTest, CollectsPropertiesFromTheTopDown) {
  const auto repository = ClassRepository::parse(kSchema);
  EXPECT_EQ(namesOf(repository.allProperties("LEAF")), (Names{"Name", "Kind", "List", "Own"}));
  EXPECT_EQ(namesOf(repository.allProperties("Another")), (Names{"Name", "Kind"}));
  EXPECT_EQ(repository.keys("leaf"), Names{"Name"});
  EXPECT_TRUE(repository.allProperties("None").empty());
  EXPECT_TRUE(repository.keys("None").empty());
  EXPECT_EQ(repository.findProperty("Leaf", "None"), nullptr);
  EXPECT_EQ(repository.findProperty("None", "Name"), nullptr);
}

TEST(RepositoryTest, OverridingKeepsWhatItDoesNotName) {
  const auto repository = ClassRepository::parse(kSchema);
  const PropertyDeclaration* name = repository.findProperty("Leaf", "NAME");
  ASSERT_NE(name, nullptr);
  EXPECT_TRUE(name->isKey);
  EXPECT_EQ(name->originClass, "Top");
  EXPECT_EQ(name->defaultValue->text(), "leaf");
  EXPECT_EQ(findQualifier(name->qualifiers, "Description")->text(), "leaf's");
  EXPECT_EQ(findQualifier(name->qualifiers, "MaxLen")->text(), "64");
  EXPECT_EQ(repository.findProperty("Middle", "Name")->defaultValue->text(), "top");
  EXPECT_EQ(repository.findProperty("Leaf", "Own")->originClass, "Leaf");
}

TEST(RepositoryTest, QualifiersOfOneDeclarationStayThere) {
  const auto repository =
      ClassRepository::parse(std::string(kSchema) + "class Low : Middle { uint16 Kind; };");
  EXPECT_NE(findQualifier(repository.findProperty("Leaf", "Kind")->qualifiers, "Deprecated"),
            nullptr);
  EXPECT_EQ(findQualifier(repository.findProperty("Low", "Kind")->qualifiers, "Deprecated"),
            nullptr);
}

TEST(RepositoryTest, ReferencesNarrowAndAssociationsInherit) {
  const auto repository = ClassRepository::parse(kSchema);
  EXPECT_TRUE(repository.find("NarrowLink")->isAssociation);
  EXPECT_EQ(repository.findProperty("NarrowLink", "Second")->referenceClass, "Leaf");
  EXPECT_EQ(repository.findProperty("NarrowLink", "First")->referenceClass, "Top");
  EXPECT_EQ(repository.keys("NarrowLink"), (Names{"First", "Second"}));
}

TEST(RepositoryTest, AbstractIsNotInherited) {
  const auto repository = ClassRepository::parse(kSchema);
  EXPECT_TRUE(repository.find("Top")->isAbstract);
  EXPECT_FALSE(repository.find("Middle")->isAbstract);
}

TEST(RepositoryTest, RefusesClassesThatDoNotFit) {
  EXPECT_EQ(reasonOf("class A : B {};"), "superclass 'B' of class 'A' is not declared");
  EXPECT_EQ(reasonOf("class A : a {};"), "class 'A' inherits from itself");
  EXPECT_EQ(reasonOf("class A : B {}; class B : C {}; class C : B {};"),
            "class 'B' inherits from itself");
  EXPECT_EQ(reasonOf("class A {};\nclass a {};"),
            "class 'a' is already declared in <text>, line 1");
  EXPECT_EQ(reasonOf("class A { string p; uint8 P; };"), "property 'P' is declared twice");
  EXPECT_EQ(reasonOf("class A { string p; }; class B : A { uint8 p; };"),
            "property 'p' is of another type in class 'A'");
  EXPECT_EQ(reasonOf("class A { string p; }; class B : A { string p[]; };"),
            "property 'p' is of another type in class 'A'");
  EXPECT_EQ(reasonOf("class A {}; class B : A { [Override(\"q\")] uint8 q; };"),
            "property 'q' overrides 'q', which no superclass has");
}

TEST(RepositoryTest, DeepInheritanceIsBounded) {
  const auto chain = [](int classes) {
    std::string text = "class C0 { string p0; };";
    for (int i = 1; i < classes; ++i) {
      const std::string number = std::to_string(i);
      text += "class C" + number + " : C" + std::to_string(i - 1) + " { string p" + number + "; };";
    }
    return text;
  };
  EXPECT_EQ(ClassRepository::parse(chain(100)).allProperties("C99").size(), 100u);
  EXPECT_NE(reasonOf(chain(101)).find("has more than 99 superclasses"), std::string::npos);
  EXPECT_NE(reasonOf(chain(20'000)).find("has more than 99 superclasses"), std::string::npos);
}

TEST(RepositoryTest, EmptyRepositoryAnswersEverything) {
  const ClassRepository repository;
  EXPECT_EQ(repository.find("A"), nullptr);
  EXPECT_TRUE(repository.subclasses("", true).empty());
  EXPECT_TRUE(repository.classNames().empty());
}

TEST(RepositoryTest, ReadsFromManyThreads) {
  const auto repository = ClassRepository::parse(kSchema);
  std::vector<std::thread> threads;
  std::vector<int> found(8, 0);
  for (int& count : found) {
    threads.emplace_back([&repository, &count] {
      for (int i = 0; i < 500; ++i) {
        count += repository.isA("leaf", "top") && repository.allProperties("Leaf").size() == 4 &&
                 repository.subclasses("Top", true).size() == 3;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<int>(8, 500));
}

TEST_F(RepositoryFileTest, LoadsDirectoriesInAnyOrder) {
  const fs::path first = write("a.mof", "class A : B { string p; };");
  write("below/z.MOF", "class B : C { };");
  write("c.mof", "class C { [Key] string k; };");
  write("notes.txt", "not MOF at all");
  const auto repository = ClassRepository::loadDirectory(directory_);
  EXPECT_EQ(repository.classNames(), (Names{"A", "B", "C"}));
  EXPECT_EQ(repository.keys("A"), Names{"k"});
  EXPECT_EQ(repository.find("A")->file, first.string());
}

TEST_F(RepositoryFileTest, FollowsIncludesOnce) {
  const fs::path all =
      write("all.mof", "#pragma include (\"below/one.mof\")\n#pragma include (\"two.mof\")\n");
  write("below/one.mof", "#pragma include (\"../all.mof\")\nclass A : B { };");
  write("two.mof", "#pragma include (\"below/one.mof\")\nclass B { };");
  EXPECT_EQ(ClassRepository::load({all}).classNames(), (Names{"A", "B"}));
  EXPECT_EQ(ClassRepository::loadDirectory(directory_).classNames(), (Names{"A", "B"}));
  EXPECT_EQ(ClassRepository::load({all, directory_}).classNames(), (Names{"A", "B"}));
}

TEST_F(RepositoryFileTest, ReportsWhatCannotBeRead) {
  EXPECT_EQ(loadReason(), directory_.string() + ": holds no MOF file");
  const fs::path file = write("a.mof", "\n#pragma include (\"gone.mof\")");
  EXPECT_EQ(loadReason(), file.string() + ":2:18: included file 'gone.mof' does not exist");
  EXPECT_THROW(ClassRepository::load({directory_ / "gone.mof"}), MofError);
  EXPECT_THROW(ClassRepository::loadDirectory(directory_ / "gone"), MofError);
  EXPECT_THROW(ClassRepository::loadDirectory(file), MofError);
}

TEST_F(RepositoryFileTest, ErrorsNameTheFile) {
  const fs::path file = write("a.mof", "class A {\n  string;\n};");
  EXPECT_EQ(loadReason(), file.string() + ":2:9: expected a name, found ';'");
}

}  // namespace
}  // namespace cimom
