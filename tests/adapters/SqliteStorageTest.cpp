#include "ostrel_host/SqliteStorage.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CapturingLogger.h"
#include "ScratchDir.h"

namespace OstrelTest {
namespace {

// "store.db.corrupt-" then a UTC time as YYYYMMDDTHHMMSSZ.
bool IsCorruptName(const std::string& name) {
  const std::string prefix = "store.db.corrupt-";
  const std::string stamp = "dddddddd" "T" "dddddd" "Z";
  if (name.size() != prefix.size() + stamp.size() || name.compare(0, prefix.size(), prefix) != 0) {
    return false;
  }
  for (size_t i = 0; i < stamp.size(); ++i) {
    const char c = name[prefix.size() + i];
    if (stamp[i] == 'd' ? (c < '0' || c > '9') : c != stamp[i]) return false;
  }
  return true;
}

using OstrelHost::SqliteStorage;
using OstrelHost::SqliteStorageOptions;

// What Load returns, as text; "<null>" for a null result.
std::string Loaded(SqliteStorage& storage, const char* key) {
  char* value = storage.Load(key);
  std::string text = value != nullptr ? std::string(value) : std::string("<null>");
  storage.Free(value);
  return text;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Runs SQL on the file through a connection of its own, as another program
// sharing the file would.
bool RunSql(const std::string& path, const char* sql) {
  sqlite3* db = nullptr;
  bool ran = sqlite3_open(path.c_str(), &db) == SQLITE_OK &&
             sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(db);
  return ran;
}

class SqliteStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch.path().empty());
    std::string error;
    storage = SqliteStorage::Open(path(), &error);
    ASSERT_NE(storage, nullptr) << error;
  }
  std::string path() const { return scratch.File("store.db"); }

  ScratchDir scratch;
  std::unique_ptr<SqliteStorage> storage;
};

TEST_F(SqliteStorageTest, RecordsComeBackByteForByte) {
  const std::string framed = "0123456789abcdef0123456789abcdef\n{\"k\":\"v\"}\r\nnext";
  const std::string large(1 << 20, 'z');
  std::string binary;
  for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
  const struct {
    std::string key;
    std::string value;
  } records[] = {
      {"ostrel.index", framed},
      {"large", large},
      {"binary", binary},
      {"empty", ""},
      {"unicode \xc3\xa9", "\xe6\x97\xa5\xe6\x9c\xac"},
  };
  for (const auto& r : records) EXPECT_EQ(storage->Save(r.key.c_str(), r.value.c_str()), 0);
  for (const auto& r : records) EXPECT_EQ(Loaded(*storage, r.key.c_str()), r.value) << r.key;
  EXPECT_EQ(Loaded(*storage, "absent"), "<null>");

  EXPECT_EQ(storage->Save("large", "replaced"), 0);
  EXPECT_EQ(Loaded(*storage, "large"), "replaced");
}

TEST_F(SqliteStorageTest, RemoveAndClearDropRecords) {
  ASSERT_EQ(storage->Save("a", "1"), 0);
  ASSERT_EQ(storage->Save("b", "2"), 0);
  ASSERT_EQ(storage->Save("c", "3"), 0);

  EXPECT_EQ(storage->Remove("a"), 0);
  EXPECT_EQ(Loaded(*storage, "a"), "<null>");
  EXPECT_EQ(Loaded(*storage, "b"), "2");
  EXPECT_EQ(storage->Remove("a"), 0) << "an absent key is already removed";

  EXPECT_EQ(storage->Clear(), 0);
  EXPECT_EQ(Loaded(*storage, "b"), "<null>");
  EXPECT_EQ(Loaded(*storage, "c"), "<null>");
  EXPECT_EQ(storage->Save("b", "again"), 0);
  EXPECT_EQ(Loaded(*storage, "b"), "again");
  EXPECT_EQ(storage->Reserved(), 0);
}

TEST_F(SqliteStorageTest, NullArgumentsAreRefused) {
  EXPECT_NE(storage->Save(nullptr, "v"), 0);
  EXPECT_NE(storage->Save("k", nullptr), 0);
  EXPECT_EQ(storage->Load(nullptr), nullptr);
  EXPECT_NE(storage->Remove(nullptr), 0);
  storage->Free(nullptr);
  EXPECT_EQ(Loaded(*storage, "k"), "<null>");
}

