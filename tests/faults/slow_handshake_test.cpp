// A TLS handshake that is slow, and takes longer than the time-out: who the server is is asked all
// the same. Not a byte of a request may reach one of another name.
#include <gmock/gmock.h>
#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "faults/fault_test.h"
#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateText;
using test_support::Connection;
using test_support::ScriptedServer;
using test_support::TlsIdentity;

constexpr std::int64_t kHour = 3600;

// The server's side of TLS, without a socket.
class TlsServer {
 public:
  explicit TlsServer(const TlsIdentity& identity)
      : context_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free) {
    SSL_CTX_use_certificate_chain_file(context_.get(), identity.certificateFile.c_str());
    SSL_CTX_use_PrivateKey_file(context_.get(), identity.keyFile.c_str(), SSL_FILETYPE_PEM);
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_bio(ssl_.get(), in_, out_);
    SSL_set_accept_state(ssl_.get());
  }

  /// Takes what the client has sent, and returns what is to be sent to it.
  std::string answer(const std::string& bytes) {
    BIO_write(in_, bytes.data(), static_cast<int>(bytes.size()));
    char buffer[4096];
    for (int count = 0; (count = SSL_read(ssl_.get(), buffer, sizeof buffer)) > 0;) {
      request_.append(buffer, static_cast<std::size_t>(count));
    }
    if (request_.ends_with("\r\n\r\n")) {
      constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
      SSL_write(ssl_.get(), kAnswer.data(), static_cast<int>(kAnswer.size()));
    }
    std::string result(BIO_ctrl_pending(out_), '\0');
    if (!result.empty()) BIO_read(out_, result.data(), static_cast<int>(result.size()));
    return result;
  }

  /// What has come inside TLS.
  const std::string& request() const { return request_; }

 private:
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  std::unique_ptr<SSL, decltype(&SSL_free)> ssl_{nullptr, &SSL_free};
  BIO* const in_ = BIO_new(BIO_s_mem());   // the SSL's
  BIO* const out_ = BIO_new(BIO_s_mem());  // the SSL's
  std::string request_;
};

class SlowHandshakeTest : public WireTest {
 protected:
  SlowHandshakeTest() {
    useWire(GetParam());
    configure("timeoutSecs", data_t(kHour));
  }

  /// The answer to one request when the server has this identity and `pauseMs` pass in the middle
  /// of each piece that it sends.
  Answer answerOf(const TlsIdentity& identity, std::int64_t pauseMs) {
    ScriptedServer server([&](Connection& connection) {
      if (!openTunnelOver(GetParam(), connection)) return;
      TlsServer tls(identity);
      for (auto bytes = connection.readSome(); !bytes.empty(); bytes = connection.readSome()) {
        if (!sendSlowly(connection, tls.answer(bytes), pauseMs)) break;
      }
      if (!tls.request().empty()) ++requests_;
    });
    create(server.port());
    Answer answer = perform(RequestMessage("GET", "/", ""));
    end();
    return answer;
  }

  TlsIdentity ofAnotherName() {
    CertificateText text;
    text.commonName = "elsewhere";
    text.dnsNames = {"elsewhere"};
    text.addresses = {"127.0.0.2"};
    return issueTrusted(text);
  }

  std::atomic<int> requests_ = 0;

 private:
  bool sendSlowly(Connection& connection, std::string_view bytes, std::int64_t pauseMs) {
    if (bytes.empty()) return true;
    if (!connection.trySend(bytes.substr(0, bytes.size() / 2))) return false;
    clock_.advanceMs(pauseMs);
    return connection.trySend(bytes.substr(bytes.size() / 2));
  }

  orvex::ManualClockForTest clock_;
};

TEST_P(SlowHandshakeTest, ReachesTheServerOfTheRightName) {
  const Answer answer = answerOf(trustedIdentity(), kHour * 100);

  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.payload, "ok");
  EXPECT_EQ(requests_, 1);
}

TEST_P(SlowHandshakeTest, SendsNothingToAServerOfAnotherName) {
  const Answer answer = answerOf(ofAnotherName(), kHour * 100);

  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.reason, testing::HasSubstr("certificate verify failed"));
  EXPECT_EQ(requests_, 0);
}

// Which of the two is found first depends on how the bytes arrive.
TEST_P(SlowHandshakeTest, SendsNothingToAServerOfAnotherNameThatIsTooLate) {
  const Answer answer = answerOf(ofAnotherName(), kHour * 2000);

  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.reason,
              testing::AnyOf("Timeout", testing::HasSubstr("certificate verify failed")));
  EXPECT_EQ(requests_, 0);
}

INSTANTIATE_TEST_SUITE_P(Faults, SlowHandshakeTest, testing::Values(Wire::Tls, Wire::OverTunnel),
                         WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
