#include "support/connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace test_support {

namespace {

constexpr int kHangGuardSeconds = 60;

void setHangGuard(int descriptor) {
  const timeval guard{kHangGuardSeconds, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &guard, sizeof guard);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &guard, sizeof guard);
}

// What is sent leaves at once: bytes that wait for an acknowledgement are lost in a reset.
void sendAtOnce(int descriptor) {
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool isReset(int error) { return error == ECONNRESET || error == EPIPE; }

using ContextPtr = std::shared_ptr<SSL_CTX>;

ContextPtr newContext(const TlsIdentity& identity) {
  ContextPtr context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (SSL_CTX_use_certificate_chain_file(context.get(), identity.certificateFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    throw std::runtime_error("cannot use the certificate " + identity.certificateFile);
  }
  return context;
}

// Making one takes longer than a handshake. The latest is kept: a test's servers rarely differ.
ContextPtr contextOf(const TlsIdentity& identity) {
  static std::mutex mutex;
  static std::string certificateFile;
  static ContextPtr latest;
  const std::lock_guard lock(mutex);
  if (!latest || identity.certificateFile != certificateFile) {
    latest = newContext(identity);
    certificateFile = identity.certificateFile;
  }
  return latest;
}

std::string systemText(const char* what, int error) {
  return std::string(what) + ": " + std::generic_category().message(error);
}

}  // namespace

Connection::Connection(int descriptor, std::size_t index, Recorder recorder)
    : index_(index),
      recorder_(std::move(recorder)),
      reader_([this] { return receive(); }),
      descriptor_(descriptor) {
  setHangGuard(descriptor);
  sendAtOnce(descriptor);
}

Connection::~Connection() { close(); }

std::optional<HttpRequest> Connection::readRequest() {
  std::optional<HttpRequest> request = readHead();
  if (request) {
    readBody(*request);
  }
  return request;
}

std::optional<HttpRequest> Connection::readHead() {
  std::optional<HttpRequest> request;
  try {
    request = reader_.readHead();
  } catch (const TruncatedRequest&) {
    if (peerReset_) {
      throw ConnectionLost("the peer reset the connection within a request");
    }
    throw;
  }
  if (request) {
    request->connection = index_;
  }
  return request;
}

void Connection::readBody(HttpRequest& request) {
  try {
    reader_.readBody(request);
  } catch (const TruncatedRequest&) {
    if (peerReset_) {
      throw ConnectionLost("the peer reset the connection within a request");
    }
    throw;
  }
  recorder_(request);
}

void Connection::send(std::string_view bytes) {
  if (descriptor_ < 0) {
    throw std::logic_error("send on a closed connection");
  }
  if (ssl_) {
    sendTls(bytes);
  } else {
    sendPlain(bytes);
  }
}

bool Connection::trySend(std::string_view bytes) {
  try {
    send(bytes);
    return true;
  } catch (const ConnectionLost&) {
    return false;
  }
}

bool Connection::startTls(const TlsIdentity& identity) {
  ssl_.reset(SSL_new(contextOf(identity).get()));
  SSL_set_fd(ssl_.get(), descriptor_);
  ERR_clear_error();
  if (SSL_accept(ssl_.get()) == 1) {
    return true;
  }
  closeDescriptor();
  return false;
}

std::string Connection::serverName() const {
  const char* name = ssl_ ? SSL_get_servername(ssl_.get(), TLSEXT_NAMETYPE_host_name) : nullptr;
  return name == nullptr ? "" : name;
}

void Connection::finish() {
  if (descriptor_ < 0) {
    return;
  }
  if (ssl_) {
    ERR_clear_error();
    SSL_shutdown(ssl_.get());
  }
  shutdown(descriptor_, SHUT_WR);
}

void Connection::close() {
  finish();
  closeDescriptor();
}

void Connection::closeWithoutNotify() { closeDescriptor(); }

void Connection::reset() {
  if (descriptor_ >= 0) {
    const linger atOnce{1, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  }
  closeDescriptor();
}

void Connection::waitUntilClosed() {
  while (!reader_.readSome().empty()) {
  }
}

void Connection::stop() {
  stopped_ = true;
  const std::lock_guard lock(mutex_);
  if (descriptor_ >= 0) {
    shutdown(descriptor_, SHUT_RDWR);
  }
}

std::string Connection::receive() {
  if (descriptor_ < 0) {
    throw std::logic_error("read on a closed connection");
  }
  std::array<char, 16384> bytes;
  if (ssl_) {
    ERR_clear_error();
    errno = 0;
    const int count = SSL_read(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()));
    if (count > 0) {
      return {bytes.data(), static_cast<std::size_t>(count)};
    }
    const int error = errno;
    if (SSL_get_error(ssl_.get(), count) == SSL_ERROR_WANT_READ) {
      throw HangGuardExpired("nothing came from the peer");
    }
    peerReset_ = isReset(error);
    return {};
  }
  const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), 0);
  if (count >= 0) {
    return {bytes.data(), static_cast<std::size_t>(count)};
  }
  if (isReset(errno)) {
    peerReset_ = true;
    return {};
  }
  throw HangGuardExpired(systemText("nothing came from the peer", errno));
}

void Connection::sendPlain(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && isReset(errno)) {
      throw ConnectionLost(systemText("the peer is gone", errno));
    }
    if (count < 0) {
      throw HangGuardExpired(systemText("the peer takes no bytes", errno));
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Connection::sendTls(std::string_view bytes) {
  if (bytes.empty()) {
    return;
  }
  ERR_clear_error();
  // The thread has SIGPIPE blocked: OpenSSL writes without MSG_NOSIGNAL.
  const int count = SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()));
  if (count <= 0) {
    const int error = SSL_get_error(ssl_.get(), count);
    if (error == SSL_ERROR_WANT_WRITE) {
      throw HangGuardExpired("the peer takes no bytes");
    }
    throw ConnectionLost("the peer is gone");
  }
}

void Connection::closeDescriptor() {
  const std::lock_guard lock(mutex_);
  if (descriptor_ >= 0) {
    ::close(descriptor_);
    descriptor_ = -1;
  }
}

}  // namespace test_support
