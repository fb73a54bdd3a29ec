// comparison/served_connection.h : the server's end of one connection of the comparison.
//
// Threads:   one thread only; nothing waits.
// Ownership: closes the descriptor, which does not block; borrows the TLS context, and each answer
//            until it has been sent.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/comparison/answer.h"

namespace bench {

struct ServedRequest {
  std::size_t answerBytes = 0;
  std::int64_t delayMs = 0;
};

class ServedConnection {
 public:
  enum class State { Waiting, Request, Over };

  /// `tls` null: plain.
  ServedConnection(int descriptor, SSL_CTX* tls);
  ~ServedConnection();
  ServedConnection(const ServedConnection&) = delete;
  ServedConnection& operator=(const ServedConnection&) = delete;

  /// Receives up to the end of the next request. Waiting: there is nothing more for now.
  State receive(ServedRequest& request);

  /// Sends an answer, as far as there is room. False: the connection is over.
  bool send(const Answer& answer);

  /// Sends what there was no room for. False: the connection is over.
  bool sendRest();

 private:
  struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };

  bool takeHead();
  bool takeRequest(ServedRequest& request);
  // Both: the number of bytes, 0 when the connection is over, below 0 when it would wait.
  long receiveSome(char* bytes, std::size_t length) const;
  long sendSome() const;
  long outcomeOf(int result) const;

  const int descriptor_;
  const std::unique_ptr<SSL, FreeSsl> ssl_;
  std::string input_;  // from the beginning of a head on
  bool hasHead_ = false;
  ServedRequest request_;           // with hasHead_: the one whose body is being received
  std::uint64_t bodyLeft_ = 0;      // bytes of it that are still to come
  const Answer* answer_ = nullptr;  // that has not been sent whole
  std::size_t sentBytes_ = 0;       // of it
};

}  // namespace bench
