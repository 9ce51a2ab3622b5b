#include "net/WinUrlSign.h"

// clang-format off
#include <windows.h>
#include <shlwapi.h>
// clang-format on

#include <cwchar>
#include <type_traits>
#include <vector>

#include "host/LogManager.h"
#include "net/KelsafeInterfaces.h"
#include "net/OstrelSign.h"

namespace Ostrel {
namespace {

using Kelsafe::IErrorCode;
using Kelsafe::IKelsafeUnknown;
using Kelsafe::ISdkDirectoryPath;
using Kelsafe::IUrlSignProxy;

constexpr LogTag kTag("WinUrlSign");

struct ModuleFree {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFree>;

struct InterfaceRelease {
  void operator()(IKelsafeUnknown* object) const { object->Release(); }
};
// One reference to an object of the security library. It must be released
// while the DLL that made it is still loaded: declare it after its Module.
template <typename T>
using InterfaceRef = std::unique_ptr<T, InterfaceRelease>;

std::wstring ExecutableDirectory() {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  // A full buffer means a cut path, which would name some other folder.
  if (length == 0 || length >= MAX_PATH) return std::wstring();
  PathRemoveFileSpecW(path);
  return path;
}

// folder\name, or empty when it does not fit in MAX_PATH (the limit of the
// path functions). An empty folder gives an empty path rather than a bare
// name, which LoadLibraryW would look up along the whole DLL search path.
std::wstring JoinPath(const std::wstring& folder, const wchar_t* name) {
  if (folder.empty() || folder.size() >= MAX_PATH) return std::wstring();
  wchar_t path[MAX_PATH] = {};
  std::wmemcpy(path, folder.data(), folder.size());
  if (!PathAppendW(path, name)) return std::wstring();
  return path;
}

Module LoadModule(const std::wstring& path) {
  if (path.empty()) return nullptr;
  return Module(LoadLibraryW(path.c_str()));
}

// The object that the module's QueryInterface hands out under interfaceId,
// or null when the module, the export or the object is missing.
template <typename T>
InterfaceRef<T> QueryFrom(HMODULE module, const char* interfaceId) {
  if (module == nullptr) return nullptr;
  FARPROC address = GetProcAddress(module, Kelsafe::kQueryInterfaceSymbol);
  if (address == nullptr) return nullptr;
  // Through void(*)() because GCC warns about casts between unrelated
  // function types but not from that one.
  auto query =
      reinterpret_cast<Kelsafe::QueryInterfaceFunction>(reinterpret_cast<void (*)()>(address));
  void* object = nullptr;
  if (query(interfaceId, &object) != Kelsafe::kOk || object == nullptr) return nullptr;
  return InterfaceRef<T>(static_cast<T*>(object));
}

// Where the security SDK is installed, as told by KelsafePath64.dll in
// folder; empty when that cannot be learnt.
std::wstring SdkDirectory(const std::wstring& folder) {
  Module module = LoadModule(JoinPath(folder, Kelsafe::kPathLibraryName));
  if (module == nullptr) {
    LogError("Start", kTag, "Load KelsafePath.dll error\n");
    return std::wstring();
  }
  InterfaceRef<ISdkDirectoryPath> service =
      QueryFrom<ISdkDirectoryPath>(module.get(), Kelsafe::kSdkDirectoryPathId);
  wchar_t directory[MAX_PATH] = {};
  if (service == nullptr || service->GetSDKDirectoryPath(directory, MAX_PATH) != Kelsafe::kOk) {
    directory[0] = L'\0';
  }
  directory[MAX_PATH - 1] = L'\0';
  if (directory[0] == L'\0') {
    LogError("Start", kTag, "GetSDKDirectoryPath error,please make sure the SDK is installed\n");
  }
  return directory;
}

// UTF-8 to UTF-16. Invalid bytes become U+FFFD, as the system converter does.
std::wstring ToWide(const std::string& text) {
  if (text.empty()) return std::wstring();
  const int size = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, &wide[0], length);
  return wide;
}

std::string ToUtf8(const wchar_t* text, size_t size) {
  if (size == 0) return std::string();
  const int wideSize = static_cast<int>(size);
  const int length = WideCharToMultiByte(CP_UTF8, 0, text, wideSize, nullptr, 0, nullptr, nullptr);
  if (length <= 0) return std::string();
  std::string narrow(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, wideSize, &narrow[0], length, nullptr, nullptr);
  return narrow;
}

}  // namespace

// The proxy DLL, loaded twice (once per interface, each load holding its
// DLL for its own object), and the two interfaces it handed out.
class WinUrlSign::Proxy {
 public:
  Proxy(Module errorModule, InterfaceRef<IErrorCode> errorCode, Module proxyModule,
        InterfaceRef<IUrlSignProxy> urlSignProxy)
      : errorModule_(std::move(errorModule)),
        proxyModule_(std::move(proxyModule)),
        errorCode_(std::move(errorCode)),
        urlSignProxy_(std::move(urlSignProxy)) {}

