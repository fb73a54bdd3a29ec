#include "http/session_factory.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/InvalidCertificateHandler.h>
#include <Poco/Net/SSLManager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <openssl/ssl.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "http/exchange_fixture.h"
#include "support/certificates.h"
#include "support/nginx.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateAuthority;
using test_support::CertificateText;
using test_support::Connection;
using test_support::ScriptedServer;
using test_support::TempDir;
using test_support::TlsIdentity;

constexpr char kOkAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

// What other code in the host's process may have set up for itself.
class AcceptingHandler final : public Poco::Net::InvalidCertificateHandler {
 public:
  AcceptingHandler() : InvalidCertificateHandler(false) {}
  void onInvalidCertificate(const void*, Poco::Net::VerificationErrorArgs& error) override {
    error.setIgnoreError(true);
  }
};

class SessionFactoryTest : public ExchangeFixture {
 protected:
  void makeSession() {
    host_.setLogLevel(4);
    connectivity10_15_0::Logger log("category");
    const ThreadLogger logger(log, 2);
    sessions_.create(settings_.host, static_cast<std::uint64_t>(settings_.port), logger);
  }

  /// The status of one request to a TLS server that shows the identity, and trusts `authority_`.
  std::int64_t statusFrom(const TlsIdentity& identity) {
    ScriptedServer server(identity, ScriptedServer::answeringAll(kOkAnswer));
    settings_.tls = true;
    connectTo(server.port());
    Message& answer = perform(RequestMessage("GET", "/", ""));
    lastReason_ = reason(answer);
    exchange_->close();
    return status(answer);
  }

  void trustAuthority() { settings_.tlsCertificateAuthorityFile = authority_.certificateFile(); }

  TempDir dir_;
  CertificateAuthority authority_{dir_};
  std::string lastReason_;
};

TEST_F(SessionFactoryTest, SaysWhereItWillConnect) {
  settings_.host = "server";
  settings_.port = 8080;
  settings_.basePath = "/api";

  makeSession();

  ASSERT_EQ(host_.lines().size(), 1u);
  EXPECT_EQ(host_.lines()[0].level, 4);
  EXPECT_EQ(host_.lines()[0].text, "<category> {2} Connecting to http://server:8080/api");
}

TEST_F(SessionFactoryTest, SaysThatItWillUseTlsAndWhichAuthorities) {
  settings_.host = "server";
  settings_.port = 443;
  settings_.tls = true;
  makeSession();
  EXPECT_EQ(host_.texts(),
            std::vector<std::string>{"<category> {2} Connecting to https://server:443"});

  host_.clearLines();
  trustAuthority();
  makeSession();
  EXPECT_EQ(host_.texts(),
            std::vector<std::string>{"<category> {2} Connecting to https://server:443 using CA "
                                     "file " +
                                     authority_.certificateFile()});
}

TEST_F(SessionFactoryTest, SaysThatItWillUseAProxy) {
  settings_.host = "server";
  settings_.port = 80;
  settings_.proxyHost = "proxy";
  settings_.proxyPort = 3128;

  makeSession();

  EXPECT_EQ(host_.texts(), (std::vector<std::string>{
                               "<category> {2} Connecting to http://server:80",
                               "<category> {2} Connecting via proxy server http://proxy:3128"}));
}

TEST_F(SessionFactoryTest, UsesNoProxyWithoutAProxyHost) {
  settings_.proxyPort = 3128;
  settings_.proxyUser = "user";
  settings_.port = 80;

  makeSession();

  EXPECT_EQ(host_.texts().size(), 1u);
}

TEST_F(SessionFactoryTest, FailsForAnAuthorityFileThatCannotBeRead) {
  settings_.tls = true;
  settings_.tlsCertificateAuthorityFile = dir_.file("missing.pem");
  settings_.port = 443;

  try {
    makeSession();
    FAIL() << "loaded a file that is not there";
  } catch (const Poco::Exception& failure) {
    EXPECT_THAT(failure.displayText(), testing::HasSubstr("missing.pem"));
  }
}

TEST_F(SessionFactoryTest, SpeaksTlsToAServerThatItTrusts) {
  trustAuthority();

  EXPECT_EQ(statusFrom(authority_.issue()), 200);
}

TEST_F(SessionFactoryTest, SendsLargeBodiesWholeOverTls) {
  trustAuthority();
  settings_.tls = true;
  ScriptedServer server(authority_.issue(), ScriptedServer::answeringAll(kOkAnswer));
  connectTo(server.port());
  std::string body(1'000'003, '\0');
  for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 3);

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", body))), 200);
  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "small"))), 200);
  exchange_->close();

  ASSERT_EQ(server.requests().size(), 2u);
  EXPECT_TRUE(server.requests()[0].body == body);
  EXPECT_EQ(server.requests()[1].body, "small");
  EXPECT_EQ(server.connectionCount(), 1u);
}

