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

void Notice(SdkHost& host, const char* text) {
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  ASSERT_NE(intercept, nullptr);
  intercept->OnOstrelResponse(text);
  host.sdk->releaseIntercept(intercept);
}

// Waits until the listener has been told of version, at most ten seconds.
bool WaitForVersion(const RecordingListener& listener, const std::string& version) {
  for (size_t seen = 1; listener.WaitForCount(seen); ++seen) {
    if (listener.Notifications()[seen - 1].version == version) return true;
  }
  return false;
}

// An update that arrives while a namespace's first download is held is not
// lost: an index applied meanwhile (the namespace is neither cached nor
// waiting yet), or a push, after which the loader runs once more with the
// pushed descriptor, newer than the index's.
TEST(UpdateRace, UpdateDuringAFirstDownloadReachesTheNamespace) {
  const struct {
    bool push;
    const char* version;
    const char* line;  // logged once the update has met the running load
  } kCases[] = {{false, "2", "index updated,begin download update namespace:"},
                {true, "3", "loadConfig break as is loading, namespace"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.line);
    SdkHost host;
    NamespaceSpec first{"a", "1"}, next{"a", c.version};
    ServeConfig(host, first, {{"k", "one"}});
    ServeConfig(host, next, {{"k", "next"}});
    host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, {next})));
    host.http.Hold(CdnUrl("a-v1"));
    StoreIndex(host, {first});
    ASSERT_TRUE(InitEngine(host));

    RecordingListener listener;
    host.sdk->registerListener("a", &listener);  // starts the lazy load
    ASSERT_TRUE(host.http.WaitHeld(CdnUrl("a-v1")));
    if (c.push) {
      std::string push = NamespaceJson(next);
      host.sdk->PeskUpdateNamespace("ostrel", "a", &push[0], static_cast<int>(push.size()));
    } else {
      Notice(host, kIndexNotice);
    }
    ASSERT_TRUE(host.logger.WaitFor(c.line));
    host.http.Release(CdnUrl("a-v1"));

    ASSERT_TRUE(WaitForVersion(listener, c.version));
    EXPECT_EQ(host.Get("a", "k"), "next");
    EXPECT_EQ(host.http.CountPrefix(CdnUrl(ResourceIdOf(next))), 1u);
    host.sdk->unregisterListener("a", &listener);
  }
}

class UpdateRaceTest : public ::testing::Test {
 protected:
  void TearDown() override { FinishTeardown(); }

  // Tears the library down on another thread while a request to held is
  // stopped in the client, and returns once the gate is closed: from then on
  // a read of an unknown namespace is turned away without logging its miss.
  void BeginTeardown(const std::string& held) {
    held_ = held;
    teardown_ = std::thread([] { DestroyIOstrelConfig(); });
    const std::string miss = "getConfigObj , namespace probe ... null";
    bool closed = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!closed && std::chrono::steady_clock::now() < deadline) {
      const size_t before = host.logger.Count(miss);
      host.Get("probe", "k");
      closed = host.logger.Count(miss) == before;
    }
    ASSERT_TRUE(closed);
  }
  // Lets the held request go and waits until teardown has returned.
  void FinishTeardown() {
    if (!teardown_.joinable()) return;
    host.http.Release(held_);
    teardown_.join();
  }

  SdkHost host;

 private:
  std::string held_;
  std::thread teardown_;
};

// Start-up is not finished until the stored caches are restored and the
// namespaces they lack are loaded: until then update checks and notices are
// refused rather than run against a half-restored cache.
TEST_F(UpdateRaceTest, NotReadyUntilStartUpHasLoadedWhatItMust) {
  NamespaceSpec high{"high", "1"};
  high.loadLevel = "HIGH";
  ServeConfig(host, high, {{"k", "v"}});
  host.http.Hold(CdnUrl("high-v1"));
  StoreIndex(host, {high});
  ASSERT_TRUE(host.Init([](Ostrel::IOConfig* config) { config->setHost(kApiHost); }));
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("high-v1")));

  EXPECT_TRUE(host.sdk->forceCheckUpdate()) << "refused, but not a failure";
  Notice(host, kIndexNotice);
  const auto refused = host.logger.Find("forceCheckUpdate fail as not finish ostrel init");
  EXPECT_EQ(refused.method, "ForceCheckUpdate");
  EXPECT_EQ(refused.level, 3);
  EXPECT_TRUE(host.logger.Contains("ostrel did not init yet!!!"));
  EXPECT_EQ(host.initListener.Calls(), 0);
  host.http.Release(CdnUrl("high-v1"));
  ASSERT_TRUE(host.initListener.WaitForCall());
  EXPECT_EQ(host.Get("high", "k"), "v");
  EXPECT_EQ(host.http.RequestCount(), 1u);
}

