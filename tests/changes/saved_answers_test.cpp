#include <changes/saved_answers.h>

#include <changes/machine.h>
#include <changes/operation_answers.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <model/cim_error.h>

#include <sstream>
#include <string>
#include <vector>

#include "made_machine.h"

namespace changetest {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// Serves a made host; what is in no enumeration can be fetched by its DeviceID.
class MadeOperations : public cimom::Operations {
 public:
  explicit MadeOperations(MadeHost host) : host_(std::move(host)) {}

  cimom::Instance getInstance(const cimom::ObjectPath& path,
                              const cimom::PropertyList& /*properties*/) override {
    const std::string id = cimom::toText(path.findKey("DeviceID")->elements.front());
    for (const cimom::Instance& instance : host_.instances(std::string(pcicim::kUnlisted))) {
      if (cimom::toText(instance.findProperty("DeviceID")->elements.front()) == id) {
        return instance;
      }
    }
    throw cimom::CimError(CMPI_RC_ERR_NOT_FOUND, id);
  }
  void enumerateInstances(const cimom::ObjectPath& classPath,
                          const cimom::PropertyList& /*properties*/,
                          const cimom::InstanceSink& sink) override {
    for (cimom::Instance& instance : host_.instances(classPath.className)) {
      sink(std::move(instance));
    }
  }
  void enumerateInstanceNames(const cimom::ObjectPath&, const cimom::PathSink&) override {}
  void associators(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                   const cimom::PropertyList&, const cimom::InstanceSink&) override {}
  void associatorNames(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                       const cimom::PathSink&) override {}
  void references(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                  const cimom::PropertyList&, const cimom::InstanceSink&) override {}
  void referenceNames(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                      const cimom::PathSink&) override {}

