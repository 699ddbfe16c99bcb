#include "serve.h"

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>
#include <http/page_service.h>
#include <interop/interop_operations.h>
#include <malloc.h>
#include <model/names.h>
#include <page/topology_pages.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "managed_topology.h"
#include "report.h"
#include "service_manager.h"
#include "supervisor.h"

namespace pcicim {
namespace {

/// Become readable with the first signal. Never closed: a signal may come at any time.
int stopEvent = -1;
int leaveEvent = -1;

extern "C" void noteSignal(int signal) {
  const int saved = errno;
  const std::uint64_t one = 1;
  const int event = signal == kLeaveSignal ? leaveEvent : stopEvent;
  [[maybe_unused]] const ssize_t written = write(event, &one, sizeof one);
  errno = saved;
}

[[noreturn]] void throwSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void noteAt(int signal) {
  struct sigaction action {};
  action.sa_handler = noteSignal;
  // A second signal ends the process at once.
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  if (sigaction(signal, &action, nullptr) != 0) throwSystemError("sigaction");
}

int newEvent() {
  const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) throwSystemError("eventfd");
  return event;
}

void noteSignals() {
  stopEvent = newEvent();
  leaveEvent = newEvent();
  for (const int signal : {SIGINT, SIGTERM, kLeaveSignal}) noteAt(signal);
}

bool isEncrypted(const ServeOptions& options) {
  return !options.tlsCertificate.empty();
}

/// Throws std::runtime_error where others than this host reach the address and could ask or listen
/// in, unless that is wanted; then it is said.
void checkReach(const ServeOptions& options, const std::string& address) {
  const bool asks = !options.passwordFile.empty();
  if (cimom::isLoopback(address) || (asks && isEncrypted(options))) return;
  if (!options.allowAnyone) {
    throw std::runtime_error(
        "others reach " + address +
        ": give --tls-certificate, --tls-key and --password-file, or --allow-anyone");
  }
  const char* missing = asks                   ? "there is no encryption"
                        : isEncrypted(options) ? "there is no password"
                                               : "there is no password and no encryption";
  report(Severity::kWarning,
         "whoever reaches " + address + (asks ? " can listen in; " : " can ask; ") + missing);
}

int portOf(const ServeOptions& options) {
  constexpr int kHttp = 5988;
  constexpr int kHttps = 5989;
  return options.port.value_or(isEncrypted(options) ? kHttps : kHttp);
}

/// Listens where the options say, or takes what is passed; returns the first address.
SocketAddress listen(cimom::CimXmlHttpServer& server, const ServeOptions& options) {
  if (options.sockets.empty()) {
    return {options.address, server.listen(options.address, portOf(options))};
  }
  for (const int socket : options.sockets) server.adopt(socket);
  return addressOf(options.sockets.front());
}

void checkReach(const ServeOptions& options) {
  if (options.sockets.empty()) checkReach(options, options.address);
  for (const int socket : options.sockets) checkReach(options, addressOf(socket).host);
}

/// A name of the host with and without its domain.
void addName(std::vector<std::string>& names, const std::string& name) {
  if (name.empty()) return;
  names.push_back(name);
  names.push_back(name.substr(0, name.find('.')));
}

cimom::HttpSettings httpSettings(const ServeOptions& options, const std::string& hostName) {
  cimom::HttpSettings settings;
  settings.limits.stopTime = std::chrono::seconds(options.stopTime);
  settings.serverNames = options.serverNames;
  settings.serverNames.push_back(options.address);
  addName(settings.serverNames, hostName);
  addName(settings.serverNames, nodeName());
  settings.tlsCertificate = options.tlsCertificate;
  settings.tlsKey = options.tlsKey;
  settings.passwordFile = options.passwordFile;
  return settings;
}

/// An address as it is written in a URL; one that means every address is none to connect to.
std::string urlHost(const std::string& address) {
  if (address == "0.0.0.0") return "127.0.0.1";
  if (address == "::" || address == "[::]") return "[::1]";
  const bool isPlain = address.find(':') == std::string::npos || address.starts_with('[');
  return isPlain ? address : "[" + address + "]";
}

/// The class to try: the first of the published ones that is there, so that another product's
/// providers get a command that works too.
std::string classToTry(const std::vector<std::string>& served,
                       const std::vector<std::string>& published) {
  const auto found = std::ranges::find_first_of(published, served);
  return found != published.end() ? *found : served.front();
}

/// The pages, as the server takes them.
class ServedPages : public cimom::PageService {
 public:
  ServedPages(Session& session, PageSettings settings)
      : pages_(session.classes(), session.manager(), std::move(settings)) {}

  bool covers(std::string_view path) const override { return TopologyPages::covers(path); }
  cimom::HttpPage answer(std::string_view target) override {
    PageReply reply = pages_.answer(target);
    return {reply.status, std::move(reply.contentType), std::move(reply.policy),
            std::move(reply.body)};
  }

