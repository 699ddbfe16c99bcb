#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "raw_client.h"
#include "running_server.h"

namespace {

namespace http = boost::beast::http;

/// A server that answers GetInstance, and listings in chunks.
servetest::RunningServer& server() {
  static const std::unique_ptr<servetest::RunningServer> running = [] {
    cimom::HttpLimits limits;
    limits.connections = 1000;
    limits.connectionsPerClient = 1000;
    auto made = std::make_unique<servetest::RunningServer>(limits);
    made->host.setNote(std::string(1000, 'n'));
    made->host.setListing(100);
    return made;
  }();
  return *running;
}

/// The length of the response that the text begins with. Aborts when it is none, or not whole.
std::size_t lengthOfResponse(std::string_view text) {
  http::response_parser<http::string_body> parser;
  parser.eager(true);
  boost::system::error_code error;
  std::size_t used = 0;
  while (!error && used < text.size() && !parser.is_done()) {
    used += parser.put(boost::asio::buffer(text.data() + used, text.size() - used), error);
  }
  if (error || !parser.is_done()) std::abort();
  const unsigned status = parser.get().result_int();
  const bool isInvitation = status == 100;
  if (!isInvitation && (status < 200 || parser.get()[http::field::date].empty())) std::abort();
  return used;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Whatever a client sends before it ends its side, the server sends whole responses, or nothing,
// and ends the connection too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  servetest::RawClient client(server().port());
  // A server that refuses early may not read all of it.
  client.send(std::string(reinterpret_cast<const char*>(data), size));
  client.endSending();
  const std::string received = client.receiveAll(std::chrono::seconds(60));
  std::string_view rest = received;
  while (!rest.empty()) rest.remove_prefix(lengthOfResponse(rest));
  return 0;
}