// A document is stored as soon as it is cached, even while the same update
// is still downloading the next namespace.
TEST_F(UpdateRaceTest, DownloadedDocumentsAreStoredWhileTheUpdateGoesOn) {
  NamespaceSpec a1{"a", "1"}, b1{"b", "1"}, a2{"a", "2"}, b2{"b", "2"};
  StoreIndex(host, {a1, b1});
  host.storage.PutRaw("a", Frame(ConfigJson("a", "1", {{"k", "a1"}}, "a-v1")));
  host.storage.PutRaw("b", Frame(ConfigJson("b", "1", {{"k", "b1"}}, "b-v1")));
  const std::string a2Body = ServeConfig(host, a2, {{"k", "a2"}});
  ServeConfig(host, b2, {{"k", "b2"}});
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, {a2, b2})));
  host.http.Hold(CdnUrl("b-v2"));
  ASSERT_TRUE(InitEngine(host));

  Notice(host, kIndexNotice);
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("b-v2")));
  EXPECT_TRUE(host.storage.WaitForRecord("a", Frame(a2Body), std::chrono::seconds(5)));
  host.http.Release(CdnUrl("b-v2"));
}

// Teardown during a download waits for it and stores what it brought. An
// interceptor asked for meanwhile is still an object the host can call and
// release; it does nothing.
TEST_F(UpdateRaceTest, TeardownWaitsForADownloadInFlightAndKeepsItsResult) {
  NamespaceSpec a{"a", "1"};
  const std::string body = ServeConfig(host, a, {{"k", "v"}});
  host.http.Hold(CdnUrl("a-v1"));
  StoreIndex(host, {a});
  ASSERT_TRUE(InitEngine(host));
  EXPECT_EQ(host.Get("a", "k", "d"), "d");
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("a-v1")));

  BeginTeardown(CdnUrl("a-v1"));
  Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
  ASSERT_NE(intercept, nullptr);
  intercept->OnOstrelResponse(kIndexNotice);
  host.sdk->releaseIntercept(intercept);
  FinishTeardown();
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("index-2")), 0u);
  EXPECT_EQ(host.storage.Raw("a"), Frame(body));
}

// Teardown stops an index application between two downloads: of 20 000
// namespaces to fetch, it lets the one in flight end and starts few more.
// The held request goes on once the gate is closed, a moment before the
// engine is told to stop, so a handful may follow; never the whole index.
TEST_F(UpdateRaceTest, TeardownStopsALongUpdateBetweenDownloads) {
  constexpr int kNamespaces = 20000;
  StoreIndex(host, {{"first", "1"}});
  std::vector<NamespaceSpec> many;
  for (int i = 0; i < kNamespaces; ++i) {
    NamespaceSpec ns{"ns" + std::to_string(i), "1"};
    ns.loadLevel = "HIGH";
    many.push_back(ns);
    ServeConfig(host, ns, {{"k", "v"}});
  }
  host.http.Hold(CdnUrl("ns"));
  host.http.Route(CdnUrl("index-2"), Body(IndexJson("index-2", "2", kCdn, many)));
  ASSERT_TRUE(InitEngine(host));

  Notice(host, kIndexNotice);
  ASSERT_TRUE(host.http.WaitHeld(CdnUrl("ns")));
  const std::string held = host.http.Requests().back().url;  // https://cdn.test/nsN-v1
  const std::string name = held.substr(CdnUrl("").size(), held.size() - CdnUrl("").size() - 3);
  BeginTeardown(CdnUrl("ns"));
  FinishTeardown();
  EXPECT_EQ(host.storage.Raw(name), Frame(ConfigJson(name, "1", {{"k", "v"}}, name + "-v1")))
      << "the engine outlived the download in flight";
  EXPECT_LT(host.http.CountPrefix(CdnUrl("ns")), static_cast<size_t>(kNamespaces / 2));
  EXPECT_TRUE(host.storage.Has("ostrel.index")) << "what was stored before is kept";
}

}  // namespace
}  // namespace OstrelTest
