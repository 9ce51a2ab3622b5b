// The deterministic signature of the test signing library, shared with the
// tests so that they can compute the "o-sign" value they expect.
#ifndef OSTREL_TESTS_NET_SIGNING_TESTSIGNATURE_H_
#define OSTREL_TESTS_NET_SIGNING_TESTSIGNATURE_H_

#include <cstdint>
#include <cstring>

namespace OstrelTestSign {

// What KelsafeUrlSign does; chosen through KelsafeTestSetMode.
enum Mode : int {
  kSign = 0,          // writes the signature, returns 0
  kFail = 1,          // returns kFailCode, writes nothing
  kEmpty = 2,         // returns 0 with an empty signature
  kUnterminated = 3,  // fills the whole buffer without a NUL, returns 0
};

constexpr int kFailCode = 7;

// The signature is 16 lowercase hex digits of the 64-bit FNV-1a hash of
// appKey "&" text, so any change of the signed text changes it.
inline void Signature(const char* appKey, const char* text, char out[17]) {
  uint64_t hash = 14695981039346656037ULL;
  auto mix = [&hash](const char* bytes) {
    for (size_t i = 0; bytes[i] != '\0'; ++i) {
      hash ^= static_cast<unsigned char>(bytes[i]);
      hash *= 1099511628211ULL;
    }
  };
  mix(appKey);
  mix("&");
  mix(text);
  // Not a static local: that would make the library impossible to unload.
  const char* const kHex = "0123456789abcdef";
  for (int i = 15; i >= 0; --i) {
    out[i] = kHex[hash & 0x0F];
    hash >>= 4;
  }
  out[16] = '\0';
}

}  // namespace OstrelTestSign

#endif  // OSTREL_TESTS_NET_SIGNING_TESTSIGNATURE_H_
