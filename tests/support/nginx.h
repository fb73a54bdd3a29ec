// support/nginx.h : a real web server on a free loopback port, for tests against a peer that is
// not ours.
//
// Role:      starts the nginx that the system has, with a configuration and a directory of its own.
//            The sockets are bound by the test and handed over, so that no port is ever taken twice
//            and connections succeed from the first moment.
// Threads:   one thread only; see process.h.
// Ownership: the destructor ends the server and removes its directory.
// Errors:    std::runtime_error, with the server's own words, when it does not start.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/process.h"
#include "support/temp_dir.h"

namespace test_support {

class Nginx {
 public:
  struct Options {
    std::optional<TlsIdentity> tls;          // speaks TLS with this certificate
    std::vector<std::string> loggedHeaders;  // whose values the access log keeps
    unsigned keepAliveRequests = 1'000'000;  // requests on a connection before it is closed
    unsigned keepAliveSeconds = 60;          // idle time of a connection before it is closed
    std::string locations;                   // directives of the server block, before the last
                                             // one: "location / { return 200 ok; }"
  };

  /// One request that the server has answered.
  struct AccessLine {
    std::vector<std::string> headers;  // in the order of loggedHeaders; "" for one that is missing
    std::string method;
    std::string uri;
    int status = 0;
    std::uint64_t connection = 0;         // number of the connection
    std::uint64_t connectionRequest = 0;  // 1 for the first request on it
    std::int64_t startMs = 0;             // since 1970, the first byte's arrival
    std::int64_t endMs = 0;               // since 1970, the answer's end
  };

  /// Returns once the server answers.
  explicit Nginx(const Options& options);
  ~Nginx();
  Nginx(const Nginx&) = delete;
  Nginx& operator=(const Nginx&) = delete;

  std::uint16_t port() const { return port_; }

  /// Lets the server answer what it has begun, and ends it. May be called again.
  void stop();

  /// The requests in the order in which their answers ended; complete after stop.
  std::vector<AccessLine> accessLog() const;

  /// What the server says about itself and about errors.
  std::string errorLog() const;

 private:
  std::string configuration(std::uint16_t readinessPort) const;

  const Options options_;
  TempDir dir_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Process> process_;
};

}  // namespace test_support