 private:
  MadeHost host_;
};

MadeHost host() {
  MadeHost made{bridge("0000:00:03.0", 3), upstream("0000:03:00.0", "0000:00:03.0"),
                downstream("0000:04:00.0", "0000:03:00.0"),
                endpoint("0000:05:00.0", "0000:04:00.0").named("B\xc3\xbc\"cher\n").inSlot(4)};
  made.at("0000:05:00.0").capabilities = {13, 7};
  return made;
}

std::string saved(const MadeHost& made) {
  MadeOperations operations(made);
  std::ostringstream out;
  pcicim::SavedAnswersWriter writer(out);
  pcicim::HostFacts facts;
  facts.name = "made";
  facts.time = "2026-01-31T12:00:00Z";
  pcicim::OperationAnswers(operations, facts, pcicim::elementClasses(), [] {
    return std::vector<pcicim::FunctionName>{{"Zelmar_PCIDevice", "0000:04:00.0"},
                                             {"Zelmar_PCIDevice", "0000:05:00.0"},
                                             {"Zelmar_PCIDevice", "0000:06:00.0"}};
  }).giveTo(writer);
  writer.finish();
  return out.str();
}

pcicim::ComparedMachine read(const std::string& text,
                             const pcicim::SavedAnswersLimits& limits = {}) {
  std::istringstream in(text);
  pcicim::ComparedMachineBuilder builder;
  pcicim::SavedAnswers(*in.rdbuf(), "FILE", limits).giveTo(builder);
  return builder.take();
}

std::string errorOf(const std::string& text, const pcicim::SavedAnswersLimits& limits = {}) {
  try {
    read(text, limits);
  } catch (const pcicim::SavedAnswersError& error) {
    return error.what();
  }
  return "";
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

/// A text of no functions, with more of its members behind the classes.
std::string emptyAnswers(const std::string& more = "") {
  return R"({"format":"pcicim-answers","version":1,"classes":{"Zelmar_PCIDevice":[],)"
         R"("Zelmar_PCIBridge":[],"Zelmar_PCIeSwitch":[],"Zelmar_PCIPort":[],)"
         R"("Zelmar_PCIPortGroup":[]})" +
         more + "}";
}

TEST(SavedAnswers, AreReadAsTheyWereWritten) {
  const pcicim::ComparedMachine machine = read(saved(host()));
  EXPECT_EQ(machine.host.name, "made");
  EXPECT_EQ(machine.host.time, "2026-01-31T12:00:00Z");
  EXPECT_EQ(machine.functions.size(), 4U);
  EXPECT_EQ(machine.ports.size(), 5U);
  EXPECT_THAT(told(host().machine(), machine), IsEmpty());
  EXPECT_THAT(told(machine, host().machine()), IsEmpty());
  EXPECT_EQ(told(read(saved(host().remove("0000:05:00.0"))), machine).size(), 1U);
}

TEST(SavedAnswers, HaveWhatNoEnumerationListsOnce) {
  const pcicim::ComparedMachine machine = read(saved(host()));
  std::vector<std::string> unlisted;
  for (const pcicim::ComparedFunction& function : machine.functions) {
    if (!function.isListed) unlisted.push_back(function.id);
  }
  EXPECT_THAT(unlisted, testing::ElementsAre("0000:04:00.0"));
}

TEST(SavedAnswers, MayHaveMembersThatAreNotKnown) {
  EXPECT_EQ(errorOf(emptyAnswers()), "");
  EXPECT_EQ(errorOf(emptyAnswers(R"(,"later":{"a":[1,{"b":[]}],"classes":{}},"x":2.5)")), "");
  EXPECT_TRUE(read(emptyAnswers()).functions.empty());
}

TEST(SavedAnswers, SayWhereTheyAreDamaged) {
  const std::string text = saved(host());
  EXPECT_THAT(errorOf(""), HasSubstr("FILE, line 1: no JSON: "));
  EXPECT_THAT(errorOf(text.substr(0, text.size() / 2)), HasSubstr("FILE, line 1"));
  EXPECT_THAT(errorOf(replaced(text, "\"RevisionID\":0", "\"RevisionID\":?")),
              HasSubstr("no JSON: "));
  EXPECT_THAT(errorOf(text + "x"), HasSubstr("no JSON: "));
  EXPECT_THAT(errorOf(replaced(text, "\"RevisionID\":0", "\"VendorID\":0")),
              HasSubstr("\"VendorID\" stands twice in one object"));
}

TEST(SavedAnswers, AreCutAtNoByteWithoutAnError) {
  const std::string text = saved(host());
  for (std::size_t length = 0; length + 3 < text.size(); length += 31) {
    EXPECT_NE(errorOf(text.substr(0, length)), "") << length;
  }
}

TEST(SavedAnswers, AreOfThisFormatAndVersion) {
  for (const char* text :
       {"[]", "3", "{}", R"({"format":"pcicim-answers","version":1})",
        R"({"format":"pcicim-answers","classes":{"Zelmar_PCIDevice":[]}})",
        R"({"format":"other","version":1,"classes":{"Zelmar_PCIDevice":[]}})",
        R"({"format":"pcicim-answers","version":2,"classes":{"Zelmar_PCIDevice":[]}})"}) {
    EXPECT_THAT(errorOf(text), HasSubstr("not what `pcicim save` writes")) << text;
  }
}

TEST(SavedAnswers, HaveEachClassOnce) {
  EXPECT_THAT(errorOf(replaced(emptyAnswers(), R"("Zelmar_PCIPort":[],)", "")),
              HasSubstr("the answers of Zelmar_PCIPort are missing"));
  EXPECT_THAT(errorOf(replaced(emptyAnswers(), R"("Zelmar_PCIPort":[],)",
                               R"("Zelmar_PCIPort":[],"Zelmar_PCIPort":[],)")),
              HasSubstr("the answers of Zelmar_PCIPort stand there twice"));
}

TEST(SavedAnswers, HoldInstancesAlone) {
  const auto withDevice = [](const std::string& device) {
    return replaced(emptyAnswers(), R"("Zelmar_PCIDevice":[])",
                    R"("Zelmar_PCIDevice":[)" + device + "]");
  };
  EXPECT_EQ(errorOf(withDevice(R"({"path":{"DeviceID":"a"},"properties":{"x":null}})")), "");
  for (const char* device : {"1", "[]", "\"a\""}) {
    EXPECT_THAT(errorOf(withDevice(device)), HasSubstr("an instance is an object")) << device;
  }
  EXPECT_THAT(errorOf(withDevice(R"({"path":3})")), HasSubstr("\"path\""));
  EXPECT_THAT(errorOf(withDevice(R"({"other":{}})")), HasSubstr("\"other\""));
  EXPECT_THAT(errorOf(withDevice(R"({"properties":{"a":[[1]]}})")),
              HasSubstr("an array in an array"));
  EXPECT_THAT(errorOf(withDevice(R"({"properties":{"a":{"b":1}}})")),
              HasSubstr("a reference without a class"));
}

TEST(SavedAnswers, AreBounded) {
  EXPECT_THAT(errorOf(emptyAnswers(), {.size = 50}), HasSubstr("larger than 50 bytes"));
  EXPECT_THAT(errorOf(emptyAnswers(",\"long\":\"" + std::string(100, 'x') + '"'), {.part = 90}),
              HasSubstr("longer than 90 bytes"));
  EXPECT_THAT(errorOf(emptyAnswers(std::string(100, ' ')), {.part = 90}),
              HasSubstr("longer than 90 bytes"));
  EXPECT_THAT(errorOf(emptyAnswers(",\"deep\":" + std::string(100, '['))),
              HasSubstr("more than 64 levels"));
  EXPECT_THAT(
      errorOf(replaced(emptyAnswers(), R"("Zelmar_PCIPort":[])", R"("Zelmar_PCIPort":[{},{},{}])"),
              {.instancesOfAClass = 2}),
      HasSubstr("more than 2 instances of Zelmar_PCIPort"));
  EXPECT_THAT(errorOf(replaced(emptyAnswers(), R"("Zelmar_PCIPort":[])",
                               R"("Zelmar_PCIPort":[{"properties":{"a":[1,2,3]}}])"),
                      {.valuesOfAnInstance = 4}),
              HasSubstr("more than 4 values"));
  std::string deep = R"({"path":)";
  for (int i = 0; i < 40; ++i) deep += R"({"a":)";
  EXPECT_THAT(
      errorOf(replaced(emptyAnswers(), R"("Zelmar_PCIPort":[])", R"("Zelmar_PCIPort":[)" + deep)),
      HasSubstr("more than 16 levels"));
}

}  // namespace
}  // namespace changetest
