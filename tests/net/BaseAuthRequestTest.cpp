#include <gtest/gtest.h>

// The signed requests need the test signing library, which is built where
// libraries are loaded with dlopen.
#ifdef OSTREL_TEST_SIGN_DIR

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "NetFixture.h"
#include "TestSignature.h"
#include "host/Md5.h"
#include "net/BaseAuthRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::BaseAuthRequest;

const char kTag[] = "Ostrel.AuthRequest";

std::string ExpectedSignature(const std::string& appKey, const std::string& text) {
  char signature[17];
  OstrelTestSign::Signature(appKey.c_str(), text.c_str(), signature);
  return signature;
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

class BaseAuthRequestTest : public NetFixture {
 protected:
  void SetUp() override {
    NetFixture::SetUp();
    http.RoutePrefix("http", ScriptedResponse());
  }

  // Sends a "/checkUpdate" request and returns what reached the client.
  RecordedRequest SendOne(const BaseAuthRequest::Params* params = nullptr) {
    BaseAuthRequest request(Context(), "", "/checkUpdate");
    request.SetParams(params);
    std::string body;
    EXPECT_TRUE(request.SyncRequest(body));
    EXPECT_EQ("device-1_1700000000", request.requestUnique());
    const std::vector<RecordedRequest> sent = http.Requests();
    return sent.empty() ? RecordedRequest() : sent.back();
  }

  // The o-sign line expected for the current settings.
  std::string SignLine(const std::string& path) const {
    return "o-sign: " + ExpectedSignature(settings.appKey,
                                          path + "&" + settings.appKey + "&" +
                                              settings.appVersion + "&" + settings.deviceId +
                                              "&" + kNowSeconds);
  }
};

TEST_F(BaseAuthRequestTest, SignedRequestCarriesUrlHeadersAndSignature) {
  userInfo = "app-key|1.0.0|12|34";
  const BaseAuthRequest::Params params = {{"b", "2"}, {"a", "1"}};
  const RecordedRequest sent = SendOne(&params);

  EXPECT_EQ("https://api.example.test/checkUpdate?a=1&b=2", sent.url);
  EXPECT_EQ(0, sent.type);
  EXPECT_EQ("", sent.body);
  ASSERT_EQ(8u, sent.headerCount);
  const std::vector<std::string> expected = {
      "o-app-key: app-key",
      "o-app-version: 1.0.0",
      "o-device-id: device-1",
      "o-timestamp: 1700000000",
      "o-sign-version: 1.0",
      "o-sdk-version: 1.0",
      SignLine("/checkUpdate"),
      "o-user-info: app-key%7C1.0.0%7C12%7C34",
  };
  EXPECT_EQ(expected, sent.headers);
  EXPECT_EQ("", ErrorLine(kTag));
}

TEST_F(BaseAuthRequestTest, UrlFollowsSchemeFlagAndParams) {
  const BaseAuthRequest::Params empty;
  const BaseAuthRequest::Params raw = {{"resourceId", "a b&c"}};
  struct Case {
    int env;
    const BaseAuthRequest::Params* params;
    std::string url;
  };
  const Case cases[] = {
      {0, nullptr, "https://api.example.test/checkUpdate"},
      {1, &empty, "https://api.example.test/checkUpdate"},
      {2, &raw, "http://api.example.test/checkUpdate?resourceId=a b&c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.url);
    settings.env = c.env;
    EXPECT_EQ(c.url, SendOne(c.params).url);
  }
}

// The header values are encoded; the signed text and the app key handed to
// the signer stay raw.
TEST_F(BaseAuthRequestTest, HeaderValuesAreEncodedButSignedRaw) {
  const struct {
    std::string raw;
    std::string encoded;
  } cases[] = {
      {"-_.~AZaz09", "-_.~AZaz09"},
      {"dev ice", "dev+ice"},
      {"a&b=c%d", "a%26b%3Dc%25d"},
      {"/:+|", "%2F%3A%2B%7C"},
      {"\xC3\xA9\x01\x7F", "%C3%A9%01%7F"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.raw);
    settings.appKey = "k" + c.raw;
    settings.appVersion = "v" + c.raw;
    settings.deviceId = "d" + c.raw;
    userInfo = settings.appKey + "|" + settings.appVersion + "|0|0";
    BaseAuthRequest request(Context(), "", "/p");
    std::string body;
    ASSERT_TRUE(request.SyncRequest(body));
    const RecordedRequest sent = http.Requests().back();
    ASSERT_EQ(8u, sent.headers.size());
    EXPECT_EQ("o-app-key: k" + c.encoded, sent.headers[0]);
    EXPECT_EQ("o-app-version: v" + c.encoded, sent.headers[1]);
    EXPECT_EQ("o-device-id: d" + c.encoded, sent.headers[2]);
    EXPECT_EQ(SignLine("/p"), sent.headers[6]);
    EXPECT_EQ("o-user-info: k" + c.encoded + "%7Cv" + c.encoded + "%7C0%7C0", sent.headers[7]);
  }
}

TEST_F(BaseAuthRequestTest, MissingIdentityIsRefusedBeforeSending) {
  const struct {
    const char* appKey;
    const char* appVersion;
    const char* deviceId;
  } cases[] = {{"", "1.0.0", "device-1"}, {"app-key", "", "device-1"}, {"app-key", "1.0.0", ""}};
  for (const auto& c : cases) {
    logger.Clear();
    settings.appKey = c.appKey;
    settings.appVersion = c.appVersion;
    settings.deviceId = c.deviceId;
    BaseAuthRequest request(Context(), "", "/checkUpdate");
    std::string body;
    EXPECT_FALSE(request.SyncRequest(body));
    EXPECT_EQ(std::string("SyncRequest|getRequestImpl error, appKey:") + c.appKey +
                  ", appVersion:" + c.appVersion + ", deviceId:" + c.deviceId,
              ErrorLine(kTag));
  }
  EXPECT_EQ(0u, http.RequestCount());
}

TEST_F(BaseAuthRequestTest, UnavailableSignatureRefusesTheRequest) {
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
    std::string signerError;  // the signer's own line, a prefix
  } cases[] = {
      {"missing library", scratch + "/absent", OstrelTestSign::kSign,
       "Start|Load " + scratch + "/absent/libKelsafeProxy.so error: "},
      {"not a library", scratch, OstrelTestSign::kSign, "Start|Load " + garbage + " error: "},
      {"no signing function", OSTREL_TEST_NOSYMBOL_SIGN_DIR, OstrelTestSign::kSign,
       "Start|Get KelsafeUrlSign error: "},
      {"signing fails", OSTREL_TEST_SIGN_DIR, OstrelTestSign::kFail,
       "Sign|UrlSign error result:7"},
      {"empty signature", OSTREL_TEST_SIGN_DIR, OstrelTestSign::kEmpty, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    logger.Clear();
    NewSigner(c.directory);
    mode.Set(c.mode);
    BaseAuthRequest request(Context(), "", "/checkUpdate");
    std::string body = "untouched";
    EXPECT_FALSE(request.SyncRequest(body));
    EXPECT_EQ("untouched", body);
    EXPECT_EQ("SyncRequest|ostrelSign error", ErrorLine(kTag));
    EXPECT_EQ(0, ErrorLine("PosixUrlSign").rfind(c.signerError, 0)) << ErrorLine("PosixUrlSign");
  }
  EXPECT_EQ(0u, http.RequestCount());
  unlink(garbage.c_str());
  rmdir(scratch.c_str());
}

TEST_F(BaseAuthRequestTest, UnterminatedSignatureIsCutToTheBuffer) {
  SigningLibraryMode mode;
  ASSERT_TRUE(mode.ok());
  mode.Set(OstrelTestSign::kUnterminated);
  const RecordedRequest sent = SendOne();
  ASSERT_EQ(8u, sent.headers.size());
  EXPECT_EQ("o-sign: " + std::string(1023, 'x'), sent.headers[6]);
}

// The response checks are shared with the CDN request; only the words and
// the tag of a signed request are checked here.
TEST_F(BaseAuthRequestTest, FailedResponsesAreReportedUnderTheRequestsTag) {
  ScriptedResponse refused;
  refused.success = false;
  refused.header = "o-code: 500";
  http.RoutePrefix("http", refused);
  BaseAuthRequest request(Context(), Ostrel::Md5Hex("x"), "/downloadResource");
  std::string body;
  EXPECT_FALSE(request.SyncRequest(body));
  EXPECT_EQ("SyncRequest|auth request faile: responed header: o-code: 500", ErrorLine(kTag));

  logger.Clear();
  ScriptedResponse other;
  other.body = "y";
  http.RoutePrefix("http", other);
  EXPECT_FALSE(request.SyncRequest(body));
  EXPECT_EQ("y", body);
  EXPECT_EQ("SyncRequest|content is broken!!!", ErrorLine(kTag));

  logger.Clear();
  network.SetHttpClient(nullptr);
  EXPECT_FALSE(request.SyncRequest(body));
  EXPECT_EQ("SyncRequest|auth request failed,httpResponse is null!!!", ErrorLine(kTag));
}

}  // namespace
}  // namespace OstrelTest

#endif  // OSTREL_TEST_SIGN_DIR
