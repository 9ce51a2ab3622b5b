// Start-up: what is restored from the host's store, and what is downloaded.
#include <gtest/gtest.h>

#include "EngineHost.h"

namespace OstrelTest {
namespace {

TEST(EngineRestore, StoredConfigsAreServedWithoutNetwork) {
  SdkHost host;
  NamespaceSpec standard{"ui", "3"};
  NamespaceSpec custom{"notes", "2"};
  custom.type = "CUSTOM";
  StoreIndex(host, {standard, custom});
  host.storage.PutRaw("ui", Frame(ConfigJson("ui", "3", {{"color", "blue"}, {"size", "9"}})));
  host.storage.PutRaw("notes", Frame(CustomJson("notes", "2", "free text")));
  RecordingListener early;
  host.sdk->registerListener("ui", &early);  // before init: only remembered

  ASSERT_TRUE(InitEngine(host));
  EXPECT_EQ(host.Get("ui", "color"), "blue");
  EXPECT_EQ(host.Get("ui", "missing", "d"), "d");
  EXPECT_EQ(host.Get("notes", "anything", "d"), "d") << "a CUSTOM namespace has no keys";

  char* text = host.sdk->getCustomConfig("notes", "d");
  EXPECT_STREQ(text, "free text");
  host.sdk->freeConfigValue(text);
  // The packed and JSON forms of a STANDARD namespace are the slot table's.
  int count = 0;
  EXPECT_EQ(host.sdk->getConfigs("notes", &count), nullptr);
  EXPECT_EQ(count, 0);

  ASSERT_TRUE(early.WaitForCount(1));
  const Notification restored = early.Notifications()[0];
  EXPECT_EQ(restored.nameSpace, "ui");
  EXPECT_EQ(restored.version, "3");
  EXPECT_TRUE(restored.fromCache);
  EXPECT_EQ(host.http.RequestCount(), 0u);
  EXPECT_TRUE(host.logger.Contains("loadCaches start index"));
  EXPECT_TRUE(host.logger.Contains("loadCaches start restore configs 2"));
  EXPECT_TRUE(host.logger.Contains("loadCaches finish restore configs "));
  EXPECT_FALSE(host.logger.Contains("notMatchNamespaces"));

  // Registered now, a listener of a cached namespace is told once, on this
  // thread, before registerListener returns; a second registration changes
  // nothing.
  RecordingListener late;
  host.sdk->registerListener("ui", &late);
  ASSERT_EQ(late.Count(), 1u);
  EXPECT_EQ(late.Notifications()[0].version, "3");
  EXPECT_TRUE(late.Notifications()[0].fromCache);
  EXPECT_TRUE(host.logger.Contains("registerListener onConfigUpdate , namespace uiversion3"));
  host.sdk->registerListener("ui", &late);
  EXPECT_EQ(late.Count(), 1u);
  host.sdk->unregisterListener("ui", nullptr);
  host.sdk->unregisterListener("unknown", &late);
  host.sdk->unregisterListeners("unknown");
  host.sdk->unregisterListeners("ui");
}

// Which stored namespaces start-up downloads before it declares itself
// ready, and which it leaves for the first read.
TEST(EngineRestore, OutdatedAndMissingHighNamespacesAreLoadedBeforeReady) {
  SdkHost host;
  NamespaceSpec outdated{"outdated", "10"};
  NamespaceSpec current{"current", "9"};
  NamespaceSpec high{"high", "1"};
  high.loadLevel = "HIGH";
  NamespaceSpec broken{"broken", "4"};
  broken.loadLevel = "HIGH";
  NamespaceSpec lazy{"lazy", "1"};
  NamespaceSpec garbled{"garbled", "1"};  // version "abc" stored, reads as 0
  NamespaceSpec notes{"notes", "1"};
  notes.loadLevel = "HIGH";
  notes.type = "CUSTOM";
  StoreIndex(host, {outdated, current, high, broken, lazy, garbled, notes});
  host.storage.PutRaw("outdated", Frame(ConfigJson("outdated", "9", {{"k", "old"}})));
  host.storage.PutRaw("current", Frame(ConfigJson("current", "9", {{"k", "kept"}})));
  host.storage.PutRaw("garbled", Frame(ConfigJson("garbled", "abc", {{"k", "old"}})));
  // A record whose digest no longer matches its value is as good as absent.
  host.storage.PutRaw("broken", Frame(ConfigJson("broken", "4", {{"k", "x"}})) + "tail");
  ServeConfig(host, outdated, {{"k", "new"}});
  ServeConfig(host, high, {{"k", "high"}});
  ServeConfig(host, broken, {{"k", "fixed"}});
  ServeConfig(host, garbled, {{"k", "new"}});
  ServeConfig(host, lazy, {{"k", "lazy"}});
  host.http.Route(CdnUrl("notes-v1"), Body(CustomJson("notes", "1", "free text", "notes-v1")));

  ASSERT_TRUE(InitEngine(host));
  // Everything loaded at start-up is readable the moment ready is signalled.
  EXPECT_EQ(host.Get("outdated", "k"), "new");
  EXPECT_EQ(host.Get("current", "k"), "kept");
  EXPECT_EQ(host.Get("high", "k"), "high");
  EXPECT_EQ(host.Get("broken", "k"), "fixed");
  EXPECT_EQ(host.Get("garbled", "k"), "new");
  char* text = host.sdk->getCustomConfig("notes", "d");
  EXPECT_STREQ(text, "free text");
  host.sdk->freeConfigValue(text);
  EXPECT_TRUE(host.logger.Contains("content is broken"));
  EXPECT_TRUE(host.logger.Contains("loadCaches start load notMatchNamespaces "));
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("current")), 0u);
  EXPECT_EQ(host.http.CountPrefix(CdnUrl("lazy")), 0u) << "DEFAULT waits for its first read";
  EXPECT_EQ(host.statistics.Count("config_rate", true), 5u);
}

