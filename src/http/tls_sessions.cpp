#include "http/tls_sessions.h"

#include <exception>
#include <memory>

namespace com::corvane::connectivity::plugins {
namespace {

struct Free {
  void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};
using Session = std::unique_ptr<SSL_SESSION, Free>;

// The certificate is not shown again, so that nobody else looks.
bool isInItsTime(SSL_SESSION& session) {
  const X509* const certificate = SSL_SESSION_get0_peer(&session);
  return certificate != nullptr && X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}

Session decoded(const std::string& bytes) {
  const auto* first = reinterpret_cast<const unsigned char*>(bytes.data());
  return Session(d2i_SSL_SESSION(nullptr, &first, static_cast<long>(bytes.size())));
}

// Empty when the library cannot tell.
std::string encoded(SSL_SESSION& session) {
  const int size = i2d_SSL_SESSION(&session, nullptr);
  if (size <= 0) return {};
  std::string bytes(static_cast<std::size_t>(size), '\0');
  auto* first = reinterpret_cast<unsigned char*>(bytes.data());
  i2d_SSL_SESSION(&session, &first);
  return bytes;
}

}  // namespace

TlsSessions::TlsSessions(SSL_CTX& context) {
  SSL_CTX_set_app_data(&context, this);
  SSL_CTX_set_session_cache_mode(&context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(&context, keep);
}

void TlsSessions::offerTo(SSL& connection) {
  orvex::AutoMutex lock(mutex_);
  const std::string bytes = latest_;
  lock.unlock();
  if (bytes.empty()) return;
  const Session session = decoded(bytes);
  // The connection takes a reference of its own.
  if (session && isInItsTime(*session)) SSL_set_session(&connection, session.get());
}

void TlsSessions::forget() noexcept { replaceBy({}); }

// Called by the library while it reads. The result says that the session stays the library's.
int TlsSessions::keep(SSL* connection, SSL_SESSION* session) {
  try {
    void* const sessions = SSL_CTX_get_app_data(SSL_get_SSL_CTX(connection));
    static_cast<TlsSessions*>(sessions)->replaceBy(encoded(*session));
  } catch (const std::exception&) {
    // No memory for it: the one before stays.
  }
  return 0;
}

void TlsSessions::replaceBy(std::string bytes) noexcept {
  orvex::AutoMutex lock(mutex_);
  latest_.swap(bytes);
  lock.unlock();  // the one before is released without it
}

}  // namespace com::corvane::connectivity::plugins
