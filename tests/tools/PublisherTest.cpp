// The server's publication, read back with the library's own parsers.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "Documents.h"
#include "NamespaceFile.h"
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

OstrelServer::PublishOptions Options(const TempFolder& data, const std::string& cdn) {
  OstrelServer::PublishOptions options;
  options.dataDir = data.path();
  options.cdn = cdn;
  return options;
}

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

TEST(Publisher, PublishesWhatTheLibrarysParsersRead) {
  TempFolder data;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}",
                                     ",\"loadLevel\":\"HIGH\",\"candidates\":[{\"match\":"
                                     "\"m_brand=acme\",\"content\":{\"theme\":\"red\"}}]"));
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"hello\\nworld\"}");
  Publisher publisher(Options(data, "127.0.0.1:9"), [] { return kNow; });
  const PublishReport report = publisher.Publish();
  EXPECT_TRUE(report.errors.empty());
  EXPECT_EQ(report.changed, (std::vector<std::string>{"app/note v1000", "app/ui v1001"}));

  const Published published = ReadIndex(publisher, "app");
  ASSERT_TRUE(published.index);
  const Ostrel::IndexDO& index = *published.index;
  EXPECT_EQ(published.notice.resourceId, "app/index-1002.json");
  EXPECT_EQ(published.notice.version, 1002);
  const std::vector<std::string> fields = {
      index.appKey,  index.appVersion,      index.cdn,
      index.version, index.appIndexVersion, index.versionIndexVersion};
  EXPECT_EQ(fields, (std::vector<std::string>{"app", "*", "127.0.0.1:9", "1002", "1002", "1002"}));
  ASSERT_EQ(index.mergedNamespaces.size(), 2u);
  const auto ui = FindNamespace(published, "ui");
  ASSERT_TRUE(ui);
  EXPECT_EQ(ui->type + " " + ui->loadLevel + " " + ui->version, "STANDARD HIGH 1001");
  auto config = Ostrel::ConfigDO::ParseFromJson(Fetch(publisher, ui->resourceId, ui->md5));
  ASSERT_TRUE(config);
  EXPECT_EQ(config->name + " " + config->appKey + " " + config->version, "ui app 1001");
  EXPECT_EQ(config->resourceId, ui->resourceId);
  EXPECT_EQ(config->content.ToMap(),
            (std::map<std::string, std::string>{{"size", "14"}, {"theme", "dark"}}));
  ASSERT_EQ(ui->candidates.size(), 1u);
  const Ostrel::CandidateDO& candidate = *ui->candidates[0];
  EXPECT_EQ(candidate.match + " " + candidate.version, "m_brand=acme 1001");
  auto variant =
      Ostrel::ConfigDO::ParseFromJson(Fetch(publisher, candidate.resourceId, candidate.md5));
  ASSERT_TRUE(variant);
  EXPECT_EQ(variant->content.ToMap(), (std::map<std::string, std::string>{{"theme", "red"}}));
  const auto note = FindNamespace(published, "note");
  ASSERT_TRUE(note);
  EXPECT_EQ(note->type + " " + note->loadLevel, "CUSTOM DEFAULT");
  EXPECT_TRUE(note->candidates.empty());
  auto custom =
      Ostrel::CustomConfigDO::ParseFromJson(Fetch(publisher, note->resourceId, note->md5));
  ASSERT_TRUE(custom);
  EXPECT_EQ(custom->content, "hello\nworld");
}

