// http/tls_stream.h : TLS as the client, on top of a PeerSocket.
//
// Role:      the TLS library reads and writes through the socket's own waits, so that their bounds
//            and the cut hold below it: it never waits itself.
// Threads:   one worker only.
// Ownership: borrows the socket, which outlives it; shares the context.
// Errors:    PeerSocket's; Poco::Net::SSLException with the TLS library's text for anything that is
//            wrong with what comes; Poco::Net::SSLConnectionUnexpectedlyClosedException when it has
//            none.
#pragma once

#include <Poco/Net/Context.h>
#include <openssl/ssl.h>

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "http/peer_socket.h"
#include "http/tls_sessions.h"

namespace com::corvane::connectivity::plugins {

class TlsStream {
 public:
  /// Performs the handshake, as one step of the socket. The context says what is verified; `host`
  /// is the name that the server is told, unless it is an address. `sessions`, the context's, make
  /// the handshake shorter where the server agrees.
  TlsStream(PeerSocket& peer, const Poco::Net::Context::Ptr& context, TlsSessions& sessions,
            const std::string& host);
  TlsStream(const TlsStream&) = delete;
  TlsStream& operator=(const TlsStream&) = delete;

  /// As PeerSocket::receive; 0 when the peer has closed TLS. An end without that is an error.
  std::size_t receive(char* buffer, std::size_t length);

  /// As PeerSocket::hasBytes: what only TLS itself has to say is none. Bytes out of form are some.
  bool hasBytes();

  /// As PeerSocket::send.
  void send(std::string_view first, std::string_view second);

  /// Tells the peer that nothing more comes; without waiting, and unless something has failed.
  void close() noexcept;

  /// Gives the library's buffers back, 34 KiB, unless they hold anything. What is sent or received
  /// next makes new ones.
  void rest() noexcept { SSL_free_buffers(ssl_.get()); }

 private:
  struct Free {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
    void operator()(BIO_METHOD* method) const { BIO_meth_free(method); }
  };

  static int readFromPeer(BIO* bio, char* buffer, int length);
  static int writeToPeer(BIO* bio, const char* bytes, int length);
  static long control(BIO* bio, int command, long number, void* pointer);
  BIO* makeBio();
  void shakeHands(TlsSessions& sessions);
  void encrypt(std::string_view bytes);
  void sendGathered();
  std::size_t outcome(int result);

  PeerSocket& peer_;
  const Poco::Net::Context::Ptr context_;
  // One a stream: a process that exits frees what it shares while workers still use it.
  const std::unique_ptr<BIO_METHOD, Free> method_;
  const std::unique_ptr<SSL, Free> ssl_;
  std::string gathered_;  // records that are still to be sent, of one call of send
  bool gathers_ = false;
  std::exception_ptr peerFailure_;  // what must not pass through the library's own code
  bool peerHasEnded_ = false;
  bool mayWait_ = true;
  bool hasFailed_ = false;
};

}  // namespace com::corvane::connectivity::plugins
