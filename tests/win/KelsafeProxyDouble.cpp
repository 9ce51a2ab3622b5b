// Stand-in for KelsafeProxy.dll. Built with KELSAFE_DOUBLE_NO_QUERY it lacks
// the QueryInterface export; with KELSAFE_DOUBLE_NO_SIGNER it hands out the
// error-code object but refuses the signing proxy.
#include <windows.h>

#include <cstring>
#include <string>

#include "KelsafeDouble.h"
#include "net/KelsafeInterfaces.h"

namespace {

using namespace Ostrel::Kelsafe;

std::atomic<int> gLiveObjects{0};
// The proxy and the error-code object are separate objects, as two loads of
// the DLL hand them out; they share the last error of the calling thread.
thread_local int tLastError = 0;

class UrlSignProxy final : public KelsafeDouble::Counted<IUrlSignProxy> {
 public:
  UrlSignProxy() : Counted(&gLiveObjects) {}

  int UrlSign(const wchar_t* appKey, const wchar_t* text, wchar_t* signature,
              unsigned capacity) override {
    if (appKey[0] == L'\0') return Fail(KelsafeDouble::kNoAppKeyCode);
    const std::wstring key(appKey);
    if (key == std::wstring(std::begin(KelsafeDouble::kUnterminatedAppKey),
                            std::end(KelsafeDouble::kUnterminatedAppKey) - 1)) {
      for (unsigned i = 0; i < capacity; ++i) signature[i] = L'x';
      return kOk;
    }
    const std::wstring result = L"sig(" + key + L"," + text + L")";
    if (result.size() >= capacity) return Fail(KelsafeDouble::kTooLongCode);
    std::memcpy(signature, result.c_str(), (result.size() + 1) * sizeof(wchar_t));
    return kOk;
  }

 private:
  static int Fail(int code) {
    tLastError = code;
    return -1;
  }
};

class ErrorCode final : public KelsafeDouble::Counted<IErrorCode> {
 public:
  ErrorCode() : Counted(&gLiveObjects) {}
  int GetLastErrorCode() override { return tLastError; }
};

}  // namespace

#ifndef KELSAFE_DOUBLE_NO_QUERY
extern "C" __declspec(dllexport) int QueryInterface(const char* interfaceId, void** object) {
  *object = nullptr;
  if (std::strcmp(interfaceId, kErrorCodeId) == 0) {
    *object = static_cast<IErrorCode*>(new ErrorCode());
  }
#ifndef KELSAFE_DOUBLE_NO_SIGNER
  if (std::strcmp(interfaceId, kUrlSignProxyId) == 0) {
    *object = static_cast<IUrlSignProxy*>(new UrlSignProxy());
  }
#endif
  return *object != nullptr ? kOk : -1;
}
#endif

extern "C" __declspec(dllexport) int KelsafeLiveObjects() { return gLiveObjects.load(); }
