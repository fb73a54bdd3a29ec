#include "support/certificates.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace test_support {
namespace {

CertificatePtr load(const std::string& path) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> file(BIO_new_file(path.c_str(), "r"), BIO_free);
  return CertificatePtr(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
}

// X509_V_OK, or the error of a verification that trusts one certificate.
int verify(const std::string& certificateFile, const std::string& trustedFile) {
  const CertificatePtr certificate = load(certificateFile);
  const CertificatePtr trusted = load(trustedFile);
  const std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(),
                                                                      X509_STORE_free);
  X509_STORE_add_cert(store.get(), trusted.get());
  const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> context(
      X509_STORE_CTX_new(), X509_STORE_CTX_free);
  X509_STORE_CTX_init(context.get(), store.get(), certificate.get(), nullptr);
  X509_verify_cert(context.get());
  return X509_STORE_CTX_get_error(context.get());
}

bool namesHost(const std::string& certificateFile, const std::string& host) {
  return X509_check_host(load(certificateFile).get(), host.c_str(), host.size(), 0, nullptr) == 1;
}

bool namesAddress(const std::string& certificateFile, const char* address) {
  return X509_check_ip_asc(load(certificateFile).get(), address, 0) == 1;
}

TEST(CertificatesTest, AuthorityVouchesForWhatItIssues) {
  TempDir dir;
  CertificateAuthority authority(dir);

  const TlsIdentity identity = authority.issue();

  EXPECT_EQ(verify(identity.certificateFile, authority.certificateFile()), X509_V_OK);
  EXPECT_TRUE(namesHost(identity.certificateFile, "localhost"));
  EXPECT_TRUE(namesAddress(identity.certificateFile, "127.0.0.1"));
}

TEST(CertificatesTest, AnotherAuthorityDoesNotVouchForIt) {
  TempDir dir;
  CertificateAuthority authority(dir);
  CertificateAuthority other(dir, "other");

  const TlsIdentity identity = authority.issue();

  EXPECT_EQ(verify(identity.certificateFile, other.certificateFile()),
            X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
}

TEST(CertificatesTest, CertificateNamesOnlyTheHostsAskedFor) {
  TempDir dir;
  CertificateAuthority authority(dir);
  CertificateText text;
  text.commonName = "other.example";
  text.dnsNames = {"other.example", "more.example"};
  text.addresses = {};

  const TlsIdentity identity = authority.issue(text);

  EXPECT_TRUE(namesHost(identity.certificateFile, "more.example"));
  EXPECT_FALSE(namesHost(identity.certificateFile, "localhost"));
  EXPECT_FALSE(namesAddress(identity.certificateFile, "127.0.0.1"));
}

TEST(CertificatesTest, CommonNameStandsAloneWithoutAlternativeNames) {
  TempDir dir;
  CertificateAuthority authority(dir);
  CertificateText text;
  text.commonName = "only.example";
  text.dnsNames = {};
  text.addresses = {};

  const TlsIdentity identity = authority.issue(text);

  EXPECT_TRUE(namesHost(identity.certificateFile, "only.example"));
}

TEST(CertificatesTest, CertificateOfThePastHasExpired) {
  TempDir dir;
  CertificateAuthority authority(dir);
  CertificateText text;
  text.validFromDays = -10;
  text.validUntilDays = -5;

  const TlsIdentity identity = authority.issue(text);

  EXPECT_EQ(verify(identity.certificateFile, authority.certificateFile()),
            X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST(CertificatesTest, SelfSignedCertificateIsVouchedForByItselfAlone) {
  TempDir dir;
  CertificateAuthority authority(dir);

  const TlsIdentity identity = selfSigned(dir, "self");

  EXPECT_EQ(verify(identity.certificateFile, identity.certificateFile), X509_V_OK);
  EXPECT_EQ(verify(identity.certificateFile, authority.certificateFile()),
            X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
}

TEST(CertificatesTest, EachIssueMakesNewFiles) {
  TempDir dir;
  CertificateAuthority authority(dir);

  const TlsIdentity one = authority.issue();
  const TlsIdentity other = authority.issue();

  EXPECT_NE(one.certificateFile, other.certificateFile);
  EXPECT_NE(readFile(one.keyFile), readFile(other.keyFile));
}

}  // namespace
}  // namespace test_support
