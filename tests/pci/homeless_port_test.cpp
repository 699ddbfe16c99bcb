// Connections of ports that have no home port, the first port of the device they are counted to.
#include "machine_requests.h"
#include "scripted_machine.h"

namespace {

using namespace requests;
using namespace scripted;
using testing::ElementsAre;

constexpr char kConnection[] = "Zelmar_PCIDeviceConnection";

class HomelessPort : public RequestTest {
 protected:
  void expectNothing(const std::string& portName) {
    for (const Operation operation : associationOperations()) {
      const Outcome outcome = send({operation, kConnection, portPath(portName)});
      EXPECT_EQ(outcome.status, CMPI_RC_OK) << nameOf(operation);
      EXPECT_THAT(outcome.events, ElementsAre("done")) << nameOf(operation);
    }
  }
};

TEST_F(HomelessPort, BelowAFunctionThatIsGoneConnectsNothing) {
  // R is counted to G, so that only the missing home keeps G-ep from a connection.
  host().functions = {{"G", 7, 0x0604, 6, "gone"}, {"R", 8, 0x0604, 6, "G"}};
  expectNothing("G-ep");
}

TEST_F(HomelessPort, BelowABridgeWithoutPortsConnectsNothing) {
  host().functions = {{"I", 0, 0x0601}, {"P", 1, 0x0604, 6, "I"}, {"R", 8, 0x0604, 6, "P"}};
  expectNothing("P-ep");
}

TEST_F(HomelessPort, ThatIsUnknownIsNotTakenForOneOfAFunctionWithoutAddress) {
  host().functions = {{"", 1}};
  expectNothing("unknown");
  expectNothing("");
}

}  // namespace
