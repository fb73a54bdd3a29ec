// http/client_session.h : one worker's connection to the server, with strict reading.
//
// Role:      joins a POCO client session (connecting, proxy, TLS, sending) with a ResponseReader
//            (receiving). POCO's own reading of responses is not used: it delivers bodies that
//            were cut short as whole ones, and lets the rest of one answer begin the next.
// Threads:   one worker only.
// Ownership: the connection closes with the session.
// Errors:    what POCO throws; ResponseReader's errors. Call reset after any of them.
#pragma once

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>

#include <exception>
#include <iosfwd>
#include <utility>

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

  /// Closes the connection; the next request opens a new one. Does not throw.
  virtual void reset() = 0;

  /// The POCO session, for its settings.
  virtual Poco::Net::HTTPClientSession& base() = 0;

  ResponseReader& reader() { return reader_; }

 protected:
  explicit ClientSession(ByteSource& source) : reader_(source) {}

  ResponseReader reader_;
};

/// PocoSession is Poco::Net::HTTPClientSession or a class derived from it.
template <class PocoSession>
class StrictSession final : private ByteSource, public ClientSession, private PocoSession {
 public:
  template <class... Arguments>
  explicit StrictSession(Arguments&&... arguments)
      : ClientSession(static_cast<ByteSource&>(*this)),
        PocoSession(std::forward<Arguments>(arguments)...) {}

  std::ostream& sendRequest(Poco::Net::HTTPRequest& request) override {
    sendFailure_ = nullptr;
    return PocoSession::sendRequest(request);
  }

  void flushRequest() override {
    PocoSession::flushRequest();
    if (sendFailure_) std::rethrow_exception(sendFailure_);
  }

  void reset() override {
    reader_.clear();
    try {
      PocoSession::reset();
    } catch (const Poco::Exception&) {
      // The connection is given up in any case; how its end went interests nobody.
    }
  }

  Poco::Net::HTTPClientSession& base() override { return *this; }

 private:
  // A stream swallows the failure of a write, and writes the rest, or the same again, when it ends.
  // The server must not see anything behind the gap.
  int write(const char* buffer, std::streamsize length) override {
    if (sendFailure_) return static_cast<int>(length);
    try {
      return PocoSession::write(buffer, length);
    } catch (...) {
      sendFailure_ = std::current_exception();
      throw;
    }
  }

  std::size_t receive(char* buffer, std::size_t length) override {
    const int count = PocoSession::read(buffer, static_cast<std::streamsize>(length));
    // TLS tells by a negative number that it still waits, which only a time-out lets through.
    if (count < 0) throw Poco::TimeoutException();
    return static_cast<std::size_t>(count);
  }

  std::exception_ptr sendFailure_;
};

}  // namespace com::corvane::connectivity::plugins
