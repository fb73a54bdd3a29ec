// A proxy that fails: plain requests get its answer as they would get the server's; a tunnel that
// it does not open is a failure.
#include <gmock/gmock.h>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;

constexpr char kNotAuthenticated[] =
    "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"
    "Content-Length: 4\r\n\r\nwho?";
constexpr char kNotReached[] = "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 4\r\n\r\ndown";

const std::vector<Fault> kAnswers = {
    {"AuthenticationRequired",
     {{kNotAuthenticated}},
     {407, "Proxy Authentication Required", "who?", "ONLINE", {}, 1, true}},
    {"BadGateway", {{kNotReached}}, {502, "Bad Gateway", "down", "ONLINE", {}, 1, true}},
};

class ProxyAnswerTest : public FaultTest {};

TEST_P(ProxyAnswerTest, IsTheAnswerToAPlainRequest) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, ProxyAnswerTest,
                         testing::Combine(testing::ValuesIn(kAnswers),
                                          testing::Values(Wire::ThroughProxy)),
                         FaultTest::nameOf);

struct Refusal {
  std::string name;
  std::string bytes;  // of the proxy
  Outcome outcome;
  Then then = Then::Close;

  friend void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.name; }
};

class ProxyTunnelTest : public FaultFixture, public testing::WithParamInterface<Refusal> {
 public:
  static std::string nameOf(const testing::TestParamInfo<Refusal>& info) { return info.param.name; }
};

Refusal refusal(const std::string& name, const std::string& status, const std::string& fields,
                Then then = Then::Close) {
  const std::string reason = status.substr(4);
  return {name, "HTTP/1.1 " + status + "\r\n" + fields + "\r\n",
          failedTwice(kIo, "HTTP Exception", "Cannot establish proxy connection: " + reason), then};
}

// A tunnel is opened, and filled with what the server has not sent.
Refusal overdone(const std::string& name, const std::string& rest) {
  const char* const why = "Cannot establish proxy connection: Unexpected bytes after the answer";
  return {name, "HTTP/1.1 200 OK\r\n" + rest, failedTwice(kIo, "HTTP Exception", why)};
}

constexpr char kProxyFaultFalseAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfalse";

const std::vector<Refusal> kRefusals = {
    refusal("AuthenticationRequired", "407 Proxy Authentication Required", "Content-Length: 0\r\n"),
    refusal("AuthenticationRequiredInWords", "407 Proxy Authentication Required",
            std::string("Content-Length: 43\r\n\r\n") + kProxyFaultFalseAnswer),
    refusal("AuthenticationRequiredAndNoEnd", "407 Proxy Authentication Required",
            "Content-Length: 0\r\n", Then::Stall),
    refusal("BadGateway", "502 Bad Gateway", "Content-Length: 4\r\n\r\ndown"),
    refusal("BadGatewayAndReset", "502 Bad Gateway", "Content-Length: 0\r\n", Then::Reset),
    refusal("Redirect", "302 Found", "Location: http://elsewhere/\r\nContent-Length: 0\r\n"),
    {"Garbage", "garbage\r\n\r\n", failedTwice(kIo, "Malformed message", "Invalid status line")},
    {"NoAnswer", "", failedTwice(kNoMessage, kNothingCame)},
    {"Reset", "", failedTwice(kIo, kReset), Then::Reset},
    overdone("AByteBehindTheAnswer", "\r\nx"),
    overdone("AnAnswerBehindTheAnswer", std::string("\r\n") + kProxyFaultFalseAnswer),
    overdone("ABodyInTheAnswer", "Content-Length: 5\r\n\r\nhello"),
};

TEST_P(ProxyTunnelTest, FailsWhenTheProxyOpensNone) {
  const Refusal& refusal = GetParam();
  useWire(Wire::OverTunnel);
  ScriptedServer proxy([&](Connection& connection) {
    const std::size_t attempts = refusal.outcome.attempts;
    if (connection.index() >= attempts) return serveWell(Wire::OverTunnel, connection);
    if (!connection.readRequest()) return;
    connection.send(refusal.bytes);
    carryOut(refusal.then, connection);
  });
  create(proxy.port());

  expectOutcome(perform(RequestMessage("POST", "/fault", "body")), refusal.outcome);
  EXPECT_EQ(proxy.connectionCount(), refusal.outcome.attempts);
  EXPECT_EQ(proxy.requests().size(), refusal.outcome.attempts);
  for (const auto& request : proxy.requests()) EXPECT_EQ(request.method, "CONNECT");

  expectNextSucceeds();
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, ProxyTunnelTest, testing::ValuesIn(kRefusals),
                         ProxyTunnelTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
