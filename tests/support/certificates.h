// support/certificates.h : certificates for tests: an authority, and what it issues.
//
// Role:      writes PEM files into a test's TempDir. Keys are on the curve P-256, quick to make.
// Threads:   one thread only.
// Ownership: the files live as long as the TempDir.
// Errors:    std::runtime_error when OpenSSL refuses.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace test_support {

/// What a server shows: its certificate, and the key that belongs to it.
struct TlsIdentity {
  std::string certificateFile;
  std::string keyFile;
};

/// What is written in a certificate.
struct CertificateText {
  std::string commonName = "localhost";
  std::vector<std::string> dnsNames = {"localhost"};   // alternative names; none: no extension
  std::vector<std::string> addresses = {"127.0.0.1"};  // the same, IP addresses
  int validFromDays = -1;                              // counted from now
  int validUntilDays = 30;
};

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using CertificatePtr = std::unique_ptr<X509, FreeCertificate>;
using KeyPtr = std::unique_ptr<EVP_PKEY, FreeCertificate>;

class CertificateAuthority {
 public:
  /// Makes the authority's own certificate, "<name>.pem". Several in one directory need names of
  /// their own.
  explicit CertificateAuthority(const TempDir& dir, const std::string& name = "authority");

  /// The file to trust.
  const std::string& certificateFile() const { return certificateFile_; }

  /// A new key and a certificate for it, signed by this authority; each call makes new files,
  /// "<name>-<number>.pem" and ".key".
  TlsIdentity issue(const CertificateText& text = {});

 private:
  const TempDir& dir_;
  const std::string name_;
  KeyPtr key_;
  CertificatePtr certificate_;
  std::string certificateFile_;
  int issued_ = 0;
};

/// A new key and a certificate for it that only itself vouches for: "<name>.pem", "<name>.key".
TlsIdentity selfSigned(const TempDir& dir, const std::string& name,
                       const CertificateText& text = {});

}  // namespace test_support
