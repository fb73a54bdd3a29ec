// Servers that are not trusted, that speak no TLS, and that end it without saying so.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateText;
using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;
using test_support::TlsIdentity;

constexpr char kNotTrusted[] = "error:0A000086:SSL routines::certificate verify failed";
constexpr char kNoTls[] = "error:0A00010B:SSL routines::wrong version number";

class TlsFaultTest : public WireTest {
 protected:
  /// Two attempts get a server that is not to be trusted, which must not see a byte of the request;
  /// the next request gets one that is.
  void refuses(const TlsIdentity& identity) {
    useWire(GetParam());
    ScriptedServer server([&](Connection& connection) {
      if (connection.index() >= 2) return serveWell(GetParam(), connection);
      if (openTunnelOver(GetParam(), connection)) connection.startTls(identity);
    });
    create(server.port());
    expectOutcome(perform(RequestMessage("POST", "/", "secret")),
                  failedTwice(kIo, kSsl, kNotTrusted));
    EXPECT_EQ(server.connectionCount(), 2u);
    EXPECT_EQ(server.requests().size(), 0u);

    expectNextSucceeds();
    EXPECT_EQ(server.connectionCount(), 3u);
    end();
  }

  test_support::TempDir dir_;
};

TEST_P(TlsFaultTest, SendsNothingToAServerThatNobodyVouchesFor) {
  refuses(selfSigned(dir_, "self"));
}

TEST_P(TlsFaultTest, SendsNothingToAServerOfAnotherName) {
  CertificateText text;
  text.commonName = "elsewhere";
  text.dnsNames = {"elsewhere"};
  text.addresses = {"127.0.0.2"};

  refuses(issueTrusted(text));
}

TEST_P(TlsFaultTest, SendsNothingToAServerWhoseCertificateHasExpired) {
  CertificateText text;
  text.validFromDays = -3;
  text.validUntilDays = -2;

  refuses(issueTrusted(text));
}

TEST_P(TlsFaultTest, FailsAfterOneRetryWhenTheServerSpeaksNoTls) {
  useWire(GetParam());
  ScriptedServer server([](Connection& connection) {
    if (connection.index() >= 2) return serveWell(GetParam(), connection);
    if (!openTunnelOver(GetParam(), connection)) return;
    connection.readSome();
    connection.send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    connection.waitUntilClosed();
  });
  create(server.port());

  expectOutcome(perform(RequestMessage("GET", "/", "")), failedTwice(kIo, kSsl, kNoTls));
  EXPECT_EQ(server.connectionCount(), 2u);

  expectNextSucceeds();
  end();
}

TEST_P(TlsFaultTest, TakesAWholeBodyThatIsFollowedByACut) {
  const std::vector<Step> steps = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nwhole", Then::Cut}};
  const auto failing = serverOver<FaultServer>(GetParam(), steps);
  create(failing->server().port());

  expectOutcome(perform(RequestMessage("GET", "/", "")), answered("whole"));

  failing->server().waitForFinishedConnections(1);
  EXPECT_EQ(perform(RequestMessage("GET", FaultServer::kNextPath, "")).payload, "next");
  EXPECT_EQ(lines(), std::vector<std::string>({retryLine(kIo, kSsl, kCutTls)}));
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, TlsFaultTest, testing::Values(Wire::Tls, Wire::OverTunnel),
                         WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
