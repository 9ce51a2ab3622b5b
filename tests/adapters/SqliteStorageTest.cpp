#include "ostrel_host/SqliteStorage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ScratchDir.h"

namespace OstrelTest {
namespace {

using OstrelHost::SqliteStorage;

// What Load returns, as text; "<null>" for a null result.
std::string Loaded(SqliteStorage& storage, const char* key) {
  char* value = storage.Load(key);
  std::string text = value != nullptr ? std::string(value) : std::string("<null>");
  storage.Free(value);
  return text;
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

}  // namespace
}  // namespace OstrelTest
