#include "ostrel_host/SqliteStorage.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

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
using OstrelHost::SqliteStorageOptions;

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
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

TEST(SqliteStorage, OpenReportsAPathItCannotUse) {
  ScratchDir scratch;
  for (const std::string& path : {scratch.File("missing-folder/store.db"), scratch.path()}) {
    std::string error;
    EXPECT_EQ(SqliteStorage::Open(path, &error), nullptr) << path;
    EXPECT_EQ(error, "unable to open database file") << path;
  }
}

// A damaged file costs its records, never a start: it is moved aside as
// "<file>.corrupt-YYYYMMDDTHHMMSSZ" and an empty store starts in its place.
TEST(SqliteStorage, DamagedFileIsMovedAsideAndAnEmptyStoreStarts) {
  const struct {
    std::string name, reason;
    void (*damage)(const std::string& path);
  } cases[] = {
      {"not a database", "file is not a database",
       [](const std::string& path) { WriteFile(path, std::string(8192, 'x')); }},
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
         WriteFile(path, bytes);
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
    const std::string stamp = aside[0].substr(std::string("store.db.corrupt-").size());
    EXPECT_EQ(aside[0].rfind("store.db.corrupt-", 0), 0u) << aside[0];
    EXPECT_TRUE(stamp.size() == 16 && stamp[8] == 'T' && stamp[15] == 'Z' &&
                stamp.find_first_not_of("0123456789", 9) == 15 &&
                stamp.find_first_not_of("0123456789") == 8)
        << aside[0];
    EXPECT_EQ(ReadFile(scratch.File(aside[0])), damaged);
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].tag, "OstrelHost.SqliteStorage");
    EXPECT_EQ(lines[0].method, "Open");
    EXPECT_EQ(lines[0].text.rfind(path + " is damaged (" + c.reason, 0), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find("); moved to " + scratch.File(aside[0]) + ", starting empty"),
              std::string::npos)
        << lines[0].text;

    // The healed file opens as it is.
    storage = Open(path, "", &log);
    ASSERT_NE(storage, nullptr);
    EXPECT_EQ(Loaded(*storage, "fresh"), "1");
    EXPECT_EQ(log.Lines().size(), 1u);
  }
}

TEST(SqliteStorage, ScopesSharingOneFileNeverSeeEachOthersRecords) {
  ScratchDir scratch;
  const std::string path = scratch.File("shared.db");
  std::unique_ptr<SqliteStorage> live = Open(path, "app-a|0");
  std::unique_ptr<SqliteStorage> daily = Open(path, "app-a|2");
  std::unique_ptr<SqliteStorage> unscoped = Open(path);
  ASSERT_TRUE(live && daily && unscoped);
  ASSERT_EQ(live->Save("ui", "live ui"), 0);
  ASSERT_EQ(live->Save("net", "live net"), 0);
  ASSERT_EQ(daily->Save("ui", "daily ui"), 0);
  EXPECT_EQ(Loaded(*live, "ui"), "live ui");
  EXPECT_EQ(Loaded(*daily, "ui"), "daily ui");
  EXPECT_EQ(Loaded(*daily, "net"), "<null>");
  EXPECT_EQ(Loaded(*unscoped, "ui"), "<null>");
  EXPECT_EQ(daily->Remove("net"), 0);
  EXPECT_EQ(Loaded(*live, "net"), "live net");
  EXPECT_EQ(daily->Clear(), 0);
  EXPECT_EQ(Loaded(*daily, "ui"), "<null>");
  EXPECT_EQ(Loaded(*live, "ui"), "live ui");
}

TEST(SqliteStorage, RecordsOfTheUnscopedTableMoveIntoTheDefaultScope) {
  ScratchDir scratch;
  const std::string path = scratch.File("old.db");
  ASSERT_TRUE(RunSql(path,
                     "CREATE TABLE ostrel_records (key TEXT PRIMARY KEY NOT NULL,"
                     " value BLOB NOT NULL) WITHOUT ROWID;"
                     "INSERT INTO ostrel_records VALUES ('ui', 'kept');"));
  EXPECT_EQ(Loaded(*Open(path, "app"), "ui"), "<null>");
  EXPECT_EQ(Loaded(*Open(path), "ui"), "kept");
  EXPECT_FALSE(RunSql(path, "SELECT * FROM ostrel_records")) << "the old table is gone";
}

// Another program broke the table under the store: each call fails and
// says which call and why in SQLite's words.
TEST(SqliteStorage, FailuresAreLoggedWithTheMethodAndSqlitesText) {
  ScratchDir scratch;
  CapturingLogger log;
  std::unique_ptr<SqliteStorage> storage = Open(scratch.File("store.db"), "app", &log);
  ASSERT_NE(storage, nullptr);
  ASSERT_TRUE(RunSql(scratch.File("store.db"), "DROP TABLE ostrel_scoped_records"));
  EXPECT_NE(storage->Save("ui", "v"), 0);
  EXPECT_EQ(Loaded(*storage, "ui"), "<null>");
  EXPECT_NE(storage->Remove("ui"), 0);
  EXPECT_NE(storage->Clear(), 0);
  const std::string reason = "no such table: ostrel_scoped_records";
  const std::vector<std::string> expected = {"Save|ui: " + reason, "Load|ui: " + reason,
                                             "Remove|ui: " + reason,
                                             "Clear|scope \"app\": " + reason};
  std::vector<std::string> lines;
  for (const LogLine& line : log.Lines()) {
    EXPECT_EQ(line.tag, "OstrelHost.SqliteStorage");
    lines.push_back(line.method + "|" + line.text);
  }
  EXPECT_EQ(lines, expected);
}

}  // namespace
}  // namespace OstrelTest
