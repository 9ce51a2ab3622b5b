// Namespace downloads after start-up: lazy loads, fallbacks, failures and
// retries, candidates, reserved names, what is stored and who is told.
#include <gtest/gtest.h>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

class EngineLoad : public ::testing::Test {
 protected:
  // Starts the library with an index of the given namespaces, none stored.
  void Start(const std::vector<NamespaceSpec>& namespaces, const std::string& brand = "acme") {
    StoreIndex(host, namespaces);
    ASSERT_TRUE(InitEngine(host, brand));
  }

  // Reads until the value arrives or the listener has heard of a change.
  std::string ReadAfterLoad(const std::string& nameSpace, const std::string& key) {
    RecordingListener listener;
    host.sdk->registerListener(nameSpace.c_str(), &listener);
    listener.WaitForCount(1);
    host.sdk->unregisterListener(nameSpace.c_str(), &listener);
    return host.Get(nameSpace, key);
  }

  SdkHost host;
};

// Before ready a read or a registration is only remembered. After it, a
// registration loads the namespace once, whatever else asks meanwhile, and
// every listener hears of the download.
TEST_F(EngineLoad, LazyLoadRunsOnceWhateverAsksMeanwhile) {
  NamespaceSpec lazy{"lazy", "1"};
  const std::string body = ServeConfig(host, lazy, {{"k", "v"}});
  host.http.Hold(CdnUrl("lazy-v1"));
  RecordingListener early, first, during;
  host.sdk->registerListener("lazy", &early);
  EXPECT_EQ(host.Get("lazy", "k", "d"), "d");
  EXPECT_EQ(host.http.RequestCount(), 0u);
  Start({lazy});
  EXPECT_EQ(host.http.RequestCount(), 0u) << "a waiting DEFAULT namespace waits for an index";

  host.sdk->registerListener("lazy", &first);
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("lazy-v1")));
  for (int i = 0; i < 50; ++i) EXPECT_EQ(host.Get("lazy", "k", "d"), "d");
  host.sdk->registerListener("lazy", &during);
  host.http.Release(CdnUrl("lazy-v1"));
  for (RecordingListener* listener : {&early, &first, &during}) {
    ASSERT_TRUE(listener->WaitForCount(1));
    EXPECT_EQ(listener->Notifications()[0].version, "1");
    EXPECT_FALSE(listener->Notifications()[0].fromCache);
  }
  EXPECT_EQ(host.Get("lazy", "k"), "v");
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("lazy-v1")), 1u);
  // The stored record is the document as served: digest line, then its JSON.
  EXPECT_TRUE(host.storage.WaitForRecord("lazy", Frame(body)));
  // Counted once the document is cached, after its listeners were told.
  EXPECT_TRUE(host.statistics.WaitFor("config_rate", true, 1));
  EXPECT_EQ(host.statistics.Count("config_rate", true), 1u);
  host.sdk->unregisterListeners("lazy");
}

TEST_F(EngineLoad, CdnFailureFallsBackToTheSignedApi) {
  NamespaceSpec ns{"fallback", "2"};
  const std::string body = ConfigJson("fallback", "2", {{"k", "signed"}}, ResourceIdOf(ns));
  ns.md5 = Md5Of(body);
  host.http.Route(CdnUrl(ResourceIdOf(ns)), Failure());
  host.http.RoutePrefix(SignedUrl(ResourceIdOf(ns)), Body(body));
  Start({ns});
#ifdef OSTREL_TEST_SIGN_DIR
  EXPECT_EQ(ReadAfterLoad("fallback", "k"), "signed");
  const auto requests = host.http.Requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].url, CdnUrl("fallback-v2"));
  EXPECT_EQ(requests[1].url, SignedUrl("fallback-v2"));
  EXPECT_EQ(requests[1].headerCount, 8u);
#else
  GTEST_SKIP() << "no stand-in signing library on this platform";
#endif
}

