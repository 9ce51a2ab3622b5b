// The development signing library reached as the SDK reaches it:
// libKelsafeProxy.so's KelsafeUrlSign, or on Windows KelsafeProxy.dll's
// proxy in the folder KelsafePath64.dll names. Its signature must equal
// ostrel-server's byte for byte: HMAC-SHA256 under the development key of
// appKey "&" text in UTF-8, the expected values computed with openssl dgst.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include "SignerFolder.h"
#include "net/KelsafeInterfaces.h"
#else
#include <dlfcn.h>
#endif

namespace {

#ifdef _WIN32
using namespace Ostrel::Kelsafe;

std::wstring Wide(const char* utf8) {
  if (utf8 == nullptr) return std::wstring();
  std::wstring wide(MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8, -1, &wide[0], static_cast<int>(wide.size()));
  wide.pop_back();
  return wide;
}

// The folder devsign\ beside this test, where the build puts the DLLs.
std::wstring DevSignFolder() {
  wchar_t path[MAX_PATH] = {};
  const std::wstring self(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
  return self.substr(0, self.rfind(L'\\')) + L"\\devsign";
}

// An object of a loaded DLL, released before the DLL goes.
template <typename T>
class Loaded {
 public:
  Loaded(const std::wstring& path, const char* interfaceId) : module_(LoadLibraryW(path.c_str())) {
    auto query = reinterpret_cast<QueryInterfaceFunction>(reinterpret_cast<void (*)()>(
        module_ != nullptr ? GetProcAddress(module_, kQueryInterfaceSymbol) : nullptr));
    void* object = nullptr;
    if (query != nullptr) result = query(interfaceId, &object);
    object_ = static_cast<T*>(object);
  }
  ~Loaded() {
    if (object_ != nullptr) object_->Release();
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;
  T* operator->() const { return object_; }
  T* get() const { return object_; }
  int result = -1;

 private:
  HMODULE module_;
  T* object_ = nullptr;
};

// The SDK's way in: the path DLL names the proxy's folder.
class DevSigner {
 public:
  DevSigner() : path_(DevSignFolder() + L"\\" + kPathLibraryName, kSdkDirectoryPathId) {
    wchar_t folder[MAX_PATH] = {};
    if (path_.get() != nullptr && path_->GetSDKDirectoryPath(folder, MAX_PATH) == kOk) {
      signer_.reset(new Loaded<IUrlSignProxy>(std::wstring(folder) + L"\\" + kProxyLibraryName,
                                              kUrlSignProxyId));
      errors_.reset(
          new Loaded<IErrorCode>(std::wstring(folder) + L"\\" + kProxyLibraryName, kErrorCodeId));
    }
  }
  bool loaded() const { return signer_ && signer_->get() != nullptr && errors_->get() != nullptr; }
  // The result, and the code the proxy leaves for this thread must match it.
  int Sign(const char* appKey, const char* text, unsigned capacity, std::string* signature) {
    const std::wstring key = Wide(appKey);
    const std::wstring message = Wide(text);
    std::vector<wchar_t> out(capacity + 1, L'\0');
    const int result =
        (*signer_)->UrlSign(appKey != nullptr ? key.c_str() : nullptr,
                            text != nullptr ? message.c_str() : nullptr, out.data(), capacity);
    if (result != kOk) {
      EXPECT_EQ((*errors_)->GetLastErrorCode(), result);
    }
    for (const wchar_t* c = out.data(); *c != L'\0'; ++c) *signature += static_cast<char>(*c);
    return result;
  }

 private:
  Loaded<ISdkDirectoryPath> path_;
  std::unique_ptr<Loaded<IUrlSignProxy>> signer_;
  std::unique_ptr<Loaded<IErrorCode>> errors_;
};
#else
class DevSigner {
 public:
  DevSigner() : library_(dlopen(OSTREL_DEV_SIGN_DIR "/libKelsafeProxy.so", RTLD_NOW | RTLD_LOCAL)) {
    if (library_ != nullptr)
      sign_ = reinterpret_cast<SignFunction>(dlsym(library_, "KelsafeUrlSign"));
  }
  ~DevSigner() {
    if (library_ != nullptr) dlclose(library_);
  }
  DevSigner(const DevSigner&) = delete;
  DevSigner& operator=(const DevSigner&) = delete;
  bool loaded() const { return sign_ != nullptr; }
  int Sign(const char* appKey, const char* text, unsigned capacity, std::string* signature) {
    std::vector<char> out(capacity + 1, '\0');
    const int result = sign_(appKey, text, out.data(), capacity);
    *signature = out.data();
    return result;
  }

 private:
  using SignFunction = int (*)(const char*, const char*, char*, unsigned);
  void* library_;
  SignFunction sign_ = nullptr;
};
#endif

TEST(DevSigner, SignsAsTheServerChecksAndRefusesWhatItCannotSign) {
  DevSigner signer;
  ASSERT_TRUE(signer.loaded());
  const std::string longText(1000, 'x');
  const struct {
    const char *appKey, *text;
    unsigned capacity;
    int result;
    std::string signature;
  } cases[] = {
      {"a", "b", 65, 0, "e52a4c56247d4fee4a93e7fc2fd76f251d765db33c5171fcc3483b5a9dca7536"},
      {"demo-app", "/checkUpdate&demo-app&2.4.1&demo-device-42&1700000000", 65, 0,
       "be12d9a0bfcbf55fd1db35526a3133299711f41539fa62b7735a78a93149e4c9"},
      {"app-\xc3\xbc", "text-\xe2\x82\xac", 65, 0,
       "47c079a4f949e721c9bf3585ffbf00fa687510df1edd3cea5f2fa639c00c4b60"},
      {"k", longText.c_str(), 65, 0,
       "178ce6f147084922b6ad250341dae6a2880808da1b033f7a0b0d09b4c28542b8"},
      {"app", "text", 64, 3, ""},  // one short of the 64 digits and their NUL
      {nullptr, "text", 65, 1, ""},
      {"app", nullptr, 65, 1, ""},
  };
  for (const auto& c : cases) {
    std::string signature;
    EXPECT_EQ(signer.Sign(c.appKey, c.text, c.capacity, &signature), c.result) << c.capacity;
    EXPECT_EQ(signature, c.signature);
  }
}

#ifdef _WIN32
TEST(DevSigner, TheDllsRefuseQueriesTheyCannotAnswer) {
  const std::wstring folder = DevSignFolder();
  // Exactly the folder and its NUL fit; one character less does not.
  Loaded<ISdkDirectoryPath> path(folder + L"\\" + kPathLibraryName, kSdkDirectoryPathId);
  ASSERT_NE(path.get(), nullptr);
  std::vector<wchar_t> exact(folder.size() + 1, L'x');
  EXPECT_EQ(path->GetSDKDirectoryPath(exact.data(), static_cast<unsigned>(exact.size())), kOk);
  EXPECT_EQ(std::wstring(exact.data()), folder);
  EXPECT_NE(path->GetSDKDirectoryPath(exact.data(), static_cast<unsigned>(exact.size()) - 1), kOk);
  EXPECT_EQ(Loaded<IUrlSignProxy>(folder + L"\\" + kPathLibraryName, kUrlSignProxyId).get(),
            nullptr);
  EXPECT_EQ(
      Loaded<ISdkDirectoryPath>(folder + L"\\" + kProxyLibraryName, kSdkDirectoryPathId).get(),
      nullptr);
  // A C caller may pass no name or no place for the object.
  for (const wchar_t* name : {kPathLibraryName, kProxyLibraryName}) {
    HMODULE module = LoadLibraryW((folder + L"\\" + name).c_str());
    auto query = reinterpret_cast<QueryInterfaceFunction>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, kQueryInterfaceSymbol)));
    ASSERT_NE(query, nullptr);
    void* object = &object;
    EXPECT_EQ(query(nullptr, &object), 1);
    EXPECT_EQ(object, &object) << "nothing written through a refused query";
    EXPECT_EQ(query(kErrorCodeId, nullptr), 1);
    FreeLibrary(module);
  }
  // The CLI finds them where this test does, beside the program.
  EXPECT_EQ(OstrelCli::DefaultSignerFolder(), std::string(folder.begin(), folder.end()));
  // Text that is no UTF-16 cannot be signed.
  Loaded<IUrlSignProxy> signer(folder + L"\\" + kProxyLibraryName, kUrlSignProxyId);
  const wchar_t loneSurrogate[] = {0xD800, L'x', 0};
  wchar_t signature[65];
  EXPECT_EQ(signer->UrlSign(L"app", loneSurrogate, signature, 65), 6);
}
#endif

}  // namespace
