#include "chainhost/echo_server.h"

#include <Poco/Exception.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/TCPServer.h>
#include <Poco/ThreadPool.h>

#include <iostream>
#include <stdexcept>
#include <string>

#include "chainhost/echo_connection.h"
#include "chainhost/report.h"
#include "chainhost/signal_watcher.h"

namespace chainhost {

namespace {

constexpr int kBacklog = 128;

Poco::Net::ServerSocket listenOn(std::uint16_t port) {
  Poco::Net::ServerSocket socket;
  // The address may be one that a server has just left, but not one that another serves.
  constexpr bool reuseAddress = true;
  constexpr bool reusePort = false;
  socket.bind(Poco::Net::SocketAddress("127.0.0.1", port), reuseAddress, reusePort);
  socket.listen(kBacklog);
  return socket;
}

}  // namespace

// The threads outlive the server that uses them, the register of connections outlives both.
class EchoServer::Parts {
 public:
  explicit Parts(std::uint16_t port)
      : threads_("echo", 2, EchoServer::kConnectionsMax),
        socket_(listenOn(port)),
        server_(new EchoConnectionFactory(open_), threads_, socket_) {
    server_.start();
  }
  ~Parts() {
    server_.stop();
    open_.endAll();
    threads_.joinAll();
  }

  std::uint16_t port() const { return socket_.address().port(); }

 private:
  OpenConnections open_;
  Poco::ThreadPool threads_;
  Poco::Net::ServerSocket socket_;
  Poco::Net::TCPServer server_;
};

EchoServer::EchoServer(std::uint16_t port) try : parts_(std::make_unique<Parts>(port)) {
} catch (const Poco::Exception& error) {
  throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
                           error.displayText());
}

EchoServer::~EchoServer() = default;

std::uint16_t EchoServer::port() const { return parts_->port(); }

ExitCode echoServerCommand(std::uint16_t port) {
  blockEndSignals();
  try {
    const EchoServer server(port);
    std::cout << "listening on 127.0.0.1:" + std::to_string(server.port()) + "\n" << std::flush;
    waitForEndSignal();
  } catch (const std::exception& error) {
    report(error.what());
    return ExitCode::Failed;
  }
  return ExitCode::Done;
}

}  // namespace chainhost
