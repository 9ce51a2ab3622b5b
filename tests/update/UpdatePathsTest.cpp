// The three update paths end to end, driven through the facade: the
// rate-limited check, gateway notices and push messages.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineHost.h"
#include "api/EngineRoot.h"

namespace OstrelTest {
namespace {

class UpdatePaths : public ::testing::Test {
 protected:
  void SetUp() override {
    // The check is limited per process; each test starts as a fresh process.
    Ostrel::EngineRoot::ForgetUpdateCheckForTest();
    keep = NamespaceSpec("keep", "1");
    change1 = NamespaceSpec("change1", "1");
    change2 = NamespaceSpec("change2", "1");
    drop = NamespaceSpec("drop", "1");
    StoreIndex(host, {keep, change1, change2, drop}, "index-1", "1");
    for (const NamespaceSpec& ns : {keep, change1, change2, drop}) {
      host.storage.PutRaw(ns.name, Frame(ConfigJson(ns.name, "1", {{"k", ns.name + "-1"}})));
    }
  }

  // The index of the next version: keep unchanged, both changes at version
  // 2, drop gone. Served from the CDN under resourceId.
  std::string ServeNextIndex(const std::string& resourceId, const std::string& scheme = "https") {
    NamespaceSpec next1("change1", "2"), next2("change2", "2");
    for (const NamespaceSpec& ns : {next1, next2}) {
      host.http.Route(scheme + "://cdn.test/" + ResourceIdOf(ns),
                      Body(ConfigJson(ns.name, "2", {{"k", ns.name + "-2"}}, ResourceIdOf(ns))));
    }
    const std::string index = IndexJson("index-2", "2", kCdn, {keep, next1, next2});
    host.http.Route(scheme + "://cdn.test/" + resourceId, Body(index));
    return index;
  }

  void ExpectOldIndexKept() {
    EXPECT_EQ(host.Get("change1", "k"), "change1-1");
    EXPECT_EQ(host.storage.Raw("ostrel.index"),
              Frame(IndexJson("index-1", "1", kCdn, {keep, change1, change2, drop})));
    EXPECT_TRUE(host.storage.Has("drop"));
  }

  SdkHost host;
  NamespaceSpec keep, change1, change2, drop;
};

#ifdef OSTREL_TEST_SIGN_DIR
TEST_F(UpdatePaths, ForcedCheckAppliesANewIndex) {
  const std::string index = ServeNextIndex("index-2");
  const std::string checkUrl =
      "http://api.test/checkUpdate?appIndexVersion=3&versionIndexVersion=4";
  host.http.Route(checkUrl, Body(R"({"cdn":"cdn.test","md5":")" + Md5Of(index) +
                                 R"(","protocol":"https","resourceId":"index-2"})"));
  ASSERT_TRUE(InitEngine(host));
  RecordingListener listener;
  host.sdk->registerListener("change1", &listener);  // told at once: cached
  host.sdk->forceCheckUpdate();
  ASSERT_TRUE(listener.WaitForCount(2));
  EXPECT_FALSE(listener.Notifications()[1].fromCache);
  EXPECT_EQ(listener.Notifications()[1].version, "2");
  ASSERT_TRUE(host.logger.WaitFor("CheckIndexUpdate cost "));

