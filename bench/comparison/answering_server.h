// comparison/answering_server.h : the server of the comparison: one thread that answers at once.
//
// Role:      costs as little as a server can, so that what is measured is the client. It answers
//            "<method> /answer/<bytes>/<delay>" with status 200 and a body of so many bytes, after
//            so many milliseconds; a request's body has to have a Content-Length. Whatever else
//            comes ends its connection.
// Threads:   one thread only.
// Ownership: borrows the descriptors that it is given.
// Errors:    std::system_error when the system refuses.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <queue>
#include <vector>

#include "bench/comparison/answer.h"
#include "bench/comparison/served_connection.h"

namespace bench {

class AnsweringServer {
 public:
  /// Listening sockets. `tls` is the context for connections on the second of them.
  AnsweringServer(int plainListener, int tlsListener, SSL_CTX* tls);
  ~AnsweringServer();
  AnsweringServer(const AnsweringServer&) = delete;
  AnsweringServer& operator=(const AnsweringServer&) = delete;

  /// Serves until a descriptor is readable, or at its end.
  void serveUntil(int stopDescriptor);

 private:
  // An answer that is not yet due.
  struct Due {
    std::int64_t nanos;
    std::uint64_t connection;
    ServedRequest request;
    bool operator>(const Due& other) const { return nanos > other.nanos; }
  };

  void watch(int descriptor, std::uint64_t number) const;
  void accept(int listener, SSL_CTX* tls);
  void serve(std::uint64_t number, std::uint32_t events);
  bool take(std::uint64_t number, ServedConnection& connection);
  void answerDue();
  const Answer& answerOf(std::size_t bytes);
  std::int64_t nanosUntilDue() const;

  const int plainListener_;
  const int tlsListener_;
  SSL_CTX* const tls_;
  const int poll_;
  std::uint64_t nextNumber_;
  std::map<std::uint64_t, std::unique_ptr<ServedConnection>> connections_;
  std::map<std::size_t, Answer> answers_;  // by the number of bytes in the body
  std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
};

}  // namespace bench
