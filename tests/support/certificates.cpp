#include "support/certificates.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace test_support {

namespace {

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(std::string("OpenSSL refuses: ") + what);
  }
}

KeyPtr newKey() {
  KeyPtr key(EVP_EC_gen("P-256"));
  check(key != nullptr, "key");
  return key;
}

long secondsOfDays(int days) { return 24L * 60 * 60 * days; }

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  check(extension != nullptr, "extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

std::string alternativeNames(const CertificateText& text) {
  std::string names;
  for (const std::string& name : text.dnsNames) {
    names += (names.empty() ? "DNS:" : ",DNS:") + name;
  }
  for (const std::string& address : text.addresses) {
    names += (names.empty() ? "IP:" : ",IP:") + address;
  }
  return names;
}

void setRandomSerial(X509* certificate) {
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_new(), BN_free);
  check(BN_rand(number.get(), 127, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY) == 1, "serial number");
  check(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
        "serial number");
}

// Null issuer: the certificate is signed by itself.
CertificatePtr makeCertificate(EVP_PKEY* key, const CertificateText& text, bool authority,
                               X509* issuer, EVP_PKEY* issuerKey) {
  CertificatePtr certificate(X509_new());
  X509* raw = certificate.get();
  check(X509_set_version(raw, X509_VERSION_3) == 1, "version");
  setRandomSerial(raw);
  X509_gmtime_adj(X509_getm_notBefore(raw), secondsOfDays(text.validFromDays));
  X509_gmtime_adj(X509_getm_notAfter(raw), secondsOfDays(text.validUntilDays));
  check(X509_set_pubkey(raw, key) == 1, "public key");
  X509_NAME* subject = X509_get_subject_name(raw);
  check(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(text.commonName.c_str()),
                                   -1, -1, 0) == 1,
        "common name");
  X509* signer = issuer == nullptr ? raw : issuer;
  check(X509_set_issuer_name(raw, X509_get_subject_name(signer)) == 1, "issuer");
  addExtension(raw, signer, NID_basic_constraints,
               authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (authority) {
    addExtension(raw, signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  }
  const std::string names = alternativeNames(text);
  if (!names.empty()) {
    addExtension(raw, signer, NID_subject_alt_name, names);
  }
  check(X509_sign(raw, issuerKey == nullptr ? key : issuerKey, EVP_sha256()) > 0, "signature");
  return certificate;
}

using BioPtr = std::unique_ptr<BIO, decltype(&BIO_free)>;

BioPtr newFile(const std::string& path) {
  BioPtr file(BIO_new_file(path.c_str(), "w"), BIO_free);
  check(file != nullptr, "file");
  return file;
}

void writeCertificate(const std::string& path, X509* certificate) {
  check(PEM_write_bio_X509(newFile(path).get(), certificate) == 1, "certificate");
}

void writeKey(const std::string& path, EVP_PKEY* key) {
  check(PEM_write_bio_PrivateKey(newFile(path).get(), key, nullptr, nullptr, 0, nullptr, nullptr) ==
            1,
        "private key");
}

}  // namespace

CertificateAuthority::CertificateAuthority(const TempDir& dir, const std::string& name)
    : dir_(dir), name_(name), key_(newKey()), certificateFile_(dir.file(name + ".pem")) {
  CertificateText text;
  text.commonName = "Test " + name;
  text.dnsNames.clear();
  text.addresses.clear();
  certificate_ = makeCertificate(key_.get(), text, true, nullptr, nullptr);
  writeCertificate(certificateFile_, certificate_.get());
}

TlsIdentity CertificateAuthority::issue(const CertificateText& text) {
  const std::string stem = name_ + "-" + std::to_string(++issued_);
  const TlsIdentity identity{dir_.file(stem + ".pem"), dir_.file(stem + ".key")};
  const KeyPtr key = newKey();
  const CertificatePtr certificate =
      makeCertificate(key.get(), text, false, certificate_.get(), key_.get());
  writeCertificate(identity.certificateFile, certificate.get());
  writeKey(identity.keyFile, key.get());
  return identity;
}

TlsIdentity selfSigned(const TempDir& dir, const std::string& name, const CertificateText& text) {
  const TlsIdentity identity{dir.file(name + ".pem"), dir.file(name + ".key")};
  const KeyPtr key = newKey();
  const CertificatePtr certificate = makeCertificate(key.get(), text, false, nullptr, nullptr);
  writeCertificate(identity.certificateFile, certificate.get());
  writeKey(identity.keyFile, key.get());
  return identity;
}

}  // namespace test_support
