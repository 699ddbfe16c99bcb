// Saved inventories that come once, slowly, without an end or not at all.
#include "host_fixture.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qarctltest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// An unnamed pipe as the input.
class Pipe : public HostTest {
 protected:
  Pipe() {
    std::signal(SIGPIPE, SIG_IGN);
    if (pipe2(ends_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    setenv("QARCTL_PCI_DUMP", name().c_str(), 1);
  }
  ~Pipe() override {
    closeEnd(0);
    closeEnd(1);
  }

  std::string name() const { return "/dev/fd/" + std::to_string(ends_[0]); }

  /// Returns false when the reader has closed the pipe.
  bool send(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t count = ::write(ends_[1], text.data(), text.size());
      if (count <= 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }
  /// Waits until everything sent is taken.
  void awaitTaken() const {
    for (int left = 1; left != 0 && ioctl(ends_[0], FIONREAD, &left) == 0;) {
      std::this_thread::yield();
    }
  }
  void finish() { closeEnd(1); }

  /// The failure to read what is sent again and again.
  std::string failureOverEndless(const std::string& text) {
    std::thread writer([&] {
      while (send(text)) {
      }
    });
    std::string message = failure();
    // The library has closed its own end; with this one open the writer would wait for ever.
    closeEnd(0);
    writer.join();
    return message;
  }

 private:
  void closeEnd(int which) {
    if (ends_[which] >= 0) close(ends_[which]);
    ends_[which] = -1;
  }

  int ends_[2] = {-1, -1};
};

std::vector<std::string> describeAll(const Devices& devices) {
  std::vector<std::string> texts;
  for (const auto& device : devices) texts.push_back(describe(*device));
  return texts;
}

TEST_F(Pipe, GivesWhatTheFileGives) {
  const std::string text = readSample("q35-pcie-switches.txt");
  std::thread writer([&] {
    send(text);
    finish();
  });
  const auto piped = describeAll(read());
  writer.join();
  EXPECT_EQ(piped, describeAll(readInventory(text)));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Pipe, MayBeWrittenSlowlyAndInAnyPieces) {
  const std::string text = "\xef\xbb\xbf" + MadeFunction("00:01.0").text() +
                           "00:02.0 x\r\n\tPhysical Slot: 4\r\n" +
                           MadeFunction("").express(5).hexLines();
  std::thread writer([&] {
    for (std::size_t at = 0; at < text.size(); at += 1 + at % 7) {
      awaitTaken();
      send(std::string_view(text).substr(at, 1 + at % 7));
    }
    finish();
  });
  const Devices devices = read();
  writer.join();
  ASSERT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0"));
  EXPECT_EQ(devices[1]->GetPhysicalSlot(), 4);
  EXPECT_EQ(devices[1]->GetPcieDeviceType(), 5);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Pipe, ThatIsEmptyIsAHostWithoutPci) {
  finish();
  EXPECT_THAT(read(), IsEmpty());
}

TEST_F(Pipe, OfTextWithoutAnEndIsRefused) {
  const std::string expected = "PCI inventory " + name() +
                               " holds no PCI function in its first 64 MiB: found other text, "
                               "expected what lspci -D -xxxx writes";
  EXPECT_EQ(failureOverEndless("no function here\n" + std::string(4000, ' ') + "\n"), expected);
}

TEST_F(Pipe, OfTextWithoutAnEndBehindAFunctionIsRefused) {
  send(MadeFunction("00:01.0", 64).text() + "00:02.0 without bytes\n");
  EXPECT_THAT(failureOverEndless(std::string(4000, 'x')),
              HasSubstr(" goes on for 64 MiB behind its last PCI function"));
}

TEST_F(Pipe, OfFunctionsWithoutAnEndIsRefused) {
  std::string many;
  for (int count = 0; count < 1000; ++count) many += "00:01.0\n00: 86 80\n";
  EXPECT_EQ(failureOverEndless(many),
            "PCI inventory " + name() + " holds more than 1048576 PCI functions");
}

class Device : public HostTest {};

TEST_F(Device, WithoutAnEndIsRefused) {
  setenv("QARCTL_PCI_DUMP", "/dev/zero", 1);
  EXPECT_EQ(failure(),
            "PCI inventory /dev/zero holds no PCI function in its first 64 MiB: found bytes that "
            "are no text, expected what lspci -D -xxxx writes");
}

TEST_F(Device, WithNothingInItIsAHostWithoutPci) {
  setenv("QARCTL_PCI_DUMP", "/dev/null", 1);
  EXPECT_THAT(read(), IsEmpty());
}

class Fifo : public HostTest {
 protected:
  Fifo() {
    if (mkfifo(inventoryFile().c_str(), 0600) != 0) throw std::runtime_error("no FIFO");
    setenv("QARCTL_PCI_DUMP", inventoryFile().c_str(), 1);
  }
};

TEST_F(Fifo, GivesWhatIsWrittenIntoIt) {
  const std::string text = readSample("i440fx-conventional.txt");
  // Waits for a reader.
  std::thread writer([&] { std::ofstream(inventoryFile(), std::ios::binary) << text; });
  const std::size_t count = read().size();
  writer.join();
  std::filesystem::remove(inventoryFile());
  EXPECT_EQ(count, readInventory(text).size());
}

TEST_F(Fifo, ThatNobodyWritesToIsRefused) {
  EXPECT_EQ(failure(), "cannot read PCI inventory " + inventoryFile().string() +
                           ": a FIFO that nobody writes to");
}

}  // namespace
}  // namespace qarctltest
