// KelsafePath64.dll for local development on Windows: tells the SDK that the
// security SDK is the folder of this DLL, so that the development
// KelsafeProxy.dll beside it signs. For a developer's machine only; see
// DevSignature.h.
#include <windows.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <new>

#include "net/KelsafeInterfaces.h"

namespace {

using Ostrel::Kelsafe::ISdkDirectoryPath;
using Ostrel::Kelsafe::kOk;

// Error codes returned to the SDK, which logs them.
constexpr int kBadArgument = 1;
constexpr int kUnknownInterface = 2;
constexpr int kNoFolder = 3;
constexpr int kBufferTooSmall = 4;
constexpr int kInternal = 5;

HMODULE gModule = nullptr;

class SdkDirectoryPath final : public ISdkDirectoryPath {
 public:
  int AddRef() override { return ++references_; }
  int Release() override {
    const int left = --references_;
    if (left == 0) delete this;
    return left;
  }

  int GetSDKDirectoryPath(wchar_t* directory, unsigned capacity) override {
    if (directory == nullptr || capacity == 0) return kBadArgument;
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(gModule, path, MAX_PATH);
    // A full buffer means a cut path, which would name some other folder.
    if (length == 0 || length >= MAX_PATH) return kNoFolder;
    const wchar_t* separator = std::wcsrchr(path, L'\\');
    if (separator == nullptr) return kNoFolder;
    const size_t folderLength = static_cast<size_t>(separator - path);
    if (folderLength + 1 > capacity) return kBufferTooSmall;
    std::wmemcpy(directory, path, folderLength);
    directory[folderLength] = L'\0';
    return kOk;
  }

 private:
  ~SdkDirectoryPath() = default;

  std::atomic<int> references_{1};
};

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) gModule = module;
  return TRUE;
}

// Nothing may unwind into the SDK, which calls through a C pointer.
extern "C" __declspec(dllexport) int QueryInterface(const char* interfaceId, void** object) {
  if (interfaceId == nullptr || object == nullptr) return kBadArgument;
  *object = nullptr;
  if (std::strcmp(interfaceId, Ostrel::Kelsafe::kSdkDirectoryPathId) != 0) {
    return kUnknownInterface;
  }
  ISdkDirectoryPath* path = new (std::nothrow) SdkDirectoryPath();
  if (path == nullptr) return kInternal;
  *object = path;
  return kOk;
}