  std::vector<std::string> urls;
  for (const RecordedRequest& request : host.http.Requests()) urls.push_back(request.url);
  const std::vector<std::string> expected = {checkUrl, CdnUrl("index-2"), CdnUrl("change1-v2"),
                                             CdnUrl("change2-v2")};
  EXPECT_EQ(urls, expected);
  EXPECT_EQ(host.Get("change1", "k"), "change1-2");
  EXPECT_EQ(host.Get("change2", "k"), "change2-2");
  EXPECT_EQ(host.Get("keep", "k"), "keep-1");
  EXPECT_EQ(host.Get("drop", "k"), "drop-1") << "still readable in memory";
  EXPECT_TRUE(host.storage.WaitForRecord("drop", ""));
  EXPECT_TRUE(host.storage.WaitForRecord("ostrel.index", Frame(index)));
  EXPECT_TRUE(host.logger.Contains("loadIndex removedrop namespace"));
  EXPECT_TRUE(host.logger.Contains("index updated,begin download update namespace:"));
  EXPECT_EQ(host.statistics.Count("index_rate", true), 1u);
  EXPECT_EQ(host.statistics.Count("config_rate", true), 2u);
  // Twelve hours have not passed: a second check only logs.
  host.sdk->forceCheckUpdate();
  EXPECT_TRUE(host.logger.Contains("checkIndexUpdate too frequently, interval should more than "));
  host.sdk->unregisterListener("change1", &listener);
}
#endif  // OSTREL_TEST_SIGN_DIR

TEST_F(UpdatePaths, GatewayNoticeWithBlanksAndPrefixKeysIsApplied) {
  const std::string index = ServeNextIndex("index-2");
  ASSERT_TRUE(InitEngine(host));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  const std::string notice =
      " cdnHost = cdn.test & md5 = " + Md5Of(index) + " & resourceIdX=index-2 & protocol = HTTPS";
  intercept->OnOstrelResponse(notice.c_str());
  intercept->OnOstrelResponse(notice.c_str());  // the same notice again
  ASSERT_TRUE(host.logger.WaitFor("it is a same index info,resourceid is index-2"));
  ASSERT_TRUE(host.storage.WaitForRecord("ostrel.index", Frame(index)));
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true, 2));
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("index-2")), 1u);
  EXPECT_EQ(host.Get("change2", "k"), "change2-2");
  host.sdk->releaseIntercept(intercept);
}

TEST_F(UpdatePaths, NoticeProtocolChoosesTheSchemeOfLaterDownloads) {
  const std::string index = ServeNextIndex("index-2", "http");
  ASSERT_TRUE(InitEngine(host));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  intercept->OnOstrelResponse(("cdn=cdn.test&md5=" + Md5Of(index) +
                               "&resourceId=index-2&protocol=ftp").c_str());
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true, 2));
  EXPECT_EQ(host.http.CountPrefix("http://cdn.test/index-2"), 1u);
  EXPECT_EQ(host.http.CountPrefix("http://cdn.test/change1-v2"), 1u);
  EXPECT_EQ(host.http.CountPrefix("https://"), 0u);
  host.sdk->releaseIntercept(intercept);
}

