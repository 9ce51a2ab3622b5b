// The facade's forced update check, from the stored index's versions to the
// index the answer names. Checks are limited per process, so the test
// forgets earlier ones, which only the internal library can.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineHost.h"
#include "api/EngineRoot.h"

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
  EXPECT_EQ(host.statistics.Count("index_rate", true), 1u);

  // Twelve hours have not passed: a second check only logs.
  EXPECT_TRUE(host.sdk->forceCheckUpdate());
  EXPECT_TRUE(host.logger.WaitFor("checkIndexUpdate too frequently, interval should more than "));
  EXPECT_EQ(host.http.CountPrefix(checkUrl), 1u);
}
#endif  // OSTREL_TEST_SIGN_DIR

}  // namespace
}  // namespace OstrelTest
