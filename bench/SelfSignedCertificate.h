// A certificate and key made at run time for a loopback TLS server, so that
// no key material lives in the repository.
#ifndef OSTREL_BENCH_SELFSIGNEDCERTIFICATE_H_
#define OSTREL_BENCH_SELFSIGNEDCERTIFICATE_H_

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <string>

namespace OstrelTest {

// A P-256 key and a self-signed certificate for the name "localhost" and the
// address 127.0.0.1, valid for a day, usable as its own trust anchor.
class SelfSignedCertificate {
 public:
  // Throws std::runtime_error when OpenSSL fails.
  SelfSignedCertificate();
  ~SelfSignedCertificate();
  SelfSignedCertificate(const SelfSignedCertificate&) = delete;
  SelfSignedCertificate& operator=(const SelfSignedCertificate&) = delete;

  // Owned by this object; a TLS context takes its own references.
  X509* certificate() const { return certificate_; }
  EVP_PKEY* key() const { return key_; }
  // Writes the certificate as PEM to path, for a client's CA bundle.
  bool WritePem(const std::string& path) const;

 private:
  EVP_PKEY* key_ = nullptr;
  X509* certificate_ = nullptr;
};

}  // namespace OstrelTest

#endif  // OSTREL_BENCH_SELFSIGNEDCERTIFICATE_H_
