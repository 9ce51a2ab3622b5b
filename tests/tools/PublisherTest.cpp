// The server's publication, byte for byte: the documents the library reads
// and the static tree a CDN serves.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "Documents.h"
#include "NamespaceFile.h"
#include "Publisher.h"
#include "ToolsFixture.h"

namespace {

using OstrelServer::IndexNotice;
using OstrelServer::Publisher;
using OstrelServer::PublishReport;
using OstrelToolsTest::Standard;
using OstrelToolsTest::TempFolder;
using Files = std::map<std::string, std::string>;

// A clock that stands still, so that versions come from the counter alone.
constexpr int64_t kNow = 1000;

OstrelServer::PublishOptions Options(const TempFolder& data, const std::string& cdn) {
  OstrelServer::PublishOptions options;
  options.dataDir = data.path();
  options.cdn = cdn;
  return options;
}

// The app's notice, after checking it against the index it names.
IndexNotice NoticeOf(const Publisher& publisher, std::string* indexBody = nullptr) {
  IndexNotice notice;
  std::string body;
  EXPECT_TRUE(publisher.Notice("app", notice) && publisher.Resource(notice.resourceId, body));
  EXPECT_EQ(OstrelTest::Md5Of(body), notice.md5);
  if (indexBody != nullptr) *indexBody = body;
  return notice;
}

Files Served(const Publisher& publisher, const std::vector<std::string>& ids) {
  Files files;
  for (const auto& id : ids) EXPECT_TRUE(publisher.Resource(id, files[id])) << id;
  return files;
}

// Every file under root, by its path relative to root.
Files Exported(const std::string& root) {
  namespace fs = std::filesystem;
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    files[fs::relative(entry.path(), root).string()] =
        std::string(std::istreambuf_iterator<char>(in), {});
  }
  return files;
}

// The expected documents are written out whole, their digests computed with
// openssl md5; the exported tree holds what the CDN paths serve, at
// <folder>/<resourceId>.
TEST(Publisher, PublishesEachDocumentAndExportsItAsAStaticTree) {
  TempFolder data;
  TempFolder tree;
  data.Write("app/ui.json", Standard("{\"theme\":\"dark\",\"size\":\"14\"}",
                                     ",\"loadLevel\":\"HIGH\",\"candidates\":[{\"match\":"
                                     "\"m_brand=acme\",\"content\":{\"theme\":\"red\"}}]"));
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"hello\\nworld\"}");
  OstrelServer::PublishOptions options = Options(data, "cdn.example:8080/static");
  options.exportDir = tree.path() + "/out";
  Publisher publisher(options, [] { return kNow; });
  const PublishReport report = publisher.Publish();
  EXPECT_TRUE(report.errors.empty());
  EXPECT_EQ(report.changed, (std::vector<std::string>{"app/note v1000", "app/ui v1001"}));
  const IndexNotice notice = NoticeOf(publisher);
  EXPECT_EQ(notice.resourceId + " " + std::to_string(notice.version) + " " + notice.cdn,
            "app/index-1002.json 1002 cdn.example:8080/static");
  const std::string document = "{\"appKey\":\"app\",\"appVersion\":\"*\",\"id\":\"app/";
  const Files expected = {
      {"app/index-1002.json",
       "{\"appKey\":\"app\",\"appVersion\":\"*\",\"id\":\"app/index-1002\",\"cdn\":"
       "\"cdn.example:8080/static\",\"version\":\"1002\",\"appIndexVersion\":\"1002\","
       "\"versionIndexVersion\":\"1002\",\"mergedNamespaces\":[{\"loadLevel\":\"DEFAULT\","
       "\"md5\":\"f23954ad6c309fd0b500ea773eed9b61\",\"name\":\"note\",\"resourceId\":"
       "\"app/ns/note/1000.json\",\"version\":\"1000\",\"type\":\"CUSTOM\"},{\"loadLevel\":"
       "\"HIGH\",\"md5\":\"f9de5eba6c0bb03350219626882597ed\",\"name\":\"ui\",\"resourceId\":"
       "\"app/ns/ui/1001.json\",\"version\":\"1001\",\"type\":\"STANDARD\",\"candidates\":[{"
       "\"resourceId\":\"app/ns/ui/1001-c0.json\",\"md5\":\"333713a1243df07ff496ef5b89495cea\","
       "\"match\":\"m_brand=acme\",\"version\":\"1001\"}]}]}"},
      {"app/ns/note/1000.json",
       document + "note\",\"name\":\"note\",\"resourceId\":\"app/ns/note/1000.json\",\"type\":"
                  "\"CUSTOM\",\"loadLevel\":\"DEFAULT\",\"version\":\"1000\",\"createTime\":"
                  "\"1000000\",\"content\":\"hello\\nworld\"}"},
      {"app/ns/ui/1001.json",
       document + "ui\",\"name\":\"ui\",\"resourceId\":\"app/ns/ui/1001.json\",\"type\":"
                  "\"STANDARD\",\"loadLevel\":\"HIGH\",\"version\":\"1001\",\"createTime\":"
                  "\"1001000\",\"content\":{\"theme\":\"dark\",\"size\":\"14\"}}"},
      {"app/ns/ui/1001-c0.json",
       document + "ui\",\"name\":\"ui\",\"resourceId\":\"app/ns/ui/1001-c0.json\",\"type\":"
                  "\"STANDARD\",\"loadLevel\":\"HIGH\",\"version\":\"1001\",\"createTime\":"
                  "\"1001000\",\"content\":{\"theme\":\"red\"}}"},
  };
  EXPECT_EQ(Served(publisher, {"app/index-1002.json", "app/ns/note/1000.json",
                               "app/ns/ui/1001.json", "app/ns/ui/1001-c0.json"}),
            expected);
  EXPECT_EQ(Exported(options.exportDir), expected);

  // A change replaces the changed files and the index; the rest stay.
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"u\"}");
  EXPECT_TRUE(publisher.Publish().errors.empty());
  EXPECT_EQ(Exported(options.exportDir),
            Served(publisher, {"app/index-1004.json", "app/ns/note/1003.json",
                               "app/ns/ui/1001-c0.json", "app/ns/ui/1001.json"}));

  // A folder that cannot be written is reported, and publishing goes on.
  std::filesystem::remove_all(options.exportDir);
  std::ofstream(options.exportDir) << "a file in the way";
  data.Write("app/note.json", "{\"type\":\"CUSTOM\",\"content\":\"v\"}");
  const PublishReport blocked = publisher.Publish();
  EXPECT_EQ(blocked.changed, std::vector<std::string>{"app/note v1005"});
  ASSERT_EQ(blocked.errors.size(), 2u);
  EXPECT_EQ(blocked.errors[0].rfind("export " + options.exportDir + "/app/index-1006.json: ", 0),
            0u)
      << blocked.errors[0];
  EXPECT_EQ(NoticeOf(publisher).resourceId, "app/index-1006.json");
}