// An index that cannot be used clears the store once and is not kept: later
// requests say that no index is known, so the service answers with a whole
// one.
TEST(EngineRestore, UnusableStoredIndexClearsTheStoreOnce) {
  const struct {
    const char* name;
    std::string record;  // empty: no record
    const char* message;
  } kCases[] = {
      {"absent", "", "load index failed"},
      {"other app", Frame(IndexJson("i", "1", kCdn, {{"a"}}, "another-app")), "index invalide"},
      {"no namespaces", Frame(IndexJson("i", "1", kCdn, {})), "index invalide"},
      {"not json", Frame("{{{"), "index invalide"},
      {"bad digest", "0123\n{}", "content is broken"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    SdkHost host;
    if (!c.record.empty()) host.storage.PutRaw("ostrel.index", c.record);
    host.storage.PutRaw("a", Frame(ConfigJson("a", "1", {{"k", "v"}})));
    ASSERT_TRUE(InitEngine(host));
    EXPECT_TRUE(host.logger.Contains(c.message));
    EXPECT_EQ(host.storage.clearCalls, 1);
    EXPECT_EQ(host.Get("a", "k", "d"), "d") << "nothing restored without an index";
#ifdef OSTREL_TEST_SIGN_DIR
    host.http.Route(CdnUrl("index-2"), Failure());
    Ostrel::IOIntercept* intercept = host.sdk->getIntercept();
    intercept->OnOstrelResponse("cdn=cdn.test&md5=&resourceId=index-2&protocol=https");
    host.sdk->releaseIntercept(intercept);
    ASSERT_TRUE(host.http.WaitForRequests(2));
    const RecordedRequest signedRequest = host.http.Requests()[1];
    EXPECT_EQ(signedRequest.url, SignedUrl("index-2"));
    ASSERT_EQ(signedRequest.headers.size(), 8u);
    EXPECT_EQ(signedRequest.headers[7], "o-user-info: app-key%7C1.0.0%7C0%7C0");
#endif
  }
}

// A stored variant that still matches the client is served without a
// request, reported with its candidate's version (a candidate document is
// never queued for its own older version). One chosen under other client
// attributes is served at once and replaced before ready by the variant
// that matches now, in both directions; it stays served when that download
// fails.
TEST(EngineRestore, StoredVariantIsReplacedByTheOneMatchingTheClientNow) {
  const struct {
    const char* name;
    const char* brand;
    const char* storedResource;
    const char* storedVersion;
    const char* fetched;  // null: nothing is
    bool serve;
    const char* expected;
    const char* reported;  // the version the first notification carries
  } kCases[] = {
      {"candidate kept", "acme", "feature-acme", "1", nullptr, true, "stored", "7"},
      {"into a candidate", "acme", "feature-v2", "2", "feature-acme", true, "acme", nullptr},
      {"out of a candidate", "other", "feature-acme", "7", "feature-v2", true, "own", nullptr},
      {"download fails", "acme", "feature-v2", "2", "feature-acme", false, "stored", nullptr},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    SdkHost host;
    NamespaceSpec feature{"feature", "2"};
    feature.candidates = {{"feature-other", "", "m_brand=other-phone", "5"},
                          {"feature-acme", "", "app_ver>=1.0&m_brand=acme", "7"}};
    StoreIndex(host, {feature});
    host.storage.PutRaw("feature", Frame(ConfigJson("feature", c.storedVersion,
                                                    {{"k", "stored"}}, c.storedResource)));
    host.http.RoutePrefix("http://", Failure());
    if (c.serve) {
      host.http.Route(CdnUrl("feature-acme"),
                      Body(ConfigJson("feature", "7", {{"k", "acme"}}, "feature-acme")));
      host.http.Route(CdnUrl("feature-v2"),
                      Body(ConfigJson("feature", "2", {{"k", "own"}}, "feature-v2")));
    }
    RecordingListener listener;
    host.sdk->registerListener("feature", &listener);
    ASSERT_TRUE(InitEngine(host, c.brand));
    EXPECT_EQ(host.Get("feature", "k"), c.expected);
    if (c.fetched == nullptr) {
      EXPECT_EQ(host.http.RequestCount(), 0u);
    } else {
      EXPECT_EQ(host.http.CountPrefix(CdnUrl(c.fetched)), 1u);
    }
    if (c.reported != nullptr) {
      ASSERT_TRUE(listener.WaitForCount(1));
      EXPECT_EQ(listener.Notifications()[0].version, c.reported);
    }
    host.sdk->unregisterListener("feature", &listener);
  }
}

}  // namespace
}  // namespace OstrelTest
