#include "http/tls_stream.h"

#include <Poco/Net/IPAddress.h>
#include <Poco/Net/SSLException.h>
#include <openssl/err.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::size_t kGatheredBytesMax = 128 * 1024;
constexpr std::size_t kKeptBytesMax = 32 * 1024;

int clamped(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, std::numeric_limits<int>::max()));
}

// A server is told names only, never addresses (RFC 6066, section 3): some refuse these.
bool isName(const std::string& host) {
  Poco::Net::IPAddress address;
  return !Poco::Net::IPAddress::tryParse(host, address);
}

// What an operation reports is read from the thread's queue of errors, which has to be empty
// beforehand. Clearing one that is empty visits each of its places.
void clearErrors() {
  if (ERR_peek_error() != 0) ERR_clear_error();
}

TlsStream& streamOf(BIO* bio) { return *static_cast<TlsStream*>(BIO_get_data(bio)); }

}  // namespace

TlsStream::TlsStream(PeerSocket& peer, const Poco::Net::Context::Ptr& context,
                     TlsSessions& sessions, const std::string& host)
    : peer_(peer),
      context_(context),
      method_(BIO_meth_new(BIO_TYPE_SOURCE_SINK, "peer socket")),
      ssl_(SSL_new(context->sslContext())) {
  if (!ssl_) throw std::bad_alloc();
  BIO* const bio = makeBio();
  SSL_set_bio(ssl_.get(), bio, bio);
  SSL_set_read_ahead(ssl_.get(), 1);  // else it reads each record's head and the rest apart
  if (isName(host)) SSL_set_tlsext_host_name(ssl_.get(), host.c_str());
  peer_.boundStep();
  shakeHands(sessions);
  peer_.boundStretches();
}

void TlsStream::shakeHands(TlsSessions& sessions) {
  sessions.offerTo(*ssl_);
  clearErrors();
  try {
    if (outcome(SSL_connect(ssl_.get())) == 0) {
      throw Poco::Net::SSLConnectionUnexpectedlyClosedException();
    }
  } catch (...) {
    sessions.forget();
    throw;
  }
}

std::size_t TlsStream::receive(char* buffer, std::size_t length) {
  clearErrors();
  return outcome(SSL_read(ssl_.get(), buffer, clamped(length)));
}

// The library may hold the rest of a record, or a part of one, when the socket has nothing.
bool TlsStream::hasBytes() {
  if (SSL_has_pending(ssl_.get()) == 0 && !peer_.hasBytes()) return false;
  mayWait_ = false;
  clearErrors();
  char byte = 0;
  const int result = SSL_peek(ssl_.get(), &byte, 1);
  const int error = SSL_get_error(ssl_.get(), result);
  mayWait_ = true;
  if (error == SSL_ERROR_ZERO_RETURN) return false;
  if (error == SSL_ERROR_WANT_READ) return SSL_has_pending(ssl_.get()) != 0;
  hasFailed_ = hasFailed_ || result <= 0;
  return true;
}

// One record after the other, and the system is called for many of them at once.
void TlsStream::send(std::string_view first, std::string_view second) {
  gathers_ = true;
  try {
    encrypt(first);
    encrypt(second);
    sendGathered();
  } catch (...) {
    gathers_ = false;
    gathered_.clear();
    throw;
  }
  gathers_ = false;
  if (gathered_.capacity() > kKeptBytesMax) std::string().swap(gathered_);
}

void TlsStream::encrypt(std::string_view bytes) {
  while (!bytes.empty()) {
    clearErrors();
    const std::size_t count = outcome(SSL_write(ssl_.get(), bytes.data(), clamped(bytes.size())));
    if (count == 0) throw Poco::Net::SSLConnectionUnexpectedlyClosedException();
    bytes.remove_prefix(count);
  }
}

void TlsStream::sendGathered() {
  try {
    peer_.send(gathered_);
    gathered_.clear();
  } catch (...) {
    hasFailed_ = true;
    throw;
  }
}

void TlsStream::close() noexcept {
  if (hasFailed_) return;
  peer_.stopWaiting();
  clearErrors();
  SSL_shutdown(ssl_.get());
  peerFailure_ = nullptr;  // how the end of a connection goes interests nobody
}

// A number of bytes, 0 at the end of TLS; or what went wrong, thrown.
std::size_t TlsStream::outcome(int result) {
  if (result > 0) return static_cast<std::size_t>(result);
  if (SSL_get_error(ssl_.get(), result) == SSL_ERROR_ZERO_RETURN) return 0;
  hasFailed_ = true;
  const std::exception_ptr peerFailure = std::exchange(peerFailure_, nullptr);
  // The last one says what came of those before it: a certificate is refused, say, because of a
  // signature that is wrong.
  const unsigned long error = ERR_peek_last_error();
  if (error != 0) {
    // Whatever became of telling the peer.
    char text[256];
    ERR_error_string_n(error, text, sizeof(text));
    throw Poco::Net::SSLException(text);
  }
  if (peerFailure) std::rethrow_exception(peerFailure);
  throw Poco::Net::SSLConnectionUnexpectedlyClosedException();
}

int TlsStream::readFromPeer(BIO* bio, char* buffer, int length) {
  TlsStream& stream = streamOf(bio);
  BIO_clear_retry_flags(bio);
  if (!stream.mayWait_ && !stream.peer_.hasBytes()) {
    BIO_set_retry_read(bio);
    return -1;
  }
  try {
    const std::size_t count = stream.peer_.receive(buffer, static_cast<std::size_t>(length));
    stream.peerHasEnded_ = count == 0;
    return static_cast<int>(count);
  } catch (...) {
    stream.peerFailure_ = std::current_exception();
    return -1;
  }
}

int TlsStream::writeToPeer(BIO* bio, const char* bytes, int length) {
  TlsStream& stream = streamOf(bio);
  try {
    const std::string_view record(bytes, static_cast<std::size_t>(length));
    if (!stream.gathers_) {
      stream.peer_.send(record);
    } else if (stream.gathered_.append(record).size() >= kGatheredBytesMax) {
      stream.sendGathered();
    }
    return length;
  } catch (...) {
    stream.peerFailure_ = std::current_exception();
    return -1;
  }
}

// The library asks whether the end has come after a read that gave nothing.
long TlsStream::control(BIO* bio, int command, long, void*) {
  if (command == BIO_CTRL_EOF) return streamOf(bio).peerHasEnded_ ? 1 : 0;
  return command == BIO_CTRL_FLUSH ? 1 : 0;
}

BIO* TlsStream::makeBio() {
  if (method_) {
    BIO_meth_set_read(method_.get(), readFromPeer);
    BIO_meth_set_write(method_.get(), writeToPeer);
    BIO_meth_set_ctrl(method_.get(), control);
    if (BIO* const bio = BIO_new(method_.get())) {
      BIO_set_data(bio, this);
      return bio;
    }
  }
  throw std::bad_alloc();
}

}  // namespace com::corvane::connectivity::plugins
