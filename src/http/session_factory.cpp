#include "http/session_factory.h"

#include <Poco/Net/IPAddress.h>
#include <Poco/Net/InvalidCertificateHandler.h>
#include <Poco/Net/VerificationErrorArgs.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace com::corvane::connectivity::plugins {

using Poco::Net::Context;
using Poco::Net::HTTPClientSession;

namespace {

constexpr char kCiphers[] = "HIGH+TLSv1.2:!COMPLEMENTOFDEFAULT:!PSK:!aNULL:!eNULL";
constexpr int kVerificationDepth = 9;

// A context without a handler of its own asks the process-wide one, which other code in the host
// may have set to accept anything.
class RejectingHandler final : public Poco::Net::InvalidCertificateHandler {
 public:
  RejectingHandler() : InvalidCertificateHandler(false) {}
  void onInvalidCertificate(const void*, Poco::Net::VerificationErrorArgs& error) override {
    error.setIgnoreError(false);
  }
};

// The library compares the host name after the handshake, and not in every case. As part of the
// verification it cannot be passed over.
void expectPeer(Context& context, const std::string& host) {
  X509_VERIFY_PARAM* const parameters = SSL_CTX_get0_param(context.sslContext());
  Poco::Net::IPAddress address;
  const int done = Poco::Net::IPAddress::tryParse(host, address)
                       ? X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str())
                       : X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), 0);
  if (done != 1) throw std::runtime_error("Could not set the expected TLS peer to " + host);
}

// The system counts milliseconds in 31 bits when it waits.
Poco::Timespan timeout(std::int64_t seconds) {
  constexpr std::int64_t kSecondsMax = std::numeric_limits<std::int32_t>::max() / 1000;
  return Poco::Timespan(static_cast<long>(std::min(seconds, kSecondsMax)), 0);
}

}  // namespace

std::unique_ptr<ClientSession> SessionFactory::create(const std::string& host, std::uint64_t port,
                                                      const ThreadLogger& logger) {
  std::unique_ptr<ClientSession> session;
  if (settings_.tls) {
    session = createTls(host, port, logger);
  } else {
    logger.log(LogLevel::Info, "Connecting to http://%s:%I64u%s", host, port, settings_.basePath);
    session = std::make_unique<StrictSession>(connections_, host, static_cast<Poco::UInt16>(port));
  }
  setProxy(session->base(), logger);
  session->base().setKeepAlive(true);
  session->base().setTimeout(timeout(settings_.timeoutSecs));
  return session;
}

std::unique_ptr<ClientSession> SessionFactory::createTls(const std::string& host,
                                                         std::uint64_t port,
                                                         const ThreadLogger& logger) {
  if (settings_.tlsCertificateAuthorityFile.empty()) {
    logger.log(LogLevel::Info, "Connecting to https://%s:%I64u%s", host, port, settings_.basePath);
  } else {
    logger.log(LogLevel::Info, "Connecting to https://%s:%I64u%s using CA file %s", host, port,
               settings_.basePath, settings_.tlsCertificateAuthorityFile);
  }
  return std::make_unique<StrictSession>(connections_, host, static_cast<Poco::UInt16>(port),
                                         tlsContext(host));
}

// Loading the platform's authorities takes some 20 ms and 900 KiB: once a transport, not once a
// session. Only the configured host is ever asked for, so that one expected peer does.
Context::Ptr SessionFactory::tlsContext(const std::string& host) {
  orvex::AutoMutex lock(tlsContextMutex_);
  if (tlsContext_.isNull()) {
    const bool acceptAny = settings_.tlsAcceptUnrecognizedCertificates;
    Context::Ptr context(new Context(Context::TLSV1_2_CLIENT_USE,
                                     settings_.tlsCertificateAuthorityFile,
                                     acceptAny ? Context::VERIFY_NONE : Context::VERIFY_STRICT,
                                     kVerificationDepth, true, kCiphers));
    if (!acceptAny) {
      context->setInvalidCertificateHandler(new RejectingHandler());
      expectPeer(*context, host);
    }
    tlsContext_ = context;
  }
  return tlsContext_;
}

// The configuration is explicit also without a proxy: otherwise the process-wide one would be used.
void SessionFactory::setProxy(HTTPClientSession& session, const ThreadLogger& logger) const {
  HTTPClientSession::ProxyConfig proxy;
  proxy.authMethod = HTTPClientSession::PROXY_AUTH_NONE;
  if (!settings_.proxyHost.empty()) {
    const auto port = static_cast<std::uint64_t>(settings_.proxyPort);
    logger.log(LogLevel::Info, "Connecting via proxy server http://%s:%I64u", settings_.proxyHost,
               port);
    proxy.host = settings_.proxyHost;
    proxy.port = static_cast<Poco::UInt16>(port);
    if (settings_.proxyAuthenticationType == "http_basic") {
      proxy.authMethod = HTTPClientSession::PROXY_AUTH_HTTP_BASIC;
      proxy.username = settings_.proxyUser;
      proxy.password = settings_.proxyPassword;
    }
  }
  session.setProxyConfig(proxy);
}

}  // namespace com::corvane::connectivity::plugins
