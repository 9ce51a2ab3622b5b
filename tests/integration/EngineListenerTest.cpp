// Listeners: immediate delivery of what is cached, notifications after
// downloads, and listeners that call back into the library.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

class EngineListener : public ::testing::Test {
 protected:
  void SetUp() override {
    cached.name = "cached";
    cached.version = "5";
    StoreIndex(host, {cached, {"remote", "2"}});
    host.storage.PutRaw("cached", Frame(ConfigJson("cached", "5", {{"k", "v"}})));
  }

  SdkHost host;
  NamespaceSpec cached;
};

TEST_F(EngineListener, CachedNamespaceIsDeliveredOnceBeforeRegisterReturns) {
  ASSERT_TRUE(InitEngine(host));
  RecordingListener listener;
  host.sdk->registerListener("cached", &listener);
  ASSERT_EQ(listener.Count(), 1u) << "delivered on the caller's thread";
  EXPECT_EQ(listener.Notifications()[0].version, "5");
  EXPECT_TRUE(listener.Notifications()[0].fromCache);
  EXPECT_TRUE(host.logger.Contains("registerListener onConfigUpdate , namespace cachedversion5"));
  host.sdk->registerListener("cached", &listener);
  EXPECT_EQ(listener.Count(), 1u) << "a second registration changes nothing";
  host.sdk->unregisterListener("cached", nullptr);
  host.sdk->unregisterListener("unknown", &listener);
  host.sdk->unregisterListeners("unknown");
  host.sdk->unregisterListener("cached", &listener);
}

TEST_F(EngineListener, RegisteringForAnUncachedNamespaceLoadsItOnce) {
  ScriptedResponse slow = Body(ConfigJson("remote", "2", {{"k", "r"}}, "remote-v2"));
  slow.delay = std::chrono::milliseconds(200);
  host.http.Route(CdnUrl("remote-v2"), slow);
  ASSERT_TRUE(InitEngine(host));
  RecordingListener first, second;
  host.sdk->registerListener("remote", &first);
  ASSERT_TRUE(host.http.WaitForRequests(1));
  host.sdk->registerListener("remote", &second);  // while the download runs
  ASSERT_TRUE(first.WaitForCount(1));
  ASSERT_TRUE(second.WaitForCount(1));
  EXPECT_FALSE(first.Notifications()[0].fromCache);
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("remote-v2")), 1u);
  EXPECT_EQ(host.Get("remote", "k"), "r");
  host.sdk->unregisterListeners("remote");
}

TEST_F(EngineListener, ListenersMayCallBackIntoTheLibrary) {
  host.http.Route(CdnUrl("remote-v2"), Body(ConfigJson("remote", "2", {{"k", "r"}}, "remote-v2")));
  ASSERT_TRUE(InitEngine(host));
  RecordingListener other;
  RecordingListener reentrant;
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
  EXPECT_EQ(seenInside, "r") << "the new value is readable inside the notification";
  // A host unregisters before it destroys a listener; this also waits for the
  // callback that may still be running on the library's thread.
  host.sdk->unregisterListener("cached", &other);
  host.sdk->unregisterListener("remote", &reentrant);
}

TEST_F(EngineListener, UnregisterWaitsForACallInProgress) {
  host.http.Route(CdnUrl("remote-v2"), Body(ConfigJson("remote", "2", {{"k", "r"}}, "remote-v2")));
  ASSERT_TRUE(InitEngine(host));
  std::atomic<bool> inside{false}, finished{false};
  RecordingListener slow;
  slow.onUpdate = [&](const Notification&) {
    inside = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    finished = true;
  };
  host.sdk->registerListener("remote", &slow);
  while (!inside) std::this_thread::yield();
  host.sdk->unregisterListener("remote", &slow);
  EXPECT_TRUE(finished) << "after unregister returns the listener may be destroyed";
}

}  // namespace
}  // namespace OstrelTest
