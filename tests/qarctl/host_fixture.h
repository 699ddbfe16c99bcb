#pragma once

#include "made_function.h"

#include <caught_log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace qarctltest {

using HostCtl::Hardware::PciDevice;
using Devices = std::vector<std::unique_ptr<PciDevice>>;

using caughtlog::LogLine;
using caughtlog::logLines;

/// Host control as its users see it, over inputs that live in a folder of the test's own.
class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  /// What the input that the environment names holds.
  static Devices read();
  /// The message of the failure to read it, "(no failure)" otherwise.
  static std::string failure();

  std::filesystem::path inventoryFile() const { return folder / "inventory.txt"; }
  /// Makes the text the input, without reading it.
  void useInventory(const std::string& text) const;
  Devices readInventory(const std::string& text) const;
  Devices readInventory(const std::vector<MadeFunction>& functions) const;
  /// Makes the made-up sysfs in the folder the input.
  void useSysfs() const;

  /// Puts a function at `place` below the devices of the made-up sysfs: its configuration space
  /// and its name among the bus's devices, but no attribute.
  std::filesystem::path plug(const std::string& place, const MadeFunction& function) const;
  void addSlot(const std::string& name, const std::string& address) const;

  static void write(const std::filesystem::path& file, const std::string& text);

  std::filesystem::path folder;
};

std::vector<std::string> addressesOf(const Devices& devices);
/// The parent's address, "-" without one.
std::string parentOf(const PciDevice& device);
/// "child<parent" for each function.
std::vector<std::string> parentsOf(const Devices& devices);
/// What a function's own bytes and attributes say.
std::string ownWords(const PciDevice& device);
/// Everything that the operations of a function answer: the above, its slot and its parent.
std::string describe(const PciDevice& device);

std::string readSample(const std::string& name);

}  // namespace qarctltest
