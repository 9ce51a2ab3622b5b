// The server's publication, read back with the library's own parsers.
#include <gtest/gtest.h>

#include <memory>

#include "Documents.h"
#include "Publisher.h"
#include "ToolsFixture.h"
#include "model/ConfigDO.h"
#include "model/CustomConfigDO.h"
#include "model/IndexDO.h"
#include "model/NamespaceDO.h"

namespace {

using OstrelServer::IndexNotice;
using OstrelServer::Publisher;
using OstrelServer::PublishReport;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;

// A clock that stands still, so that versions come from the counter alone.
constexpr int64_t kNow = 1000;

struct Published {
  IndexNotice notice;
  std::shared_ptr<Ostrel::IndexDO> index;
};

Published ReadIndex(const Publisher& publisher, const std::string& appKey) {
  Published published;
  std::string body;
  if (!publisher.Notice(appKey, published.notice)) return published;
  if (!publisher.Resource(published.notice.resourceId, body)) return published;
  EXPECT_EQ(OstrelTest::Md5Of(body), published.notice.md5);
  published.index = Ostrel::IndexDO::ParseFormJson(body);
  return published;
}

std::shared_ptr<Ostrel::NamespaceDO> FindNamespace(const Published& published,
                                                   const std::string& name) {
  if (!published.index) return nullptr;
  for (const auto& ns : published.index->mergedNamespaces) {
    if (ns->name == name) return ns;
  }
  return nullptr;
}

// The resource's body, after checking it against the digest the index gives.
std::string Fetch(const Publisher& publisher, const std::string& resourceId,
                  const std::string& md5) {
  std::string body;
  EXPECT_TRUE(publisher.Resource(resourceId, body)) << resourceId;
  EXPECT_EQ(OstrelTest::Md5Of(body), md5) << resourceId;
  return body;
}

TEST(Publisher, DocumentsParseWithTheLibrarysRules) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}",
                                     ",\"loadLevel\":\"HIGH\",\"candidates\":[{\"match\":"
                                     "\"m_brand=acme\",\"content\":{\"theme\":\"red\"}}]"));
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"hello\\nworld\"}");
  Publisher publisher(data.path(), "127.0.0.1:9", [] { return kNow; });
  const PublishReport report = publisher.Publish();
  EXPECT_TRUE(report.errors.empty());
  EXPECT_EQ(report.changed, (std::vector<std::string>{"app/note v1000", "app/ui v1001"}));

  const Published published = ReadIndex(publisher, "app");
  ASSERT_TRUE(published.index);
  const Ostrel::IndexDO& index = *published.index;
  EXPECT_EQ(index.appKey, "app");
  EXPECT_EQ(index.appVersion, "*");
  EXPECT_EQ(index.cdn, "127.0.0.1:9");
  EXPECT_EQ(index.version, "1002");
  EXPECT_EQ(index.appIndexVersion, "1002");
  EXPECT_EQ(index.versionIndexVersion, "1002");
  EXPECT_EQ(published.notice.version, 1002);
  EXPECT_EQ(published.notice.resourceId, "app/index-1002.json");
  ASSERT_EQ(index.mergedNamespaces.size(), 2u);

  const auto ui = FindNamespace(published, "ui");
  ASSERT_TRUE(ui);
  EXPECT_EQ(ui->type, "STANDARD");
  EXPECT_EQ(ui->loadLevel, "HIGH");
  EXPECT_EQ(ui->version, "1001");
  auto config = Ostrel::ConfigDO::ParseFromJson(Fetch(publisher, ui->resourceId, ui->md5));
  ASSERT_TRUE(config);
  EXPECT_EQ(config->name, "ui");
  EXPECT_EQ(config->appKey, "app");
  EXPECT_EQ(config->version, "1001");
  EXPECT_EQ(config->resourceId, ui->resourceId);
  EXPECT_EQ(config->content.ToMap(),
            (std::map<std::string, std::string>{{"size", "14"}, {"theme", "dark"}}));
  ASSERT_EQ(ui->candidates.size(), 1u);
  const Ostrel::CandidateDO& candidate = *ui->candidates[0];
  EXPECT_EQ(candidate.match, "m_brand=acme");
  EXPECT_EQ(candidate.version, "1001");
  auto variant =
      Ostrel::ConfigDO::ParseFromJson(Fetch(publisher, candidate.resourceId, candidate.md5));
  ASSERT_TRUE(variant);
  EXPECT_EQ(variant->content.ToMap(), (std::map<std::string, std::string>{{"theme", "red"}}));

  const auto note = FindNamespace(published, "note");
  ASSERT_TRUE(note);
  EXPECT_EQ(note->type, "CUSTOM");
  EXPECT_EQ(note->loadLevel, "DEFAULT");
  EXPECT_TRUE(note->candidates.empty());
  auto custom =
      Ostrel::CustomConfigDO::ParseFromJson(Fetch(publisher, note->resourceId, note->md5));
  ASSERT_TRUE(custom);
  EXPECT_EQ(custom->content, "hello\nworld");
}

