#include <gtest/gtest.h>

#ifdef OSTREL_TEST_SIGN_DIR

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "NetFixture.h"
#include "TestSignature.h"
#include "api/EngineRoot.h"
#include "api/Teardown.h"
#include "net/PosixUrlSign.h"

namespace OstrelTest {
namespace {

using Ostrel::OstrelSign;
using Ostrel::PosixUrlSign;

std::string Expected(const char* appKey, const char* text) {
  char signature[17];
  OstrelTestSign::Signature(appKey, text, signature);
  return signature;
}

bool IsLoaded(const char* path) {
  void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Switches the test signing library between its behaviours. It shares the
// loaded image with the signer, as dlopen of the same path does not load a
// second copy.
class SigningLibraryMode {
 public:
  SigningLibraryMode() {
    handle_ = dlopen(OSTREL_TEST_SIGN_DIR "/libKelsafeProxy.so", RTLD_NOW | RTLD_LOCAL);
    if (handle_ != nullptr) {
      setMode_ = reinterpret_cast<void (*)(int)>(dlsym(handle_, "KelsafeTestSetMode"));
    }
  }
  ~SigningLibraryMode() {
    Set(OstrelTestSign::kSign);
    if (handle_ != nullptr) dlclose(handle_);
  }
  bool ok() const { return setMode_ != nullptr; }
  void Set(int mode) {
    if (setMode_ != nullptr) setMode_(mode);
  }

 private:
  void* handle_ = nullptr;
  void (*setMode_)(int) = nullptr;
};

TEST(PosixUrlSign, LibraryPathFromConfiguredDirectoryInUtf8) {
  const struct {
    std::wstring configured;
    std::string path;
  } cases[] = {
      {L"/opt/sign", "/opt/sign/libKelsafeProxy.so"},
      {L"/opt/sign/", "/opt/sign/libKelsafeProxy.so"},
      {L"/opt/\u00e9t\u00e9/\U0001F511", "/opt/\xC3\xA9t\xC3\xA9/\xF0\x9F\x94\x91/libKelsafeProxy.so"},
      {std::wstring(L"/x") + static_cast<wchar_t>(0xD800), "/x\xEF\xBF\xBD/libKelsafeProxy.so"},
      // Each length's edges, the end of the surrogates and of Unicode.
      {std::wstring{L'/', 0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF, 0xDFFF, 0xE000,
                    0x110000},
       "/\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"
       "\xEF\xBF\xBD\xEE\x80\x80\xEF\xBF\xBD/libKelsafeProxy.so"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.path, PosixUrlSign::LibraryPath(c.configured));
}

TEST(PosixUrlSign, LibraryPathDefaultsToTheExecutablesDirectory) {
  const std::string path = PosixUrlSign::LibraryPath(std::wstring());
  const std::string suffix = "/libKelsafeProxy.so";
  ASSERT_GT(path.size(), suffix.size());
  ASSERT_EQ(suffix, path.substr(path.size() - suffix.size()));
  const std::string directory = path.substr(0, path.size() - suffix.size());
  EXPECT_EQ(0, access((directory + "/ostrel_net_tests").c_str(), X_OK)) << directory;
}

class PosixUrlSignTest : public NetFixture {
 protected:
  void SetUp() override {
    NetFixture::SetUp();
    NewSigner(OSTREL_TEST_SIGN_DIR);
  }
};

TEST_F(PosixUrlSignTest, StartsOnFirstSignAndStopsAfterRelease) {
  EXPECT_EQ(Expected("k", "/p&k"), signer->Sign("k", "/p&k"));

  signer->Release();
  EXPECT_EQ("", signer->Sign("k", "/p&k"));
  EXPECT_TRUE(signer->Init());
  EXPECT_EQ(Expected("k", "t"), signer->Sign("k", "t"));
}

// A library that cannot be loaded costs one attempt, not one per request;
// the next start looks again.
TEST_F(PosixUrlSignTest, FailedStartIsRetriedOnlyByInit) {
  NewSigner("/nonexistent-ostrel-sign");
  EXPECT_EQ("", signer->Sign("k", "t"));
  EXPECT_EQ("", signer->Sign("k", "t"));
  EXPECT_EQ(1u, logger.Count("Load /nonexistent-ostrel-sign/libKelsafeProxy.so error"));

  EXPECT_FALSE(signer->Init());
  EXPECT_EQ(2u, logger.Count("Load /nonexistent-ostrel-sign/libKelsafeProxy.so error"));
  signer->SetLibraryFolder(Widen(OSTREL_TEST_SIGN_DIR));
  EXPECT_TRUE(signer->Init());
  EXPECT_EQ(Expected("k", "t"), signer->Sign("k", "t"));
}

// Every way the library can fail gives no signature and one line saying why;
// a signature that fills the buffer unterminated is cut to the buffer.
TEST_F(PosixUrlSignTest, EachWayTheLibraryFails) {
  SigningLibraryMode mode;
  ASSERT_TRUE(mode.ok());
  char scratchTemplate[] = "/tmp/ostrel-sign-XXXXXX";
  const std::string scratch = mkdtemp(scratchTemplate);
  const std::string garbage = scratch + "/libKelsafeProxy.so";
  FILE* file = fopen(garbage.c_str(), "w");
  ASSERT_NE(nullptr, file);
  fputs("not a shared object", file);
  fclose(file);

  const struct {
    const char* name;
    std::string directory;
    int mode;
    std::string signature;
    std::string error;  // the signer's line, a prefix
  } cases[] = {
      {"missing library", scratch + "/absent", OstrelTestSign::kSign, "",
       "Start|Load " + scratch + "/absent/libKelsafeProxy.so error: "},
      {"not a library", scratch, OstrelTestSign::kSign, "", "Start|Load " + garbage + " error: "},
      {"no signing function", OSTREL_TEST_NOSYMBOL_SIGN_DIR, OstrelTestSign::kSign, "",
       "Start|Get KelsafeUrlSign error: "},
      {"signing fails", OSTREL_TEST_SIGN_DIR, OstrelTestSign::kFail, "",
       "Sign|UrlSign error result:7"},
      {"empty signature", OSTREL_TEST_SIGN_DIR, OstrelTestSign::kEmpty, "", ""},
      {"unterminated", OSTREL_TEST_SIGN_DIR, OstrelTestSign::kUnterminated,
       std::string(1023, 'x'), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    logger.Clear();
    NewSigner(c.directory);
    mode.Set(c.mode);
    EXPECT_EQ(c.signature, signer->Sign("k", "t"));
    const std::string line = ErrorLine("PosixUrlSign");
    EXPECT_EQ(0u, line.rfind(c.error, 0)) << line;
    EXPECT_EQ(c.error.empty(), line.empty()) << line;
    EXPECT_EQ(std::string::npos, line.find("unknown error")) << "the loader's own words";
  }
  unlink(garbage.c_str());
  rmdir(scratch.c_str());
}

// Signed requests must work as soon as start-up is done, with the process's
// one signer, and teardown must destroy it and unload the library.
TEST_F(PosixUrlSignTest, StartUpLoadsTheLibraryAndTeardownUnloadsIt) {
  const char* const library = OSTREL_TEST_SIGN_DIR "/libKelsafeProxy.so";
  ASSERT_FALSE(IsLoaded(library));
  settings.signLibraryPath = Widen(OSTREL_TEST_SIGN_DIR);
  ASSERT_TRUE(Ostrel::EngineRoot::Engine()->Init(settings));
  ASSERT_TRUE(logger.WaitFor("init cost "));
  Ostrel::IOstrelSign* process = OstrelSign::Peek();
  ASSERT_NE(nullptr, process);
  EXPECT_EQ(process, OstrelSign::GetInstance()) << "created once";
  EXPECT_TRUE(IsLoaded(library));

  Ostrel::TearDownLibrary();
  EXPECT_EQ(nullptr, OstrelSign::Peek());
  EXPECT_FALSE(IsLoaded(library));
  OstrelSign::DestroyInstance();  // once more: harmless
}

}  // namespace
}  // namespace OstrelTest

#endif  // OSTREL_TEST_SIGN_DIR