// Versions start from the clock, so that a restarted server stays ahead; only
// a changed file gets a new one, and every change a new index.
TEST(Publisher, OnlyAChangedFileGetsANewVersionAndEveryChangeANewIndex) {
  TempFolder data;
  data.Write("app/a.json", Standard("{\"k\":\"1\"}"));
  data.Write("app/b.json", Standard("{\"k\":\"1\"}"));
  Publisher publisher(Options(data, "c"), [] { return kNow; });
  publisher.Publish();
  const IndexNotice first = NoticeOf(publisher);
  EXPECT_EQ(first.resourceId, "app/index-1002.json");
  Publisher restarted(Options(data, "c"), [] { return kNow + 1; });  // a second later
  restarted.Publish();
  EXPECT_GT(NoticeOf(restarted).version, first.version);
  EXPECT_TRUE(publisher.Publish().changed.empty());
  EXPECT_EQ(NoticeOf(publisher).resourceId, first.resourceId);

  data.Write("app/b.json", Standard("{\"k\":\"2\"}"));
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/b v1003"}));
  std::string index;
  EXPECT_EQ(NoticeOf(publisher, &index).version, 1004);
  // The library skips an index with a known id.
  EXPECT_NE(index.find("\"id\":\"app/index-1004\""), std::string::npos) << index;
  EXPECT_NE(index.find("\"resourceId\":\"app/ns/a/1000.json\""), std::string::npos) << index;
  std::string body;
  EXPECT_FALSE(publisher.Resource(first.resourceId, body));

  std::filesystem::remove(data.File("app/a.json"));
  EXPECT_EQ(publisher.Publish().changed, (std::vector<std::string>{"app/a removed"}));
  NoticeOf(publisher, &index);
  EXPECT_EQ(index.find("\"name\":\"a\""), std::string::npos) << index;
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
  const std::string goodIndex = NoticeOf(publisher).resourceId;
  data.Write("app/x.json", "{\"type\":");
  const PublishReport report = publisher.Publish();
  EXPECT_EQ(report.errors, std::vector<std::string>{"app/x.json: line 1, column 9: Invalid value. "
                                                    "(keeping the last good one)"});
  EXPECT_TRUE(report.changed.empty());
  EXPECT_EQ(NoticeOf(publisher).resourceId, goodIndex);
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

}  // namespace
