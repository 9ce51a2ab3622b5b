#include <gtest/gtest.h>

#ifdef OSTREL_TEST_SIGN_DIR

#include <dlfcn.h>
#include <unistd.h>

#include <string>

#include "NetFixture.h"
#include "TestSignature.h"
#include "api/Teardown.h"
#include "api/EngineRoot.h"
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

TEST(PosixUrlSign, LibraryPathFromConfiguredDirectoryInUtf8) {
  const struct {
    std::wstring configured;
    std::string path;
  } cases[] = {
      {L"/opt/sign", "/opt/sign/libKelsafeProxy.so"},
      {L"/opt/sign/", "/opt/sign/libKelsafeProxy.so"},
      {L"/opt/\u00e9t\u00e9/\U0001F511", "/opt/\xC3\xA9t\xC3\xA9/\xF0\x9F\x94\x91/libKelsafeProxy.so"},
      {std::wstring(L"/x") + static_cast<wchar_t>(0xD800), "/x\xEF\xBF\xBD/libKelsafeProxy.so"},
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

class PosixUrlSignTest : public NetFixture {};

TEST_F(PosixUrlSignTest, StartsOnFirstSignAndStopsAfterRelease) {
  EXPECT_EQ(Expected("k", "/p&k"), signer->Sign("k", "/p&k"));

  signer->Release();
  EXPECT_EQ("", signer->Sign("k", "/p&k"));
  EXPECT_TRUE(signer->Init());
  EXPECT_EQ(Expected("k", "t"), signer->Sign("k", "t"));
}

TEST_F(PosixUrlSignTest, TheProcessSignerIsCreatedOnceAndDestroyedByTeardown) {
  EXPECT_EQ(nullptr, OstrelSign::Peek());
  Ostrel::IOstrelSign* process = OstrelSign::GetInstance();
  EXPECT_EQ(process, OstrelSign::Peek());
  EXPECT_EQ(process, OstrelSign::GetInstance());
  OstrelSign::DestroyInstance();
  EXPECT_EQ(nullptr, OstrelSign::Peek());
  OstrelSign::DestroyInstance();
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

bool IsLoaded(const char* path) {
  void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

// Signed requests must work as soon as start-up is done, and teardown must
// unload the library.
TEST_F(PosixUrlSignTest, StartUpLoadsTheLibraryAndTeardownUnloadsIt) {
  const char* const library = OSTREL_TEST_SIGN_DIR "/libKelsafeProxy.so";
  ASSERT_FALSE(IsLoaded(library));
  settings.signLibraryPath = Widen(OSTREL_TEST_SIGN_DIR);
  ASSERT_TRUE(Ostrel::EngineRoot::Engine()->Init(settings));
  ASSERT_TRUE(logger.WaitFor("init cost "));
  ASSERT_NE(nullptr, OstrelSign::Peek());
  EXPECT_TRUE(IsLoaded(library));

  Ostrel::TearDownLibrary();
  EXPECT_EQ(nullptr, OstrelSign::Peek());
  EXPECT_FALSE(IsLoaded(library));
}

}  // namespace
}  // namespace OstrelTest

#endif  // OSTREL_TEST_SIGN_DIR
