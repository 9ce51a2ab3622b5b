// The index cache built alone: a store of the test's, writes run when the
// test says, and the identity it reports recorded.
#include "cache/IndexCache.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Documents.h"
#include "ScopedLogCapture.h"
#include "MemoryStorage.h"
#include "TestExecutors.h"

namespace Ostrel {
namespace {

using OstrelTest::Frame;
using OstrelTest::IndexJson;
using OstrelTest::NamespaceSpec;

const AppScope kApp{OstrelTest::kAppKey, OstrelTest::kAppVersion};

class IndexCacheTest : public OstrelTest::LoggerFixture {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    manager.SetStorage(&storage);
  }

  // Index JSON with the two versions of the identity.
  static std::string Versioned(const std::string& id, const std::vector<NamespaceSpec>& namespaces,
                               const std::string& appKey = OstrelTest::kAppKey) {
    std::string json = IndexJson(id, "v-" + id, "cdn", namespaces, appKey);
    auto document = IndexDO::ParseFormJson(json);
    document->appIndexVersion = id + "1";
    document->versionIndexVersion = id + "2";
    return document->ToJson();
  }

  OstrelTest::MemoryStorage storage;
  StorageManager manager;
  OstrelTest::ManualExecutor writes;
  std::vector<std::string> identities;
  IndexCache cache{&manager, &writes,
                   [this](const std::string& appIndexVersion, const std::string& versionIndexVersion) {
                     identities.push_back(appIndexVersion + "|" + versionIndexVersion);
                   }};
};

TEST_F(IndexCacheTest, LoadRestoresAUsableIndexOrClearsTheStore) {
  const struct {
    const char* name;
    std::string record;  // empty: nothing stored
    bool kept;
    const char* failure;
  } cases[] = {
      {"usable", Frame(Versioned("a", {NamespaceSpec("ns")})), true, nullptr},
      {"missing", "", false, "load index failed"},
      {"broken digest", Frame(Versioned("a", {NamespaceSpec("ns")})) + "x", false,
       "load index failed"},
      {"another app", Frame(Versioned("a", {NamespaceSpec("ns")}, "other")), false,
       "index invalide"},
      {"no namespaces", Frame(Versioned("a", {})), false, "index invalide"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    storage.Clear();
    storage.clearCalls = 0;
    logger.Clear();
    identities.clear();
    if (!c.record.empty()) storage.PutRaw(IndexCache::kStorageKey, c.record);
    cache.Load(kApp);
    EXPECT_EQ(cache.GetIndex() != nullptr, c.kept);
    EXPECT_EQ(identities, std::vector<std::string>{c.kept ? "a1|a2" : "0|0"});
    EXPECT_EQ(storage.clearCalls.load(), c.kept ? 0 : 1);
    if (c.failure != nullptr) {
      EXPECT_TRUE(logger.Contains(c.failure));
    }
  }
}

TEST_F(IndexCacheTest, CacheFlagsChangesReportsRemovalsAndStoresTheIndex) {
  EXPECT_EQ(cache.GetAppIndexVersion(), "0");
  EXPECT_EQ(cache.GetVersionIndexVersion(), "0");
  EXPECT_EQ(cache.GetNamespace("same"), nullptr);
  EXPECT_TRUE(cache.GetAllNamespaces().empty());
  EXPECT_TRUE(cache.GetChangedHighNamespaces().empty());
  NamespaceSpec same("same", "1"), changed("changed", "1"), gone("gone", "1"), later("b-gone", "1");
  ASSERT_TRUE(cache.Cache(IndexDO::ParseFormJson(Versioned("a", {same, changed, gone, later})))
                  .empty());
  NamespaceSpec changedNext("changed", "2"), added("added", "1");
  const std::string next = Versioned("b", {same, changedNext, added});
  EXPECT_EQ(cache.Cache(IndexDO::ParseFormJson(next)),
            (std::vector<std::string>{"b-gone", "gone"}));
  EXPECT_TRUE(cache.Cache(nullptr).empty());

  EXPECT_FALSE(cache.GetNamespace("same")->changed);
  EXPECT_TRUE(cache.GetNamespace("changed")->changed);
  EXPECT_TRUE(cache.GetNamespace("added")->changed);
  EXPECT_EQ(cache.GetNamespace("gone"), nullptr);
  EXPECT_EQ(cache.GetAppIndexVersion(), "b1");
  EXPECT_EQ(cache.GetVersionIndexVersion(), "b2");
  EXPECT_EQ(identities, (std::vector<std::string>{"a1|a2", "b1|b2"}));

  EXPECT_EQ(writes.Queued(), 1u) << "the second save replaced the first";
  writes.RunAll();
  EXPECT_EQ(storage.Raw(IndexCache::kStorageKey), Frame(next));
}

TEST_F(IndexCacheTest, ChangedHighNamespacesAreThoseOfTheCurrentIndex) {
  NamespaceSpec high("high", "1"), low("low", "1"), steady("steady", "1");
  high.loadLevel = "HIGH";
  steady.loadLevel = "HIGH";
  cache.Cache(IndexDO::ParseFormJson(Versioned("a", {high, low, steady})));
  NamespaceSpec highNext("high", "2"), lowNext("low", "2");
  highNext.loadLevel = "HIGH";
  cache.Cache(IndexDO::ParseFormJson(Versioned("b", {highNext, lowNext, steady})));
  std::vector<std::string> names;
  for (const auto& ns : cache.GetChangedHighNamespaces()) names.push_back(ns->name);
  EXPECT_EQ(names, std::vector<std::string>{"high"});
  EXPECT_EQ(cache.GetAllNamespaces().size(), 3u);
}

}  // namespace
}  // namespace Ostrel