TEST_F(SessionFactoryTest, GivesTheBuffersOfTlsBackAtRest) {
  trustAuthority();
  settings_.tls = true;
  ScriptedServer server(authority_.issue(), ScriptedServer::answeringAll(kOkAnswer));
  connectTo(server.port());
  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "first"))), 200);
  const std::size_t atWork = ::mallinfo2().uordblks;

  exchange_->rest();

  const bool isCounted = atWork > 0;  // not by a sanitizer's allocator
  EXPECT_TRUE(!isCounted || ::mallinfo2().uordblks + 30'000 < atWork);
  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "second"))), 200);
  exchange_->close();
  EXPECT_EQ(server.connectionCount(), 1u);
}

// Trusting the platform's authorities is never given up for those of a file.
TEST_F(SessionFactoryTest, TrustsThePlatformsAuthoritiesWithAndWithoutAFile) {
  const CertificateAuthority other(dir_, "other");
  ASSERT_EQ(::setenv("SSL_CERT_FILE", authority_.certificateFile().c_str(), 1), 0);
  const TlsIdentity identity = authority_.issue();

  EXPECT_EQ(statusFrom(identity), 200);

  settings_.tlsCertificateAuthorityFile = other.certificateFile();
  SessionFactory withFile(settings_);
  host_.setLogLevel(4);
  connectivity10_15_0::Logger log("category");
  ScriptedServer server(identity, ScriptedServer::answeringAll(kOkAnswer));
  const auto session = withFile.create("127.0.0.1", server.port(), ThreadLogger(log, 0));
  sendOn(*session, "GET", "/");
  ResponseHead head;
  session->reader().readHead(head, false);
  EXPECT_EQ(head.status(), 200);
  ::unsetenv("SSL_CERT_FILE");
}

TEST_F(SessionFactoryTest, MakesTheExpectedPeerAPartOfTheVerification) {
  const auto parametersFor = [&](const char* host, const auto& look) {
    SessionFactory sessions(settings_);
    look(SSL_CTX_get0_param(sessions.tlsContext(host)->sslContext()));
  };

  parametersFor("server.example", [](X509_VERIFY_PARAM* parameters) {
    EXPECT_STREQ(X509_VERIFY_PARAM_get0_host(parameters, 0), "server.example");
    EXPECT_EQ(X509_VERIFY_PARAM_get_depth(parameters), 9);
  });
  parametersFor("127.0.0.1", [](X509_VERIFY_PARAM* parameters) {
    char* const address = X509_VERIFY_PARAM_get1_ip_asc(parameters);
    EXPECT_STREQ(address, "127.0.0.1");
    OPENSSL_free(address);
  });
}

TEST_F(SessionFactoryTest, RefusesAServerThatNobodyVouchesFor) {
  EXPECT_EQ(statusFrom(authority_.issue()), 400);
  EXPECT_EQ(statusFrom(selfSigned(dir_, "self")), 400);
}

TEST_F(SessionFactoryTest, AcceptsAnyServerWhenToldTo) {
  settings_.tlsAcceptUnrecognizedCertificates = true;

  EXPECT_EQ(statusFrom(selfSigned(dir_, "self")), 200);
}

TEST_F(SessionFactoryTest, RefusesACertificateForAnotherHost) {
  trustAuthority();
  CertificateText other;
  other.commonName = "other";
  other.dnsNames = {"other"};
  other.addresses = {"127.0.0.2"};

  EXPECT_EQ(statusFrom(authority_.issue(other)), 400);
}

TEST_F(SessionFactoryTest, RefusesAnExpiredCertificate) {
  trustAuthority();
  CertificateText expired;
  expired.validFromDays = -10;
  expired.validUntilDays = -1;

  EXPECT_EQ(statusFrom(authority_.issue(expired)), 400);
}

// The library tells the wrong signature first.
TEST_F(SessionFactoryTest, SaysOfAForgedCertificateThatItIsRefused) {
  trustAuthority();
  settings_.tls = true;
  const TempDir elsewhere;
  CertificateAuthority namesake(elsewhere);
  const TlsIdentity identity = namesake.issue();
  ScriptedServer server([&](Connection& connection) { connection.startTls(identity); });
  connectTo(server.port());

  EXPECT_THAT(reason(perform(RequestMessage("GET", "/", ""))),
              testing::EndsWith(":certificate verify failed"));
  exchange_->close();
}

TEST_F(SessionFactoryTest, RefusesServersWithOldProtocolsOrCiphersOnly) {
  trustAuthority();
  settings_.tls = true;
  const auto reasonFrom = [this](const std::string& directives) {
    test_support::Nginx::Options options;
    options.tls = authority_.issue();
    options.locations = directives;
    test_support::Nginx server(options);
    connectTo(server.port());
    Message& answer = perform(RequestMessage("GET", "/", ""));
    exchange_->close();
    return status(answer) == 400 ? reason(answer) : "status " + std::to_string(status(answer));
  };

  EXPECT_THAT(reasonFrom("ssl_protocols TLSv1.1; ssl_ciphers ALL:@SECLEVEL=0;"),
              testing::HasSubstr("SSL"));
  EXPECT_THAT(reasonFrom("ssl_protocols TLSv1.2; ssl_ciphers ECDHE-ECDSA-AES128-SHA;"),
              testing::HasSubstr("SSL"));
  EXPECT_EQ(reasonFrom("ssl_protocols TLSv1.2;"), "status 200");
}

