// The config cache built alone: a store of the test's, writes run when the
// test says.
#include "cache/ConfigCache.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Documents.h"
#include "ScopedLogCapture.h"
#include "MemoryStorage.h"
#include "TestExecutors.h"
#include "model/IndexDO.h"

namespace Ostrel {
namespace {

using OstrelTest::ConfigJson;
using OstrelTest::Frame;
using OstrelTest::NamespaceSpec;

const AppScope kApp{OstrelTest::kAppKey, OstrelTest::kAppVersion};

class ConfigCacheTest : public OstrelTest::LoggerFixture {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    manager.SetStorage(&storage);
  }

  std::unique_ptr<ConfigCache> NewCache() {
    ConfigCacheHooks hooks;
    hooks.onServed = [this](const std::string& name) { served.push_back(name); };
    hooks.notify = [this](const std::string& name, const std::string& version, bool fromCache) {
      notified.push_back(name + "@" + version + (fromCache ? " cached" : " downloaded"));
    };
    return std::make_unique<ConfigCache>(&manager, &writes, std::move(hooks));
  }

  // The value of key in the cached document of name, or "-" without one.
  static std::string Value(const ConfigCache& cache, const std::string& name,
                           const std::string& key) {
    const std::shared_ptr<ConfigDO> document = cache.Get(name);
    if (!document) return "-";
    std::string_view value;
    return document->content.Find(key, &value) ? std::string(value) : "?";
  }

