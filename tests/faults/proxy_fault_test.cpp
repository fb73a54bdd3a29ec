// A proxy that fails: plain requests get its answer as they would get the server's; a tunnel that
// it does not open is a failure.
#include <gmock/gmock.h>

#include "faults/fault_test.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;
using testing::IsEmpty;

class ProxyFaultTest : public FaultFixture {
 protected:
  /// A transport for 127.0.0.1:8443 behind a proxy.
  void createBehind(std::uint16_t proxyPort) {
    map_t proxy;
    proxy.insert(data_t("host"), data_t("127.0.0.1"));
    proxy.insert(data_t("port"), data_t(std::int64_t{proxyPort}));
    configure("proxy", data_t(std::move(proxy)));
    create(8443);
  }
};

TEST_F(ProxyFaultTest, AnswersWithWhatTheProxySays) {
  FaultServer proxy({{"HTTP/1.1 502 Bad Gateway\r\nContent-Length: 4\r\n\r\ndown"}});
  createBehind(proxy.server().port());

  const Answer answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(answer.status, 502);
  EXPECT_EQ(answer.payload, "down");
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_THAT(lines(), IsEmpty());
  end();
}

struct Refusal {
  const char* name;
  std::string bytes;  // of the proxy, which then closes
  Outcome outcome;

  friend void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.name; }
};

class ProxyTunnelTest : public ProxyFaultTest, public testing::WithParamInterface<Refusal> {
 public:
  static std::string nameOf(const testing::TestParamInfo<Refusal>& info) { return info.param.name; }
};

const std::vector<Refusal> kRefusals = {
    {"AuthenticationRequired",
     "HTTP/1.1 407 Proxy Authentication Required\r\nContent-Length: 0\r\n\r\n",
     failedTwice("Poco::IOException", "HTTP Exception",
                 "Cannot establish proxy connection: Proxy Authentication Required")},
    {"BadGateway", "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 4\r\n\r\ndown",
     failedTwice("Poco::IOException", "HTTP Exception",
                 "Cannot establish proxy connection: Bad Gateway")},
    {"Garbage", "garbage\r\n\r\n",
     failedTwice("Poco::IOException", "Malformed message", "Invalid status line")},
    {"NoAnswer", "", failedTwice("Poco::Net::NoMessageException", "No message received")},
};

TEST_P(ProxyTunnelTest, FailsWhenTheProxyOpensNone) {
  const test_support::TlsIdentity identity = useTls();
  const Outcome& expected = GetParam().outcome;
  ScriptedServer proxy([&](Connection& connection) {
    const auto connect = connection.readRequest();
    if (!connect) return;
    if (connection.index() < 2) {
      connection.send(GetParam().bytes);
      return;
    }
    connection.send("HTTP/1.1 200 Connection established\r\n\r\n");
    if (!connection.startTls(identity) || !connection.readRequest()) return;
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    connection.waitUntilClosed();
  });
  createBehind(proxy.port());

  const Answer answer = perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), expected.lines);
  EXPECT_EQ(proxy.connectionCount(), 2u);
  for (const auto& request : proxy.requests()) EXPECT_EQ(request.method, "CONNECT");

  EXPECT_EQ(perform(RequestMessage("GET", "/", "")).payload, "ok");
  EXPECT_EQ(overallStatus(), "ONLINE");
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, ProxyTunnelTest, testing::ValuesIn(kRefusals),
                         ProxyTunnelTest::nameOf);

TEST_F(ProxyFaultTest, FailsWhenTheProxyRefusesTheConnection) {
  const test_support::RefusingPort refusing;
  useTls();
  createBehind(refusing.port());

  const Answer answer = perform(RequestMessage("GET", "/", ""));

  const Outcome expected = failedTwice("Poco::IOException", "Connection refused");
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), expected.lines);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
