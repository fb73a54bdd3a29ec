// bench/server_tls.h : what a server needs for connections over TLS.
//
// Threads:   no state; connections of several threads may share a context.
// Errors:    std::runtime_error that names the certificate which cannot be used.
#pragma once

#include <openssl/ssl.h>

#include <memory>

#include "support/certificates.h"

namespace bench {

using TlsContext = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

TlsContext serverTls(const test_support::TlsIdentity& identity);

}  // namespace bench
