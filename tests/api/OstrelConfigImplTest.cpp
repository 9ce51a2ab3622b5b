// The facade's slots given what a careless host passes: refused with their
// documented result, and nothing dereferenced or read past a given length.
// Then its forced update check, from the stored index's versions to the
// index the answer names. Checks are limited per process, so that test
// forgets earlier ones, which only the internal library can.
#include "api/OstrelConfigImpl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineHost.h"
#include "ScopedLogCapture.h"
#include "api/EngineRoot.h"
#include "host/ApiGate.h"
#include "ostrel/OstrelSdk.h"

namespace Ostrel {
namespace {

TEST(OstrelConfigImpl, NullAndShortArgumentsAreRefused) {
  OstrelTest::ScopedLogCapture capture;
  IOstrelConfig* sdk = GetIOstrelConfig();
  EXPECT_FALSE(sdk->init(nullptr));
  EXPECT_EQ(nullptr, getOstrelConfig(nullptr, "k", "d"));
  EXPECT_EQ(nullptr, getOstrelConfig("ns", nullptr, "d"));
  // A push names its length; a missing or negative one carries no message.
  char data[] = "xyz";
  sdk->PeskUpdateNamespace("other", "id", nullptr, 3);
  sdk->PeskUpdateNamespace("other", "id", data, -1);
  sdk->PeskUpdateNamespace("other", "id", data, 2);
  const std::string refused = "PeskUpdateNamespace: server id is not ostrel, butother";
  EXPECT_EQ((std::vector<std::string>{"init start , input param error", "PeskUpdateNamespace:",
                                      refused, "PeskUpdateNamespace:", refused,
                                      "PeskUpdateNamespace:xy", refused}),
            capture.Texts());
  // Each call hands out an interceptor of its own, which the host releases.
  IOIntercept* first = sdk->getIntercept();
  IOIntercept* second = sdk->getIntercept();
  EXPECT_NE(first, second);
  sdk->releaseIntercept(first);
  sdk->releaseIntercept(second);
}

// While the gate is closed, as in teardown, the slots answer at once with
// their documented results.
TEST(OstrelConfigImpl, AClosedLibraryStillAnswersEverySlot) {
  IOstrelConfig* sdk = GetIOstrelConfig();
  ApiGate::CloseAndDrain();
  int count = 7;
  EXPECT_EQ(nullptr, sdk->getConfigs("ns", &count));
  EXPECT_EQ(0, count);
  EXPECT_EQ(nullptr, sdk->getConfigs("ns", nullptr));
  EXPECT_TRUE(sdk->forceCheckUpdate());
  ApiGate::Reopen();
}

}  // namespace
}  // namespace Ostrel

namespace OstrelTest {
namespace {

#ifdef OSTREL_TEST_SIGN_DIR
TEST(OstrelConfigImpl, ForceCheckUpdateAppliesTheIndexTheAnswerNames) {
  Ostrel::EngineRoot::ForgetUpdateCheckForTest();
  SdkHost host;
  NamespaceSpec v1{"a", "1"}, v2{"a", "2"};
  StoreIndex(host, {v1});  // appIndexVersion 3, versionIndexVersion 4
  host.storage.PutRaw("a", Frame(ConfigJson("a", "1", {{"k", "one"}})));
  ServeConfig(host, v2, {{"k", "two"}});
  const std::string index = IndexJson("index-2", "2", kCdn, {v2});
  host.http.Route(CdnUrl("index-2"), Body(index));
  const std::string checkUrl =
      "http://api.test/checkUpdate?appIndexVersion=3&versionIndexVersion=4";
  host.http.Route(checkUrl, Body(R"({"cdn":"cdn.test","md5":")" + Md5Of(index) +
                                 R"(","protocol":"https","resourceId":"index-2"})"));
  ASSERT_TRUE(InitEngine(host));

  EXPECT_TRUE(host.sdk->forceCheckUpdate());
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true));
  ASSERT_TRUE(host.logger.WaitFor("CheckIndexUpdate cost "));
  EXPECT_EQ(host.Get("a", "k"), "two");
  std::vector<std::string> urls;
  for (const RecordedRequest& request : host.http.Requests()) urls.push_back(request.url);
  EXPECT_EQ(urls, (std::vector<std::string>{checkUrl, CdnUrl("index-2"), CdnUrl("a-v2")}));
  // The check says which index the client holds, in its URL and its identity.
  const std::vector<std::string> headers = host.http.Requests()[0].headers;
  ASSERT_EQ(headers.size(), 8u);
  EXPECT_EQ(headers[7], "o-user-info: app-key%7C1.0.0%7C3%7C4");
  EXPECT_EQ(host.statistics.Count("index_rate", true), 1u);

  // Twelve hours have not passed: a second check only logs.
  EXPECT_TRUE(host.sdk->forceCheckUpdate());
  EXPECT_TRUE(host.logger.WaitFor("checkIndexUpdate too frequently, interval should more than "));
  EXPECT_EQ(host.http.CountPrefix(checkUrl), 1u);
}
#endif  // OSTREL_TEST_SIGN_DIR

}  // namespace
}  // namespace OstrelTest
