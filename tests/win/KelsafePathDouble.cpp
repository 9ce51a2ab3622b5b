// Stand-in for KelsafePath64.dll. Built with KELSAFE_DOUBLE_NO_DIRECTORY it
// hands out the path service, which then fails to name a directory.
#include <windows.h>

#include <cstring>
#include <cwchar>
#include <string>

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
    std::wstring result(path, length);
    result.erase(result.rfind(L'\\') + 1);
    result += KelsafeDouble::kSdkFolder;
    if (result.size() >= capacity) return -1;
    std::wmemcpy(directory, result.c_str(), result.size() + 1);
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
