#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <string>

namespace cimom {

/// What the address, also one in brackets, or name stands for. Throws std::runtime_error with the
/// reason why it stands for nothing.
boost::asio::ip::tcp::resolver::results_type resolveListener(boost::asio::io_context& context,
                                                             const std::string& address, int port);

/// Takes connections at one listening socket and hands them over. For the thread that runs the
/// context.
class HttpListener {
 public:
  using Socket = boost::asio::ip::tcp::socket;
  /// Takes a connection whose handlers run on a strand of its own. Must not throw.
  using Take = std::function<void(Socket)>;
  /// Called with the reason why no more connections can be taken.
  using Fail = std::function<void(const boost::system::error_code&)>;

  explicit HttpListener(boost::asio::io_context& context);

  /// Takes over a listening TCP socket; returns its port. Throws std::runtime_error with the
  /// reason.
  int adopt(int listeningSocket);

  void start(Take take, Fail fail);
  /// Hands over the connections that wait in the kernel.
  void takeWaiting();
  /// Takes no more connections and closes the port.
  void close();

 private:
  using Tcp = boost::asio::ip::tcp;

  void accept();
  void take(Socket socket);
  void onAccept(const boost::system::error_code& error, Socket socket);

  boost::asio::io_context& context_;
  Tcp::acceptor acceptor_;
  boost::asio::steady_timer pause_;
  Take take_;
  Fail fail_;
};

}  // namespace cimom
