// The engine's requests built alone over a scripted client.
#include "net/ServiceRequests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>

#include "FixedSigner.h"
#include "ScopedLogCapture.h"
#include "ScriptedHttpClient.h"

namespace Ostrel {
namespace {

using OstrelTest::ScriptedResponse;

int64_t FixedNow() { return 1700000000123; }

ScriptedResponse Answer(const std::string& body, bool success = true) {
  ScriptedResponse response;
  response.body = body;
  response.success = success;
  return response;
}

class ServiceRequestsTest : public OstrelTest::LoggerFixture {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    network.SetHttpClient(&http);
    auto settings = std::make_shared<Settings>();
    settings->appKey = "app";
    settings->appVersion = "1.0";
    settings->deviceId = "device";
    settings->host = "api.test";
    requests.SetSettings(settings);
  }

  OstrelTest::ScriptedHttpClient http;
  NetworkManager network;
  OstrelTest::FixedSigner signer;
  ServiceRequests requests{&network, &signer, &FixedNow};
  std::atomic<bool> running{false};
  std::atomic<bool> stopping{true};
};

TEST_F(ServiceRequestsTest, IdentityFollowsTheSettingsAndTheIndexVersions) {
  EXPECT_EQ(requests.Context().userInfo, "app|1.0|0|0");
  requests.SetIndexVersions("7", "12");
  EXPECT_EQ(requests.Context().userInfo, "app|1.0|7|12");
  auto other = std::make_shared<Settings>();
  other->appKey = "other";
  other->appVersion = "2";
  const RequestContext before = requests.Context();
  requests.SetSettings(other);
  requests.SetSettings(nullptr);
  EXPECT_EQ(requests.Context().userInfo, "other|2|7|12");
  EXPECT_EQ(before.settings->appKey, "app") << "a request keeps the settings it was made with";
}

// Only "https", in any case, keeps downloads on https.
TEST_F(ServiceRequestsTest, CdnUrlFollowsTheSchemeOfTheLastNotice) {
  EXPECT_EQ(requests.CdnUrl("cdn.test", "r1"), "https://cdn.test/r1");
  EXPECT_EQ(requests.CdnUrl("", "r1"), "");
  EXPECT_EQ(requests.CdnUrl("cdn.test", ""), "");
  const struct {
    const char* protocol;
    const char* url;
  } cases[] = {{"ftp", "http://cdn.test/r1"},   {"HTTPS", "https://cdn.test/r1"},
               {"", "http://cdn.test/r1"},      {"Https", "https://cdn.test/r1"},
               {"http", "http://cdn.test/r1"},  {"https", "https://cdn.test/r1"},
               {"https ", "http://cdn.test/r1"}};
  for (const auto& c : cases) {
    requests.SetFetchScheme(c.protocol);
    EXPECT_EQ(requests.CdnUrl("cdn.test", "r1"), c.url) << c.protocol;
  }
}

// The CDN first, the signed API when the CDN gives no body; after teardown
// has begun, no second request.
TEST_F(ServiceRequestsTest, FetchFallsBackToTheSignedApi) {
  const std::string cdn = "https://cdn.test/r1";
  const std::string api = "http://api.test/downloadResource?resourceId=r1";
  const struct {
    const char* name;
    ScriptedResponse cdnAnswer;
    ScriptedResponse apiAnswer;
    bool stop;
    bool fetched;
    const char* body;
    size_t requests;
  } cases[] = {
      {"from the CDN", Answer("doc"), Answer("api"), false, true, "doc", 1},
      {"CDN fails", Answer("", false), Answer("api"), false, true, "api", 2},
      {"CDN empty", Answer(""), Answer("api"), false, true, "api", 2},
      {"CDN empty, API fails", Answer(""), Answer("", false), false, true, "", 2},
      {"both fail", Answer("", false), Answer("", false), false, false, "", 2},
      {"CDN fails while stopping", Answer("", false), Answer("api"), true, false, "", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    http.ClearRoutes();
    http.Route(cdn, c.cdnAnswer);
    http.Route(api, c.apiAnswer);
    const size_t before = http.RequestCount();
    std::string body = "untouched";
    EXPECT_EQ(requests.FetchResource(cdn, "r1", "", c.stop ? stopping : running, body), c.fetched);
    EXPECT_EQ(body, c.body);
    EXPECT_EQ(http.RequestCount() - before, c.requests);
  }
}

}  // namespace
}  // namespace Ostrel
