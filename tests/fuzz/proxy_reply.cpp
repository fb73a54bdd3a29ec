// A proxy that is asked for a tunnel replies with any bytes. Only a reply in form with a status of
// 2xx opens the tunnel, and no text that people read may break because of it.

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/exchange_rig.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/loopback_peer.h"
#include "fuzz/reference_response.h"

namespace {

using fuzz::Answer;
using fuzz::End;
using fuzz::ExchangeRig;
using fuzz::Form;
using fuzz::plugins::Settings;

constexpr std::size_t kReplyBytesMax = 3000;  // what comes in one piece
constexpr char kUser[] = "tunneluser";
constexpr char kPassword[] = "geheimes-wort";
constexpr char kCredentials[] = "dHVubmVsdXNlcjpnZWhlaW1lcy13b3J0";

struct Seen {
  int connections = 0;
  int tunnels = 0;
  std::string fault;
};

class Proxy {
 public:
  Proxy() : peer_([this](int connection) { serve(connection); }) {}

  std::uint16_t port() const { return peer_.port(); }

  void setReply(std::string_view reply) {
    const std::lock_guard lock(mutex_);
    reply_ = reply;
  }

  // What happened since the last call. The connections of the input have ended.
  Seen take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(seen_, {});
  }

 private:
  void serve(int connection) {
    const std::lock_guard lock(mutex_);
    ++seen_.connections;
    std::string head;
    char byte = 0;
    while (!head.ends_with("\r\n\r\n") && ::recv(connection, &byte, 1, 0) == 1) head += byte;
    if (!head.starts_with("CONNECT server.test:443 HTTP/1.1\r\n")) seen_.fault = head;
    fuzz::sendAll(connection, reply_);
    ::shutdown(connection, SHUT_WR);
    // The first byte of a handshake, or none: the client gives the connection up.
    if (::recv(connection, &byte, 1, 0) != 1) return;
    ++seen_.tunnels;
    if (byte != '\x16') seen_.fault = "something else than a handshake";
    while (::recv(connection, &byte, 1, 0) == 1) {
    }
  }

  std::mutex mutex_;
  std::string reply_;
  Seen seen_;
  fuzz::LoopbackPeer peer_;  // last: it works on the others
};

Settings settingsFor(const Proxy& proxy) {
  Settings settings;
  settings.host = "server.test";
  settings.port = 443;
  settings.timeoutSecs = 20;
  settings.tls = true;
  settings.tlsAcceptUnrecognizedCertificates = true;
  settings.proxyHost = "127.0.0.1";
  settings.proxyPort = proxy.port();
  settings.proxyAuthenticationType = "http_basic";
  settings.proxyUser = kUser;
  settings.proxyPassword = kPassword;
  return settings;
}

bool hasSecret(std::string_view text) {
  return text.find(kPassword) != std::string::npos || text.find(kCredentials) != std::string::npos;
}

void checkText(const std::string& text, bool mayHaveSecret) {
  const bool isOneLine = std::none_of(text.begin(), text.end(),
                                      [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
  if (!isOneLine) fuzz::fail("a control character: " + fuzz::shown(text));
  if (!mayHaveSecret && hasSecret(text)) fuzz::fail("a password: " + fuzz::shown(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  static Proxy& proxy = *new Proxy();
  static ExchangeRig& rig = *new ExchangeRig(settingsFor(proxy), false);
  fuzz::setLogLevel(5);  // DEBUG
  const std::string_view reply(reinterpret_cast<const char*>(data),
                               std::min<std::size_t>(size, kReplyBytesMax));
  proxy.setReply(reply);
  const auto expected = fuzz::readResponse(reply, End::Close, true);
  const bool isGranted = expected.hasHead && expected.form != Form::Invalid &&
                         expected.status >= 200 && expected.status <= 299;

  auto message = fuzz::plugins::RequestMessage("GET", "/", "").build();
  const Answer answer = rig.perform(message);
  const Seen seen = proxy.take();
  fuzz::require(answer.status == 400, "a reply of a proxy is delivered as the server's");
  fuzz::require(seen.connections == 1 || seen.connections == 2, "another number of connections");
  if (!seen.fault.empty()) fuzz::fail("sent: " + fuzz::shown(seen.fault));
  if (seen.tunnels > 0 && !isGranted) fuzz::fail("a tunnel, although " + expected.why);
  const bool mustOpen = isGranted && expected.form == Form::Strict && expected.status == 200 &&
                        reply.starts_with("HTTP/1.1 200 ") &&
                        reply.find("\r\n\r\n") + 4 == reply.size();
  if (mustOpen && seen.tunnels == 0) fuzz::fail("no tunnel: " + answer.reason);
  const bool mayHaveSecret = hasSecret(reply);  // a proxy may say what it was told
  checkText(answer.reason, mayHaveSecret);
  checkText(answer.body, mayHaveSecret);
  for (const std::string& line : fuzz::takeLogLines()) checkText(line, mayHaveSecret);
  return 0;
}
