#include "running_server.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include "test_classes.h"

namespace servetest {

RunningServer::RunningServer(const cimom::HttpSettings& settings)
    : repository_(cimom::ClassRepository::parse(kTestClasses)),
      service_(repository_, host, {"root/cimv2", "made.example"}),
      server_(service_, settings),
      port_(server_.listen("127.0.0.1", 0)),
      stopEvent_(eventfd(0, EFD_CLOEXEC)),
      running_(std::async(std::launch::async, [this] { return server_.run(stopEvent_); })) {}

RunningServer::~RunningServer() {
  host.open();
  askToStop();
  running_.wait();
  close(stopEvent_);
}

void RunningServer::askToStop() const {
  eventfd_write(stopEvent_, 1);
}

bool RunningServer::hasStopped(std::chrono::milliseconds within) const {
  return running_.wait_for(within) == std::future_status::ready;
}

CimRequest getThing(const std::string& id) {
  return CimRequest("GetInstance").xml("InstanceName", instanceName("Test_Thing", {{"Id", id}}));
}

std::string cimHeaders(const CimRequest& request) {
  const cimom::CimXmlHeaders headers = request.headers();
  return "CIMOperation: " + *headers.operation +
         "\r\nCIMProtocolVersion: 1.0\r\nCIMMethod: " + *headers.method +
         "\r\nCIMObject: " + *headers.object + "\r\n";
}

std::string wireText(const CimRequest& request, const std::string& headers) {
  const std::string body = request.body();
  return "POST /cimom HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/xml; "
         "charset=\"utf-8\"\r\n" +
         cimHeaders(request) + headers + "Content-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

}  // namespace servetest
