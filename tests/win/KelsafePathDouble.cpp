// Stand-in for KelsafePath64.dll. Built with KELSAFE_DOUBLE_NO_DIRECTORY it
// hands out the path service, which then fails to name a directory.
#include <windows.h>

#include <cstring>
#include <cwchar>

#include "KelsafeDouble.h"
#include "net/KelsafeInterfaces.h"

namespace {

using namespace Ostrel::Kelsafe;

std::atomic<int> gLiveObjects{0};
HMODULE gModule = nullptr;

class SdkDirectoryPath final : public KelsafeDouble::Counted<ISdkDirectoryPath> {
 public:
  SdkDirectoryPath() : Counted(&gLiveObjects) {}

  int GetSDKDirectoryPath(wchar_t* directory, unsigned capacity) override {
#ifdef KELSAFE_DOUBLE_NO_DIRECTORY
    (void)directory;
    (void)capacity;
    return KelsafeDouble::kNoDirectoryCode;
#else
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(gModule, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return -1;
    wchar_t* slash = std::wcsrchr(path, L'\\');
    if (slash == nullptr) return -1;
    slash[1] = L'\0';
    if (std::wcslen(path) + std::wcslen(KelsafeDouble::kSdkFolder) >= capacity) return -1;
    std::wcscpy(directory, path);
    std::wcscat(directory, KelsafeDouble::kSdkFolder);
    return kOk;
#endif
  }
};

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) gModule = module;
  return TRUE;
}

extern "C" __declspec(dllexport) int QueryInterface(const char* interfaceId, void** object) {
  *object = nullptr;
  if (std::strcmp(interfaceId, kSdkDirectoryPathId) != 0) return -1;
  *object = static_cast<ISdkDirectoryPath*>(new SdkDirectoryPath());
  return kOk;
}

extern "C" __declspec(dllexport) int KelsafeLiveObjects() { return gLiveObjects.load(); }
