// chainhost/echo_server.h : "chainhost echo-server", a small HTTP server for first tries.
//
// Role:      answers every request on 127.0.0.1 with status 200 and a JSON object of one line:
//            {"method": ..., "target": ..., "headers": {...}, "body": ...}. Header names stand as
//            received, one that came more than once has a list of its values. A body that is not
//            UTF-8 is written as {"$base64": "..."}. What is no HTTP gets an empty 400.
// Threads:   construction and destruction: one thread; requests are served on its own, one for
//            each connection, kConnectionsMax at most.
// Errors:    std::runtime_error "cannot listen on 127.0.0.1:PORT: REASON".
#pragma once

#include <cstdint>
#include <memory>

#include "chainhost/exit_code.h"

namespace chainhost {

class EchoServer {
 public:
  static constexpr int kConnectionsMax = 256;

  // Listens when it returns. Port 0: any free one.
  explicit EchoServer(std::uint16_t port);
  EchoServer(const EchoServer&) = delete;
  EchoServer& operator=(const EchoServer&) = delete;
  // Answers the requests in hand, then closes the connections.
  ~EchoServer();

  std::uint16_t port() const;

 private:
  class Parts;
  std::unique_ptr<Parts> parts_;
};

// Serves until SIGINT or SIGTERM. Writes "listening on 127.0.0.1:PORT" to standard output when it
// is ready.
ExitCode echoServerCommand(std::uint16_t port);

}  // namespace chainhost
