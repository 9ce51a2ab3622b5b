// What a signed request sends: the URL, the eight header lines in order and
// the raw text handed to the signer; and when it sends nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NetFixture.h"
#include "net/BaseAuthRequest.h"

namespace OstrelTest {
namespace {

using Ostrel::BaseAuthRequest;

class BaseAuthRequestTest : public NetFixture {
 protected:
  void SetUp() override {
    NetFixture::SetUp();
    http.RoutePrefix("http", ScriptedResponse());
  }
};

// Header values are form-encoded; the signed text and the app key handed to
// the signer stay raw.
TEST_F(BaseAuthRequestTest, UrlHeadersAndSignedText) {
  using Params = BaseAuthRequest::Params;
  const Params none;
  const Params two = {{"b", "2"}, {"a", "1"}};
  const Params raw = {{"resourceId", "a b&c"}};
  const struct {
    int env;
    const Params* params;
    std::string suffix;   // appended to the app key, version and device id
    std::string encoded;  // how the suffix appears in the headers
    std::string url;
  } cases[] = {
      {0, &two, "", "", "https://api.example.test/p?a=1&b=2"},
      {0, nullptr, "-_.~AZaz09", "-_.~AZaz09", "https://api.example.test/p"},
      {1, &none, "dev ice", "dev+ice", "https://api.example.test/p"},
      {2, &raw, "a&b=c%d", "a%26b%3Dc%25d", "http://api.example.test/p?resourceId=a b&c"},
      {0, nullptr, "/:+|", "%2F%3A%2B%7C", "https://api.example.test/p"},
      {0, nullptr, "\xC3\xA9\x01\x7F", "%C3%A9%01%7F", "https://api.example.test/p"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url + " " + c.encoded);
    settings.env = c.env;
    settings.appKey = "app-key" + c.suffix;
    settings.appVersion = "1.0.0" + c.suffix;
    settings.deviceId = "device-1" + c.suffix;
    userInfo = settings.appKey + "|" + settings.appVersion + "|12|34";
    BaseAuthRequest request(Context(), "", "/p");
    request.SetParams(c.params);
    std::string body;
    ASSERT_TRUE(request.SyncRequest(body));
    EXPECT_EQ("device-1" + c.suffix + "_1700000000", request.requestUnique());
    EXPECT_EQ("app-key" + c.suffix, fixedSigner.signedAppKey);
    EXPECT_EQ("/p&app-key" + c.suffix + "&1.0.0" + c.suffix + "&device-1" + c.suffix +
                  "&1700000000",
              fixedSigner.signedText);
    const RecordedRequest sent = http.Requests().back();
    EXPECT_EQ(c.url, sent.url);
    const std::vector<std::string> expected = {
        "o-app-key: app-key" + c.encoded,
        "o-app-version: 1.0.0" + c.encoded,
        "o-device-id: device-1" + c.encoded,
        "o-timestamp: 1700000000",
        "o-sign-version: 1.0",
        "o-sdk-version: 1.0",
        "o-sign: signature",
        "o-user-info: app-key" + c.encoded + "%7C1.0.0" + c.encoded + "%7C12%7C34",
    };
    EXPECT_EQ(expected, sent.headers);
  }
}

TEST_F(BaseAuthRequestTest, WithoutIdentityOrSignatureNothingIsSent) {
  const struct {
    const char* appKey;
    const char* appVersion;
    const char* deviceId;
    const char* signature;
    const char* error;
  } cases[] = {
      {"", "1.0.0", "device-1", "s",
       "getRequestImpl error, appKey:, appVersion:1.0.0, deviceId:device-1"},
      {"app-key", "", "device-1", "s",
       "getRequestImpl error, appKey:app-key, appVersion:, deviceId:device-1"},
      {"app-key", "1.0.0", "", "s",
       "getRequestImpl error, appKey:app-key, appVersion:1.0.0, deviceId:"},
      {"app-key", "1.0.0", "device-1", "", "ostrelSign error"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    logger.Clear();
    settings.appKey = c.appKey;
    settings.appVersion = c.appVersion;
    settings.deviceId = c.deviceId;
    fixedSigner.signature = c.signature;
    std::string body = "untouched";
    EXPECT_FALSE(BaseAuthRequest(Context(), "", "/checkUpdate").SyncRequest(body));
    EXPECT_EQ("untouched", body);
    EXPECT_EQ(std::string("SyncRequest|") + c.error, ErrorLine("Ostrel.AuthRequest"));
  }
  EXPECT_EQ(0u, http.RequestCount());
}

}  // namespace
}  // namespace OstrelTest