// Versions start from the clock, so that a restarted server stays ahead; only
// a changed file gets a new one, and every change a new index.
TEST(Publisher, OnlyAChangedFileGetsANewVersionAndEveryChangeANewIndex) {
  TempFolder data;
  data.Write("app/a.json", Standard("{\"k\":\"1\"}"));
  data.Write("app/b.json", Standard("{\"k\":\"1\"}"));
  Publisher publisher(Options(data, "c"), [] { return kNow; });
  publisher.Publish();
  const Published first = ReadIndex(publisher, "app");
  ASSERT_TRUE(first.index);
  Publisher restarted(Options(data, "c"), [] { return kNow + 1; });  // a second later
  restarted.Publish();
  EXPECT_GT(ReadIndex(restarted, "app").notice.version, first.notice.version);
  EXPECT_TRUE(publisher.Publish().changed.empty());
  EXPECT_EQ(ReadIndex(publisher, "app").notice.resourceId, first.notice.resourceId);

  data.Write("app/b.json", Standard("{\"k\":\"2\"}"));
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/b v1003"}));
  const Published second = ReadIndex(publisher, "app");
  ASSERT_TRUE(second.index);
  EXPECT_GT(second.notice.version, first.notice.version);
  EXPECT_NE(second.index->id, first.index->id);  // the library skips an index with a known id
  EXPECT_EQ(FindNamespace(second, "a")->version, FindNamespace(first, "a")->version);
  std::string body;
  EXPECT_FALSE(publisher.Resource(first.notice.resourceId, body));

  std::filesystem::remove(data.File("app/a.json"));
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/a removed"}));
  EXPECT_EQ(ReadIndex(publisher, "app").index->mergedNamespaces.size(), 1u);
  data.Write("gone/c.json", Standard("{\"k\":\"1\"}"));
  publisher.Publish();
  std::filesystem::remove_all(data.File("gone"));
  std::filesystem::remove(data.File("app/b.json"));
  EXPECT_EQ(publisher.Publish().changed,
            (std::vector<std::string>{"app/b removed", "gone removed"}));
  IndexNotice none;
  EXPECT_FALSE(publisher.Notice("app", none));
  EXPECT_FALSE(publisher.Notice("gone", none));
}

TEST(Publisher, RefusesFilesTheLibraryWouldRejectAndKeepsTheLastGoodOne) {
  const struct {
    const char* file;
    std::string text;
    const char* error;
  } kCases[] = {
      {"app/x.json", "{\"type\":\"STANDARD\",\n \"content\":{\"n\":1}}",
       "app/x.json: line 2, column 17: value of \"n\" is not a string"},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"n\":[12,true,null,-1.5e3,18446744073709551615],"
       "\"content\":{}}",
       "app/x.json: line 1, column 77: a STANDARD \"content\" must be a non-empty object"},
      {"app/x.json", std::string(100000, '[') + std::string(100000, ']'),
       "app/x.json: line 1, column 1: not a JSON object"},
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{}}",
       "app/x.json: line 1, column 30: a STANDARD \"content\" must be a non-empty object"},
      {"app/x.json", "{\"type\":\"STANDARD\"}",
       "app/x.json: line 1, column 1: \"content\" is missing"},
      {"app/x.json", "{\"type\":\"standard\",\"content\":{\"a\":\"b\"}}",
       "app/x.json: line 1, column 9: \"type\" must be STANDARD or CUSTOM"},
      {"app/x.json", "{\"content\":\"b\"}", "app/x.json: line 1, column 1: \"type\" is missing"},
      {"app/x.json", "{\"type\":\"CUSTOM\",\"content\":{\"a\":\"b\"}}",
       "app/x.json: line 1, column 28: a CUSTOM \"content\" must be a non-empty string"},
      {"app/x.json", "{\"type\":\"CUSTOM\",\"loadLevel\":\"\",\"content\":\"b\"}",
       "app/x.json: line 1, column 30: \"loadLevel\" must be a non-empty string"},
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\"candidates\":{}}",
       "app/x.json: line 1, column 53: \"candidates\" must be an array"},
      {"app/x.json", "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\"candidates\":[1]}",
       "app/x.json: line 1, column 54: a candidate must be an object"},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\"candidates\":[{\"content\":{}}]}",
       "app/x.json: line 1, column 54: a candidate needs a non-empty \"match\""},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\n\"candidates\":[{\"match\":\"m_brand="
       "a\","
       "\"content\":{\"a\":\"\\\"\",\"a\":\"c\"}}]}",
       "app/x.json: line 2, column 56: duplicate key \"a\""},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\n\"candidates\":[{\"match\":\"m_brand="
       "a\","
       "\"content\":[]}]}",
       "app/x.json: line 2, column 46: a STANDARD \"content\" must be a non-empty object"},
      {"app/x.json",
       "{\"type\":\"STANDARD\",\"content\":{\"a\":\"b\"},\n\"candidates\":[{\"match\":\"m_brand="
       "a\","
       "\"content\":{\"a\":\"b\",\"c\":false}}]}",
       "app/x.json: line 2, column 59: value of \"c\" is not a string"},
      {"app/x.json", "[1]", "app/x.json: line 1, column 1: not a JSON object"},
      {"app/x.json", "{\"type\":\n", "app/x.json: line 2, column 1: Invalid value."},
      {"app/x.json", std::string("{}\0{", 4), "app/x.json: line 1, column 3: a NUL byte"},
      {"app/bad name.json", Standard("{\"a\":\"b\"}"),
       "app/bad name.json: a namespace name may hold only letters, digits, - _ ."},
      {"app/ostrel.index.json", Standard("{\"a\":\"b\"}"),
       "app/ostrel.index.json: the library keeps the name \"ostrel.index\" for itself"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    TempFolder data;
    // Every kind of character a name may hold.
    data.Write("app/az.AZ_09-.json", Standard("{\"a\":\"b\"}"));
    data.Write(c.file, c.text);
    Publisher publisher(Options(data, "c"), [] { return kNow; });
    const PublishReport report = publisher.Publish();
    EXPECT_EQ(report.errors, std::vector<std::string>{c.error});
    EXPECT_EQ(report.changed, std::vector<std::string>{"app/az.AZ_09- v1000"});
  }

  TempFolder data;
  data.Write("app/x.json", Standard("{\"a\":\"b\"}"));
  Publisher publisher(Options(data, "c"), [] { return kNow; });
  publisher.Publish();
  const std::string goodIndex = ReadIndex(publisher, "app").notice.resourceId;
  data.Write("app/x.json", "{\"type\":");
  const PublishReport report = publisher.Publish();
  EXPECT_EQ(report.errors, std::vector<std::string>{"app/x.json: line 1, column 9: Invalid value. "
                                                    "(keeping the last good one)"});
  EXPECT_TRUE(report.changed.empty());
  EXPECT_EQ(ReadIndex(publisher, "app").notice.resourceId, goodIndex);
}

