#include "Md5.h"

#include <openssl/evp.h>

namespace OstrelCli {

bool Md5(const std::string& text, unsigned char (&digest)[kMd5Bytes]) {
  unsigned char full[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), full, &length, EVP_md5(), nullptr) != 1 ||
      length != kMd5Bytes) {
    return false;
  }
  for (size_t i = 0; i < kMd5Bytes; ++i) digest[i] = full[i];
  return true;
}

}  // namespace OstrelCli
