// A stand-in for the security library: signs deterministically and can be
// switched into each way the real one may fail.
#include <atomic>
#include <cstring>

#include "TestSignature.h"

namespace {

std::atomic<int> gMode{OstrelTestSign::kSign};

}  // namespace

extern "C" __attribute__((visibility("default"))) void KelsafeTestSetMode(int mode) {
  gMode.store(mode);
}

extern "C" __attribute__((visibility("default"))) int KelsafeUrlSign(const char* appKey,
                                                                     const char* text, char* out,
                                                                     unsigned outCapacity) {
  switch (gMode.load()) {
    case OstrelTestSign::kFail:
      return OstrelTestSign::kFailCode;
    case OstrelTestSign::kEmpty:
      if (outCapacity > 0) out[0] = '\0';
      return 0;
    case OstrelTestSign::kUnterminated:
      memset(out, 'x', outCapacity);
      return 0;
    default:
      break;
  }
  char signature[17];
  OstrelTestSign::Signature(appKey, text, signature);
  if (outCapacity < sizeof(signature)) return OstrelTestSign::kFailCode;
  memcpy(out, signature, sizeof(signature));
  return 0;
}
