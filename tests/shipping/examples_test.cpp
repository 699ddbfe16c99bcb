// The examples, built from what is installed, at work.
#include <cmpi/cmpi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "shell.h"

namespace shipping {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

const fs::path kExamples = EXAMPLES;
const fs::path kLibrary = fs::path(EXAMPLES_BUILD) / "provider/libpcivendorprovider.so";
const fs::path kListFunctions = fs::path(EXAMPLES_BUILD) / "client/list_functions";
const fs::path kSample = SAMPLES_DIRECTORY "/q35-pcie-switches.txt";

// --- The provider

/// Asks the provider about a saved machine: standard output and standard error together.
Outcome ask(const std::string& arguments) {
  return shell(quoted(fs::path(STAGE) / "bin/pcicim") + " --inventory " + quoted(kSample) +
               " --schema " + quoted(kExamples / "provider/schema") + " --provider " +
               quoted(kLibrary) + ' ' + arguments + " 2>&1");
}

TEST(ExampleProvider, PassesItsOwnTest) {
  const Outcome tested = shell(quoted(CTEST) + " --no-tests=error --output-on-failure --test-dir " +
                               quoted(kLibrary.parent_path()) + " 2>&1");
  EXPECT_EQ(tested.status, 0) << tested.out;
}

TEST(ExampleProvider, EnumeratesItsInstances) {
  const Outcome listed = ask("enum Example_PciVendor");
  EXPECT_EQ(listed.status, 0) << listed.out;
  EXPECT_THAT(listed.out, HasSubstr("Example_PciVendor\n"
                                    "  Name      = \"Texas Instruments\"\n"
                                    "  Functions = 8\n"));
  EXPECT_THAT(listed.out, HasSubstr("Example_PciVendor\n"
                                    "  Name      = \"Red Hat, Inc.\"\n"
                                    "  Functions = 10\n"));
}

TEST(ExampleProvider, EnumeratesTheirNames) {
  const Outcome listed = ask("enum Example_PciVendor --names");
  EXPECT_EQ(listed.status, 0) << listed.out;
  EXPECT_THAT(linesOf(listed.out),
              Contains("root/cimv2:Example_PciVendor.Name=\"Texas Instruments\""));
}

TEST(ExampleProvider, GetsAnInstanceByItsName) {
  const Outcome got = ask("get " + quoted("Example_PciVendor.Name=\"Texas Instruments\""));
  EXPECT_EQ(got.status, 0) << got.out;
  EXPECT_THAT(
      linesOf(got.out),
      ElementsAre("Example_PciVendor", "  Name      = \"Texas Instruments\"", "  Functions = 8"));
}

TEST(ExampleProvider, SaysThatThereIsNoSuchInstance) {
  const Outcome got = ask("get " + quoted("Example_PciVendor.Name=\"Nobody\""));
  EXPECT_EQ(got.status, 4);
  EXPECT_EQ(got.out, "pcicim: CIM_ERR_NOT_FOUND: no function of this vendor\n");
}

/// The factory as object managers find it. They keep the library open as long as they call it.
using Factory = CMPIInstanceMI*(const CMPIBroker*, const CMPIContext*, CMPIStatus*);

class ExampleFactory : public testing::Test {
 protected:
  ExampleFactory() : library_(dlopen(kLibrary.c_str(), RTLD_NOW | RTLD_LOCAL), dlclose) {
    if (library_ == nullptr) throw std::runtime_error(dlerror());
  }

  CMPIInstanceMI* create() {
    void* factory = dlsym(library_.get(), "Example_PciVendor_Create_InstanceMI");
    return reinterpret_cast<Factory*>(factory)(&broker_, &context_, nullptr);
  }
  CMPIrc cleanUp(CMPIInstanceMI* record) { return record->ft->cleanup(record, &context_, 0).rc; }
  /// NOT_SUPPORTED comes from a provider, FAILED where there is none any more.
  CMPIrc request(CMPIInstanceMI* record) {
    return record->ft->deleteInstance(record, &context_, nullptr, nullptr).rc;
  }

 private:
  std::unique_ptr<void, int (*)(void*)> library_;
  CMPIBroker broker_{};
  CMPIContext context_{};
};

TEST_F(ExampleFactory, CalledTwiceKeepsOneProvider) {
  CMPIInstanceMI* first = create();
  void* const provider = first->hdl;
  ASSERT_NE(provider, nullptr);
  CMPIInstanceMI* second = create();
  EXPECT_EQ(second, first);
  EXPECT_EQ(second->hdl, provider);
}

TEST_F(ExampleFactory, ProviderStaysUntilItsLastUserHasCleanedUp) {
  CMPIInstanceMI* record = create();
  create();
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  EXPECT_EQ(request(record), CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(cleanUp(record), CMPI_RC_OK);
  EXPECT_EQ(request(record), CMPI_RC_ERR_FAILED);
  EXPECT_EQ(request(create()), CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST(ExampleProvider, LetsOutItsFactoryAndItsHolderAlone) {
  std::vector<std::string> names;
  for (const std::string& line : linesOf(shell("nm -D --defined-only " + quoted(kLibrary)).out)) {
    names.push_back(line.substr(line.rfind(' ') + 1));
  }
  EXPECT_THAT(names,
              UnorderedElementsAre("Example_PciVendor_Create_InstanceMI", "baseExample_PciVendor"));
}

// --- The client

/// The address at the start of each line that has one.
std::vector<std::string> addressesIn(const std::string& text) {
  const std::regex address("^[0-9a-f]{4}:[0-9a-f]{2}:[0-9a-f]{2}\\.[0-7] ");
  std::vector<std::string> addresses;
  for (const std::string& line : linesOf(text)) {
    if (std::regex_search(line, address)) addresses.push_back(line.substr(0, line.find(' ')));
  }
  return addresses;
}

TEST(ExampleClient, ListsTheFunctionsOfASavedMachine) {
  const Outcome listed = shell(quoted(kListFunctions) + ' ' + quoted(kSample));
  EXPECT_EQ(listed.status, 0);
  EXPECT_EQ(linesOf(listed.out).size(), 30U);
  EXPECT_EQ(addressesIn(listed.out), addressesIn(contentOf(kSample)));
  EXPECT_THAT(linesOf(listed.out),
              Contains("0000:01:00.0  0604  Texas Instruments XIO3130 PCI Express Switch "
                       "(Upstream), to bus 02"));
}

TEST(ExampleClient, ListsWhatTheEnvironmentNamesWhereNoInventoryIsGiven) {
  const Outcome listed = shell("QARCTL_PCI_DUMP=" + quoted(kSample) + ' ' + quoted(kListFunctions));
  EXPECT_EQ(listed.status, 0);
  EXPECT_EQ(addressesIn(listed.out), addressesIn(contentOf(kSample)));
}

TEST(ExampleClient, NamesTheInventoryThatCannotBeRead) {
  const TemporaryDirectory directory;
  const fs::path missing = directory.path() / "missing.txt";
  const Outcome listed = shell(quoted(kListFunctions) + ' ' + quoted(missing) + " 2>&1");
  EXPECT_EQ(listed.status, 1);
  EXPECT_THAT(listed.out, HasSubstr(missing.string()));
}

}  // namespace
}  // namespace shipping
