// Loads racing index updates, pushes and teardown. Each race is staged with
// requests that the scripted client holds until the test lets them go.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

const char kIndexNotice[] = "cdn=cdn.test&md5=&resourceId=index-2&protocol=https";

class UpdateRace : public ::testing::Test {
 protected:
  void Notice(const char* text) {
    Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
    ASSERT_NE(intercept, nullptr);
    intercept->OnOstrelResponse(text);
    host.sdk->releaseIntercept(intercept);
  }

  // Waits until the listener has been told of version, at most ten seconds.
  static bool WaitForVersion(const RecordingListener& listener, const std::string& version) {
    for (size_t seen = 1; listener.WaitForCount(seen); ++seen) {
      if (listener.Notifications()[seen - 1].version == version) return true;
    }
    return false;
  }

  SdkHost host;
};

// The index brings a newer version of a namespace whose first download is
// still running; the namespace is neither cached nor waiting yet.
TEST_F(UpdateRace, IndexAppliedDuringAFirstDownloadReachesTheNamespace) {
  NamespaceSpec v1{"a", "1"}, v2{"a", "2"};
  ServeConfig(host, v1, {{"k", "one"}});
  ServeConfig(host, v2, {{"k", "two"}});
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, {v2})));
  host.http.Hold(CdnUrl("a-v1"));
  StoreIndex(host, {v1});
  ASSERT_TRUE(InitEngine(host));

  RecordingListener listener;
  host.sdk->registerListener("a", &listener);  // starts the lazy load of v1
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("a-v1")));
  Notice(kIndexNotice);
  ASSERT_TRUE(host.logger.WaitFor("index updated,begin download update namespace:"));
  host.http.Release(CdnUrl("a-v1"));

  ASSERT_TRUE(WaitForVersion(listener, "2"));
  EXPECT_EQ(host.Get("a", "k"), "two");
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("a-v2")), 1u);
  host.sdk->unregisterListener("a", &listener);
}

// A namespace read before any index listed it waits; the index that brings
// it loads it at once.
TEST_F(UpdateRace, WaitingNamespaceIsLoadedByTheIndexThatListsIt) {
  NamespaceSpec other{"other", "1"}, a{"a", "1"};
  ServeConfig(host, a, {{"k", "one"}});
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, {other, a})));
  StoreIndex(host, {other});
  ASSERT_TRUE(InitEngine(host));
  EXPECT_EQ(host.Get("a", "k", "d"), "d");

  Notice(kIndexNotice);
  ASSERT_TRUE(host.statistics.WaitFor("config_rate", true));
  EXPECT_EQ(host.Get("a", "k"), "one");
}

// Start-up is not finished until the stored caches are restored and the
// namespaces they lack are loaded: until then update checks and notices are
// refused rather than run against a half-restored cache.
TEST_F(UpdateRace, NotReadyUntilStartUpHasLoadedWhatItMust) {
  NamespaceSpec high{"high", "1"};
  high.loadLevel = "HIGH";
  ServeConfig(host, high, {{"k", "v"}});
  host.http.Hold(CdnUrl("high-v1"));
  StoreIndex(host, {high});
  ASSERT_TRUE(host.Init([](Ostrel::IOConfig* config) { config->setHost(kApiHost); }));
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("high-v1")));

  host.sdk->forceCheckUpdate();
  Notice(kIndexNotice);
  EXPECT_TRUE(host.logger.Contains("forceCheckUpdate fail as not finish ostrel init"));
  EXPECT_TRUE(host.logger.Contains("ostrel did not init yet!!!"));
  EXPECT_EQ(host.initListener.Calls(), 0);
  host.http.Release(CdnUrl("high-v1"));
  ASSERT_TRUE(host.initListener.WaitForCall());
  EXPECT_EQ(host.Get("high", "k"), "v");
  EXPECT_EQ(host.http.RequestCount(), 1u);
}

// A push for a namespace that is loading is not dropped: the loader runs
// once more, with the pushed descriptor, which is newer than the index's.
TEST_F(UpdateRace, PushDuringALoadIsLoadedRightAfterIt) {
  NamespaceSpec v1{"a", "1"}, v3{"a", "3"};
  ServeConfig(host, v1, {{"k", "one"}});
  ServeConfig(host, v3, {{"k", "three"}});
  host.http.Hold(CdnUrl("a-v1"));
  StoreIndex(host, {v1});
  ASSERT_TRUE(InitEngine(host));

  RecordingListener listener;
  host.sdk->registerListener("a", &listener);
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("a-v1")));
  std::string push = NamespaceJson(v3);
  host.sdk->PeskUpdateNamespace("ostrel", "a", &push[0], static_cast<int>(push.size()));
  ASSERT_TRUE(host.logger.WaitFor("loadConfig break as is loading, namespace"));
  host.http.Release(CdnUrl("a-v1"));

  ASSERT_TRUE(WaitForVersion(listener, "3"));
  EXPECT_EQ(host.Get("a", "k"), "three");
  host.sdk->unregisterListener("a", &listener);
}

