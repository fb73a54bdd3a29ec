// http/client_session.h : one worker's connection to the server, with strict reading.
//
// Role:      joins a POCO client session (the request's bytes, and when a connection is made anew)
//            with a SessionSocket (connecting, TLS, waiting) and a ResponseReader (receiving).
//            POCO's own reading of responses is not used: it delivers bodies that were cut short as
//            whole ones, and lets the rest of one answer begin the next. Nor are its waits: they
//            begin anew with every byte, and not all can be cut.
// Threads:   one worker only.
// Ownership: the connection closes with the session.
// Errors:    what POCO throws; SessionSocket's and ResponseReader's errors; while a tunnel is being
//            opened Poco::Net::HTTPException "Cannot establish proxy connection" with the reason.
//            Call reset after any of them.
// Limits:    as long as the host name is looked up nothing is bounded or can be cut.
#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/SocketAddress.h>

#include <exception>
#include <iosfwd>
#include <string>

#include "http/connections.h"
#include "http/response_reader.h"
#include "http/session_socket.h"

namespace com::corvane::connectivity::plugins {

class ClientSession {
 public:
  virtual ~ClientSession() = default;

  /// Connects if there is no connection, writes the request's head and returns the stream that
  /// takes the body. Adds Host, and what the proxy needs, to the request.
  virtual std::ostream& sendRequest(Poco::Net::HTTPRequest& request) = 0;

  /// Sends what sendRequest's stream still holds. Throws what went wrong in it.
  virtual void flushRequest() = 0;

  /// True when the peer has sent what has not been received yet, or has closed.
  virtual bool hasInput() const = 0;

  /// Closes the connection; the next request opens a new one.
  virtual void reset() noexcept = 0;

  /// The POCO session, for its settings.
  virtual Poco::Net::HTTPClientSession& base() = 0;

  ResponseReader& reader() { return reader_; }

 protected:
  explicit ClientSession(ByteSource& source) : reader_(source) {}

  ResponseReader reader_;
};

class StrictSession final : private ByteSource,
                            public ClientSession,
                            private Poco::Net::HTTPClientSession {
 public:
  /// For plain HTTP without a context. Borrows the connections.
  StrictSession(Connections& connections, const std::string& host, Poco::UInt16 port,
                const Poco::Net::Context::Ptr& tlsContext = {});
  ~StrictSession() override { dropStream(); }

  std::ostream& sendRequest(Poco::Net::HTTPRequest& request) override;
  void flushRequest() override;
  bool hasInput() const override;
  void reset() noexcept override;
  Poco::Net::HTTPClientSession& base() override { return *this; }

 private:
  using Session = Poco::Net::HTTPClientSession;

  // For the library.
  bool secure() const override { return !tlsContext_.isNull(); }
  std::string proxyRequestPrefix() const override;
  void proxyAuthenticate(Poco::Net::HTTPRequest& request) override;
  void connect(const Poco::Net::SocketAddress& address) override;
  int write(const char* buffer, std::streamsize length) override;

  // For the reader.
  void beginHead() override { socket_->peer().boundStep(); }
  void beginBody() override { socket_->peer().boundStretches(); }
  std::size_t receive(char* buffer, std::size_t length) override;

  void dropStream() noexcept;
  void openTunnel();

  const Poco::Net::Context::Ptr tlsContext_;
  Poco::AutoPtr<SessionSocket> socket_;
  std::exception_ptr sendFailure_;
  bool isSending_ = false;
};

}  // namespace com::corvane::connectivity::plugins
