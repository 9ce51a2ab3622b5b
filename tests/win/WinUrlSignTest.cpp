// WinUrlSign against stand-ins of the security DLLs (KelsafeDouble.h), which
// the build lays out in folders under kelsafe\ beside this executable.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "KelsafeDouble.h"
#include "ScopedLogCapture.h"
#include "host/Settings.h"
#include "net/OstrelSign.h"
#include "net/WinUrlSign.h"

namespace OstrelTest {
namespace {

using Ostrel::WinUrlSign;

const char kLoadPathError[] = "Start|Load KelsafePath.dll error\n";

std::wstring ExecutableDirectory() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring full(path);
  return full.substr(0, full.rfind(L'\\'));
}

std::wstring Folder(const std::wstring& layout) {
  return ExecutableDirectory() + L"\\kelsafe\\" + layout;
}

bool IsLoaded(const std::wstring& path) { return GetModuleHandleW(path.c_str()) != nullptr; }

// An extra load of a stand-in, so that its count of live objects can still
// be read after the signer has let go of it.
class Pinned {
 public:
  explicit Pinned(const std::wstring& path) : module_(LoadLibraryW(path.c_str())) {}
  ~Pinned() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

  int LiveObjects() const {
    if (module_ == nullptr) return -1;
    auto count = reinterpret_cast<int (*)()>(
        reinterpret_cast<void (*)()>(GetProcAddress(module_, KelsafeDouble::kLiveObjectsSymbol)));
    return count == nullptr ? -1 : count();
  }

 private:
  HMODULE module_;
};

class WinUrlSignTest : public LoggerFixture {
 protected:
  // The folder the next signers look in; empty: beside the executable.
  void UseFolder(const std::wstring& configured) { folder = configured; }

  // "method|text" of each error line of the signer, in order.
  std::vector<std::string> ErrorLines() const {
    std::vector<std::string> lines;
    for (const LogLine& line : logger.Lines()) {
      if (line.level == Ostrel::kLogError && line.tag == "WinUrlSign") {
        lines.push_back(line.method + "|" + line.text);
      }
    }
    return lines;
  }

