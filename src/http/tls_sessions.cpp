#include "http/tls_sessions.h"

#include <utility>

namespace com::corvane::connectivity::plugins {
namespace {

// The certificate is not shown again, so that nobody else looks.
bool isInItsTime(const SSL_SESSION& session) {
  const X509* const certificate = SSL_SESSION_get0_peer(const_cast<SSL_SESSION*>(&session));
  return certificate != nullptr && X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}

}  // namespace

TlsSessions::TlsSessions(SSL_CTX& context) {
  SSL_CTX_set_app_data(&context, this);
  SSL_CTX_set_session_cache_mode(&context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(&context, keep);
}

void TlsSessions::offerTo(SSL& connection) {
  orvex::AutoMutex lock(mutex_);
  // Which takes a reference of its own.
  if (latest_ && isInItsTime(*latest_)) SSL_set_session(&connection, latest_.get());
}

void TlsSessions::forget() noexcept { replaceBy(nullptr); }

// Called by the library while it reads. The result says that the session is ours now.
int TlsSessions::keep(SSL* connection, SSL_SESSION* session) {
  void* const sessions = SSL_CTX_get_app_data(SSL_get_SSL_CTX(connection));
  static_cast<TlsSessions*>(sessions)->replaceBy(Session(session));
  return 1;
}

void TlsSessions::replaceBy(Session session) noexcept {
  orvex::AutoMutex lock(mutex_);
  latest_.swap(session);
  lock.unlock();  // the one before is released without it
}

}  // namespace com::corvane::connectivity::plugins