// A failed download reports why, stores nothing and keeps the namespace
// waiting: an update notice that brings no new index retries it.
TEST_F(EngineLoad, FailedDownloadsReportWhyAndAreRetried) {
  NamespaceSpec down{"down", "1"};
  NamespaceSpec empty{"empty", "1"};
  NamespaceSpec garbage{"garbage", "1"};
  NamespaceSpec tampered{"tampered", "1"};
  NamespaceSpec foreign{"foreign", "1"};
  tampered.md5 = Md5Of("what the index announced");
  host.http.RoutePrefix("http://", Failure());  // no signed fallback either
  host.http.Route(CdnUrl(ResourceIdOf(down)), Failure());
  host.http.Route(CdnUrl(ResourceIdOf(empty)), Body(""));
  host.http.Route(CdnUrl(ResourceIdOf(garbage)), Body("{not json"));
  host.http.Route(CdnUrl(ResourceIdOf(tampered)), Body(ConfigJson("tampered", "1", {{"k", "v"}})));
  // A document that names another namespace must not be cached for this one.
  host.http.Route(CdnUrl(ResourceIdOf(foreign)), Body(ConfigJson("down", "1", {{"k", "v"}})));
  Start({down, empty, garbage, tampered, foreign});

  const struct {
    const char* name;
    const char* code;
  } kCases[] = {{"down", "download error"},
                {"empty", "config is empty"},
                {"garbage", "config content error"},
                {"tampered", "download error"},
                {"foreign", "config content error"}};
  for (const auto& c : kCases) host.Get(c.name, "k");
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", false, 5));
  for (const auto& c : kCases) {
    bool found = false;
    for (const Commit& commit : host.statistics.Commits()) {
      if (commit.arg == c.name) {
        found = true;
        EXPECT_FALSE(commit.success) << c.name;
        EXPECT_EQ(commit.code, c.code) << c.name;
        EXPECT_EQ(commit.module, "OstrelConfig");
      }
    }
    EXPECT_TRUE(found) << c.name;
    EXPECT_EQ(host.Get(c.name, "k", "d"), "d") << c.name;
  }
  EXPECT_TRUE(host.logger.Contains("download error, resourceId:down-v1"));
  EXPECT_TRUE(host.logger.Contains("download sucessfully,but config is empty"));
  EXPECT_TRUE(host.logger.Contains("download sucessfully,but config content error"));
  EXPECT_TRUE(host.logger.Contains("content is broken!!!"));
  EXPECT_FALSE(host.storage.Has("down")) << "nothing stored for a failure";

  // Each is retried when an update notice brings no new index.
  host.http.Route(CdnUrl("index-file"),
                  Body(IndexJson("index-1", "1", kCdn, {down, empty, garbage, tampered, foreign})));
  for (const NamespaceSpec& ns : {down, empty, garbage, foreign}) {
    ServeConfig(host, ns, {{"k", ns.name}});
  }
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  intercept->OnOstrelResponse("cdn=cdn.test&md5=&resourceId=index-file&protocol=https");
  host.sdk->releaseIntercept(intercept);
  ASSERT_TRUE(host.logger.WaitFor("retryFailRequests ,finish load retryNamespaces"));
  EXPECT_TRUE(host.logger.Contains("loadIndex fail , id or version is match"));
  // A failure still loading when the retry came is loaded by its own loader.
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true, 4));
  for (const NamespaceSpec& ns : {down, empty, garbage, foreign}) {
    EXPECT_EQ(host.Get(ns.name, "k"), ns.name);
  }
  EXPECT_EQ(host.Get("tampered", "k", "d"), "d");
}

