#include "SelfSignedCertificate.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace OstrelTest {
namespace {

bool AddExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  if (extension == nullptr) return false;
  const bool added = X509_add_ext(certificate, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  return added;
}

}  // namespace

SelfSignedCertificate::SelfSignedCertificate() {
  key_ = EVP_EC_gen("P-256");
  certificate_ = X509_new();
  bool made = key_ != nullptr && certificate_ != nullptr;
  if (made) {
    X509_set_version(certificate_, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate_), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate_), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate_), 24 * 60 * 60);
    X509_NAME* name = X509_get_subject_name(certificate_);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
    made = X509_set_issuer_name(certificate_, name) == 1 &&
           X509_set_pubkey(certificate_, key_) == 1 &&
           AddExtension(certificate_, NID_basic_constraints, "critical,CA:TRUE") &&
           AddExtension(certificate_, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1") &&
           X509_sign(certificate_, key_, EVP_sha256()) > 0;
  }
  if (!made) {
    X509_free(certificate_);
    EVP_PKEY_free(key_);
    throw std::runtime_error("cannot make a self-signed certificate");
  }
}

SelfSignedCertificate::~SelfSignedCertificate() {
  X509_free(certificate_);
  EVP_PKEY_free(key_);
}

bool SelfSignedCertificate::WritePem(const std::string& path) const {
  FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  const bool written = PEM_write_X509(file, certificate_) == 1;
  return std::fclose(file) == 0 && written;
}

}  // namespace OstrelTest