 private:
  TopologyPages pages_;
};

/// The published classes that are there first, in their order, then those of other providers.
std::vector<std::string> pageClasses(const std::vector<std::string>& published,
                                     const std::vector<std::string>& served) {
  std::vector<std::string> names;
  std::ranges::copy_if(published, std::back_inserter(names),
                       [&](const auto& name) { return cimom::holdsName(served, name); });
  std::ranges::copy_if(served, std::back_inserter(names),
                       [&](const auto& name) { return !cimom::holdsName(names, name); });
  return names;
}

class Announcement {
 public:
  Announcement(const ServeOptions& options, const Session& session, const SocketAddress& address)
      : options_(options),
        session_(session),
        place_(urlHost(hostOf(options, address)) + ":" + std::to_string(address.port)) {}

  void print(const std::vector<std::string>& classes, const std::string& tried,
             const std::string& nameSpace, std::ostream& out) const {
    out << "Serving " << subject() << " at " << scheme() << place_ << "/cimom\n"
        << "Classes in namespace " << nameSpace << ":\n";
    for (const std::string& name : classes) out << "  " << name << '\n';
    out << "Try: wbemcli -nl " << authority() << "ei '" << scheme() << login() << place_ << '/'
        << nameSpace << ':' << tried << "'\n"
        << "In a browser: " << scheme() << place_ << "/\n"
        << "Stop it with Ctrl-C or SIGTERM.\n"
        << std::flush;
  }

 private:
  /// A name that is given is one that the certificate is likely to be for.
  static const std::string& hostOf(const ServeOptions& options, const SocketAddress& address) {
    const bool isNamed = isEncrypted(options) && !options.serverNames.empty();
    return isNamed ? options.serverNames.front() : address.host;
  }
  std::string subject() const {
    const std::string inventory = session_.inventory();
    return inventory.empty() ? "this host" : "the saved inventory " + inventory;
  }
  const char* scheme() const { return isEncrypted(options_) ? "https://" : "http://"; }
  std::string authority() const {
    return isEncrypted(options_) ? "-cacert '" + options_.tlsCertificate + "' " : "";
  }
  const char* login() const { return options_.passwordFile.empty() ? "" : "USER:PASSWORD@"; }

  const ServeOptions& options_;
  const Session& session_;
  std::string place_;
};

cimom::ObjectManagerFacts factsOf(const ServeOptions& options,
                                  const cimom::CimXmlSettings& settings) {
  return {.systemName = settings.hostName,
          .version = PCICIM_VERSION,
          .nameSpaces = {settings.nameSpace, cimom::kInteropNamespace},
          .asksForPasswords = !options.passwordFile.empty()};
}

/// One pool of memory for all threads: with one for each, every worker would come to hold as much
/// as the largest request takes.
void shareOnePool() {
  mallopt(M_ARENA_MAX, 1);
}

/// Requests that no answer came to hold their threads, and could hold the process for ever.
[[noreturn]] void endWithoutWaiting(std::ostream& out) {
  out.flush();
  report(Severity::kError, "stopped with requests that were not answered in time");
  std::_Exit(EXIT_FAILURE);
}

}  // namespace

int openSocket(const ServeOptions& options) {
  checkReach(options);
  return cimom::openListeningSocket(options.address, portOf(options));
}

void serve(Session& session, const Options& options, const std::vector<std::string>& published,
           std::ostream& out) {
  noteSignals();
  checkReach(options.serve);
  shareOnePool();
  const std::string given = session.hostName();
  const std::string hostName = given.empty() ? nodeName() : given;
  cimom::CimXmlSettings settings{.hostName = hostName};
  cimom::InteropOperations interop(session.classes(), factsOf(options.serve, settings));
  settings.further.push_back({cimom::kInteropNamespace, cimom::kInteropAlias, &interop});
  const cimom::CimXmlService service(session.classes(), session.manager(), settings);
  const std::vector<std::string> served = session.manager().servedClasses();
  ServedPages pages(session, {.hostName = hostName,
                              .classes = pageClasses(published, served),
                              .readMachine = [&manager = session.manager(), hostName] {
                                ManagedTopology source(manager);
                                return readMachine(source, hostName);
                              }});
  cimom::HttpSettings http = httpSettings(options.serve, hostName);
  http.pages = &pages;
  cimom::CimXmlHttpServer server(service, http);
  const SocketAddress address = listen(server, options.serve);
  Announcement(options.serve, session, address)
      .print(served, classToTry(served, published), settings.nameSpace, out);
  options.serve.isReady();
  const bool isAnswered = server.run(stopEvent, leaveEvent);
  service.shutDown();
  if (!isAnswered || !service.waitForPulled(server.timeLeft())) {
    endWithoutWaiting(out);
  }
}

}  // namespace pcicim