// A read after a failed load asks again: the lazy load that failed does not
// leave the namespace marked as queued.
TEST_F(EngineLoad, AReadAfterAFailedLoadAsksAgain) {
  NamespaceSpec down{"down", "1"};
  host.http.RoutePrefix("http://", Failure());
  host.http.Route(CdnUrl(ResourceIdOf(down)), Failure());
  Start({down});
  EXPECT_EQ(host.Get("down", "k", "d"), "d");
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", false));
  // The failed load may still be finishing: read until one more is asked.
  bool again = false;
  for (int i = 0; i < 100 && !again; ++i) {
    EXPECT_EQ(host.Get("down", "k", "d"), "d");
    again = host.statistics.WaitFor("config_rate", false, 2, std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(again);
}

// The candidate the client matches replaces the namespace's own resource,
// and listeners hear the candidate's version, whenever they register; the
// variant's document carries a version of its own. Without a match the
// namespace's own resource is used.
TEST(EngineLoadCandidates, TheCandidateTheClientMatchesReplacesTheOwnResource) {
  const struct {
    const char* brand;
    const char* value;
    const char* version;
    const char* mismatch;  // the log line of the last candidate tried in vain
    size_t ownDownloads;
  } kCases[] = {{"acme", "acme", "9", "match fail, key:app_ver", 0},
                {"other-brand", "own", "3", "match fail, key:m_brand", 1}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.brand);
    SdkHost host;
    NamespaceSpec feature{"feature", "3"};
    feature.candidates = {
        {"feature-beta", "", "app_ver<1.0", "8"},
        {"feature-acme", "", "app_ver>=1.0&m_brand=acme&did_hash=100_0-99", "9"}};
    host.http.Route(CdnUrl("feature-acme"),
                    Body(ConfigJson("feature", "4", {{"k", "acme"}}, "feature-acme")));
    ServeConfig(host, feature, {{"k", "own"}});
    StoreIndex(host, {feature});
    ASSERT_TRUE(InitEngine(host, c.brand));
    RecordingListener before, after;
    host.sdk->registerListener("feature", &before);
    ASSERT_TRUE(before.WaitForCount(1));
    EXPECT_EQ(host.Get("feature", "k"), c.value);
    EXPECT_EQ(host.http.CountPrefix(CdnUrl("feature-v3")), c.ownDownloads);
    host.sdk->registerListener("feature", &after);
    ASSERT_EQ(after.Count(), 1u);
    EXPECT_EQ(before.Notifications()[0].version, c.version);
    EXPECT_EQ(after.Notifications()[0].version, c.version);
    EXPECT_TRUE(host.logger.Contains(c.mismatch));
    host.sdk->unregisterListeners("feature");
  }
}

// "ostrel" and "ostrel.index" belong to the library: an index that lists
// them, stored or downloaded, never gets them loaded or stored, so the
// stored index cannot be overwritten by a namespace record.
TEST_F(EngineLoad, ReservedNamesInAnIndexAreNeverLoadedOrStored) {
  std::vector<NamespaceSpec> first, second;
  for (const char* name : {"ostrel", "ostrel.index", "x"}) {
    for (const char* version : {"1", "2"}) {
      NamespaceSpec ns{name, version};
      ns.loadLevel = "HIGH";
      ServeConfig(host, ns, {{"k", std::string("v") + version}});
      (version[0] == '1' ? first : second).push_back(ns);
    }
  }
  Start(first);  // the stored index lists them
  EXPECT_EQ(host.Get("x", "k"), "v1");
  const std::string index = IndexJson("index-2", "2", kCdn, second);
  host.http.Route(CdnUrl("index-2"), Body(index));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  intercept->OnOstrelResponse("cdn=cdn.test&md5=&resourceId=index-2&protocol=https");
  host.sdk->releaseIntercept(intercept);
  // One warning each at start-up and for the new index.
  ASSERT_TRUE(host.logger.WaitFor("namespace is occupied by sdk: ostrel.index", 2));
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true, 2));
  EXPECT_EQ(host.Get("x", "k"), "v2");
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("ostrel")), 0u);
  EXPECT_TRUE(host.storage.WaitForRecord("ostrel.index", Frame(index)));
  EXPECT_FALSE(host.storage.Has("ostrel"));
}

// A listener may read, unregister itself and register others from inside its
// call; the new value is readable there.
TEST_F(EngineLoad, ListenersMayCallBackIntoTheLibrary) {
  NamespaceSpec cached{"cached", "5"}, remote{"remote", "2"};
  host.storage.PutRaw("cached", Frame(ConfigJson("cached", "5", {{"k", "v"}})));
  ServeConfig(host, remote, {{"k", "r"}});
  Start({cached, remote});
  RecordingListener other, reentrant;
  std::string seenInside;
  reentrant.onUpdate = [&](const Notification& n) {
    seenInside = host.Get(n.nameSpace, "k");
    host.sdk->unregisterListener(n.nameSpace.c_str(), &reentrant);
    host.sdk->registerListener("cached", &other);
  };
  host.sdk->registerListener("remote", &reentrant);
  // other is told from inside the callback, after seenInside was written.
  ASSERT_TRUE(other.WaitForCount(1));
  EXPECT_TRUE(other.Notifications()[0].fromCache);
  EXPECT_EQ(seenInside, "r");
  // Unregistering also waits for the callback that may still be running.
  host.sdk->unregisterListener("cached", &other);
  host.sdk->unregisterListener("remote", &reentrant);
}

}  // namespace
}  // namespace OstrelTest
