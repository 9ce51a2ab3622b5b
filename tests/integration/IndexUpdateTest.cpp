// An index update reaching a running library: gateway notices, push
// messages, and indexes a server should never send.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

// A host whose store holds an index of four namespaces at version 1 and
// their documents.
class StoredHost : public SdkHost {
 public:
  StoredHost() {
    StoreIndex(*this, Current());
    for (const NamespaceSpec& ns : Current()) {
      storage.PutRaw(ns.name, Frame(ConfigJson(ns.name, "1", {{"k", ns.name + "-1"}})));
    }
  }

  static std::vector<NamespaceSpec> Current() {
    return {{"keep", "1"}, {"change1", "1"}, {"change2", "1"}, {"drop", "1"}};
  }

  // Serves the next index as "index-2" with its documents under scheme: keep
  // unchanged, both changes at version 2, drop gone, fresh new.
  std::string ServeNextIndex(const std::string& scheme) {
    NamespaceSpec next1("change1", "2"), next2("change2", "2"), fresh("fresh", "1");
    for (const NamespaceSpec& ns : {next1, next2, fresh}) {
      http.Route(scheme + "://cdn.test/" + ResourceIdOf(ns),
                 Body(ConfigJson(ns.name, ns.version, {{"k", ns.name + "-2"}}, ResourceIdOf(ns))));
    }
    const std::string index =
        IndexJson("index-2", "2", kCdn, {{"keep", "1"}, next1, next2, fresh});
    http.Route(scheme + "://cdn.test/index-2", Body(index));
    return index;
  }

  void Notice(const std::string& text) {
    Ostrel::IOIntercept* intercept = sdk->getIntercept();
    intercept->OnOstrelResponse(text.c_str());
    sdk->releaseIntercept(intercept);
  }
};

// The notice's index is downloaded once, under the scheme its protocol
// chooses, and applied: changed namespaces downloaded and told, one read
// before any index listed it loaded at once, the dropped one removed from
// the store but still readable, the new index stored.
TEST(IndexUpdate, GatewayNoticeIsAppliedOnceUnderItsScheme) {
  const struct {
    const char* scheme;
    const char* before;  // the notice up to the digest
    const char* after;
  } kCases[] = {
      {"https", " cdnHost = cdn.test & md5 = ", " & resourceIdX=index-2 & protocol = HTTPS"},
      {"http", "cdn=cdn.test&md5=", "&resourceId=index-2&protocol=ftp"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.scheme);
    StoredHost host;
    const std::string index = host.ServeNextIndex(c.scheme);
    ASSERT_TRUE(InitEngine(host));
    EXPECT_EQ(host.Get("fresh", "k", "d"), "d");  // waits for an index that lists it
    RecordingListener listener;
    host.sdk->registerListener("change1", &listener);  // told at once: cached
    const std::string notice = c.before + Md5Of(index) + c.after;
    host.Notice(notice);
    host.Notice(notice);
    ASSERT_TRUE(host.logger.WaitFor("it is a same index info,resourceid is index-2"));
    ASSERT_TRUE(listener.WaitForCount(2));
    EXPECT_FALSE(listener.Notifications()[1].fromCache);
    EXPECT_EQ(listener.Notifications()[1].version, "2");
    ASSERT_TRUE(host.statistics.WaitFor("config_rate", true, 3));

    std::vector<std::string> urls;
    for (const RecordedRequest& request : host.http.Requests()) urls.push_back(request.url);
    const std::string cdn = std::string(c.scheme) + "://cdn.test/";
    EXPECT_EQ(urls, (std::vector<std::string>{cdn + "index-2", cdn + "change1-v2",
                                              cdn + "change2-v2", cdn + "fresh-v1"}));
    EXPECT_EQ(host.Get("change1", "k"), "change1-2");
    EXPECT_EQ(host.Get("change2", "k"), "change2-2");
    EXPECT_EQ(host.Get("fresh", "k"), "fresh-2");
    EXPECT_EQ(host.Get("keep", "k"), "keep-1");
    EXPECT_EQ(host.Get("drop", "k"), "drop-1");
    EXPECT_TRUE(host.storage.WaitForRecord("drop", ""));
    EXPECT_TRUE(host.storage.WaitForRecord("ostrel.index", Frame(index)));
    EXPECT_TRUE(host.logger.Contains("loadIndex removedrop namespace"));
    EXPECT_TRUE(host.logger.Contains("index updated,begin download update namespace:"));
    host.sdk->unregisterListener("change1", &listener);
  }
}

