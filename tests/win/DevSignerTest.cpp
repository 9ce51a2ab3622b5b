// The development security DLLs for Windows, reached as the SDK reaches
// them: KelsafePath64.dll names the folder of KelsafeProxy.dll, whose
// signature must equal ostrel-server's development signature byte for byte.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/KelsafeInterfaces.h"

namespace OstrelTest {
namespace {

using namespace Ostrel::Kelsafe;

// The folder devsign\ beside this test, where the build puts the DLLs.
std::wstring DevSignFolder() {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring folder(path, length);
  return folder.substr(0, folder.rfind(L'\\')) + L"\\devsign";
}

// One loaded DLL and an object of it, released before the DLL goes.
template <typename T>
class Loaded {
 public:
  Loaded(const std::wstring& path, const char* interfaceId)
      : module_(LoadLibraryW(path.c_str())) {
    if (module_ == nullptr) return;
    auto query = reinterpret_cast<QueryInterfaceFunction>(
        reinterpret_cast<void (*)()>(GetProcAddress(module_, kQueryInterfaceSymbol)));
    if (query == nullptr) return;
    void* object = nullptr;
    queryResult_ = query(interfaceId, &object);
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
  int queryResult() const { return queryResult_; }

 private:
  HMODULE module_;
  T* object_ = nullptr;
  int queryResult_ = -1;
};

// Both DLLs refuse a query without a name or a place for the object, as a
// C caller may pass either.
TEST(DevSigner, QueriesWithoutANameOrAnOutputAreRefused) {
  for (const wchar_t* name : {kPathLibraryName, kProxyLibraryName}) {
    HMODULE module = LoadLibraryW((DevSignFolder() + L"\\" + name).c_str());
    ASSERT_NE(module, nullptr);
    auto query = reinterpret_cast<QueryInterfaceFunction>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, kQueryInterfaceSymbol)));
    ASSERT_NE(query, nullptr);
    void* object = &object;
    EXPECT_EQ(query(nullptr, &object), 1);
    EXPECT_EQ(object, &object) << "nothing written through a refused query";
    EXPECT_EQ(query(kErrorCodeId, nullptr), 1);
    EXPECT_EQ(query(kSdkDirectoryPathId, nullptr), 1);
    FreeLibrary(module);
  }
}

TEST(DevSigner, PathLibraryNamesItsOwnFolder) {
  const std::wstring folder = DevSignFolder();
  Loaded<ISdkDirectoryPath> path(folder + L"\\" + kPathLibraryName, kSdkDirectoryPathId);
  ASSERT_NE(path.get(), nullptr);
  wchar_t directory[MAX_PATH] = {};
  ASSERT_EQ(path->GetSDKDirectoryPath(directory, MAX_PATH), kOk);
  EXPECT_EQ(std::wstring(directory), folder);
  // Exactly the folder and its NUL fit; one character less does not.
  const unsigned fits = static_cast<unsigned>(folder.size() + 1);
  std::vector<wchar_t> exact(fits, L'x');
  EXPECT_EQ(path->GetSDKDirectoryPath(exact.data(), fits), kOk);
  EXPECT_EQ(std::wstring(exact.data()), folder);
  EXPECT_NE(path->GetSDKDirectoryPath(exact.data(), fits - 1), kOk);

  Loaded<ISdkDirectoryPath> other(folder + L"\\" + kPathLibraryName, kUrlSignProxyId);
  EXPECT_NE(other.queryResult(), kOk);
  EXPECT_EQ(other.get(), nullptr);
}

TEST(DevSigner, SignsAsTheServerChecks) {
  const std::wstring proxyPath = DevSignFolder() + L"\\" + kProxyLibraryName;
  Loaded<IUrlSignProxy> signer(proxyPath, kUrlSignProxyId);
  Loaded<IErrorCode> errors(proxyPath, kErrorCodeId);
  ASSERT_NE(signer.get(), nullptr);
  ASSERT_NE(errors.get(), nullptr);
  // HMAC-SHA256 under the development key of appKey "&" text in UTF-8,
  // computed with openssl dgst.
  const struct {
    std::wstring appKey;
    std::wstring text;
    std::string signature;
  } cases[] = {
      {L"a", L"b", "e52a4c56247d4fee4a93e7fc2fd76f251d765db33c5171fcc3483b5a9dca7536"},
      {L"demo-app", L"/checkUpdate&demo-app&2.4.1&demo-device-42&1700000000",
       "be12d9a0bfcbf55fd1db35526a3133299711f41539fa62b7735a78a93149e4c9"},
      {L"app-\u00fc", L"text-\u20ac",
       "47c079a4f949e721c9bf3585ffbf00fa687510df1edd3cea5f2fa639c00c4b60"},
      {L"k", std::wstring(1000, L'x'),
       "178ce6f147084922b6ad250341dae6a2880808da1b033f7a0b0d09b4c28542b8"},
  };
  for (const auto& c : cases) {
    wchar_t signature[65];
    ASSERT_EQ(signer->UrlSign(c.appKey.c_str(), c.text.c_str(), signature, 65), kOk);
    EXPECT_EQ(std::wstring(signature), std::wstring(c.signature.begin(), c.signature.end()));
  }
}

TEST(DevSigner, RefusalsLeaveTheirCodeForTheCallingThread) {
  const std::wstring proxyPath = DevSignFolder() + L"\\" + kProxyLibraryName;
  Loaded<IUrlSignProxy> signer(proxyPath, kUrlSignProxyId);
  Loaded<IErrorCode> errors(proxyPath, kErrorCodeId);
  ASSERT_NE(signer.get(), nullptr);
  ASSERT_NE(errors.get(), nullptr);
  const wchar_t loneSurrogate[] = {0xD800, L'x', 0};
  const struct {
    const wchar_t* appKey;
    const wchar_t* text;
    unsigned capacity;
    int code;
  } cases[] = {
      {L"app", L"text", 64, 3},  // one short of the 64 digits and their NUL
      {nullptr, L"text", 65, 1},
      {L"app", nullptr, 65, 1},
      {L"app", loneSurrogate, 65, 6},
  };
  for (const auto& c : cases) {
    wchar_t signature[65];
    EXPECT_EQ(signer->UrlSign(c.appKey, c.text, signature, c.capacity), c.code);
    EXPECT_EQ(errors->GetLastErrorCode(), c.code);
  }
  Loaded<IUrlSignProxy> unknown(proxyPath, kSdkDirectoryPathId);
  EXPECT_NE(unknown.queryResult(), kOk);
  EXPECT_EQ(unknown.get(), nullptr);
}

}  // namespace
}  // namespace OstrelTest
