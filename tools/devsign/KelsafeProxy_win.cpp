// KelsafeProxy.dll for local development on Windows: the signing object the
// SDK asks for, signing with the development signature that ostrel-server
// accepts. For a developer's machine only; see DevSignature.h.
#include <windows.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <exception>
#include <new>
#include <string>

#include "DevSignature.h"
#include "net/KelsafeInterfaces.h"

namespace {

using Ostrel::Kelsafe::IErrorCode;
using Ostrel::Kelsafe::IUrlSignProxy;
using Ostrel::Kelsafe::kOk;

// Error codes returned to the SDK, which logs the last one and sends nothing.
constexpr int kBadArgument = 1;
constexpr int kNoDigest = 2;
constexpr int kBufferTooSmall = 3;
constexpr int kInternal = 4;
constexpr int kUnknownInterface = 5;
constexpr int kBadText = 6;

// The signing object and the error-code object are separate objects, each
// handed out by its own load of the DLL; they share the last error of the
// calling thread.
thread_local int tLastError = 0;

// An exact UTF-8 copy of a NUL-terminated UTF-16 text; false for a text
// that is not valid UTF-16, which would otherwise sign a replacement
// character the server never saw.
bool ToUtf8(const wchar_t* text, std::string* utf8) {
  utf8->clear();
  const int size = static_cast<int>(std::wcslen(text));
  if (size == 0) return true;
  const int length =
      WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, size, nullptr, 0, nullptr, nullptr);
  if (length <= 0) return false;
  utf8->resize(static_cast<size_t>(length));
  return WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, size, &(*utf8)[0], length,
                             nullptr, nullptr) == length;
}

// Reference counting shared by both objects; the last Release deletes.
template <typename Interface>
class Counted : public Interface {
 public:
  int AddRef() override { return ++references_; }
  int Release() override {
    const int left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Counted() = default;

 private:
  std::atomic<int> references_{1};
};

class UrlSignProxy final : public Counted<IUrlSignProxy> {
 public:
  int UrlSign(const wchar_t* appKey, const wchar_t* text, wchar_t* signature,
              unsigned capacity) override {
    if (appKey == nullptr || text == nullptr || signature == nullptr) return Fail(kBadArgument);
    try {
      std::string key;
      std::string message;
      if (!ToUtf8(appKey, &key) || !ToUtf8(text, &message)) return Fail(kBadText);
      const std::string hex = OstrelDev::DevSign(key, message);
      if (hex.empty()) return Fail(kNoDigest);
      if (hex.size() + 1 > capacity) return Fail(kBufferTooSmall);
      for (size_t i = 0; i < hex.size(); ++i) signature[i] = static_cast<wchar_t>(hex[i]);
      signature[hex.size()] = L'\0';
      return kOk;
    } catch (const std::exception&) {
      // Nothing may unwind into the SDK, which calls through a vtable.
      return Fail(kInternal);
    }
  }

 private:
  static int Fail(int code) {
    tLastError = code;
    return code;
  }
};

class ErrorCode final : public Counted<IErrorCode> {
 public:
  int GetLastErrorCode() override { return tLastError; }
};

}  // namespace

extern "C" __declspec(dllexport) int QueryInterface(const char* interfaceId, void** object) {
  if (interfaceId == nullptr || object == nullptr) return kBadArgument;
  *object = nullptr;
  if (std::strcmp(interfaceId, Ostrel::Kelsafe::kUrlSignProxyId) == 0) {
    *object = static_cast<IUrlSignProxy*>(new (std::nothrow) UrlSignProxy());
  } else if (std::strcmp(interfaceId, Ostrel::Kelsafe::kErrorCodeId) == 0) {
    *object = static_cast<IErrorCode*>(new (std::nothrow) ErrorCode());
  } else {
    return kUnknownInterface;
  }
  return *object != nullptr ? kOk : kInternal;
}
