// fuzz/loopback_peer.h : a server of this machine that serves one connection after the other.
//
// Role:      the other end of an exchange under test. It lives as long as the process, as its
//            thread does: make it once and keep it.
// Threads:   one of its own, on which the handler runs. What the handler shares with the fuzzing
//            thread needs a lock.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace fuzz {

class LoopbackPeer {
 public:
  /// Serves a connection until it has ended; the peer closes it then.
  using Handler = std::function<void(int connection)>;

  explicit LoopbackPeer(Handler handler);
  LoopbackPeer(const LoopbackPeer&) = delete;
  LoopbackPeer& operator=(const LoopbackPeer&) = delete;

  std::uint16_t port() const { return port_; }

 private:
  [[noreturn]] void serve();

  const Handler handler_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
};

/// Sends all of it, as far as the other side takes it.
void sendAll(int connection, std::string_view bytes);

}  // namespace fuzz
