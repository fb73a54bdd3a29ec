#include "support/scripted_server.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <utility>

#include "support/loopback.h"

namespace test_support {

namespace {

constexpr std::chrono::seconds kHangGuard{60};

// Over TLS the system's write raises SIGPIPE on a broken connection; blocked, it only fails.
void blockSigpipe() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

ScriptedServer::ScriptedServer(Script script)
    : ScriptedServer(std::nullopt, false, std::move(script)) {}

ScriptedServer::ScriptedServer(const TlsIdentity& identity, Script script)
    : ScriptedServer(identity, false, std::move(script)) {}

ScriptedServer::ScriptedServer(const TunnelTo& tunnel, Script script)
    : ScriptedServer(tunnel.identity, true, std::move(script)) {}

ScriptedServer::ScriptedServer(std::optional<TlsIdentity> identity, bool behindTunnel,
                               Script script)
    : identity_(std::move(identity)), behindTunnel_(behindTunnel), script_(std::move(script)) {
  listenOn(listenLoopback());
}

ScriptedServer::~ScriptedServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopListening();
  stopConnections();
  for (std::thread& thread : threads_) {
    thread.join();
  }
  for (const std::string& failure : failures_) {
    ADD_FAILURE() << "the server's script failed: " << failure;
  }
}

ScriptedServer::Script ScriptedServer::answeringAll(std::string response) {
  return [response = std::move(response)](Connection& connection) {
    while (connection.readRequest()) {
      connection.send(response);
    }
  };
}

std::size_t ScriptedServer::connectionCount() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

std::size_t ScriptedServer::failedHandshakeCount() const {
  const std::lock_guard lock(mutex_);
  return failedHandshakes_;
}

std::vector<HttpRequest> ScriptedServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<HttpRequest> ScriptedServer::tunnels() const {
  const std::lock_guard lock(mutex_);
  return tunnels_;
}

std::vector<HttpRequest> ScriptedServer::waitForRequests(std::size_t count) const {
  waitUntil("requests", [&] { return requests_.size() >= count; });
  return requests();
}

void ScriptedServer::waitForConnections(std::size_t count) const {
  waitUntil("connections", [&] { return connections_.size() >= count; });
}

void ScriptedServer::waitForFinishedConnections(std::size_t count) const {
  waitUntil("finished connections", [&] { return finished_ >= count; });
}

std::vector<std::string> ScriptedServer::takeFailures() {
  const std::lock_guard lock(mutex_);
  return std::exchange(failures_, {});
}

void ScriptedServer::stopListening() {
  if (listening_ >= 0) {
    shutdown(listening_, SHUT_RDWR);  // ends the acceptor's wait
    acceptor_.join();
    ::close(listening_);
    listening_ = -1;
  }
}

void ScriptedServer::listenOn(int descriptor) {
  stopListening();
  listening_ = descriptor;
  port_ = boundPort(descriptor);
  acceptor_ = std::thread([this, descriptor] { acceptAll(descriptor); });
}

void ScriptedServer::die() {
  stopListening();
  stopConnections();
}

// REQUIRES: nothing is listened on, so that no connection is added any more.
void ScriptedServer::stopConnections() {
  for (const auto& connection : connections_) {
    connection->stop();
  }
}

void ScriptedServer::acceptAll(int listening) {
  for (;;) {
    // Accepting takes a descriptor before it waits: a test may leave none meanwhile.
    pollfd incoming{listening, POLLIN, 0};
    poll(&incoming, 1, -1);
    const int descriptor = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0) {
      return;
    }
    const std::lock_guard lock(mutex_);
    auto record = [this](const HttpRequest& request) {
      const std::lock_guard recordLock(mutex_);
      requests_.push_back(request);
      changed_.notify_all();
    };
    connections_.push_back(
        std::make_unique<Connection>(descriptor, connections_.size(), std::move(record)));
    threads_.emplace_back([this, &connection = *connections_.back()] { serve(connection); });
    changed_.notify_all();
  }
}

// False: the peer has closed before it asked for one.
bool ScriptedServer::openTunnel(Connection& connection) {
  const auto request = connection.readHead();
  if (!request) return false;
  if (request->method != "CONNECT") throw MalformedRequest("not CONNECT: " + request->method);
  {
    const std::lock_guard lock(mutex_);
    tunnels_.push_back(*request);
  }
  return connection.trySend("HTTP/1.1 200 Connection established\r\n\r\n");
}

void ScriptedServer::serve(Connection& connection) {
  blockSigpipe();
  std::string failure;
  bool handshaken = true;
  try {
    const bool reached = !behindTunnel_ || openTunnel(connection);
    handshaken = !reached || !identity_ || connection.startTls(*identity_);
    if (reached && handshaken) {
      script_(connection);
    }
  } catch (const std::exception& exception) {
    failure = "connection " + std::to_string(connection.index()) + ": " + exception.what();
  }
  connection.close();
  const std::lock_guard lock(mutex_);
  if (!failure.empty() && !stopping_ && !connection.isStopped()) {
    failures_.push_back(failure);
  }
  failedHandshakes_ += handshaken ? 0 : 1;
  ++finished_;
  changed_.notify_all();
}

void ScriptedServer::waitUntil(const char* what, const std::function<bool()>& condition) const {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kHangGuard, condition)) {
    throw HangGuardExpired(std::string("waited in vain for ") + what +
                           "; connections: " + std::to_string(connections_.size()) +
                           ", finished: " + std::to_string(finished_) +
                           ", requests: " + std::to_string(requests_.size()));
  }
}

}  // namespace test_support
