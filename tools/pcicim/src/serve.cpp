#include "serve.h"

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>
#include <sys/eventfd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <system_error>

namespace pcicim {
namespace {

/// Becomes readable with the first signal. Never closed: a signal may come at any time.
int stopEvent = -1;

extern "C" void requestStop(int /*signal*/) {
  const int saved = errno;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(stopEvent, &one, sizeof one);
  errno = saved;
}

[[noreturn]] void throwSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void stopAt(int signal) {
  struct sigaction action {};
  action.sa_handler = requestStop;
  // A second signal ends the process at once.
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  if (sigaction(signal, &action, nullptr) != 0) throwSystemError("sigaction");
}

void stopAtSignals() {
  stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (stopEvent < 0) throwSystemError("eventfd");
  stopAt(SIGINT);
  stopAt(SIGTERM);
}

std::string nodeName() {
  utsname names{};
  if (uname(&names) != 0) throwSystemError("uname");
  return names.nodename;
}

bool isLoopback(const std::string& address) {
  return address.starts_with("127.") || address == "::1" || address == "localhost";
}

/// An address as it is written in a URL; one that means every address is none to connect to.
std::string urlHost(const std::string& address) {
  if (address == "0.0.0.0") return "127.0.0.1";
  if (address == "::") return "[::1]";
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

/// The class to try: the first of the published ones that is there, so that another product's
/// providers get a command that works too.
std::string classToTry(const std::vector<std::string>& served,
                       const std::vector<std::string>& published) {
  const auto found = std::ranges::find_first_of(published, served);
  return found != published.end() ? *found : served.front();
}

class Announcement {
 public:
  Announcement(const Options& options, const Session& session, int port)
      : options_(options),
        session_(session),
        url_("http://" + urlHost(options.address) + ":" + std::to_string(port)) {}

  void print(const std::vector<std::string>& classes, const std::string& tried,
             const std::string& nameSpace, std::ostream& out) const {
    if (!isLoopback(options_.address)) {
      std::cerr << "pcicim: whoever reaches " << options_.address
                << " can ask; there is no password and no encryption\n";
    }
    out << "Serving " << subject() << " at " << url_ << "/cimom\n"
        << "Classes in namespace " << nameSpace << ":\n";
    for (const std::string& name : classes) out << "  " << name << '\n';
    out << "Try: wbemcli -nl ei '" << url_ << '/' << nameSpace << ':' << tried << "'\n"
        << "Stop it with Ctrl-C or SIGTERM.\n"
        << std::flush;
  }

 private:
  std::string subject() const {
    const std::string inventory = session_.inventory();
    return inventory.empty() ? "this host" : "the saved inventory " + inventory;
  }

  const Options& options_;
  const Session& session_;
  std::string url_;
};

}  // namespace

void serve(Session& session, const Options& options, const std::vector<std::string>& published,
           std::ostream& out) {
  stopAtSignals();
  const std::string hostName = session.hostName();
  const cimom::CimXmlSettings settings{.hostName = hostName.empty() ? nodeName() : hostName};
  const cimom::CimXmlService service(session.classes(), session.manager(), settings);
  cimom::CimXmlHttpServer server(service);
  const int port = server.listen(options.address, options.port);
  const std::vector<std::string> served = session.manager().servedClasses();
  Announcement(options, session, port)
      .print(served, classToTry(served, published), settings.nameSpace, out);
  server.run(stopEvent);
}

}  // namespace pcicim
