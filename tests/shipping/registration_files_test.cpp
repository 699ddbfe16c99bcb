#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mof/class_repository.h>

#include <algorithm>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

using cimom::ClassRepository;
using cimom::MofInstance;
using cimom::MofValue;

/// A library with the classes that it serves, and the files that register it.
struct Registered {
  const char* name;
  const char* module;
  const char* classPrefix;
  const char* schema;
  const char* registration;
};

void PrintTo(const Registered& registered, std::ostream* stream) {
  *stream << registered.name;
}

class RegistrationFiles : public testing::TestWithParam<Registered> {
 protected:
  static std::string file(const char* extension) {
    return std::string(GetParam().registration) + '/' + GetParam().name + extension;
  }

  /// Each class of the schema that the library has to serve; true for an association.
  static std::map<std::string, bool> classes() {
    const ClassRepository schema = ClassRepository::loadDirectory(GetParam().schema);
    std::map<std::string, bool> found;
    for (const std::string& name : schema.classNames()) {
      if (name.starts_with(GetParam().classPrefix)) found[name] = schema.find(name)->isAssociation;
    }
    return found;
  }
};

constexpr Registered kPciProvider{"pciprovider", "PCIProviderModule", "Zelmar_", SCHEMA_DIRECTORY,
                                  SCHEMA_DIRECTORY "/registration"};
constexpr Registered kSystemProvider{"hostsystemprovider", "HostSystemProviderModule", "OMC_",
                                     SCHEMA_DIRECTORY, SCHEMA_DIRECTORY "/registration"};
constexpr Registered kExample{"pcivendorprovider", "PciVendorProviderModule", "Example_",
                              SOURCE_DIRECTORY "/examples/provider/schema",
                              SOURCE_DIRECTORY "/examples/provider/registration"};

std::string nameOf(const testing::TestParamInfo<Registered>& test) {
  return test.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, RegistrationFiles,
                         testing::Values(kPciProvider, kSystemProvider, kExample), nameOf);

// --- sfcb

std::string section(const std::string& name, const std::string& library, bool isAssociation) {
  return '[' + name + "]\n   provider: " + name + "\n   location: " + library +
         "\n   type: instance" + (isAssociation ? " association" : "") +
         "\n   namespace: root/cimv2\n#\n";
}

TEST_P(RegistrationFiles, SfcbFileIsOneSectionForEachClassAndNothingElse) {
  std::multiset<std::string> expected;
  for (const auto& [name, isAssociation] : classes()) {
    expected.insert(section(name, GetParam().name, isAssociation));
  }
  std::multiset<std::string> sections;
  std::string open;
  for (const std::string& line : linesOf(contentOf(file(".reg")))) {
    open += line + '\n';
    if (line == "#") sections.insert(std::exchange(open, {}));
  }
  EXPECT_EQ(open, "") << "text after the last section";
  EXPECT_EQ(sections, expected);
}

TEST_P(RegistrationFiles, SfcbFileHasNoBlankWhereItsReaderStumbles) {
  const std::string text = contentOf(file(".reg"));
  EXPECT_TRUE(text.ends_with("\n#\n"));
  EXPECT_EQ(text.find_first_of("\r\t"), std::string::npos);
  EXPECT_EQ(text.find(" \n"), std::string::npos);
  EXPECT_EQ(text.find(" :"), std::string::npos);
  EXPECT_EQ(text.find("\n\n"), std::string::npos);
}

// --- OpenPegasus

using Properties = std::map<std::string, std::vector<std::string>>;

std::vector<std::string> textsOf(const MofValue& value) {
  std::vector<std::string> texts;
  for (const MofValue::Element& element : value.elements) texts.push_back(element.text);
  return texts;
}

/// What the file declares of one class of OpenPegasus, by the value of the property that
/// distinguishes the instances.
std::map<std::string, Properties> instancesOf(const std::string& file, const std::string& className,
                                              const std::string& key) {
  std::map<std::string, Properties> found;
  const ClassRepository registration = ClassRepository::load({file});
  for (const MofInstance& instance : registration.instances()) {
    if (instance.className != className) continue;
    Properties properties;
    for (const auto& [name, value] : instance.properties) properties[name] = textsOf(value);
    const std::string name = properties.at(key).front();
    EXPECT_TRUE(found.emplace(name, properties).second) << className << ' ' << name << " twice";
  }
  return found;
}

TEST_P(RegistrationFiles, OpenPegasusKnowsOneModuleAndFindsTheLibrary) {
  const auto modules = instancesOf(file(".mof"), "PG_ProviderModule", "Name");
  ASSERT_EQ(modules.size(), 1U);
  const Properties module = modules.at(GetParam().module);
  EXPECT_EQ(module, (Properties{{"Name", {GetParam().module}},
                                {"Location", {GetParam().name}},
                                {"Vendor", {"pciprovider maintainers"}},
                                {"Version", {PROJECT_VERSION}},
                                {"InterfaceType", {"CMPI"}},
                                {"InterfaceVersion", {"2.0.0"}}}));
}

TEST_P(RegistrationFiles, OpenPegasusKnowsAProviderAndItsCapabilitiesForEachClass) {
  std::map<std::string, Properties> providers;
  std::map<std::string, Properties> capabilities;
  for (const auto& [name, isAssociation] : classes()) {
    providers[name] = {{"ProviderModuleName", {GetParam().module}}, {"Name", {name}}};
    capabilities[name] = {{"CapabilityID", {name}},
                          {"ProviderModuleName", {GetParam().module}},
                          {"ProviderName", {name}},
                          {"ClassName", {name}},
                          {"Namespaces", {"root/cimv2"}},
                          {"ProviderType", isAssociation ? std::vector<std::string>{"2", "3"}
                                                         : std::vector<std::string>{"2"}}};
  }
  EXPECT_EQ(instancesOf(file(".mof"), "PG_Provider", "Name"), providers);
  EXPECT_EQ(instancesOf(file(".mof"), "PG_ProviderCapabilities", "ClassName"), capabilities);
}

TEST_P(RegistrationFiles, OpenPegasusFileHoldsNothingElse) {
  const ClassRepository registration = ClassRepository::load({file(".mof")});
  EXPECT_EQ(registration.instances().size(), 1 + 2 * classes().size());
  EXPECT_THAT(registration.classNames(), testing::IsEmpty());
}

// --- The library

/// Those whose library is built together with this test.
class RegisteredLibrary : public RegistrationFiles {};

INSTANTIATE_TEST_SUITE_P(All, RegisteredLibrary, testing::Values(kPciProvider, kSystemProvider),
                         nameOf);

TEST_P(RegisteredLibrary, HasTheFactoriesThatTheNamesPromise) {
  const std::string path = BUILD_DIRECTORY "/lib/lib" + std::string(GetParam().name) + ".so";
  const std::unique_ptr<void, int (*)(void*)> library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL),
                                                      dlclose);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto exports = [&library](const std::string& name) {
    return dlsym(library.get(), name.c_str()) != nullptr;
  };
  ASSERT_FALSE(classes().empty());
  for (const auto& [name, isAssociation] : classes()) {
    EXPECT_TRUE(exports(name + "_Create_InstanceMI")) << name;
    EXPECT_EQ(exports(name + "_Create_AssociationMI"), isAssociation) << name;
  }
}

}  // namespace
}  // namespace shipping