TEST_F(SqliteStorageTest, DataOutlivesTheConnectionAndIsSharedWithOthers) {
  ASSERT_EQ(storage->Save("kept", "line 1\nline 2"), 0);
  EXPECT_TRUE(std::filesystem::exists(path() + "-wal")) << "the database runs in WAL mode";

  std::string error;
  std::unique_ptr<SqliteStorage> second = SqliteStorage::Open(path(), &error);
  ASSERT_NE(second, nullptr) << error;
  EXPECT_EQ(Loaded(*second, "kept"), "line 1\nline 2");
  ASSERT_EQ(second->Save("from second", "x"), 0);
  EXPECT_EQ(Loaded(*storage, "from second"), "x");

  second.reset();
  storage.reset();
  storage = SqliteStorage::Open(path(), &error);
  ASSERT_NE(storage, nullptr) << error;
  EXPECT_EQ(Loaded(*storage, "kept"), "line 1\nline 2");
  EXPECT_EQ(Loaded(*storage, "from second"), "x");
}

TEST_F(SqliteStorageTest, ConcurrentCallsNeitherFailNorMixRecords) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 200;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const std::string key = "thread-" + std::to_string(t);
      for (int round = 0; round < kRounds; ++round) {
        const std::string value = key + " round " + std::to_string(round);
        if (storage->Save(key.c_str(), value.c_str()) != 0) ++failures;
        if (Loaded(*storage, key.c_str()) != value) ++failures;
        if (storage->Save("shared", value.c_str()) != 0) ++failures;
        // Another thread may just have removed it; anything else is whole.
        const std::string shared = Loaded(*storage, "shared");
        if (shared != "<null>" && shared.find(" round ") == std::string::npos) ++failures;
        if (round % 50 == 0 && storage->Remove("shared") != 0) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (int t = 0; t < kThreads; ++t) {
    const std::string key = "thread-" + std::to_string(t);
    EXPECT_EQ(Loaded(*storage, key.c_str()), key + " round " + std::to_string(kRounds - 1));
  }
}

TEST(SqliteStorage, OpenReportsAPathItCannotUse) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string cases[] = {
      scratch.File("missing-folder/store.db"),
      scratch.path(),  // a folder, not a file
  };
  for (const std::string& path : cases) {
    std::string error;
    EXPECT_EQ(SqliteStorage::Open(path, &error), nullptr) << path;
    EXPECT_EQ(error, "unable to open database file") << path;
  }
  EXPECT_EQ(SqliteStorage::Open(scratch.File("missing-folder/store.db")), nullptr);
}

// A damaged file costs its records, never a start.
TEST(SqliteStorage, DamagedFileIsMovedAsideAndAnEmptyStoreStarts) {
  const struct {
    std::string name;
    std::string reason;
    // Leaves a damaged database at path.
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
         ASSERT_GT(bytes.size(), 3u * 4096);
         for (size_t i = 4096; i < 3 * 4096; ++i) bytes[i] = static_cast<char>(0xA5);
         WriteFile(path, bytes);
       }},
  };
  for (const auto& c : cases) {
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string path = scratch.File("store.db");
    c.damage(path);
    const std::string damaged = ReadFile(path);

    CapturingLogger log;
    SqliteStorageOptions options;
    options.log = &log;
    std::string error;
    std::unique_ptr<SqliteStorage> storage = SqliteStorage::Open(path, options, &error);
    ASSERT_NE(storage, nullptr) << c.name << ": " << error;
    EXPECT_EQ(Loaded(*storage, "key0"), "<null>") << c.name;
    EXPECT_EQ(storage->Save("fresh", "1"), 0) << c.name;
    EXPECT_EQ(Loaded(*storage, "fresh"), "1") << c.name;

    std::vector<std::string> aside;
    for (const auto& entry : std::filesystem::directory_iterator(scratch.path())) {
      const std::string name = entry.path().filename().string();
      if (name.find("corrupt") != std::string::npos) aside.push_back(name);
    }
    ASSERT_EQ(aside.size(), 1u) << c.name;
    EXPECT_TRUE(IsCorruptName(aside[0]))
        << aside[0];
    EXPECT_EQ(ReadFile(scratch.File(aside[0])), damaged) << c.name;

    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << c.name;
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].tag, "OstrelHost.SqliteStorage");
    EXPECT_EQ(lines[0].method, "Open");
    const std::string expectedStart = path + " is damaged (" + c.reason;
    EXPECT_EQ(lines[0].text.rfind(expectedStart, 0), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find("); moved to " + scratch.File(aside[0]) + ", starting empty"),
              std::string::npos)
        << lines[0].text;

    // The healed file opens as it is.
    storage.reset();
    storage = SqliteStorage::Open(path, options, &error);
    ASSERT_NE(storage, nullptr) << error;
    EXPECT_EQ(Loaded(*storage, "fresh"), "1");
    EXPECT_EQ(log.Lines().size(), 1u);
  }
}

