#include "streamed_host.h"

#include "made_function.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace qarctltest {

namespace {

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string rowsOf(MadeFunction function, std::size_t bytes) {
  if (bytes > 64) function.capability(0x01, 0x40).express(0, 0x50);
  return function.hexLines() + "\n";
}

}  // namespace

StreamedHost::StreamedHost(unsigned functions, std::size_t bytes) {
  std::signal(SIGPIPE, SIG_IGN);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  read_ = ends[0];
  setenv("QARCTL_PCI_DUMP", ("/dev/fd/" + std::to_string(read_)).c_str(), 1);
  writer_ = std::thread([=, this] {
    Write(ends[1], functions, bytes);
    close(ends[1]);
  });
}

StreamedHost::~StreamedHost() {
  close(read_);
  writer_.join();
}

void StreamedHost::Write(int descriptor, unsigned functions, std::size_t bytes) const {
  const std::string bridge =
      rowsOf(MadeFunction("", bytes).bridge(1, 255).word(0x0a, 0x0604), bytes);
  const std::string endpoint = rowsOf(MadeFunction("", bytes), bytes);
  char line[64];
  for (unsigned number = 0; number < functions; ++number) {
    const int length =
        std::snprintf(line, sizeof line, "0000:%02x:%02x.%x Made function (rev 03)\n",
                      number >> 8U & 0xffU, number >> 3U & 0x1fU, number & 7U);
    if (!writeAll(descriptor, {line, static_cast<std::size_t>(length)})) return;
    if (!writeAll(descriptor, number == 0 ? bridge : endpoint)) return;
  }
}

}  // namespace qarctltest
