// How long the functions that the host hands out live: those of the snapshot as long as the library
// is loaded, those above another function as long as they are looked at.
#include "machine_requests.h"
#include "scripted_machine.h"

#include <qarctl/HostCtlException.h>

namespace {

using namespace requests;
using namespace scripted;

const int kFunctions = static_cast<int>(machine().size());

TEST(DeviceLife, EndsWhenTheLibraryIsUnloaded) {
  host().functions = machine();
  {
    ProviderUnderTest provider(PROVIDER_LIBRARY);
    EXPECT_EQ(devicesAlive(), 0);
    for (const Request& request : allRequests()) provider.send(request);
    EXPECT_EQ(devicesAlive(), kFunctions);
  }
  EXPECT_EQ(devicesAlive(), 0);
}

class ParentLife : public RequestTest {};

TEST_F(ParentLife, EndsWithTheRequest) {
  for (const Request& request : allRequests()) {
    send(request);
    EXPECT_EQ(devicesAlive(), kFunctions) << nameOf(request);
  }
}

TEST_F(ParentLife, EndsWithARequestThatFails) {
  for (const Request& request : allRequests()) {
    host().onCall = [](const std::string&) {};
    send(request);
    int calls = 0;
    host().onCall = [&calls](const std::string&) { ++calls; };
    send(request);
    for (int failing = 0; failing < calls; ++failing) {
      host().onCall = [failing, count = 0](const std::string&) mutable {
        if (count++ == failing) throw HostCtl::Lib::HostCtlException("broken host");
      };
      send(request);
      EXPECT_EQ(devicesAlive(), kFunctions) << nameOf(request) << ", call " << failing;
    }
  }
}

}  // namespace