TEST(Publisher, OnlyAChangedFileGetsANewVersionAndEveryChangeANewIndex) {
  TempFolder data;
  data.Write("app/a.json", Standard("{\"k\":\"1\"}"));
  data.Write("app/b.json", Standard("{\"k\":\"1\"}"));
  Publisher publisher(data.path(), "127.0.0.1:9", [] { return kNow; });
  publisher.Publish();
  const Published first = ReadIndex(publisher, "app");
  ASSERT_TRUE(first.index);

  // Nothing changed: the same index stays published.
  EXPECT_TRUE(publisher.Publish().changed.empty());
  EXPECT_EQ(ReadIndex(publisher, "app").notice.resourceId, first.notice.resourceId);

  data.Write("app/b.json", Standard("{\"k\":\"2\"}"));
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/b v1003"}));
  const Published second = ReadIndex(publisher, "app");
  ASSERT_TRUE(second.index);
  EXPECT_GT(second.notice.version, first.notice.version);
  EXPECT_NE(second.index->id, first.index->id);  // the library skips an index with a known id
  EXPECT_EQ(FindNamespace(second, "a")->version, FindNamespace(first, "a")->version);
  EXPECT_EQ(FindNamespace(second, "b")->version, "1003");
  std::string body;
  EXPECT_FALSE(publisher.Resource(first.notice.resourceId, body));

  data.Remove("app/a.json");
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/a removed"}));
  const Published third = ReadIndex(publisher, "app");
  ASSERT_TRUE(third.index);
  EXPECT_GT(third.notice.version, second.notice.version);
  EXPECT_EQ(third.index->mergedNamespaces.size(), 1u);

  data.Write("gone/c.json", Standard("{\"k\":\"1\"}"));
  publisher.Publish();
  std::filesystem::remove_all(data.path() + "/gone");
  data.Remove("app/b.json");
  EXPECT_EQ(publisher.Publish().changed,
            (std::vector<std::string>{"app/b removed", "gone removed"}));
  IndexNotice none;
  EXPECT_FALSE(publisher.Notice("app", none));
  EXPECT_FALSE(publisher.Notice("gone", none));
}

TEST(Publisher, VersionsStartFromTheClockSoARestartedServerStaysAhead) {
  TempFolder data;
  data.Write("app/a.json", Standard("{\"k\":\"1\"}"));
  int64_t now = kNow;
  Publisher before(data.path(), "c", [&now] { return now; });
  before.Publish();
  const int64_t oldVersion = ReadIndex(before, "app").notice.version;
  now += 1;  // a restart, a second later
  Publisher after(data.path(), "c", [&now] { return now; });
  after.Publish();
  EXPECT_GT(ReadIndex(after, "app").notice.version, oldVersion);
}

TEST(Publisher, RefusesFilesTheLibraryWouldRejectAndKeepsTheLastGoodOne) {
  const struct {
    const char* file;
    std::string text;
    const char* error;
  } kCases[] = {
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{\"n\":1}}",
       "app/x.json: value of \"n\" is not a string"},
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{}}",
       "app/x.json: a STANDARD \"content\" must be a non-empty object"},
      {"app/x.json", "{\"type\":\"standard\",\"content\":{\"a\":\"b\"}}",
       "app/x.json: \"type\" must be STANDARD or CUSTOM"},
      {"app/x.json", "{\"type\":\"CUSTOM\",\"content\":{\"a\":\"b\"}}",
       "app/x.json: a CUSTOM \"content\" must be a non-empty string"},
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\"candidates\":{}}",
       "app/x.json: \"candidates\" must be an array"},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\"candidates\":[{\"content\":{}}]}",
       "app/x.json: a candidate needs a non-empty \"match\""},
      {"app/x.json", "[1]", "app/x.json: not a JSON object"},
      {"app/bad name.json", Standard("{\"a\":\"b\"}"),
       "app/bad name.json: a namespace name may hold only letters, digits, - _ ."},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    TempFolder data;
    data.Write("app/good.json", Standard("{\"a\":\"b\"}"));
    data.Write(c.file, c.text);
    Publisher publisher(data.path(), "c", [] { return kNow; });
    const PublishReport report = publisher.Publish();
    EXPECT_EQ(report.errors, std::vector<std::string>{c.error});
    EXPECT_EQ(report.changed, std::vector<std::string>{"app/good v1000"});
  }

  TempFolder data;
  data.Write("app/x.json", Standard("{\"a\":\"b\"}"));
  Publisher publisher(data.path(), "c", [] { return kNow; });
  publisher.Publish();
  const std::string goodIndex = ReadIndex(publisher, "app").notice.resourceId;
  data.Write("app/x.json", "{\"type\":");
  const PublishReport report = publisher.Publish();
  EXPECT_EQ(report.errors,
            std::vector<std::string>{"app/x.json: not a JSON object (keeping the last good one)"});
  EXPECT_TRUE(report.changed.empty());
  EXPECT_EQ(ReadIndex(publisher, "app").notice.resourceId, goodIndex);
}

}  // namespace
