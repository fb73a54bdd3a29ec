// fuzz/request_peer.h : a loopback server that reads requests strictly and answers each.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "fuzz/loopback_peer.h"
#include "fuzz/wire_request.h"

namespace fuzz {

class RequestPeer {
 public:
  /// The answer to the n-th request (0: the first) since the last take.
  using Answer = std::function<std::string(std::size_t)>;

  explicit RequestPeer(Answer answer);

  std::uint16_t port() const { return peer_.port(); }

  /// What came since the last call. Ends the program when any of it was no request, or when bytes
  /// are there that belong to none. Call it when the client waits for nothing any more.
  std::vector<WireRequest> take();

 private:
  void serve(int connection);
  bool readSome(int connection);

  const Answer answer_;
  std::mutex mutex_;
  int connection_ = -1;  // the one that is served
  std::string bytes_;    // of it, beyond the requests so far
  std::string fault_;
  std::vector<WireRequest> requests_;
  LoopbackPeer peer_;  // last: it works on the others
};

}  // namespace fuzz
