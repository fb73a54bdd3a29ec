// Servers that are not trusted, and TLS streams that are cut.
#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateText;
using test_support::FaultServer;
using test_support::TlsIdentity;

const std::string kLengthOfTen = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
constexpr char kIo[] = "Poco::IOException";
constexpr char kSsl[] = "SSL Exception";
constexpr char kNotTrusted[] = "error:0A000086:SSL routines::certificate verify failed";
constexpr char kCut[] = "error:0A000126:SSL routines::unexpected eof while reading";

class TlsFaultTest : public FaultFixture {
 protected:
  /// One request to a server that is not to be trusted: it must not see a byte of it.
  void refuses(const TlsIdentity& identity) {
    FaultServer server(identity, {{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}});
    create(server.server().port());
    compare(perform(RequestMessage("POST", "/", "secret")), failedTwice(kIo, kSsl, kNotTrusted));
    EXPECT_EQ(server.server().connectionCount(), 2u);
    EXPECT_EQ(server.server().requests().size(), 0u);
    end();
  }

  /// One request to a server that cuts the stream off behind these bytes, then another one.
  void meetsCutBehind(const std::string& bytes, const Outcome& expected) {
    FaultServer server(useTls(), {{bytes, Then::Cut}});
    create(server.server().port());
    compare(perform(RequestMessage("GET", "/", "")), expected);
    EXPECT_EQ(server.server().requests().size(), expected.attempts);
    server.server().waitForFinishedConnections(expected.attempts);
    EXPECT_EQ(perform(RequestMessage("GET", FaultServer::kNextPath, "")).payload, "next");
    EXPECT_EQ(overallStatus(), "ONLINE");
    end();
  }

  void compare(const Answer& answer, const Outcome& expected) {
    EXPECT_EQ(answer.status, expected.status);
    EXPECT_EQ(answer.reason, expected.reason);
    EXPECT_EQ(answer.payload, expected.payload);
    EXPECT_EQ(overallStatus(), expected.overall);
    EXPECT_EQ(lines(), expected.lines);
  }

  test_support::TempDir dir_;
};

TEST_F(TlsFaultTest, SendsNothingToAServerThatNobodyVouchesFor) {
  useTls();

  refuses(selfSigned(dir_, "self"));
}

TEST_F(TlsFaultTest, SendsNothingToAServerOfAnotherName) {
  CertificateText text;
  text.commonName = "elsewhere";
  text.dnsNames = {"elsewhere"};
  text.addresses = {"127.0.0.2"};
  test_support::CertificateAuthority authority(dir_);
  configure("tls", data_t(true));
  configure("tlsCertificateAuthorityFile", data_t(authority.certificateFile()));

  refuses(authority.issue(text));
}

TEST_F(TlsFaultTest, FailsAfterOneRetryWhenTheServerSpeaksNoTls) {
  useTls();
  test_support::ScriptedServer server([](test_support::Connection& connection) {
    connection.readSome();
    connection.send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    connection.waitUntilClosed();
  });
  create(server.port());

  compare(perform(RequestMessage("GET", "/", "")),
          failedTwice(kIo, kSsl, "error:0A00010B:SSL routines::wrong version number"));

  EXPECT_EQ(server.connectionCount(), 2u);
  end();
}

TEST_F(TlsFaultTest, FailsWhenABodyOfKnownLengthIsCut) {
  meetsCutBehind(kLengthOfTen + "half", failed(kSsl, kCut));
}

TEST_F(TlsFaultTest, FailsWhenABodyUntilTheEndIsCut) {
  meetsCutBehind("HTTP/1.1 200 OK\r\n\r\nhalf", failed(kSsl, kCut));
}

TEST_F(TlsFaultTest, FailsAfterOneRetryWhenTheAnswerIsCutOff) {
  meetsCutBehind("", failedTwice(kIo, kSsl, kCut));
}

TEST_F(TlsFaultTest, TakesAWholeBodyThatIsFollowedByACut) {
  meetsCutBehind(kLengthOfTen + "Connection", answered("Connection"));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
