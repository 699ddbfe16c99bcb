#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace clienttest {

/// A request as it came.
struct ScriptedRequest {
  std::string head;
  std::string body;

  /// The operation, the message's id, and the text of a parameter, as the message has them; empty
  /// where it does not.
  std::string operation() const;
  std::string id() const;
  std::string parameter(const std::string& name) const;
  /// The value of a header; empty without it.
  std::string header(const std::string& name) const;
};

/// The connection of one client, from the server's side.
class Conversation {
 public:
  explicit Conversation(int socket) : socket_(socket) {}

  /// False when the client has gone.
  bool send(const std::string& text) const;
  /// Returns when the client has gone.
  void waitForEnd() const;

 private:
  int socket_;
};

/// A server at a port of the loopback address that answers as the test says, right or wrong, each
/// client on a thread of its own.
class ScriptedServer {
 public:
  /// Answers a request; false ends the connection. Called on the threads of clients.
  using Script = std::function<bool(const Conversation&, const ScriptedRequest&)>;

  explicit ScriptedServer(Script script);
  /// Ends all connections.
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  int port() const { return port_; }
  std::string name() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string url() const { return "http://" + name(); }

  /// What it was asked so far.
  std::vector<ScriptedRequest> requests() const;
  /// The operations of those.
  std::vector<std::string> operations() const;
  /// Connections that clients have made.
  int connections() const { return connections_; }

 private:
  void accept();
  void converse(int socket);

  Script script_;
  int listener_;
  int port_ = 0;
  std::atomic<int> connections_ = 0;
  mutable std::mutex mutex_;
  std::vector<ScriptedRequest> requests_;
  std::list<int> sockets_;
  std::list<std::jthread> threads_;
  std::jthread accepting_;
};

/// A response message with these elements below IMETHODRESPONSE.
std::string responseTo(const ScriptedRequest& request, const std::string& elements);
/// The same with a result.
std::string resultFor(const ScriptedRequest& request, const std::string& objects);
std::string errorFor(const ScriptedRequest& request, int code, const std::string& text);
/// A part of an answer; the last one without a context.
std::string partFor(const ScriptedRequest& request, const std::string& objects,
                    const std::string& context);

/// An answer over HTTP with a length; `headers` each end with their line.
std::string httpAnswer(const std::string& body, const std::string& headers = "",
                       const std::string& status = "200 OK");

/// INSTANCENAME with a key `Id`.
std::string nameOf(const std::string& id, const std::string& className = "Test_Thing");

/// A server that knows no requests for parts, and gives that result for all others.
ScriptedServer::Script plainly(const std::string& objects);

}  // namespace clienttest