  OstrelTest::MemoryStorage storage;
  StorageManager manager;
  OstrelTest::ManualExecutor writes;
  std::vector<std::string> served;
  std::vector<std::string> notified;
};

// What a restore makes of each kind of stored record.
TEST_F(ConfigCacheTest, RestoreServesUsableRecordsAndNamesWhatMustBeLoaded) {
  NamespaceSpec good("good", "3"), older("older", "5"), missingHigh("missing-high", "1"),
      missingLow("missing-low", "1"), broken("broken", "1"), foreign("zz-foreign", "1"),
      otherApp("other-app", "1"), reserved("ostrel.index", "1");
  missingHigh.loadLevel = "HIGH";
  broken.loadLevel = "HIGH";
  foreign.loadLevel = "HIGH";
  storage.PutRaw("good", Frame(ConfigJson("good", "3", {{"k", "good"}})));
  storage.PutRaw("older", Frame(ConfigJson("older", "4", {{"k", "older-4"}})));
  storage.PutRaw("broken", Frame(ConfigJson("broken", "1", {{"k", "v"}})) + "tail");
  // A record that names another namespace must not stand in for that one.
  storage.PutRaw("zz-foreign", Frame(ConfigJson("good", "9", {{"k", "impostor"}})));
  storage.PutRaw("other-app",
                 Frame(ConfigJson("other-app", "1", {{"k", "v"}}, "", "another-app")));
  const std::string indexRecord = "not touched by a config restore";
  storage.PutRaw("ostrel.index", indexRecord);
  const auto index = IndexDO::ParseFormJson(OstrelTest::IndexJson(
      "i", "1", "cdn", {good, older, missingHigh, missingLow, broken, foreign, otherApp, reserved}));
  ASSERT_NE(index, nullptr);

  auto cache = NewCache();
  const ConfigCache::NamespaceMap toLoad = cache->RestoreFromIndex(index, ClientAttributes(), kApp);

  std::vector<std::string> names;
  for (const auto& entry : toLoad) names.push_back(entry.first);
  EXPECT_EQ(names, (std::vector<std::string>{"broken", "missing-high", "older", "zz-foreign"}));
  EXPECT_EQ(Value(*cache, "good", "k"), "good");
  EXPECT_EQ(Value(*cache, "older", "k"), "older-4");
  for (const char* absent : {"missing-high", "missing-low", "broken", "zz-foreign", "other-app",
                             "ostrel.index"}) {
    EXPECT_EQ(Value(*cache, absent, "k"), "-") << absent;
  }
  EXPECT_TRUE(cache->Get("good")->restored);
  EXPECT_EQ(served, (std::vector<std::string>{"good", "older"}));
  EXPECT_EQ(notified, (std::vector<std::string>{"good@3 cached", "older@4 cached"}));
  EXPECT_TRUE(logger.Contains("restore skip , namespace is occupied by sdk: ostrel.index"));
  EXPECT_EQ(storage.Raw("ostrel.index"), indexRecord);
  EXPECT_EQ(writes.Queued(), 0u) << "a restore writes nothing back";
}

// The stored variant is served until the one the client matches now arrives.
TEST_F(ConfigCacheTest, RestoreReloadsAVariantTheClientNoLongerMatches) {
  NamespaceSpec ns("ui", "1");
  ns.candidates.push_back({"ui-acme", "", "m_brand=acme", "7"});
  storage.PutRaw("ui", Frame(ConfigJson("ui", "7", {{"k", "acme"}}, "ui-acme")));
  const std::string index = OstrelTest::IndexJson("i", "1", "cdn", {ns});
  Settings acmeClient;
  acmeClient.brand = "acme";

  // Each start restores from an index of its own.
  auto stillAcme = NewCache();
  EXPECT_TRUE(stillAcme
                  ->RestoreFromIndex(IndexDO::ParseFormJson(index),
                                     *ClientAttributes::Build(acmeClient), kApp)
                  .empty());
  EXPECT_NE(stillAcme->Get("ui")->candidate, nullptr);

  auto nowOther = NewCache();
  EXPECT_EQ(
      nowOther->RestoreFromIndex(IndexDO::ParseFormJson(index), ClientAttributes(), kApp).count("ui"),
      1u);
  EXPECT_EQ(Value(*nowOther, "ui", "k"), "acme");
}

// Writes of one namespace are coalesced: whatever order the executor runs
// them in, the newest document is the one stored.
TEST_F(ConfigCacheTest, CachedDocumentsAreStoredNewestLast) {
  auto cache = NewCache();
  const std::string first = ConfigJson("ui", "1", {{"k", "one"}});
  const std::string second = ConfigJson("ui", "2", {{"k", "two"}});
  cache->Cache(ConfigDO::ParseFromJson(first));
  cache->Cache(ConfigDO::ParseFromJson(second));
  cache->Cache(nullptr);
  EXPECT_EQ(Value(*cache, "ui", "k"), "two") << "readable before it is stored";
  EXPECT_EQ(writes.Queued(), 1u);
  EXPECT_EQ(notified, (std::vector<std::string>{"ui@1 downloaded", "ui@2 downloaded"}));

  writes.RunAll();
  EXPECT_EQ(storage.Raw("ui"), Frame(second));
  EXPECT_EQ(storage.saveCalls.load(), 1);
}

TEST_F(ConfigCacheTest, RemoveDeletesTheRecordButKeepsTheValueReadable) {
  auto cache = NewCache();
  cache->Cache(ConfigDO::ParseFromJson(ConfigJson("ui", "1", {{"k", "v"}})));
  writes.RunAll();
  cache->Remove("ui");
  cache->Remove("");
  writes.RunAll();
  EXPECT_FALSE(storage.Has("ui"));
  EXPECT_EQ(storage.removeCalls.load(), 1);
  EXPECT_EQ(Value(*cache, "ui", "k"), "v");
}

// At teardown the executor has stopped; what it refused is written when the
// cache goes.
TEST_F(ConfigCacheTest, WritesTheExecutorRefusedAreFlushedAtDestruction) {
  auto cache = NewCache();
  writes.closed = true;
  const std::string text = ConfigJson("ui", "1", {{"k", "v"}});
  cache->Cache(ConfigDO::ParseFromJson(text));
  cache->Cache(ConfigDO::ParseFromJson(ConfigJson("gone", "1", {{"k", "v"}})));
  cache->Remove("gone");
  storage.PutRaw("gone", "stale");
  EXPECT_TRUE(storage.Has("gone"));
  cache.reset();
  EXPECT_EQ(storage.Raw("ui"), Frame(text));
  EXPECT_FALSE(storage.Has("gone"));
}

}  // namespace
}  // namespace Ostrel