// A document is stored as soon as it is cached, even while the same update
// is still downloading the next namespace.
TEST_F(UpdateRace, DownloadedDocumentsAreStoredWhileTheUpdateGoesOn) {
  NamespaceSpec a1{"a", "1"}, b1{"b", "1"}, a2{"a", "2"}, b2{"b", "2"};
  StoreIndex(host, {a1, b1});
  host.storage.PutRaw("a", Frame(ConfigJson("a", "1", {{"k", "a1"}}, "a-v1")));
  host.storage.PutRaw("b", Frame(ConfigJson("b", "1", {{"k", "b1"}}, "b-v1")));
  const std::string a2Body = ServeConfig(host, a2, {{"k", "a2"}});
  ServeConfig(host, b2, {{"k", "b2"}});
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, {a2, b2})));
  host.http.Hold(CdnUrl("b-v2"));
  ASSERT_TRUE(InitEngine(host));

  Notice(kIndexNotice);
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("b-v2")));
  EXPECT_TRUE(host.storage.WaitForRecord("a", Frame(a2Body), std::chrono::seconds(5)));
  host.http.Release(CdnUrl("b-v2"));
}

// Teardown stops an index application between two downloads: with 20 000
// slow namespaces to fetch it returns after the one in flight.
TEST_F(UpdateRace, TeardownDuringALongUpdateWaitsForOneRequestOnly) {
  constexpr int kNamespaces = 20000;
  NamespaceSpec first{"first", "1"};
  StoreIndex(host, {first});
  std::vector<NamespaceSpec> many;
  for (int i = 0; i < kNamespaces; ++i) {
    NamespaceSpec ns{"ns" + std::to_string(i), "1"};
    ns.loadLevel = "HIGH";
    many.push_back(ns);
  }
  ScriptedResponse slow = Body("{}");
  slow.delay = std::chrono::milliseconds(20);
  host.http.RoutePrefix(CdnUrl("ns"), slow);
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, many)));
  ASSERT_TRUE(InitEngine(host));

  Notice(kIndexNotice);
  ASSERT_TRUE(host.http.WaitForRequests(3));
  const auto started = std::chrono::steady_clock::now();
  DestroyIOstrelConfig();
  const auto took = std::chrono::steady_clock::now() - started;
  EXPECT_LT(took, std::chrono::seconds(2));
  EXPECT_LT(host.http.RequestCount(), 200u);
  // What was stored before is kept.
  EXPECT_TRUE(host.storage.Has("ostrel.index"));
}

// An interceptor asked for while the library is torn down is still an
// object the host can call and release; it does nothing.
TEST_F(UpdateRace, InterceptorDuringTeardownIsHarmless) {
  NamespaceSpec a{"a", "1"};
  ServeConfig(host, a, {{"k", "v"}});
  host.http.Hold(CdnUrl("a-v1"));
  StoreIndex(host, {a});
  ASSERT_TRUE(InitEngine(host));
  host.Get("a", "k");
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("a-v1")));

  std::thread teardown([] { DestroyIOstrelConfig(); });
  struct Finish {
    ~Finish() {
      http.Release(CdnUrl("a-v1"));
      thread.join();
    }
    ScriptedHttpClient& http;
    std::thread& thread;
  } finish{host.http, teardown};
  // The gate closes before teardown waits for the download: from then on a
  // read of an unknown namespace is turned away without logging its miss.
  const std::string miss = "getConfigObj , namespace probe ... null";
  bool closed = false;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!closed && std::chrono::steady_clock::now() < deadline) {
    const size_t before = host.logger.Count(miss);
    host.Get("probe", "k");
    closed = host.logger.Count(miss) == before;
  }
  ASSERT_TRUE(closed);
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  ASSERT_NE(intercept, nullptr);
  intercept->OnOstrelResponse(kIndexNotice);
  host.sdk->releaseIntercept(intercept);
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("index-2")), 0u);
}

}  // namespace
}  // namespace OstrelTest
