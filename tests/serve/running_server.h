#pragma once

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>
#include <mof/class_repository.h>

#include <chrono>
#include <future>

#include "cim_request.h"
#include "gated_host.h"

namespace servetest {

/// The server over the test classes and a gated host, at a free port of the loopback address.
class RunningServer {
 public:
  explicit RunningServer(const cimom::HttpLimits& limits = {})
      : RunningServer(cimom::HttpSettings{.limits = limits}) {}
  explicit RunningServer(const cimom::HttpSettings& settings);
  /// Opens the gate and stops the server.
  ~RunningServer();
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  int port() const { return port_; }

  void askToStop() const;
  /// True when the server has stopped within the time.
  bool hasStopped(std::chrono::milliseconds within) const;
  /// What the server says of its stop; waits for it.
  bool hasAnsweredAll() const { return running_.get(); }

  GatedHost host;

 private:
  cimom::ClassRepository repository_;
  cimom::CimXmlService service_;
  cimom::CimXmlHttpServer server_;
  int port_;
  int stopEvent_;
  std::shared_future<bool> running_;
};

/// A request for the instance of that id, which the gated host answers.
CimRequest getThing(const std::string& id);

/// The request as it goes over the wire, to /cimom; `headers` are before the empty line and end
/// with one of their own.
std::string wireText(const CimRequest& request, const std::string& headers = "");
/// The headers that announce the request, each with its end of line.
std::string cimHeaders(const CimRequest& request);

}  // namespace servetest
