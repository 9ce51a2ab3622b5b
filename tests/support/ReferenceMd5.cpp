// The tests' MD5 comes from the platform's own cryptography, never from the
// library under test: a broken library digest must not agree with the
// records the tests expect.
#include "Documents.h"

#ifdef _WIN32
#include <windows.h>
#include <bcrypt.h>
#else
#include <openssl/evp.h>
#endif

namespace OstrelTest {
namespace {

std::string Hex(const unsigned char* digest, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (size_t i = 0; i < size; ++i) {
    hex += kDigits[digest[i] >> 4];
    hex += kDigits[digest[i] & 15];
  }
  return hex;
}

}  // namespace

std::string Md5Of(const std::string& bytes) {
  unsigned char digest[16] = {};
#ifdef _WIN32
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;
  const bool ok =
      BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0) == 0 &&
      BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0 &&
      BCryptHashData(hash, reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data())),
                     static_cast<ULONG>(bytes.size()), 0) == 0 &&
      BCryptFinishHash(hash, digest, sizeof digest, 0) == 0;
  if (hash != nullptr) BCryptDestroyHash(hash);
  if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
  if (!ok) return "bcrypt-md5-failed";
#else
  unsigned int size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_md5(), nullptr) != 1) {
    return "openssl-md5-failed";
  }
#endif
  return Hex(digest, sizeof digest);
}

}  // namespace OstrelTest