// Indexes a broken or hostile server might send: each is refused with its
// reason and leaves the index, the values and the store as they were.
TEST_F(UpdatePaths, RefusedIndexesChangeNothing) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += '[';
  const struct {
    const char* name;
    ScriptedResponse response;
    const char* message;
    bool counted;  // an "index_rate" failure
  } kCases[] = {
      {"unreachable", Failure(), "cdn request failed and auth request failed", true},
      {"empty", Body(""), "request sucessfully,but index is empty!!!", true},
      {"not json", Body("{\"appKey\":"), "ParseFormJson fail ,index in null", false},
      {"deeply nested", Body(deep), "ParseFormJson fail ,index in null", false},
      {"wrong types", Body(R"({"appKey":1})"), "ParseFormJson fail ,index in null", false},
      {"same id", Body(IndexJson("index-1", "9", kCdn, {{"keep", "1"}})),
       "loadIndex fail , id or version is match", false},
      {"same version", Body(IndexJson("index-9", "1", kCdn, {{"keep", "1"}})),
       "loadIndex fail , id or version is match", false},
      {"other app", Body(IndexJson("index-9", "9", kCdn, {{"keep", "1"}}, "other-app")),
       "index invaild", true},
      {"no namespaces", Body(IndexJson("index-9", "9", kCdn, {})),
       "loadIndex fail , index is not valid", true},
      // Checked before the comparison with the cached index.
      {"invalid and same id", Body(IndexJson("index-1", "9", kCdn, {})),
       "loadIndex fail , index is not valid", true},
      // The first of duplicate members counts: here an app key of another app.
      {"duplicate keys",
       Body("{\"appKey\":\"other-app\"," + IndexJson("index-9", "9", kCdn, {{"keep", "1"}}).substr(1)),
       "index invaild", true},
  };
  host.http.RoutePrefix("http://", Failure());  // no signed fallback
  ASSERT_TRUE(InitEngine(host));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  int round = 0;
  for (const auto& c : kCases) {
    const std::string resourceId = "bad-" + std::to_string(++round);
    host.http.Route(CdnUrl(resourceId), c.response);
    const size_t failures = host.statistics.Count("index_rate", false);
    intercept->OnOstrelResponse(
        ("cdn=cdn.test&resourceId=" + resourceId + "&protocol=https").c_str());
    ASSERT_TRUE(host.logger.WaitFor("no request need retry", round)) << c.name;
    EXPECT_TRUE(host.logger.Contains(c.message)) << c.name;
    EXPECT_EQ(host.statistics.Count("index_rate", false), failures + (c.counted ? 1 : 0))
        << c.name;
  }
  // A notice whose digest does not match the file it names.
  host.http.Route(CdnUrl("tampered"), Body(IndexJson("index-9", "9", kCdn, {{"keep", "1"}})));
  intercept->OnOstrelResponse(
      ("cdn=cdn.test&resourceId=tampered&protocol=https&md5=" + Md5Of("other")).c_str());
  ASSERT_TRUE(host.logger.WaitFor("no request need retry", ++round));
  EXPECT_TRUE(host.logger.Contains("content is broken!!!"));
  host.sdk->releaseIntercept(intercept);
  ExpectOldIndexKept();
  EXPECT_EQ(host.storage.clearCalls, 0);
}

TEST_F(UpdatePaths, IndexWithThousandsOfNamespacesIsApplied) {
  std::vector<NamespaceSpec> many;
  for (int i = 0; i < 5000; ++i) many.emplace_back("ns" + std::to_string(i), "1");
  many.push_back(keep);
  host.http.Route(CdnUrl("big-index"), Body(IndexJson("index-big", "7", kCdn, many)));
  ASSERT_TRUE(InitEngine(host));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  intercept->OnOstrelResponse("cdn=cdn.test&resourceId=big-index&protocol=https");
  ASSERT_TRUE(host.logger.WaitFor("loadIndex removedrop namespace"));
  ASSERT_TRUE(host.logger.WaitFor("index updated,begin download update namespace:"));
  EXPECT_EQ(host.Get("keep", "k"), "keep-1");
  host.sdk->releaseIntercept(intercept);
}

TEST_F(UpdatePaths, PushMessageLoadsTheNamespaceItDescribes) {
  NamespaceSpec pushed("change1", "5");
  host.http.Route(CdnUrl(ResourceIdOf(pushed)),
                  Body(ConfigJson("change1", "5", {{"k", "pushed"}}, ResourceIdOf(pushed))));
  const std::string message = NamespaceJson(pushed);
  std::vector<char> data(message.begin(), message.end());  // no NUL at the end
  host.sdk->PeskUpdateNamespace("ostrel", "d", data.data(), static_cast<int>(data.size()));
  EXPECT_TRUE(host.logger.Contains("PeskUpdateNamespace: ostrel did not init yet!!!"));
  ASSERT_TRUE(InitEngine(host));

  host.sdk->PeskUpdateNamespace("other", "d", data.data(), static_cast<int>(data.size()));
  EXPECT_TRUE(host.logger.Contains("PeskUpdateNamespace: server id is not ostrel, butother"));
  char broken[] = "{\"loadLevel\":";
  host.sdk->PeskUpdateNamespace("ostrel", "d", broken, static_cast<int>(sizeof broken - 1));
  host.sdk->PeskUpdateNamespace("ostrel", "d", data.data(), static_cast<int>(data.size()));
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true));
  EXPECT_EQ(host.Get("change1", "k"), "pushed");
  EXPECT_TRUE(host.logger.Contains("loadLevel data format error"));
}

}  // namespace
}  // namespace OstrelTest