  // Locates and loads the DLLs under the current settings; null on failure,
  // which is logged.
  static std::shared_ptr<const Proxy> Load(const std::wstring& signLibraryFolder);

  IErrorCode* errorCode() const { return errorCode_.get(); }
  IUrlSignProxy* urlSignProxy() const { return urlSignProxy_.get(); }

 private:
  // The modules come first so that they are freed after the interfaces.
  Module errorModule_;
  Module proxyModule_;
  InterfaceRef<IErrorCode> errorCode_;
  InterfaceRef<IUrlSignProxy> urlSignProxy_;
};

std::shared_ptr<const WinUrlSign::Proxy> WinUrlSign::Proxy::Load(
    const std::wstring& signLibraryFolder) {
  const std::wstring folder = signLibraryFolder.empty() ? ExecutableDirectory() : signLibraryFolder;
  const std::wstring sdkDirectory = SdkDirectory(folder);
  const std::wstring path =
      JoinPath(sdkDirectory.empty() ? folder : sdkDirectory, Kelsafe::kProxyLibraryName);

  Module errorModule = LoadModule(path);
  InterfaceRef<IErrorCode> errorCode =
      QueryFrom<IErrorCode>(errorModule.get(), Kelsafe::kErrorCodeId);
  if (errorCode == nullptr) {
    LogError("Start", kTag, "Get IErrorCode error\n");
    return nullptr;
  }
  Module proxyModule = LoadModule(path);
  InterfaceRef<IUrlSignProxy> urlSignProxy =
      QueryFrom<IUrlSignProxy>(proxyModule.get(), Kelsafe::kUrlSignProxyId);
  if (urlSignProxy == nullptr) {
    LogError("Start", kTag, "Get IUrlSignProxy error\n");
    return nullptr;
  }
  return std::make_shared<const Proxy>(std::move(errorModule), std::move(errorCode),
                                       std::move(proxyModule), std::move(urlSignProxy));
}

std::unique_ptr<IOstrelSign> CreatePlatformSign() { return std::make_unique<WinUrlSign>(); }

WinUrlSign::WinUrlSign() = default;

WinUrlSign::~WinUrlSign() = default;

void WinUrlSign::SetLibraryFolder(const std::wstring& signLibraryFolder) {
  MutexLock loadLock(&loadMutex_);
  folder_ = signLibraryFolder;
}

bool WinUrlSign::Init() {
  // One load at a time; a Sign that meets a load in progress waits for it
  // rather than answering with an empty signature.
  MutexLock loadLock(&loadMutex_);
  return Start();
}

bool WinUrlSign::Start() {
  {
    MutexLock lock(&mutex_);
    started_ = true;
    if (proxy_ != nullptr) return true;
  }
  // Loading runs the DLLs' initialisers, so it happens outside mutex_.
  std::shared_ptr<const Proxy> proxy = Proxy::Load(folder_);
  if (proxy == nullptr) return false;
  MutexLock lock(&mutex_);
  proxy_ = std::move(proxy);
  return true;
}

void WinUrlSign::Release() {
  std::shared_ptr<const Proxy> released;
  MutexLock lock(&mutex_);
  // Moved out so that the interfaces are released and the DLLs unloaded (if
  // this was the last holder) after the lock is gone.
  released = std::move(proxy_);
}

std::string WinUrlSign::Sign(const std::string& appKey, const std::string& text) {
  bool started;
  {
    MutexLock lock(&mutex_);
    started = started_;
  }
  if (!started) {
    MutexLock loadLock(&loadMutex_);
    Start();
  }
  std::shared_ptr<const Proxy> proxy;
  {
    MutexLock loadLock(&loadMutex_);  // lock order: loadMutex_, then mutex_
    MutexLock lock(&mutex_);
    proxy = proxy_;
  }
  if (proxy == nullptr) return std::string();

  if (appKey.size() > kMaxInputLength || text.size() > kMaxInputLength) {
    LogError("Sign", kTag,
             "Sign refused: appKey or text longer than " + std::to_string(kMaxInputLength));
    return std::string();
  }
  try {
    const std::wstring wideAppKey = ToWide(appKey);
    const std::wstring wideText = ToWide(text);
    std::vector<wchar_t> signature(kSignatureCapacity, L'\0');
    const int result = proxy->urlSignProxy()->UrlSign(wideAppKey.c_str(), wideText.c_str(),
                                                      signature.data(), kSignatureCapacity);
    if (result != Kelsafe::kOk) {
      const int code = proxy->errorCode()->GetLastErrorCode();
      LogError("UrlSign", kTag, "UrlSign error result:" + std::to_string(code));
      return std::string();
    }
    // The library may fill the whole buffer without a terminator.
    signature.back() = L'\0';
    return ToUtf8(signature.data(), wcslen(signature.data()));
  } catch (...) {
    LogError("Sign", kTag, "Sign failed with an exception");
    return std::string();
  }
}

}  // namespace Ostrel
