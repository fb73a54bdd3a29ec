// The connection goes away before a byte of the request could be sent: once it has been accepted,
// while the proxy opens the tunnel, and in the TLS handshake.
#include <gmock/gmock.h>
#include <openssl/err.h>

#include <atomic>
#include <memory>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::FaultServer;
using test_support::ScriptedServer;
using test_support::TlsIdentity;

constexpr char kOpened[] = "HTTP/1.1 200 Connection established\r\n\r\n";

// How far things get.
enum class Stage { Accepted, AskedForTunnel, HalfAnswered, Opened, Greeted, HalfFlight, Flight };

struct HandshakeLoss {
  std::string name;
  Stage stage;
  Then then;
  Outcome outcome;

  friend void PrintTo(const HandshakeLoss& loss, std::ostream* out) { *out << loss.name; }
};

// What a TLS server answers to a client's first bytes.
std::string flightFor(const TlsIdentity& identity, const std::string& greeting) {
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_server_method()),
                                                                  SSL_CTX_free);
  SSL_CTX_use_certificate_chain_file(context.get(), identity.certificateFile.c_str());
  SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile.c_str(), SSL_FILETYPE_PEM);
  const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context.get()), SSL_free);
  BIO* const in = BIO_new(BIO_s_mem());
  BIO* const out = BIO_new(BIO_s_mem());
  SSL_set_bio(ssl.get(), in, out);
  BIO_write(in, greeting.data(), static_cast<int>(greeting.size()));
  ERR_clear_error();
  SSL_accept(ssl.get());
  char* bytes = nullptr;
  const long count = BIO_get_mem_data(out, &bytes);
  return {bytes, static_cast<std::size_t>(count)};
}

// Until the connection has got so far.
void advance(Connection& connection, const TlsIdentity& identity, Wire wire, Stage stage) {
  if (stage == Stage::Accepted) return;
  if (wire == Wire::OverTunnel) {
    connection.readHead();
    if (stage == Stage::AskedForTunnel) return;
    const std::string_view answer = kOpened;
    connection.send(answer.substr(0, stage == Stage::HalfAnswered ? 15 : answer.size()));
    if (stage <= Stage::Opened) return;
  }
  const std::string flight = flightFor(identity, connection.readSome());
  EXPECT_GT(flight.size(), 200u);
  if (stage == Stage::Greeted) return;
  connection.send(flight.substr(0, stage == Stage::HalfFlight ? flight.size() / 2 : flight.size()));
}

void endIn(Connection& connection, Then then) {
  if (then == Then::Reset) return connection.reset();
  connection.finish();
  connection.waitUntilClosed();  // bytes that are not read would make the end a reset
}

class HandshakeLossTest : public FaultFixture,
                          public testing::WithParamInterface<std::tuple<HandshakeLoss, Wire>> {
 public:
  static std::string nameOf(const testing::TestParamInfo<ParamType>& info) {
    const auto& [loss, wire] = info.param;
    return loss.name + nameOfWire(wire);
  }
};

TEST_P(HandshakeLossTest, FailsAfterOneRetry) {
  const auto& [loss, wire] = GetParam();
  useWire(wire);
  const auto script = [&loss = loss, wire = wire,
                       identity = trustedIdentity()](Connection& connection) {
    if (connection.index() >= loss.outcome.attempts) return serveWell(wire, connection);
    advance(connection, identity, wire, loss.stage);
    endIn(connection, loss.then);
  };
  ScriptedServer server(script);
  create(server.port());

  expectOutcome(perform(RequestMessage("POST", "/fault", "body")), loss.outcome);
  EXPECT_EQ(server.connectionCount(), loss.outcome.attempts);

  expectNextSucceeds();
  EXPECT_EQ(server.connectionCount(), loss.outcome.attempts + 1);
  EXPECT_EQ(server.requests().size(), 1u);
  end();
}

const std::vector<HandshakeLoss> kTlsLosses = {
    {"ClosedWhenGreeted", Stage::Greeted, Then::Close, failedTwice(kIo, kSsl, kCutTls)},
    {"ResetWhenGreeted", Stage::Greeted, Then::Reset, failedTwice(kIo, kReset)},
    {"ClosedInTheFlight", Stage::HalfFlight, Then::Close, failedTwice(kIo, kSsl, kCutTls)},
    {"ResetInTheFlight", Stage::HalfFlight, Then::Reset, failedTwice(kIo, kReset)},
    {"ClosedBehindTheFlight", Stage::Flight, Then::Close, failedTwice(kIo, kSsl, kCutTls)},
};
const HandshakeLoss kClosedWhenAccepted = {"ClosedWhenAccepted", Stage::Accepted, Then::Close,
                                           failedTwice(kIo, kSsl, kCutTls)};
const std::vector<HandshakeLoss> kTunnelLosses = {
    {"ClosedWhenAccepted", Stage::Accepted, Then::Close, failedTwice(kNoMessage, kNothingCame)},
    {"ClosedWhenAskedForTheTunnel", Stage::AskedForTunnel, Then::Close,
     failedTwice(kNoMessage, kNothingCame)},
    {"ResetWhenAskedForTheTunnel", Stage::AskedForTunnel, Then::Reset, failedTwice(kIo, kReset)},
    {"ClosedInTheAnswer", Stage::HalfAnswered, Then::Close,
     failedTwice(kIo, "Malformed message", kCutHead)},
    {"ResetInTheAnswer", Stage::HalfAnswered, Then::Reset, failedTwice(kIo, kReset)},
    {"ClosedWhenOpened", Stage::Opened, Then::Close, failedTwice(kIo, kSsl, kCutTls)},
    {"ResetWhenOpened", Stage::Opened, Then::Reset, failedTwice(kIo, kReset)},
};

INSTANTIATE_TEST_SUITE_P(Faults, HandshakeLossTest,
                         testing::Combine(testing::ValuesIn(kTlsLosses),
                                          testing::Values(Wire::Tls, Wire::OverTunnel)),
                         HandshakeLossTest::nameOf);

INSTANTIATE_TEST_SUITE_P(DirectFaults, HandshakeLossTest,
                         testing::Values(std::make_tuple(kClosedWhenAccepted, Wire::Tls)),
                         HandshakeLossTest::nameOf);

INSTANTIATE_TEST_SUITE_P(TunnelFaults, HandshakeLossTest,
                         testing::Combine(testing::ValuesIn(kTunnelLosses),
                                          testing::Values(Wire::OverTunnel)),
                         HandshakeLossTest::nameOf);

class ResettingServerTest : public WireTest {};

// Whether that is noticed when connecting, when sending or when receiving is a matter of chance,
// and with it how often it is tried and which lines come.
TEST_P(ResettingServerTest, FailsWhenEveryConnectionIsResetOnceItIsAccepted) {
  useWire(GetParam());
  std::atomic<bool> isWell = false;
  ScriptedServer server([&](Connection& connection) {
    isWell ? serveWell(GetParam(), connection) : connection.reset();
  });
  create(server.port());

  const Answer answer = perform(RequestMessage("POST", "/fault", "body"));

  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.reason, testing::StartsWith(kReset));
  EXPECT_EQ(overallStatus(), "FAILED");
  isWell = true;
  expectNextSucceeds();
  EXPECT_EQ(server.requests().size(), 1u);
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, ResettingServerTest, overAllWires(), WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
