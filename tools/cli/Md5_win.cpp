#include "Md5.h"

// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <memory>

namespace OstrelCli {
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

bool Md5(const std::string& text, unsigned char (&digest)[kMd5Bytes]) {
  BCRYPT_ALG_HANDLE rawAlgorithm = nullptr;
  if (!Succeeded(BCryptOpenAlgorithmProvider(&rawAlgorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0))) {
    return false;
  }
  std::unique_ptr<void, AlgorithmClose> algorithm(rawAlgorithm);
  BCRYPT_HASH_HANDLE rawHash = nullptr;
  if (!Succeeded(BCryptCreateHash(rawAlgorithm, &rawHash, nullptr, 0, nullptr, 0, 0))) {
    return false;
  }
  std::unique_ptr<void, HashDestroy> hash(rawHash);
  // CNG takes the text as a mutable buffer it does not change, and its
  // length as 32 bits; no record of the store comes near that.
  if (text.size() > 0xffffffffu) return false;
  std::string bytes = text;
  if (!Succeeded(BCryptHashData(rawHash, reinterpret_cast<PUCHAR>(&bytes[0]),
                                static_cast<ULONG>(bytes.size()), 0))) {
    return false;
  }
  return Succeeded(BCryptFinishHash(rawHash, digest, kMd5Bytes, 0));
}

}  // namespace OstrelCli
