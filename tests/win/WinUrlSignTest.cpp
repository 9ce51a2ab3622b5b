// WinUrlSign against stand-ins of the security DLLs (KelsafeDouble.h), which
// the build lays out in folders under kelsafe\ beside this executable, one
// folder per way the security SDK may be installed or broken.
#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "KelsafeDouble.h"
#include "ScopedLogCapture.h"
#include "net/WinUrlSign.h"

namespace OstrelTest {
namespace {

using Ostrel::WinUrlSign;

const char kLoadPathError[] = "Start|Load KelsafePath.dll error\n";

std::wstring ExecutableDirectory() {
  wchar_t path[MAX_PATH] = {};
  const std::wstring full(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
  return full.substr(0, full.rfind(L'\\'));
}

std::wstring Folder(const std::wstring& layout) {
  return layout.empty() ? layout : ExecutableDirectory() + L"\\kelsafe\\" + layout;
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
    auto count = reinterpret_cast<int (*)()>(reinterpret_cast<void (*)()>(
        module_ != nullptr ? GetProcAddress(module_, KelsafeDouble::kLiveObjectsSymbol) : nullptr));
    return count == nullptr ? -1 : count();
  }

 private:
  HMODULE module_;
};

class WinUrlSignTest : public LoggerFixture {
 protected:
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
};

// Each start hands back what it got, whole or half started; the path DLL is
// asked once and never kept. No folder configured: beside the executable.
TEST_F(WinUrlSignTest, InitFindsTheProxyOrSaysWhyNot) {
  const struct {
    const wchar_t *layout, *proxy;
    bool started;
    std::vector<std::string> lines;
  } cases[] = {
      {L"installed", L"sdk\\KelsafeProxy.dll", true, {}},
      {L"beside", L"KelsafeProxy.dll", true, {kLoadPathError}},
      {L"", L"KelsafeProxy.dll", true, {kLoadPathError}},
      {L"unknown-directory",
       L"KelsafeProxy.dll",
       true,
       {"Start|GetSDKDirectoryPath error,please make sure the SDK is installed\n"}},
      {L"absent", nullptr, false, {kLoadPathError, "Start|Get IErrorCode error\n"}},
      {L"no-query", nullptr, false, {kLoadPathError, "Start|Get IErrorCode error\n"}},
      {L"no-signer",
       L"KelsafeProxy.dll",
       false,
       {kLoadPathError, "Start|Get IUrlSignProxy error\n"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(c.layout)));
    const std::wstring folder = c.layout[0] == L'\0' ? ExecutableDirectory() : Folder(c.layout);
    Pinned proxy(c.proxy != nullptr ? folder + L"\\" + c.proxy : L"");
    logger.Clear();
    WinUrlSign signer;
    signer.SetLibraryFolder(Folder(c.layout));
    EXPECT_EQ(c.started, signer.Init());
    EXPECT_EQ(c.lines, ErrorLines());
    EXPECT_EQ(c.started ? "sig(k,t)" : "", signer.Sign("k", "t"));
    EXPECT_FALSE(IsLoaded(folder + L"\\KelsafePath64.dll"));
    // The proxy and its error codes while started; nothing once released.
    const int live = proxy.LiveObjects();
    signer.Release();
    EXPECT_EQ(
        c.proxy == nullptr ? "" : std::to_string(live) + " " + std::to_string(proxy.LiveObjects()),
        c.proxy == nullptr ? ""
        : c.started        ? "2 0"
                           : "0 0");
  }
  Pinned path(Folder(L"installed") + L"\\KelsafePath64.dll");
  WinUrlSign signer;
  signer.SetLibraryFolder(Folder(L"installed"));
  ASSERT_TRUE(signer.Init());
  EXPECT_EQ(0, path.LiveObjects());
}

TEST_F(WinUrlSignTest, SignaturesTravelAsWideStringsAndFailuresAreEmptyAndLogged) {
  WinUrlSign signer;
  signer.SetLibraryFolder(Folder(L"installed"));
  ASSERT_TRUE(signer.Init());
  const std::string tooLong(WinUrlSign::kMaxInputLength + 1, 'a');
  const std::string refused = "Sign|Sign refused: appKey or text longer than 65536";
  const struct {
    std::string appKey, text, signature, line;
  } cases[] = {
      {"app-key", "/checkUpdate&app-key&1.0.0&device 1&1700000000",
       "sig(app-key,/checkUpdate&app-key&1.0.0&device 1&1700000000)", ""},
      // é, 中文, U+1F511
      {"cl\xC3\xA9", "/p&\xE4\xB8\xAD\xE6\x96\x87&\xF0\x9F\x94\x91",
       "sig(cl\xC3\xA9,/p&\xE4\xB8\xAD\xE6\x96\x87&\xF0\x9F\x94\x91)", ""},
      // A stand-in that fills the buffer without a terminator is cut there.
      {KelsafeDouble::kUnterminatedAppKey, "t",
       std::string(WinUrlSign::kSignatureCapacity - 1, 'x'), ""},
      {"", "t", "", "UrlSign|UrlSign error result:40101"},
      {"k", std::string(WinUrlSign::kSignatureCapacity, 't'), "",
       "UrlSign|UrlSign error result:40102"},
      {"k", tooLong, "", refused},
      {tooLong, "t", "", refused},
  };
  for (const auto& c : cases) {
    logger.Clear();
    EXPECT_EQ(c.signature, signer.Sign(c.appKey, c.text));
    EXPECT_EQ(c.line.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.line},
              ErrorLines());
  }
}

// Release unloads the proxy and Init loads it again. Loading DLLs that are
// not there costs one attempt, not one per request; the next start looks
// again.
TEST_F(WinUrlSignTest, ReleaseUnloadsAndAFailedStartIsTriedOnce) {
  const std::wstring proxy = Folder(L"installed") + L"\\sdk\\KelsafeProxy.dll";
  WinUrlSign signer;
  signer.SetLibraryFolder(Folder(L"installed"));
  ASSERT_TRUE(signer.Init());
  EXPECT_TRUE(signer.Init());  // already started: nothing more is loaded
  EXPECT_TRUE(IsLoaded(proxy));
  signer.Release();
  EXPECT_FALSE(IsLoaded(proxy));
  EXPECT_EQ("", signer.Sign("k", "t"));

  WinUrlSign absent;
  absent.SetLibraryFolder(Folder(L"absent"));
  EXPECT_EQ("", absent.Sign("k", "t"));
  EXPECT_EQ("", absent.Sign("k", "t"));
  EXPECT_EQ(1u, logger.Count("Get IErrorCode error"));
  absent.SetLibraryFolder(Folder(L"installed"));
  EXPECT_EQ("", absent.Sign("k", "t"));
  EXPECT_TRUE(absent.Init());
  EXPECT_EQ("sig(k,t)", absent.Sign("k", "t"));
}

// Signatures in flight keep the DLL loaded while Release and Init swap it.
TEST_F(WinUrlSignTest, ReleaseRacingSignNeverUnloadsACallInProgress) {
  Pinned proxy(Folder(L"installed") + L"\\sdk\\KelsafeProxy.dll");
  WinUrlSign signer;
  signer.SetLibraryFolder(Folder(L"installed"));
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

}  // namespace
}  // namespace OstrelTest
