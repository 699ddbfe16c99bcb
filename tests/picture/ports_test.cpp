#include <topology/ports.h>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace picturetest {
namespace {

using pcicim::Port;
using pcicim::Record;

/// Has ports alone.
class PortSource : public pcicim::TopologySource {
 public:
  explicit PortSource(std::vector<Record> ports) : ports_(std::move(ports)) {}

  void instances(std::string_view, const std::vector<std::string>&,
                 const pcicim::RecordSink& sink) override {
    for (const Record& port : ports_) sink(port);
  }
  void names(std::string_view, const pcicim::RecordSink&) override {}
  std::optional<Record> instance(std::string_view, const std::string&,
                                 const std::vector<std::string>&) override {
    return std::nullopt;
  }

 private:
  std::vector<Record> ports_;
};

TEST(ReadPorts, TakesSideAndFunctionFromTheName) {
  PortSource source({{{"DeviceID", "a-ep"}, {"PortType", "152"}, {"BusNumber", "10"}},
                     {{"DeviceID", "b-up"}, {"PortType", "1"}},
                     {{"DeviceID", "c-pri"}, {"PortType", "150"}, {"SystemName", "host"}},
                     {{"DeviceID", "c-sec"}, {"PortType", "7"}, {"BusNumber", "x"}}});
  const auto listing = readPorts(source);
  EXPECT_EQ(listing.systemName, "host");
  ASSERT_EQ(listing.ports.size(), 4U);
  EXPECT_EQ(listing.ports[0].function, "a");
  EXPECT_EQ(listing.ports[0].type, "PCIe");
  EXPECT_EQ(listing.ports[0].bus, 10U);
  EXPECT_EQ(listing.ports[1].side, Port::Side::kUpstream);
  EXPECT_EQ(listing.ports[1].type, "PCI-X");
  EXPECT_EQ(listing.ports[1].bus, std::nullopt);
  EXPECT_EQ(listing.ports[2].side, Port::Side::kNear);
  EXPECT_EQ(listing.ports[2].type, "PCI");
  EXPECT_EQ(listing.ports[3].side, Port::Side::kFar);
  EXPECT_EQ(listing.ports[3].type, "Unknown");
  EXPECT_EQ(listing.ports[3].bus, std::nullopt);
}

TEST(ReadPorts, LeavesOutWhatIsNoPort) {
  PortSource source({{{"DeviceID", "-ep"}}, {{"DeviceID", "a"}}, {{"DeviceID", "a-xx"}}, {}});
  EXPECT_TRUE(readPorts(source).ports.empty());
}

}  // namespace
}  // namespace picturetest