// Indexes a broken or hostile server might send: each is refused with its
// reason and leaves the index, the values and the store as they were.
TEST(IndexUpdate, RefusedIndexesChangeNothing) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += '[';
  const std::string keepOnly = IndexJson("index-9", "9", kCdn, {{"keep", "1"}});
  const struct {
    const char* name;
    ScriptedResponse response;
    std::string md5;
    const char* message;
    bool counted;  // an "index_rate" failure
  } kCases[] = {
      {"unreachable", Failure(), "", "cdn request failed and auth request failed", true},
      {"empty", Body(""), "", "request sucessfully,but index is empty!!!", true},
      {"not json", Body("{\"appKey\":"), "", "ParseFormJson fail ,index in null", false},
      {"deeply nested", Body(deep), "", "ParseFormJson fail ,index in null", false},
      {"wrong types", Body(R"({"appKey":1})"), "", "ParseFormJson fail ,index in null", false},
      {"same id", Body(IndexJson("index-1", "9", kCdn, {{"keep", "1"}})), "",
       "loadIndex fail , id or version is match", false},
      {"same version", Body(IndexJson("index-9", "1", kCdn, {{"keep", "1"}})), "",
       "loadIndex fail , id or version is match", false},
      {"other app", Body(IndexJson("index-9", "9", kCdn, {{"keep", "1"}}, "other-app")), "",
       "index invaild", true},
      {"no namespaces", Body(IndexJson("index-9", "9", kCdn, {})), "",
       "loadIndex fail , index is not valid", true},
      // Checked before the comparison with the cached index.
      {"invalid and same id", Body(IndexJson("index-1", "9", kCdn, {})), "",
       "loadIndex fail , index is not valid", true},
      // The first of duplicate members counts: here an app key of another app.
      {"duplicate keys", Body("{\"appKey\":\"other-app\"," + keepOnly.substr(1)), "",
       "index invaild", true},
      {"digest of another file", Body(keepOnly), Md5Of("other"), "content is broken!!!", true},
  };
  StoredHost host;
  host.http.RoutePrefix("http://", Failure());  // no signed fallback
  // "late" is listed but not stored; its first download fails, and a later
  // retry loads it. Loaded, it waits no more: each refusal below finds
  // nothing to retry.
  std::vector<NamespaceSpec> listed = StoredHost::Current();
  listed.emplace_back("late", "1");
  StoreIndex(host, listed);
  ASSERT_TRUE(InitEngine(host));
  EXPECT_EQ(host.Get("late", "k", "d"), "d");
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", false));
  ServeConfig(host, listed.back(), {{"k", "late-1"}});
  host.Notice("cdn=cdn.test&resourceId=index-gone&protocol=https");
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true));
  EXPECT_EQ(host.Get("late", "k"), "late-1");
  int round = 0;
  for (const auto& c : kCases) {
    const std::string resourceId = "bad-" + std::to_string(++round);
    host.http.Route(CdnUrl(resourceId), c.response);
    const size_t failures = host.statistics.Count("index_rate", false);
    host.Notice("cdn=cdn.test&resourceId=" + resourceId + "&protocol=https&md5=" + c.md5);
    ASSERT_TRUE(host.logger.WaitFor("no request need retry", round)) << c.name;
    EXPECT_TRUE(host.logger.Contains(c.message)) << c.name;
    EXPECT_EQ(host.statistics.Count("index_rate", false), failures + (c.counted ? 1 : 0))
        << c.name;
  }
  EXPECT_EQ(host.Get("change1", "k"), "change1-1");
  EXPECT_EQ(host.storage.Raw("ostrel.index"), Frame(IndexJson("index-1", "1", kCdn, listed)));
  EXPECT_TRUE(host.storage.Has("drop"));
  EXPECT_EQ(host.storage.clearCalls, 0);
}

// A push is read for its length only, checked for its sender, refused before
// ready, and then loads the namespace it describes.
TEST(IndexUpdate, PushMessageLoadsTheNamespaceItDescribes) {
  StoredHost host;
  NamespaceSpec pushed("change1", "5");
  host.http.Route(CdnUrl(ResourceIdOf(pushed)),
                  Body(ConfigJson("change1", "5", {{"k", "pushed"}}, ResourceIdOf(pushed))));
  const std::string message = NamespaceJson(pushed);
  std::vector<char> data(message.begin(), message.end());
  data.push_back('X');  // not NUL-terminated: only the given length belongs
  const int length = static_cast<int>(message.size());
  host.sdk->PeskUpdateNamespace("ostrel", "d", data.data(), length);
  EXPECT_TRUE(host.logger.Contains("PeskUpdateNamespace:" + message));
  EXPECT_FALSE(host.logger.Contains(message + "X"));
  EXPECT_TRUE(host.logger.Contains("PeskUpdateNamespace: ostrel did not init yet!!!"));
  ASSERT_TRUE(InitEngine(host));

  host.sdk->PeskUpdateNamespace("other", "d", data.data(), length);
  EXPECT_TRUE(host.logger.Contains("PeskUpdateNamespace: server id is not ostrel, butother"));
  char broken[] = "{\"loadLevel\":";
  host.sdk->PeskUpdateNamespace("ostrel", "d", broken, static_cast<int>(sizeof broken - 1));
  host.sdk->PeskUpdateNamespace("ostrel", "d", data.data(), length);
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true));
  EXPECT_EQ(host.Get("change1", "k"), "pushed");
  EXPECT_TRUE(host.logger.Contains("loadLevel data format error"));
}

}  // namespace
}  // namespace OstrelTest
