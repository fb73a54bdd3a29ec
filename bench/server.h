// bench/server.h : the server that the transport is driven against, in a process of its own.
//
// Role:      echoes each request's id with the body that belongs to it, and commits the faults of
//            a schedule; what it sees stands in the journal. A process of its own, so that its
//            memory, threads and descriptors are not taken for the transport's.
// Threads:   one thread only; none may have been started in this process before. The server has
//            one for each connection.
// Ownership: the destructor ends the process; so does the end of the one that made it.
// Errors:    std::system_error when the system refuses.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>

#include "bench/fault.h"
#include "bench/journal.h"
#include "bench/traffic.h"
#include "support/certificates.h"

namespace bench {

struct Endpoint {
  bool tls = false;
  std::uint16_t port = 0;
};

class Server {
 public:
  Server(const Traffic& traffic, const FaultSchedule& faults, Journal& journal,
         const test_support::TlsIdentity& identity);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  Endpoint plain() const { return endpoints_[0]; }
  Endpoint tls() const { return endpoints_[1]; }

  /// Whether its process runs, as it should.
  bool isRunning() const;

 private:
  std::array<Endpoint, 2> endpoints_;
  pid_t process_;
};

}  // namespace bench
