#include "http/client_session.h"

#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/StreamSocket.h>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "http/response_head.h"

namespace com::corvane::connectivity::plugins {

using Poco::Net::HTTPRequest;

namespace {

// The library keeps this constructor for derived classes.
class AttachedSocket final : public Poco::Net::StreamSocket {
 public:
  explicit AttachedSocket(const Poco::AutoPtr<SessionSocket>& socket)
      : StreamSocket(Poco::AutoPtr<SessionSocket>(socket).duplicate()) {}
};

// What a proxy says, as it can stand in a line of a log.
std::string withoutControls(std::string_view text) {
  std::string result(text);
  const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; };
  std::replace_if(result.begin(), result.end(), isControl, ' ');
  return result;
}

// An address of the newer kind stands in brackets before a port (RFC 3986, section 3.2.2).
std::string uriHost(const std::string& host) {
  return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

}  // namespace

StrictSession::StrictSession(Connections& connections, const std::string& host, Poco::UInt16 port,
                             const Poco::Net::Context::Ptr& tlsContext)
    : ClientSession(static_cast<ByteSource&>(*this)),
      HTTPClientSession(host, port),
      tlsContext_(tlsContext),
      socket_(new SessionSocket(connections)) {
  attachSocket(AttachedSocket(socket_));
}

std::ostream& StrictSession::sendRequest(HTTPRequest& request) {
  dropStream();
  // What has come while nothing was asked for is no answer to what is asked next (RFC 9112, section
  // 9.3): a server tells, for one, that it has waited too long.
  if (socket_->hasBytes()) reset();
  sendFailure_ = nullptr;
  isSending_ = true;
  return Session::sendRequest(request);
}

// The stream of a request that was given up writes what it still holds when it ends, if need be on
// a new connection, ahead of the next request.
void StrictSession::dropStream() noexcept {
  isSending_ = false;
  try {
    Session::flushRequest();
  } catch (...) {
    // What went wrong in that request has been told.
  }
}

void StrictSession::flushRequest() {
  Session::flushRequest();
  if (sendFailure_) std::rethrow_exception(sendFailure_);
}

bool StrictSession::hasInput() const {
  return socket_->peer().isOpen() && socket_->peer().hasInput();
}

void StrictSession::reset() noexcept {
  reader_.clear();
  dropStream();
  Session::reset();
}

// Through a tunnel the server is asked as if there were no proxy.
std::string StrictSession::proxyRequestPrefix() const {
  if (secure()) return {};
  return "http://" + uriHost(getHost()) + ":" + std::to_string(getPort());
}

void StrictSession::proxyAuthenticate(HTTPRequest& request) {
  if (!secure()) Session::proxyAuthenticate(request);
}

// A connection that is not all that was asked for must not be left for the next request.
void StrictSession::connect(const Poco::Net::SocketAddress& address) {
  try {
    socket_->connectTo(address, getTimeout().totalMilliseconds());
    if (!secure()) return;
    if (!getProxyHost().empty()) openTunnel();
    socket_->startTls(tlsContext_, getHost());
  } catch (...) {
    socket_->close();
    throw;
  }
}

void StrictSession::openTunnel() {
  constexpr char kRefused[] = "Cannot establish proxy connection";
  const std::string server = uriHost(getHost()) + ":" + std::to_string(getPort());
  HTTPRequest request(HTTPRequest::HTTP_CONNECT, server, HTTPRequest::HTTP_1_1);
  request.set("Proxy-Connection", "Keep-Alive");
  // The port too (RFC 9112, section 3.2): there are proxies that refuse the two to differ.
  request.set(HTTPRequest::HOST, server);
  proxyAuthenticateImpl(request, getProxyConfig());
  std::ostringstream bytes;
  request.write(bytes);
  socket_->peer().boundStep();
  socket_->send(bytes.view().data(), bytes.view().size());

  ResponseHead head;
  reader_.readHead(head, false);
  if (head.status() < 200 || head.status() > 299) {
    throw Poco::Net::HTTPException(kRefused, withoutControls(head.reason()));
  }
  // The server speaks TLS only when it is spoken to: these bytes are not its own.
  if (reader_.hasLeftOver()) {
    throw Poco::Net::HTTPException(kRefused, "Unexpected bytes after the answer");
  }
  reader_.clear();
}

// A stream swallows the failure of a write, and writes the rest, or the same again, when it ends.
// The server must not see anything behind the gap.
int StrictSession::write(const char* buffer, std::streamsize length) {
  if (sendFailure_ || !isSending_) return static_cast<int>(length);
  try {
    return Session::write(buffer, length);
  } catch (...) {
    sendFailure_ = std::current_exception();
    throw;
  }
}

std::size_t StrictSession::receive(char* buffer, std::size_t length) {
  return socket_->receive(buffer, length);
}

}  // namespace com::corvane::connectivity::plugins
