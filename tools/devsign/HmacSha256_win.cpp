#include "HmacSha256.h"

// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <memory>

namespace OstrelDev {
namespace {

struct AlgorithmClose {
  void operator()(void* algorithm) const {
    BCryptCloseAlgorithmProvider(static_cast<BCRYPT_ALG_HANDLE>(algorithm), 0);
  }
};
struct HashDestroy {
  void operator()(void* hash) const { BCryptDestroyHash(static_cast<BCRYPT_HASH_HANDLE>(hash)); }
};

bool Succeeded(NTSTATUS status) { return status >= 0; }

}  // namespace

bool HmacSha256(const std::string& key, const std::string& message,
                unsigned char (&digest)[kSha256Bytes]) {
  BCRYPT_ALG_HANDLE rawAlgorithm = nullptr;
  if (!Succeeded(BCryptOpenAlgorithmProvider(&rawAlgorithm, BCRYPT_SHA256_ALGORITHM, nullptr,
                                             BCRYPT_ALG_HANDLE_HMAC_FLAG))) {
    return false;
  }
  std::unique_ptr<void, AlgorithmClose> algorithm(rawAlgorithm);
  // CNG takes the key and the message as mutable buffers it does not change.
  std::string keyBytes = key;
  std::string messageBytes = message;
  BCRYPT_HASH_HANDLE rawHash = nullptr;
  if (!Succeeded(BCryptCreateHash(rawAlgorithm, &rawHash, nullptr, 0,
                                  reinterpret_cast<PUCHAR>(&keyBytes[0]),
                                  static_cast<ULONG>(keyBytes.size()), 0))) {
    return false;
  }
  std::unique_ptr<void, HashDestroy> hash(rawHash);
  return Succeeded(BCryptHashData(rawHash, reinterpret_cast<PUCHAR>(&messageBytes[0]),
                                  static_cast<ULONG>(messageBytes.size()), 0)) &&
         Succeeded(BCryptFinishHash(rawHash, digest, kSha256Bytes, 0));
}

}  // namespace OstrelDev
