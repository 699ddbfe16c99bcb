#include "scripted_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace clienttest {
namespace {

/// What is between the first `begin` and the next `end`; empty where they are not there.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t start = text.find(begin);
  if (start == std::string::npos) return "";
  const std::size_t from = start + begin.size();
  return text.substr(from, text.find(end, from) - from);
}

/// Reads on until the text is there; false when the client has gone.
bool receiveUntil(int socket, std::string& received, const std::function<bool()>& isThere) {
  char bytes[4096];
  while (!isThere()) {
    const ssize_t count = recv(socket, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    received.append(bytes, static_cast<std::size_t>(count));
  }
  return true;
}

/// Takes one request from what was received and what comes.
bool takeRequest(int socket, std::string& received, ScriptedRequest& request) {
  constexpr char kEnd[] = "\r\n\r\n";
  const auto hasHead = [&] { return received.find(kEnd) != std::string::npos; };
  if (!receiveUntil(socket, received, hasHead)) return false;
  const std::size_t headLength = received.find(kEnd) + 4;
  request.head = received.substr(0, headLength);
  const std::string length = request.header("Content-Length");
  const std::size_t whole = headLength + (length.empty() ? 0 : std::stoul(length));
  if (!receiveUntil(socket, received, [&] { return received.size() >= whole; })) return false;
  request.body = received.substr(headLength, whole - headLength);
  received.erase(0, whole);
  return true;
}

}  // namespace

std::string ScriptedRequest::operation() const {
  return between(body, "IMETHODCALL NAME=\"", "\"");
}

std::string ScriptedRequest::id() const {
  return between(body, "MESSAGE ID=\"", "\"");
}

std::string ScriptedRequest::parameter(const std::string& name) const {
  const std::string element =
      between(body, "<IPARAMVALUE NAME=\"" + name + "\">", "</IPARAMVALUE>");
  return element.starts_with("<VALUE>") ? between(element, "<VALUE>", "</VALUE>") : element;
}

std::string ScriptedRequest::header(const std::string& name) const {
  return between(head, "\r\n" + name + ": ", "\r\n");
}

bool Conversation::send(const std::string& text) const {
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t count = ::send(socket_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

void Conversation::waitForEnd() const {
  char bytes[256];
  while (recv(socket_, bytes, sizeof bytes, 0) > 0) {
  }
}

ScriptedServer::ScriptedServer(Script script)
    : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  constexpr int kBacklog = 64;
  if (bind(listener_, general, length) != 0 || listen(listener_, kBacklog) != 0 ||
      getsockname(listener_, general, &length) != 0) {
    throw std::system_error(errno, std::generic_category(), "listen");
  }
  port_ = ntohs(address.sin_port);
  accepting_ = std::jthread([this] { accept(); });
}

ScriptedServer::~ScriptedServer() {
  shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
  }
  threads_.clear();
  close(listener_);
}

std::vector<ScriptedRequest> ScriptedServer::requests() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::vector<std::string> ScriptedServer::operations() const {
  std::vector<std::string> names;
  for (const ScriptedRequest& request : requests()) names.push_back(request.operation());
  return names;
}

void ScriptedServer::accept() {
  for (;;) {
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) return;
    ++connections_;
    const std::lock_guard<std::mutex> lock(mutex_);
    sockets_.push_back(client);
    threads_.emplace_back([this, client] { converse(client); });
  }
}

void ScriptedServer::converse(int client) {
  const Conversation conversation(client);
  std::string received;
  for (ScriptedRequest request; takeRequest(client, received, request);) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      requests_.push_back(request);
    }
    if (!script_(conversation, request)) break;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  sockets_.remove(client);
  close(client);
}

std::string responseTo(const ScriptedRequest& request, const std::string& elements) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
         "<MESSAGE ID=\"" +
         request.id() + "\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"" +
         request.operation() + "\">" + elements +
         "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>\n";
}

std::string resultFor(const ScriptedRequest& request, const std::string& objects) {
  return responseTo(request, "<IRETURNVALUE>" + objects + "</IRETURNVALUE>");
}

std::string errorFor(const ScriptedRequest& request, int code, const std::string& text) {
  return responseTo(request,
                    "<ERROR CODE=\"" + std::to_string(code) + "\" DESCRIPTION=\"" + text + "\"/>");
}

std::string partFor(const ScriptedRequest& request, const std::string& objects,
                    const std::string& context) {
  const std::string isLast = context.empty() ? "TRUE" : "FALSE";
  const std::string value = context.empty() ? "" : "<VALUE>" + context + "</VALUE>";
  return responseTo(request, "<IRETURNVALUE>" + objects +
                                 "</IRETURNVALUE><PARAMVALUE NAME=\"EndOfSequence\"><VALUE>" +
                                 isLast + "</VALUE></PARAMVALUE>" +
                                 "<PARAMVALUE NAME=\"EnumerationContext\">" + value +
                                 "</PARAMVALUE>");
}

std::string httpAnswer(const std::string& body, const std::string& headers,
                       const std::string& status) {
  return "HTTP/1.1 " + status + "\r\nContent-Type: application/xml\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string nameOf(const std::string& id, const std::string& className) {
  return "<INSTANCENAME CLASSNAME=\"" + className + "\"><KEYBINDING NAME=\"Id\"><KEYVALUE>" + id +
         "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}

ScriptedServer::Script plainly(const std::string& objects) {
  constexpr int kNotSupported = 7;
  return [objects](const Conversation& client, const ScriptedRequest& request) {
    const bool isKnown = !request.operation().starts_with("Open");
    return client.send(httpAnswer(isKnown ? resultFor(request, objects)
                                          : errorFor(request, kNotSupported, "unknown")));
  };
}

}  // namespace clienttest
