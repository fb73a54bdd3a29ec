// http/client_session.h : one worker's connection to the server, with strict reading.
//
// Role:      joins a POCO client session (connecting, proxy, TLS, sending) with a ResponseReader
//            (receiving). POCO's own reading of responses is not used: it delivers bodies that
//            were cut short as whole ones, and lets the rest of one answer begin the next.
// Threads:   one worker only.
// Ownership: the connection closes with the session.
// Errors:    what POCO throws; ResponseReader's errors; Connections::kCutText instead of either
//            when the connections have been cut. Call reset after any of them.
#pragma once

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

#include <exception>
#include <iosfwd>
#include <utility>

#include "http/connections.h"
#include "http/response_reader.h"

namespace com::corvane::connectivity::plugins {

class ClientSession {
 public:
  virtual ~ClientSession() = default;

  /// Connects if there is no connection, writes the request's head and returns the stream that
  /// takes the body. Adds Host, and what the proxy needs, to the request.
  virtual std::ostream& sendRequest(Poco::Net::HTTPRequest& request) = 0;

  /// Sends what sendRequest's stream still holds. Throws what went wrong in it.
  virtual void flushRequest() = 0;

  /// Closes the connection; the next request opens a new one.
  virtual void reset() noexcept = 0;

  /// The POCO session, for its settings.
  virtual Poco::Net::HTTPClientSession& base() = 0;

  ResponseReader& reader() { return reader_; }

 protected:
  explicit ClientSession(ByteSource& source) : reader_(source) {}

  ResponseReader reader_;
};

/// A socket of the same kind, plain or with the same TLS settings, that has its descriptor already
/// and is not connected yet.
Poco::Net::StreamSocket openSocketLike(const Poco::Net::StreamSocket& model,
                                       Poco::Net::SocketAddress::Family family);

/// PocoSession is Poco::Net::HTTPClientSession or a class derived from it.
template <class PocoSession>
class StrictSession final : private ByteSource, public ClientSession, private PocoSession {
 public:
  template <class... Arguments>
  explicit StrictSession(Connections& connections, Arguments&&... arguments)
      : ClientSession(static_cast<ByteSource&>(*this)),
        PocoSession(std::forward<Arguments>(arguments)...),
        connection_(connections) {}

  std::ostream& sendRequest(Poco::Net::HTTPRequest& request) override {
    sendFailure_ = nullptr;
    try {
      return PocoSession::sendRequest(request);
    } catch (const Poco::Exception&) {
      connection_.requireUncut();
      throw;
    }
  }

  void flushRequest() override {
    PocoSession::flushRequest();
    if (!sendFailure_) return;
    connection_.requireUncut();
    std::rethrow_exception(sendFailure_);
  }

  void reset() noexcept override {
    reader_.clear();
    isClosed_ = true;
    try {
      PocoSession::reset();
    } catch (...) {
      // The connection is given up in any case; how its end went interests nobody.
    }
    connection_.close();
  }

  Poco::Net::HTTPClientSession& base() override { return *this; }

 private:
  // The library would make the socket only while it connects, out of reach for those who stop it.
  void connect(const Poco::Net::SocketAddress& address) override {
    isClosed_ = false;
    if (PocoSession::secure() && !PocoSession::getProxyHost().empty()) {
      connection_.requireUncut();
      PocoSession::connect(address);  // asks the proxy on a socket of its own
      connection_.open(PocoSession::socket().impl()->sockfd());
      return;
    }
    Poco::Net::StreamSocket socket = openSocketLike(PocoSession::socket(), address.family());
    connection_.open(socket.impl()->sockfd());
    PocoSession::attachSocket(socket);
    PocoSession::connect(address);
  }

  // A stream swallows the failure of a write, and writes the rest, or the same again, when it ends.
  // The server must not see anything behind the gap. Nor may what is left of a request that was
  // given up begin the next connection: its stream ends, and writes, when that is prepared.
  int write(const char* buffer, std::streamsize length) override {
    if (sendFailure_ || isClosed_) return static_cast<int>(length);
    try {
      return PocoSession::write(buffer, length);
    } catch (...) {
      sendFailure_ = std::current_exception();
      throw;
    }
  }

  std::size_t receive(char* buffer, std::size_t length) override {
    int count = 0;
    try {
      count = PocoSession::read(buffer, static_cast<std::streamsize>(length));
    } catch (const Poco::Exception&) {
      connection_.requireUncut();
      throw;
    }
    // A connection that was cut looks like one that the peer has closed: the end of some bodies.
    if (count <= 0) connection_.requireUncut();
    // TLS tells by a negative number that it still waits, which only a time-out lets through.
    if (count < 0) throw Poco::TimeoutException();
    return static_cast<std::size_t>(count);
  }

  SessionConnection connection_;
  std::exception_ptr sendFailure_;
  bool isClosed_ = false;  // by reset, and not connected again since
};

}  // namespace com::corvane::connectivity::plugins
