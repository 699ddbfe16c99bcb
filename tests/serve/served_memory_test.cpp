// What a server's memory grows by while it answers, left out where a sanitizer counts too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "made_inventory.h"
#include "raw_client.h"
#include "running_server.h"
#include "served_process.h"

namespace servetest {
namespace {

/// KiB of memory that the process has had at most, or has now.
std::size_t memoryOf(pid_t process, const std::string& which) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with(which)) continue;
    std::istringstream text(line.substr(which.size() + 1));
    std::size_t kilobytes = 0;
    text >> kilobytes;
    return kilobytes;
  }
  return 0;
}

CimRequest listingOf(const std::string& className) {
  return CimRequest("EnumerateInstances").className("ClassName", className);
}

std::unique_ptr<RawClient> asking(int port, const CimRequest& request) {
  auto client = std::make_unique<RawClient>(port);
  EXPECT_TRUE(client->send(wireText(request, "Connection: close\r\n")));
  return client;
}

/// Reads in small steps, all clients in turn; returns the bytes of each.
std::vector<std::size_t> readInTurn(const std::vector<std::unique_ptr<RawClient>>& clients) {
  std::vector<std::size_t> counts(clients.size(), 0);
  std::vector<bool> areDone(clients.size(), false);
  while (!std::ranges::all_of(areDone, [](bool isDone) { return isDone; })) {
    for (std::size_t i = 0; i < clients.size(); ++i) {
      if (areDone[i]) continue;
      const std::string part = clients[i]->receiveOnce();
      counts[i] += part.size();
      areDone[i] = part.empty();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return counts;
}

TEST(LargeInventory, AServersMemoryDoesNotGrowWithItsAnswers) {
  constexpr std::size_t kFunctions = 4000;
  constexpr std::size_t kClients = 8;
  constexpr std::size_t kMostGrowth = std::size_t{20} << 10;
  const clitest::TemporaryFile file(clitest::machineOf(kFunctions));
  const ServedProcess server({"--inventory", file.path()});
  // The provider makes its snapshot with the first request.
  asking(server.port(), listingOf("Zelmar_PCIPortGroup"))->receiveAll(std::chrono::seconds(100));
  const std::size_t before = memoryOf(server.process(), "VmRSS:");
  ASSERT_GT(before, 0U);
  std::vector<std::unique_ptr<RawClient>> clients;
  for (std::size_t i = 0; i < kClients; ++i) {
    clients.push_back(asking(server.port(), listingOf("Zelmar_PCIDevice")));
  }
  for (const std::size_t bytes : readInTurn(clients)) EXPECT_GT(bytes, kFunctions * 2000);
  EXPECT_LT(memoryOf(server.process(), "VmHWM:"), before + kMostGrowth);
}

}  // namespace
}  // namespace servetest
