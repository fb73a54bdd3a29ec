#include "http/session_factory.h"

#include <Poco/Net/IPAddress.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "http/basic_authorization.h"

namespace com::corvane::connectivity::plugins {

using Poco::Net::Context;

namespace {

constexpr char kCiphers[] = "HIGH+TLSv1.2:!COMPLEMENTOFDEFAULT:!PSK:!aNULL:!eNULL";
constexpr int kVerificationDepth = 9;

// The library asks a handler what to do about a certificate that fails, by default a process-wide
// one, which other code in the host may have set to accept anything; and it reads the certificate
// for that, and once more for the host name after the handshake, in a way that ends the process
// when memory runs out meanwhile. TLS itself knows all that is to be known, and decides alone.
void decideWithoutTheLibrary(Context& context, bool acceptAny) {
  const int mode = acceptAny ? SSL_VERIFY_NONE : SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT;
  SSL_CTX_set_verify(context.sslContext(), mode, nullptr);
  context.enableExtendedCertificateVerification(false);
}

// As part of the verification the host name cannot be passed over.
void expectPeer(Context& context, const std::string& host) {
  X509_VERIFY_PARAM* const parameters = SSL_CTX_get0_param(context.sslContext());
  Poco::Net::IPAddress address;
  const int done = Poco::Net::IPAddress::tryParse(host, address)
                       ? X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str())
                       : X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), 0);
  if (done != 1) throw std::runtime_error("Could not set the expected TLS peer to " + host);
}

// The system counts milliseconds in 31 bits when it waits.
std::int64_t timeoutMs(std::int64_t seconds) {
  constexpr std::int64_t kSecondsMax = std::numeric_limits<std::int32_t>::max() / 1000;
  return std::min(seconds, kSecondsMax) * 1000;
}

}  // namespace

std::unique_ptr<StrictSession> SessionFactory::create(const std::string& host, std::uint64_t port,
                                                      const ThreadLogger& logger) {
  SessionSettings session;
  session.host = host;
  session.port = static_cast<std::uint16_t>(port);
  session.timeoutMs = timeoutMs(settings_.timeoutSecs);
  if (settings_.tls) {
    logTls(host, port, logger);
    session.tlsContext = tlsContext(host);
    session.tlsSessions = &*tlsSessions_;
  } else {
    logger.log(LogLevel::Info, "Connecting to http://%s:%I64u%s", host, port, settings_.basePath);
  }
  setProxy(session, logger);
  return std::make_unique<StrictSession>(connections_, std::move(session));
}

void SessionFactory::logTls(const std::string& host, std::uint64_t port,
                            const ThreadLogger& logger) const {
  if (settings_.tlsCertificateAuthorityFile.empty()) {
    logger.log(LogLevel::Info, "Connecting to https://%s:%I64u%s", host, port, settings_.basePath);
  } else {
    logger.log(LogLevel::Info, "Connecting to https://%s:%I64u%s using CA file %s", host, port,
               settings_.basePath, settings_.tlsCertificateAuthorityFile);
  }
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
    decideWithoutTheLibrary(*context, acceptAny);
    if (!acceptAny) expectPeer(*context, host);
    tlsSessions_.emplace(*context->sslContext());
    tlsContext_ = context;
  }
  return tlsContext_;
}

void SessionFactory::setProxy(SessionSettings& session, const ThreadLogger& logger) const {
  if (settings_.proxyHost.empty()) return;
  const auto port = static_cast<std::uint64_t>(settings_.proxyPort);
  logger.log(LogLevel::Info, "Connecting via proxy server http://%s:%I64u", settings_.proxyHost,
             port);
  session.proxyHost = settings_.proxyHost;
  session.proxyPort = static_cast<std::uint16_t>(port);
  if (settings_.proxyAuthenticationType == "http_basic") {
    session.proxyAuthorization = basicAuthorization(settings_.proxyUser, settings_.proxyPassword);
  }
}

}  // namespace com::corvane::connectivity::plugins