TEST(SqliteStorage, ScopesSharingOneFileNeverSeeEachOthersRecords) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string path = scratch.File("shared.db");
  auto open = [&](const std::string& scope) {
    SqliteStorageOptions options;
    options.scope = scope;
    return SqliteStorage::Open(path, options);
  };
  std::unique_ptr<SqliteStorage> live = open("app-a|0");
  std::unique_ptr<SqliteStorage> daily = open("app-a|2");
  std::unique_ptr<SqliteStorage> unscoped = open("");
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
  EXPECT_EQ(live->Remove("ui"), 0);
  EXPECT_EQ(Loaded(*live, "ui"), "<null>");
  EXPECT_EQ(Loaded(*live, "net"), "live net");
}

TEST(SqliteStorage, RecordsOfTheUnscopedTableMoveIntoTheDefaultScope) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string path = scratch.File("old.db");
  ASSERT_TRUE(RunSql(path,
                     "CREATE TABLE ostrel_records (key TEXT PRIMARY KEY NOT NULL,"
                     " value BLOB NOT NULL) WITHOUT ROWID;"
                     "INSERT INTO ostrel_records VALUES ('ui', 'kept');"));
  std::unique_ptr<SqliteStorage> scoped = SqliteStorage::Open(path, SqliteStorageOptions{"app"});
  ASSERT_NE(scoped, nullptr);
  EXPECT_EQ(Loaded(*scoped, "ui"), "<null>");
  std::unique_ptr<SqliteStorage> unscoped = SqliteStorage::Open(path);
  ASSERT_NE(unscoped, nullptr);
  EXPECT_EQ(Loaded(*unscoped, "ui"), "kept");
  EXPECT_FALSE(RunSql(path, "SELECT * FROM ostrel_records")) << "the old table is gone";
}

// Another program broke the table under the store: each call fails, and
// says which call and why in SQLite's words.
TEST_F(SqliteStorageTest, FailuresAreLoggedWithTheMethodAndSqlitesText) {
  CapturingLogger log;
  SqliteStorageOptions options;
  options.scope = "app";
  options.log = &log;
  std::string error;
  storage = SqliteStorage::Open(path(), options, &error);
  ASSERT_NE(storage, nullptr) << error;
  ASSERT_TRUE(RunSql(path(), "DROP TABLE ostrel_scoped_records"));

  const std::string reason = "no such table: ostrel_scoped_records";
  EXPECT_NE(storage->Save("ui", "v"), 0);
  EXPECT_EQ(Loaded(*storage, "ui"), "<null>");
  EXPECT_NE(storage->Remove("ui"), 0);
  EXPECT_NE(storage->Clear(), 0);
  const std::vector<LogLine> lines = log.Lines();
  const struct {
    std::string method;
    std::string text;
  } expected[] = {
      {"Save", "ui: " + reason},
      {"Load", "ui: " + reason},
      {"Remove", "ui: " + reason},
      {"Clear", "scope \"app\": " + reason},
  };
  ASSERT_EQ(lines.size(), std::size(expected));
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].method, expected[i].method);
    EXPECT_EQ(lines[i].text, expected[i].text);
    EXPECT_EQ(lines[i].tag, "OstrelHost.SqliteStorage");
  }
}

}  // namespace
}  // namespace OstrelTest
