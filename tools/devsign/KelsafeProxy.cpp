// libKelsafeProxy.so for local development: the signing library the SDK loads
// from its sign-library folder, signing with the development signature that
// ostrel-server accepts. For a developer's machine only; see DevSignature.h.
#include <cstring>
#include <exception>
#include <string>

#include "DevSignature.h"

namespace {

// Error codes returned to the SDK, which logs them and sends nothing.
constexpr int kBadArgument = 1;
constexpr int kNoDigest = 2;
constexpr int kBufferTooSmall = 3;
constexpr int kInternal = 4;

}  // namespace

extern "C" __attribute__((visibility("default"))) int KelsafeUrlSign(const char* appKey,
                                                                     const char* text, char* out,
                                                                     unsigned outCapacity) {
  if (appKey == nullptr || text == nullptr || out == nullptr) return kBadArgument;
  try {
    const std::string signature = OstrelDev::DevSign(appKey, text);
    if (signature.empty()) return kNoDigest;
    if (signature.size() + 1 > outCapacity) return kBufferTooSmall;
    std::memcpy(out, signature.c_str(), signature.size() + 1);
    return 0;
  } catch (const std::exception&) {
    // Nothing may unwind into the SDK, which calls through a C pointer.
    return kInternal;
  }
}
