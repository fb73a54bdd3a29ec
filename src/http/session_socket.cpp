#include "http/session_socket.h"

namespace com::corvane::connectivity::plugins {

void SessionSocket::connectTo(const Poco::Net::SocketAddress& address, std::int64_t timeoutMs) {
  close();
  peer_.open(address.af(), timeoutMs);
  peer_.connect(address);
  reset(peer_.descriptor());  // the library takes it for connected from now on
}

void SessionSocket::startTls(const Poco::Net::Context::Ptr& context, const std::string& host) {
  tls_.emplace(peer_, context, host);
}

bool SessionSocket::hasBytes() {
  return peer_.isOpen() && (tls_ ? tls_->hasBytes() : peer_.hasBytes());
}

std::size_t SessionSocket::receive(char* buffer, std::size_t length) {
  return tls_ ? tls_->receive(buffer, length) : peer_.receive(buffer, length);
}

void SessionSocket::send(const char* bytes, std::size_t length) {
  tls_ ? tls_->send(bytes, length) : peer_.send(bytes, length);
}

int SessionSocket::sendBytes(const void* buffer, int length, int) {
  send(static_cast<const char*>(buffer), static_cast<std::size_t>(length));
  return length;
}

void SessionSocket::close() noexcept {
  if (tls_) tls_->close();
  tls_.reset();
  reset();
  peer_.close();
}

}  // namespace com::corvane::connectivity::plugins
