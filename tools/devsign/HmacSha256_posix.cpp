#include "HmacSha256.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace OstrelDev {

bool HmacSha256(const std::string& key, const std::string& message,
                unsigned char (&digest)[kSha256Bytes]) {
  unsigned char full[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
           reinterpret_cast<const unsigned char*>(message.data()), message.size(), full,
           &length) == nullptr ||
      length != kSha256Bytes) {
    return false;
  }
  for (size_t i = 0; i < kSha256Bytes; ++i) digest[i] = full[i];
  return true;
}

}  // namespace OstrelDev
