#include "http/client_session.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SocketAddress.h>

#include <algorithm>
#include <utility>

#include "http/response_head.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using orvex::Platform;
using Poco::Net::HTTPRequest;

namespace {

// For proxies of HTTP/1.0, which take no Connection field for themselves. It goes into a tunnel as
// well, where the server ignores it.
constexpr char kProxyConnection[] = "Proxy-Connection";
constexpr char kKeepAlive[] = "Keep-Alive";

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

std::string withPort(const SessionSettings& settings) {
  return uriHost(settings.host) + ":" + std::to_string(settings.port);
}

// A port that one of the two schemes has by itself is left out, whichever is used.
std::string hostFieldOf(const SessionSettings& settings) {
  const bool isDefault = settings.port == 80 || settings.port == 443;
  return isDefault ? uriHost(settings.host) : withPort(settings);
}

}  // namespace

StrictSession::StrictSession(Connections& connections, SessionSettings settings)
    : ClientSession(static_cast<ByteSource&>(*this)),
      settings_(std::move(settings)),
      hostField_(hostFieldOf(settings_)),
      proxyPrefix_("http://" + withPort(settings_)),
      socket_(connections) {}

void StrictSession::begin(RequestHead& head) {
  const std::int64_t now = Platform::monotonicNanos();
  // What has come while nothing was asked for is no answer to what is asked next (RFC 9112, section
  // 9.3): a server tells, for one, that it has waited too long.
  if (now - requestNanos_ >= kKeptNanos || socket_.hasBytes()) reset();
  if (!socket_.isOpen()) connect();
  requestNanos_ = now;
  isFirstSend_ = true;
  if (!head.has(HTTPRequest::HOST)) head.add(HTTPRequest::HOST, hostField_);
  if (!settings_.hasProxy()) return;
  head.set(kProxyConnection, kKeepAlive);
  if (settings_.isTls()) return;
  head.setTargetPrefix(proxyPrefix_);
  addProxyAuthorization(head);
}

void StrictSession::addProxyAuthorization(RequestHead& head) const {
  if (settings_.proxyAuthorization.empty()) return;
  head.set(HTTPRequest::PROXY_AUTHORIZATION, settings_.proxyAuthorization);
}

void StrictSession::send(std::string_view first, std::string_view second) {
  const std::uint64_t taken = socket_.peer().takenBytes();
  try {
    socket_.send(first, second);
  } catch (const Poco::IOException&) {
    if (!isFirstSend_ || socket_.peer().takenBytes() != taken) throw;
    reset();
    connect();
    socket_.send(first, second);
  }
  isFirstSend_ = false;
}

bool StrictSession::hasInput() const { return socket_.isOpen() && socket_.peer().hasInput(); }

void StrictSession::reset() noexcept {
  reader_.clear();
  socket_.close();
}

// A connection that is not all that was asked for must not be left for the next request.
void StrictSession::connect() {
  const Poco::Net::SocketAddress address =
      settings_.hasProxy()
          ? Poco::Net::SocketAddress(settings_.proxyHost, Poco::UInt16{settings_.proxyPort})
          : Poco::Net::SocketAddress(settings_.host, Poco::UInt16{settings_.port});
  try {
    socket_.connectTo(address, settings_.timeoutMs);
    if (!settings_.isTls()) return;
    if (settings_.hasProxy()) openTunnel();
    socket_.startTls(settings_.tlsContext, *settings_.tlsSessions, settings_.host);
  } catch (...) {
    socket_.close();
    throw;
  }
}

void StrictSession::openTunnel() {
  constexpr char kRefused[] = "Cannot establish proxy connection";
  const std::string server = withPort(settings_);
  RequestHead request;
  request.begin(HTTPRequest::HTTP_CONNECT, server);
  request.add(kProxyConnection, kKeepAlive);
  // The port too (RFC 9112, section 3.2): there are proxies that refuse the two to differ.
  request.add(HTTPRequest::HOST, server);
  addProxyAuthorization(request);
  std::string bytes;
  request.appendTo(bytes);
  socket_.peer().boundStep();
  socket_.send(bytes, {});

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

std::size_t StrictSession::receive(char* buffer, std::size_t length) {
  return socket_.receive(buffer, length);
}

}  // namespace com::corvane::connectivity::plugins
