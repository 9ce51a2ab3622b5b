#include "ostrel_host/SqliteStorage.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "CapturingLogger.h"
#include "ScratchDir.h"
#include "StoreContract.h"

namespace OstrelTest {
namespace {

using OstrelHost::SqliteStorage;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// SQL on the file through a connection of its own, as another program would.
bool RunSql(const std::string& path, const char* sql) {
  sqlite3* db = nullptr;
  const bool ran = sqlite3_open(path.c_str(), &db) == SQLITE_OK &&
                   sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(db);
  return ran;
}

std::unique_ptr<SqliteStorage> Open(const std::string& path, const std::string& scope = "",
                                    Ostrel::IOLog* log = nullptr) {
  std::string error;
  std::unique_ptr<SqliteStorage> store = SqliteStorage::Open(path, {scope, log}, &error);
  EXPECT_NE(store, nullptr) << error;
  return store;
}

// text has shape's length, a digit where shape has '#' and shape's
// character elsewhere.
bool Shaped(const std::string& text, const std::string& shape) {
  if (text.size() != shape.size()) return false;
  for (size_t i = 0; i < shape.size(); ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (shape[i] == '#' ? !digit : text[i] != shape[i]) return false;
  }
  return true;
}

// "level|tag|method|text" of each line.
std::vector<std::string> Lines(const CapturingLogger& log) {
  std::vector<std::string> lines;
  for (const LogLine& line : log.Lines()) {
    lines.push_back(std::to_string(line.level) + "|" + line.tag + "|" + line.method + "|" +
                    line.text);
  }
  return lines;
}

TEST(SqliteStorage, KeepsTheStoreContractAcrossConnections) {
  ScratchDir scratch;
  const std::string path = scratch.File("store.db");
  std::unique_ptr<SqliteStorage> first = Open(path);
  std::unique_ptr<SqliteStorage> second = Open(path);
  ASSERT_TRUE(first && second);
  SaveStoredRecords(*first);
  ExpectStoredRecords(*second);
  EXPECT_TRUE(std::filesystem::exists(path + "-wal")) << "the database runs in WAL mode";
  second.reset();
  first = Open(path);
  ASSERT_NE(first, nullptr);
  ExpectStoredRecords(*first);
  EXPECT_EQ(first->Clear(), 0);
  ExpectRemoveClearAndNulls(*first);
  second = Open(path);
  ExpectWritersNeverMix(*first, *second, 60);
}

// A damaged file costs its records, never a start: it is moved aside as
// "<file>.corrupt-YYYYMMDDTHHMMSSZ" and an empty store starts in its place.
TEST(SqliteStorage, DamagedFileIsMovedAsideAndAnEmptyStoreStarts) {
  const struct {
    std::string name, reason;
    void (*damage)(const std::string& path);
  } cases[] = {
      {"not a database", "file is not a database",
       [](const std::string& path) { std::ofstream(path) << std::string(8192, 'x'); }},
      {"broken pages", "",
       [](const std::string& path) {
         {
           std::unique_ptr<SqliteStorage> store = SqliteStorage::Open(path);
           for (int i = 0; i < 20; ++i) {
             store->Save(("key" + std::to_string(i)).c_str(), std::string(3000, 'v').c_str());
           }
         }
         std::string bytes = ReadFile(path);
         for (size_t i = 4096; i < 3 * 4096 && i < bytes.size(); ++i) bytes[i] = '\xA5';
         std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDir scratch;
    const std::string path = scratch.File("store.db");
    c.damage(path);
    const std::string damaged = ReadFile(path);
    CapturingLogger log;
    std::unique_ptr<SqliteStorage> storage = Open(path, "", &log);
    ASSERT_NE(storage, nullptr);
    EXPECT_EQ(Loaded(*storage, "key0"), "<null>");
    EXPECT_EQ(storage->Save("fresh", "1"), 0);

    std::vector<std::string> aside;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.path())) {
      const std::string name = entry.path().filename().string();
      if (name.find("corrupt") != std::string::npos) aside.push_back(name);
    }
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_TRUE(Shaped(aside[0], "store.db.corrupt-########T######Z")) << aside[0];
    EXPECT_EQ(ReadFile(scratch.File(aside[0])), damaged);
    const std::vector<std::string> lines = Lines(log);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("2|OstrelHost.SqliteStorage|Open|" + path + " is damaged (" + c.reason, 0),
              0u)
        << lines[0];
    const std::string moved = "); moved to " + scratch.File(aside[0]) + ", starting empty";
    EXPECT_EQ(lines[0].compare(lines[0].size() - moved.size(), moved.size(), moved), 0) << lines[0];

    // The healed file opens as it is.
    storage = Open(path, "", &log);
    ASSERT_NE(storage, nullptr);
    EXPECT_EQ(Loaded(*storage, "fresh"), "1");
    EXPECT_EQ(log.Lines().size(), 1u);
  }
}

// Records of the unscoped table of older releases move into the default
// scope, and scopes sharing one file never see each other's records.
TEST(SqliteStorage, ScopesSharingOneFileNeverSeeEachOthersRecords) {
  ScratchDir scratch;
  const std::string path = scratch.File("shared.db");
  ASSERT_TRUE(RunSql(path,
                     "CREATE TABLE ostrel_records (key TEXT PRIMARY KEY NOT NULL,"
                     " value BLOB NOT NULL) WITHOUT ROWID;"
                     "INSERT INTO ostrel_records VALUES ('ui', 'kept');"));
  std::unique_ptr<SqliteStorage> live = Open(path, "app-a|0");
  std::unique_ptr<SqliteStorage> daily = Open(path, "app-a|2");
  std::unique_ptr<SqliteStorage> unscoped = Open(path);
  ASSERT_TRUE(live && daily && unscoped);
  EXPECT_EQ(Loaded(*unscoped, "ui"), "kept");
  EXPECT_FALSE(RunSql(path, "SELECT * FROM ostrel_records")) << "the old table is gone";
  EXPECT_EQ(Loaded(*live, "ui"), "<null>");
  ASSERT_EQ(live->Save("ui", "live ui"), 0);
  ASSERT_EQ(live->Save("net", "live net"), 0);
  ASSERT_EQ(daily->Save("ui", "daily ui"), 0);
  EXPECT_EQ(Loaded(*live, "ui"), "live ui");
  EXPECT_EQ(Loaded(*daily, "ui"), "daily ui");
  EXPECT_EQ(Loaded(*daily, "net"), "<null>");
  EXPECT_EQ(Loaded(*unscoped, "ui"), "kept");
  EXPECT_EQ(daily->Remove("net"), 0);
  EXPECT_EQ(Loaded(*live, "net"), "live net");
  EXPECT_EQ(daily->Clear(), 0);
  EXPECT_EQ(Loaded(*daily, "ui"), "<null>");
  EXPECT_EQ(Loaded(*live, "ui"), "live ui");
}

// A path it cannot use is refused at Open; a table another program broke
// under the store fails each call, logged with the call and SQLite's words.
TEST(SqliteStorage, FailuresAreReportedInSqlitesWords) {
  ScratchDir scratch;
  for (const std::string& path : {scratch.File("missing-folder/store.db"), scratch.path()}) {
    std::string error;
    EXPECT_EQ(SqliteStorage::Open(path, &error), nullptr) << path;
    EXPECT_EQ(error, "unable to open database file") << path;
  }
  CapturingLogger log;
  std::unique_ptr<SqliteStorage> storage = Open(scratch.File("store.db"), "app", &log);
  ASSERT_NE(storage, nullptr);
  ASSERT_TRUE(RunSql(scratch.File("store.db"), "DROP TABLE ostrel_scoped_records"));
  EXPECT_NE(storage->Save("ui", "v"), 0);
  EXPECT_EQ(Loaded(*storage, "ui"), "<null>");
  EXPECT_NE(storage->Remove("ui"), 0);
  EXPECT_NE(storage->Clear(), 0);
  const std::string tail = ": no such table: ostrel_scoped_records";
  const std::string head = "2|OstrelHost.SqliteStorage|";
  EXPECT_EQ(Lines(log), (std::vector<std::string>{head + "Save|ui" + tail, head + "Load|ui" + tail,
                                                   head + "Remove|ui" + tail,
                                                   head + "Clear|scope \"app\"" + tail}));
}

}  // namespace
}  // namespace OstrelTest