  std::wstring folder;
};

TEST_F(WinUrlSignTest, InitFindsTheProxyOrSaysWhyNot) {
  const struct {
    const wchar_t* layout;
    bool started;
    std::vector<std::string> lines;
  } cases[] = {
      {L"installed", true, {}},
      {L"beside", true, {kLoadPathError}},
      {L"unknown-directory", true,
       {"Start|GetSDKDirectoryPath error,please make sure the SDK is installed\n"}},
      {L"absent", false, {kLoadPathError, "Start|Get IErrorCode error\n"}},
      {L"no-query", false, {kLoadPathError, "Start|Get IErrorCode error\n"}},
      {L"no-signer", false, {kLoadPathError, "Start|Get IUrlSignProxy error\n"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(c.layout)));
    UseFolder(Folder(c.layout));
    logger.Clear();
    WinUrlSign signer;
    signer.SetLibraryFolder(folder);
    EXPECT_EQ(c.started, signer.Init());
    EXPECT_EQ(c.lines, ErrorLines());
    EXPECT_EQ(c.started ? "sig(k,t)" : "", signer.Sign("k", "t"));
    // The path DLL is only asked once and never kept.
    EXPECT_FALSE(IsLoaded(Folder(c.layout) + L"\\KelsafePath64.dll"));
  }
}

TEST_F(WinUrlSignTest, WithoutAConfiguredFolderLooksBesideTheExecutable) {
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  EXPECT_TRUE(signer.Init());
  EXPECT_EQ(std::vector<std::string>{kLoadPathError}, ErrorLines());
  EXPECT_EQ("sig(k,t)", signer.Sign("k", "t"));
}

TEST_F(WinUrlSignTest, SignaturesTravelAsWideStringsBothWays) {
  UseFolder(Folder(L"installed"));
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  const struct {
    std::string appKey;
    std::string text;
  } cases[] = {
      {"app-key", "/checkUpdate&app-key&1.0.0&device 1&1700000000"},
      {"cl\xC3\xA9", "/p&\xE4\xB8\xAD\xE6\x96\x87&\xF0\x9F\x94\x91"},  // é, 中文, U+1F511
  };
  for (const auto& c : cases) {
    EXPECT_EQ("sig(" + c.appKey + "," + c.text + ")", signer.Sign(c.appKey, c.text));
  }
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(WinUrlSignTest, FailedSignaturesAreEmptyAndLogged) {
  UseFolder(Folder(L"installed"));
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  ASSERT_TRUE(signer.Init());
  const std::string tooLong(WinUrlSign::kMaxInputLength + 1, 'a');
  const struct {
    std::string appKey;
    std::string text;
    std::string line;
  } cases[] = {
      {"", "t", "UrlSign|UrlSign error result:40101"},
      {"k", std::string(WinUrlSign::kSignatureCapacity, 't'), "UrlSign|UrlSign error result:40102"},
      {"k", tooLong, "Sign|Sign refused: appKey or text longer than 65536"},
      {tooLong, "t", "Sign|Sign refused: appKey or text longer than 65536"},
  };
  for (const auto& c : cases) {
    logger.Clear();
    EXPECT_EQ("", signer.Sign(c.appKey, c.text));
    EXPECT_EQ(std::vector<std::string>{c.line}, ErrorLines());
  }
}

TEST_F(WinUrlSignTest, UnterminatedSignatureIsCutAtTheBuffer) {
  UseFolder(Folder(L"installed"));
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  EXPECT_EQ(std::string(WinUrlSign::kSignatureCapacity - 1, 'x'),
            signer.Sign(KelsafeDouble::kUnterminatedAppKey, "t"));
}

TEST_F(WinUrlSignTest, EveryObjectHandedOutIsReleased) {
  const std::wstring installed = Folder(L"installed");
  Pinned path(installed + L"\\KelsafePath64.dll");
  Pinned proxy(installed + L"\\sdk\\KelsafeProxy.dll");
  Pinned noSigner(Folder(L"no-signer") + L"\\KelsafeProxy.dll");

  UseFolder(installed);
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  ASSERT_TRUE(signer.Init());
  EXPECT_EQ(0, path.LiveObjects());
  EXPECT_EQ(2, proxy.LiveObjects());  // the proxy and its error codes
  signer.Release();
  EXPECT_EQ(0, proxy.LiveObjects());
  EXPECT_EQ("", signer.Sign("k", "t"));

  // A half-successful start gives back the error-code object it got.
  UseFolder(Folder(L"no-signer"));
  WinUrlSign failing;
  failing.SetLibraryFolder(folder);
  EXPECT_FALSE(failing.Init());
  EXPECT_EQ(0, noSigner.LiveObjects());
}

TEST_F(WinUrlSignTest, ReleaseUnloadsTheProxyAndInitLoadsItAgain) {
  const std::wstring proxy = Folder(L"installed") + L"\\sdk\\KelsafeProxy.dll";
  UseFolder(Folder(L"installed"));
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  ASSERT_TRUE(signer.Init());
  EXPECT_TRUE(signer.Init());  // already started: nothing more is loaded
  EXPECT_TRUE(IsLoaded(proxy));
  signer.Release();
  EXPECT_FALSE(IsLoaded(proxy));
  ASSERT_TRUE(signer.Init());
  EXPECT_EQ("sig(k,t)", signer.Sign("k", "t"));
}

// Loading DLLs that are not there costs one attempt, not one per request;
// the next start looks again.
TEST_F(WinUrlSignTest, SignStartsAnUnstartedSignerOnce) {
  UseFolder(Folder(L"absent"));
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  EXPECT_EQ("", signer.Sign("k", "t"));
  EXPECT_EQ("", signer.Sign("k", "t"));
  EXPECT_EQ(1u, logger.Count("Get IErrorCode error"));

  signer.SetLibraryFolder(Folder(L"installed"));
  EXPECT_EQ("", signer.Sign("k", "t"));
  EXPECT_TRUE(signer.Init());
  EXPECT_EQ("sig(k,t)", signer.Sign("k", "t"));
}

// Signatures in flight keep the DLL loaded while Release and Init swap it.
TEST_F(WinUrlSignTest, ReleaseRacingSignNeverUnloadsACallInProgress) {
  const std::wstring installed = Folder(L"installed");
  Pinned proxy(installed + L"\\sdk\\KelsafeProxy.dll");
  UseFolder(installed);
  WinUrlSign signer;
  signer.SetLibraryFolder(folder);
  ASSERT_TRUE(signer.Init());

  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> signers;
  for (int i = 0; i < 3; ++i) {
    signers.emplace_back([&] {
      while (!stop.load()) {
        const std::string signature = signer.Sign("k", "t");
        if (!signature.empty() && signature != "sig(k,t)") wrong.fetch_add(1);
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    signer.Release();
    signer.Init();
  }
  stop.store(true);
  for (std::thread& thread : signers) thread.join();
  EXPECT_EQ(0, wrong.load());
  signer.Release();
  EXPECT_EQ(0, proxy.LiveObjects());
}

TEST(WinUrlSignPlatform, IsTheProcessWideSigner) {
  EXPECT_NE(nullptr, dynamic_cast<WinUrlSign*>(Ostrel::OstrelSign::GetInstance()));
  Ostrel::OstrelSign::DestroyInstance();
  EXPECT_EQ(nullptr, Ostrel::OstrelSign::Peek());
}

}  // namespace
}  // namespace OstrelTest