TEST_F(SessionFactoryTest, WaitsAsLongAsConfigured) {
  const auto secondsFor = [this](std::int64_t configured) {
    settings_.timeoutSecs = configured;
    settings_.port = 80;
    host_.setLogLevel(4);
    connectivity10_15_0::Logger log("category");
    const ThreadLogger logger(log, 0);
    return sessions_.create("server", 80, logger)->settings().timeoutMs / 1000;
  };

  EXPECT_EQ(secondsFor(120), 120);
  EXPECT_EQ(secondsFor(0), 0);
  EXPECT_GT(secondsFor(9'000'000'000'000), 1'000'000);  // no overflow
}

TEST_F(SessionFactoryTest, CutsPortsToSixteenBitsAndConnectsNothing) {
  host_.setLogLevel(4);
  connectivity10_15_0::Logger log("category");

  const auto session = sessions_.create("server", 65536 + 8080, ThreadLogger(log, 0));

  EXPECT_EQ(session->settings().port, 8080);
  EXPECT_FALSE(session->hasInput());
  EXPECT_EQ(host_.texts(),
            std::vector<std::string>{"<category> {0} Connecting to http://server:73616"});
}

TEST_F(SessionFactoryTest, IsNotTalkedIntoTrustByOtherUsersOfTheLibrary) {
  Poco::Net::SSLManager::instance().initializeClient(nullptr, new AcceptingHandler(), nullptr);

  EXPECT_EQ(statusFrom(selfSigned(dir_, "self")), 400);

  Poco::Net::SSLManager::instance().shutdown();
}

TEST_F(SessionFactoryTest, IgnoresTheProcessWideProxy) {
  Poco::Net::HTTPClientSession::ProxyConfig global;
  global.host = "127.0.0.1";
  global.port = 1;
  Poco::Net::HTTPClientSession::setGlobalProxyConfig(global);
  ScriptedServer server(ScriptedServer::answeringAll(kOkAnswer));
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);

  Poco::Net::HTTPClientSession::setGlobalProxyConfig({});
}

TEST_F(SessionFactoryTest, AsksAProxyForTheWholeUri) {
  ScriptedServer proxy(ScriptedServer::answeringAll(kOkAnswer));
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.host = "server.invalid";
  connectTo(8080);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/path", ""))), 200);

  const auto request = proxy.waitForRequests(1)[0];
  EXPECT_EQ(request.target, "http://server.invalid:8080/path");
  EXPECT_EQ(request.value("host"), "server.invalid:8080");
  EXPECT_FALSE(request.has("proxy-authorization"));
}

TEST_F(SessionFactoryTest, ShowsTheProxyItsCredentials) {
  ScriptedServer proxy(ScriptedServer::answeringAll(kOkAnswer));
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.proxyAuthenticationType = "http_basic";
  settings_.proxyUser = "Aladdin";
  settings_.proxyPassword = "open sesame";
  connectTo(8080);

  perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(proxy.waitForRequests(1)[0].value("proxy-authorization"),
            "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
}

TEST_F(SessionFactoryTest, ShowsTheProxyNothingWhenNotToldTo) {
  ScriptedServer proxy(ScriptedServer::answeringAll(kOkAnswer));
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.proxyAuthenticationType = "none";
  settings_.proxyUser = "Aladdin";
  settings_.proxyPassword = "open sesame";
  connectTo(8080);

  perform(RequestMessage("GET", "/", ""));

  EXPECT_FALSE(proxy.waitForRequests(1)[0].has("proxy-authorization"));
}

TEST_F(SessionFactoryTest, TunnelsTlsThroughAProxy) {
  trustAuthority();
  const TlsIdentity identity = authority_.issue();
  ScriptedServer proxy([&](Connection& connection) {
    const auto connect = connection.readRequest();
    if (!connect || connect->method != "CONNECT") return;
    connection.send("HTTP/1.1 200 Connection established\r\n\r\n");
    if (!connection.startTls(identity)) return;
    while (connection.readRequest()) connection.send(kOkAnswer);
  });
  settings_.proxyHost = "127.0.0.1";
  settings_.proxyPort = proxy.port();
  settings_.tls = true;
  connectTo(8443);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/path", ""))), 200);
  EXPECT_EQ(status(perform(RequestMessage("GET", "/path", ""))), 200);

  const auto requests = proxy.waitForRequests(3);
  EXPECT_EQ(requests[0].target, "127.0.0.1:8443");
  EXPECT_FALSE(requests[0].has("proxy-authorization"));
  EXPECT_EQ(requests[1].target, "/path");
  EXPECT_EQ(proxy.connectionCount(), 1u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
