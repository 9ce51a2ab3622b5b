#include "DevSignature.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace OstrelDev {
namespace {

// Public on purpose: this signature only exercises the signed path locally.
const char kDevelopmentKey[] = "ostrel-local-development-only";

}  // namespace

std::string DevSign(const std::string& appKey, const std::string& text) {
  const std::string message = appKey + "&" + text;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (HMAC(EVP_sha256(), kDevelopmentKey, static_cast<int>(sizeof(kDevelopmentKey) - 1),
           reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest,
           &length) == nullptr) {
    return std::string();
  }
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(length * 2);
  for (unsigned int i = 0; i < length; ++i) {
    hex.push_back(kHex[digest[i] >> 4]);
    hex.push_back(kHex[digest[i] & 0x0F]);
  }
  return hex;
}

bool DevVerify(const std::string& appKey, const std::string& text, const std::string& signature) {
  const std::string expected = DevSign(appKey, text);
  if (expected.empty() || signature.size() != expected.size()) return false;
  return CRYPTO_memcmp(expected.data(), signature.data(), expected.size()) == 0;
}

std::string SignedText(const std::string& path, const std::string& appKey,
                       const std::string& appVersion, const std::string& deviceId,
                       const std::string& timestamp) {
  return path + "&" + appKey + "&" + appVersion + "&" + deviceId + "&" + timestamp;
}

}  // namespace OstrelDev