// Conditions go through the library's own matcher and attribute table.
TEST(Publisher, RefusesConditionsThatNoClientCanMeet) {
  const struct {
    const char* match;
    const char* error;  // empty: accepted
  } kCases[] = {
      {"app_ver>=2.0&os_ver<14&m_fac!=x&m_brand~=ac&m_model!~z&did_hash=100_0-9", ""},
      {" did_hash = 10_0-4 ", ""},
      {"foo??bar", "condition \"foo??bar\" is not <attribute><operator><value>"},
      {"app_ver>=2.0&", "condition \"\" is not <attribute><operator><value>"},
      {"size=2",
       "condition \"size=2\": no client attribute \"size\" (app_ver, did_hash, m_brand, "
       "m_fac, m_model, os_ver)"},
      {"m_brand>acme",
       "condition \"m_brand>acme\": \">\" never holds for the text attribute "
       "m_brand"},
      {"m_model<=a", "condition \"m_model<=a\": \"<=\" never holds for the text attribute m_model"},
      {"did_hash!=100_0-9",
       "condition \"did_hash!=100_0-9\": did_hash takes only \"=\" and a bucket M_L-U with M "
       "above 0"},
      {"did_hash=0_0-9",
       "condition \"did_hash=0_0-9\": did_hash takes only \"=\" and a bucket M_L-U with M above 0"},
      {"did_hash=100",
       "condition \"did_hash=100\": did_hash takes only \"=\" and a bucket M_L-U "
       "with M above 0"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(OstrelServer::NamespaceFile::CheckCondition(c.match), c.error) << c.match;
  }
}

TEST(Publisher, RefusesFilesAboveTheLimitAndLinksThatLeaveTheDataFolder) {
  TempFolder outside;
  outside.Write("secret.json", Standard("{\"key\":\"secret\"}"));
  TempFolder data;
  const std::string exact = Standard("{\"a\":\"" + std::string(64, 'x') + "\"}");
  data.Write("app/exact.json", exact);
  data.Write("app/large.json", Standard("{\"a\":\"" + std::string(65, 'x') + "\"}"));
  namespace fs = std::filesystem;
  fs::create_symlink(outside.path() + "/secret.json", data.path() + "/app/leak.json");
  fs::create_symlink(data.path() + "/app/exact.json", data.path() + "/app/alias.json");
  fs::create_directories(outside.path() + "/other");
  fs::create_symlink(outside.path() + "/other", data.path() + "/other");
  outside.Write("other/ui.json", Standard("{\"a\":\"b\"}"));

  OstrelServer::PublishOptions options = Options(data, "c");
  options.maxFileBytes = exact.size();
  Publisher publisher(options, [] { return kNow; });
  PublishReport report = publisher.Publish();
  std::sort(report.errors.begin(), report.errors.end());
  EXPECT_EQ(report.errors,
            (std::vector<std::string>{"app/large.json: larger than the limit of " +
                                          std::to_string(exact.size()) + " bytes",
                                      "app/leak.json: a link that leaves the data folder",
                                      "other: a link that leaves the data folder"}));
  // A link that stays inside is an ordinary file.
  EXPECT_EQ(report.changed, (std::vector<std::string>{"app/alias v1000", "app/exact v1001"}));
  IndexNotice notice;
  EXPECT_FALSE(publisher.Notice("other", notice));
}

// The exported tree holds what the CDN paths serve, at <folder>/<resourceId>.
TEST(Publisher, ExportsEachPublicationAsAStaticTree) {
  namespace fs = std::filesystem;
  TempFolder data;
  TempFolder tree;
  data.Write("app/ui.json", Standard("{\"a\":\"b\"}",
                                     ",\"candidates\":[{\"match\":\"m_brand=x\","
                                     "\"content\":{\"a\":\"c\"}}]"));
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"t\"}");
  OstrelServer::PublishOptions options = Options(data, "cdn.example:8080/static");
  options.exportDir = tree.path() + "/out";
  Publisher publisher(options, [] { return kNow; });
  publisher.Publish();

  // Every file, with the body the CDN path serves.
  auto exported = [&tree] {
    std::map<std::string, std::string> files;
    const fs::path root = tree.path() + "/out";
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      files[fs::relative(entry.path(), root).string()] =
          std::string(std::istreambuf_iterator<char>(in), {});
    }
    return files;
  };
  auto served = [&publisher](const std::vector<std::string>& ids) {
    std::map<std::string, std::string> files;
    for (const auto& id : ids) EXPECT_TRUE(publisher.Resource(id, files[id])) << id;
    return files;
  };
  EXPECT_EQ(ReadIndex(publisher, "app").index->cdn, "cdn.example:8080/static");
  EXPECT_EQ(exported(), served({"app/index-1002.json", "app/ns/note/1000.json",
                                "app/ns/ui/1001-c0.json", "app/ns/ui/1001.json"}));

  // A change replaces the changed files and the index; the rest stay.
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"u\"}");
  EXPECT_TRUE(publisher.Publish().errors.empty());
  EXPECT_EQ(exported(), served({"app/index-1004.json", "app/ns/note/1003.json",
                                "app/ns/ui/1001-c0.json", "app/ns/ui/1001.json"}));

  // A folder that cannot be written is reported, and publishing goes on.
  fs::remove_all(tree.path() + "/out");
  std::ofstream(tree.path() + "/out") << "a file in the way";
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"v\"}");
  const PublishReport report = publisher.Publish();
  EXPECT_EQ(report.changed, std::vector<std::string>{"app/note v1005"});
  ASSERT_EQ(report.errors.size(), 2u);
  EXPECT_EQ(report.errors[0].rfind("export " + tree.path() + "/out/app/index-1006.json: ", 0), 0u)
      << report.errors[0];
}

}  // namespace
