#include "http/session_socket.h"

namespace com::corvane::connectivity::plugins {

void SessionSocket::connectTo(const Poco::Net::SocketAddress& address, std::int64_t timeoutMs) {
  close();
  peer_.open(address.af(), timeoutMs);
  peer_.connect(address);
}

void SessionSocket::startTls(const Poco::Net::Context::Ptr& context, TlsSessions& sessions,
                             const std::string& host) {
  tls_.emplace(peer_, context, sessions, host);
}

bool SessionSocket::hasBytes() {
  return peer_.isOpen() && (tls_ ? tls_->hasBytes() : peer_.hasBytes());
}

std::size_t SessionSocket::receive(char* buffer, std::size_t length) {
  return tls_ ? tls_->receive(buffer, length) : peer_.receive(buffer, length);
}

void SessionSocket::send(std::string_view first, std::string_view second) {
  tls_ ? tls_->send(first, second) : peer_.send(first, second);
}

void SessionSocket::close() noexcept {
  if (tls_) tls_->close();
  tls_.reset();
  peer_.close();
}

}  // namespace com::corvane::connectivity::plugins
