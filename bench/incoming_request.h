// bench/incoming_request.h : the requests of one connection, as the server reads them.
//
// Threads:   one thread only.
// Limits:    a head of 16 KiB; bodies with a Content-Length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bench/server_socket.h"

namespace bench {

struct IncomingRequest {
  std::uint64_t id = 0;              // 0: this is no request
  std::optional<std::size_t> order;  // header "x-order"
  std::string checksum;              // header "x-checksum"
  std::size_t bodyBytes = 0;
};

class RequestSource {
 public:
  explicit RequestSource(ServerSocket& socket) : socket_(socket) {}

  /// The head of the next request; none: the peer has closed.
  std::optional<IncomingRequest> nextHead();

  /// The body that belongs to the last head; valid until the next call. None: it was cut short.
  std::optional<std::string_view> body(const IncomingRequest& request);

  /// Reads to the end of the connection.
  void drain();

 private:
  bool fill();

  ServerSocket& socket_;
  std::string bytes_;  // received and not yet taken, from `taken_` on
  std::size_t taken_ = 0;
};

/// Reads a head, without the empty line that ends it.
IncomingRequest parseHead(std::string_view head);

}  // namespace bench
