// bench/answer.h : one answer of the server, with or without a fault.
//
// Threads:   one thread only: a connection's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bench/fault.h"
#include "bench/server_socket.h"
#include "bench/traffic.h"

namespace bench {

class Answers {
 public:
  Answers(ServerSocket& socket, const Traffic& traffic) : socket_(socket), traffic_(traffic) {}

  /// Answers the request of this id. False: the connection is to be closed now.
  bool send(std::uint64_t id, Fault fault);

 private:
  bool sendWhole(std::uint64_t id, std::string_view status, std::string_view fields);
  bool sendInPieces(std::uint64_t id);
  bool sendChunked(std::uint64_t id, std::string_view end);
  bool sendGzipped(std::uint64_t id, bool isDamaged);
  void sendPart(std::uint64_t id, Fault fault);

  /// Begins the answer's bytes with its head, the empty line at its end apart.
  void begin(std::uint64_t id, std::string_view status);
  void addLength(std::size_t bytes);

  ServerSocket& socket_;
  const Traffic& traffic_;
  std::string bytes_;  // of the answer that is being made
};

}  // namespace bench
