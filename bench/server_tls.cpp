#include "bench/server_tls.h"

#include <stdexcept>

namespace bench {

TlsContext serverTls(const test_support::TlsIdentity& identity) {
  TlsContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (SSL_CTX_use_certificate_chain_file(context.get(), identity.certificateFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    throw std::runtime_error("cannot use the certificate " + identity.certificateFile);
  }
  return context;
}

}  // namespace bench
