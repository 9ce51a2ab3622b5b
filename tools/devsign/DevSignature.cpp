#include "DevSignature.h"

#include "HmacSha256.h"

namespace OstrelDev {
namespace {

// Public on purpose: this signature only exercises the signed path locally.
const char kDevelopmentKey[] = "ostrel-local-development-only";

}  // namespace

std::string DevSign(const std::string& appKey, const std::string& text) {
  unsigned char digest[kSha256Bytes];
  if (!HmacSha256(kDevelopmentKey, appKey + "&" + text, digest)) return std::string();
  static const char kHex[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(kSha256Bytes * 2);
  for (size_t i = 0; i < kSha256Bytes; ++i) {
    hex.push_back(kHex[digest[i] >> 4]);
    hex.push_back(kHex[digest[i] & 0x0F]);
  }
  return hex;
}

bool DevVerify(const std::string& appKey, const std::string& text, const std::string& signature) {
  const std::string expected = DevSign(appKey, text);
  if (expected.empty() || signature.size() != expected.size()) return false;
  // Every byte is compared whatever the first difference.
  unsigned char difference = 0;
  for (size_t i = 0; i < expected.size(); ++i) {
    difference |= static_cast<unsigned char>(expected[i] ^ signature[i]);
  }
  return difference == 0;
}

std::string SignedText(const std::string& path, const std::string& appKey,
                       const std::string& appVersion, const std::string& deviceId,
                       const std::string& timestamp) {
  return path + "&" + appKey + "&" + appVersion + "&" + deviceId + "&" + timestamp;
}

}  // namespace OstrelDev
