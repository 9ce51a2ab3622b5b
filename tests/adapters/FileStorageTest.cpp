#include "ostrel_host/FileStorage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ScratchDir.h"

namespace OstrelTest {
namespace {

using OstrelHost::FileStorage;

// What Load returns, as text; "<null>" for a null result.
std::string Loaded(FileStorage& storage, const char* key) {
  char* value = storage.Load(key);
  std::string text = value != nullptr ? std::string(value) : std::string("<null>");
  storage.Free(value);
  return text;
}

std::set<std::string> FilesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

class FileStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch.path().empty());
    storage = Reopen();
    ASSERT_NE(storage, nullptr);
  }
  std::unique_ptr<FileStorage> Reopen() {
    std::string error;
    std::unique_ptr<FileStorage> opened = FileStorage::Open(scratch.path(), &error);
    EXPECT_NE(opened, nullptr) << error;
    return opened;
  }

  ScratchDir scratch;
  std::unique_ptr<FileStorage> storage;
};

TEST_F(FileStorageTest, RecordsComeBackByteForByteAcrossOpens) {
  std::string binary;
  for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
  const struct {
    std::string key;
    std::string value;
  } records[] = {
      {"ostrel.index", "0123456789abcdef\n{\"k\":\"v\"}\r\nnext"},
      {"large", std::string(1 << 20, 'z')},
      {"binary", binary},
      {"empty", ""},
      {"unicode \xc3\xa9", "\xe6\x97\xa5\xe6\x9c\xac"},
  };
  for (const auto& r : records) EXPECT_EQ(storage->Save(r.key.c_str(), r.value.c_str()), 0);
  for (const auto& r : records) EXPECT_EQ(Loaded(*storage, r.key.c_str()), r.value) << r.key;
  EXPECT_EQ(Loaded(*storage, "absent"), "<null>");

  EXPECT_EQ(storage->Save("large", "replaced"), 0);
  storage = Reopen();
  ASSERT_NE(storage, nullptr);
  EXPECT_EQ(Loaded(*storage, "large"), "replaced");
  EXPECT_EQ(Loaded(*storage, "binary"), binary);
  EXPECT_EQ(Loaded(*storage, "empty"), "");
  std::ifstream file(scratch.File("k-binary.rec"), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), binary)
      << "a record file holds the value's bytes alone";
}

// Every key is a file name no file system or device namespace reads
// specially, and keys that differ only in case or escaping stay apart.
TEST_F(FileStorageTest, AwkwardKeysGetSafeDistinctFiles) {
  const struct {
    std::string key;
    std::string file;
  } cases[] = {
      {"plain-key_1", "k-plain-key_1.rec"},
      {"a/b", "k-a%2Fb.rec"},
      {"a\\b", "k-a%5Cb.rec"},
      {"..", "k-%2E%2E.rec"},
      {"", "k-.rec"},
      {"nul.txt", "k-nul%2Etxt.rec"},
      {"CON", "k-%43%4F%4E.rec"},
      {"con", "k-con.rec"},
      {"com1", "k-com1.rec"},
      {"trailing. ", "k-trailing%2E%20.rec"},
      {"c:*?\"<>|", "k-c%3A%2A%3F%22%3C%3E%7C.rec"},
      {"%41", "k-%2541.rec"},
      {"A", "k-%41.rec"},
      {"\xc3\xa9\xe6\x97\xa5", "k-%C3%A9%E6%97%A5.rec"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(storage->Save(c.key.c_str(), ("value of " + c.key).c_str()), 0) << c.key;
  }
  std::set<std::string> expected;
  for (const auto& c : cases) {
    EXPECT_EQ(Loaded(*storage, c.key.c_str()), "value of " + c.key) << c.key;
    expected.insert(c.file);
  }
  EXPECT_EQ(FilesIn(scratch.path()), expected);
}

TEST_F(FileStorageTest, KeysTooLongForAFileNameAreRefused) {
  const std::string longest(200, 'a');
  const std::string tooLong(201, 'a');
  const std::string tooLongEncoded(67, '.');  // 201 characters once escaped
  EXPECT_EQ(storage->Save(longest.c_str(), "fits"), 0);
  EXPECT_EQ(Loaded(*storage, longest.c_str()), "fits");
  for (const std::string& key : {tooLong, tooLongEncoded}) {
    EXPECT_NE(storage->Save(key.c_str(), "v"), 0) << key.size();
    EXPECT_EQ(Loaded(*storage, key.c_str()), "<null>");
    EXPECT_EQ(storage->Remove(key.c_str()), 0) << "no file can hold it, so it is absent";
  }
  EXPECT_EQ(FilesIn(scratch.path()), std::set<std::string>{"k-" + longest + ".rec"});
}

TEST_F(FileStorageTest, RemoveAndClearDropRecordsAndNothingElse) {
  ASSERT_EQ(storage->Save("a", "1"), 0);
  ASSERT_EQ(storage->Save("b", "2"), 0);
  ASSERT_EQ(storage->Save("c", "3"), 0);
  WriteFile(scratch.File("notes.txt"), "the host's own file");

  EXPECT_EQ(storage->Remove("a"), 0);
  EXPECT_EQ(Loaded(*storage, "a"), "<null>");
  EXPECT_EQ(Loaded(*storage, "b"), "2");
  EXPECT_EQ(storage->Remove("a"), 0) << "an absent key is already removed";

  EXPECT_EQ(storage->Clear(), 0);
  EXPECT_EQ(Loaded(*storage, "b"), "<null>");
  EXPECT_EQ(Loaded(*storage, "c"), "<null>");
  EXPECT_EQ(FilesIn(scratch.path()), std::set<std::string>{"notes.txt"});
  EXPECT_EQ(storage->Save("b", "again"), 0);
  EXPECT_EQ(Loaded(*storage, "b"), "again");
  EXPECT_EQ(storage->Reserved(), 0);
}

TEST_F(FileStorageTest, NullArgumentsAreRefused) {
  EXPECT_NE(storage->Save(nullptr, "v"), 0);
  EXPECT_NE(storage->Save("k", nullptr), 0);
  EXPECT_EQ(storage->Load(nullptr), nullptr);
  EXPECT_NE(storage->Remove(nullptr), 0);
  storage->Free(nullptr);
  EXPECT_EQ(Loaded(*storage, "k"), "<null>");
  EXPECT_TRUE(FilesIn(scratch.path()).empty());
}

TEST_F(FileStorageTest, OpenRemovesStaleTemporaryFilesOnly) {
  storage.reset();
  WriteFile(scratch.File("t-4242-7.tmp"), "half a rec");
  WriteFile(scratch.File("t-.tmp"), "");
  WriteFile(scratch.File("k-kept.rec"), "whole");
  WriteFile(scratch.File("other.tmp"), "not ours");
  WriteFile(scratch.File("t-notes.txt"), "not ours either");

  storage = Reopen();
  ASSERT_NE(storage, nullptr);
  EXPECT_EQ(FilesIn(scratch.path()),
            (std::set<std::string>{"k-kept.rec", "other.tmp", "t-notes.txt"}));
  EXPECT_EQ(Loaded(*storage, "kept"), "whole");
}

TEST(FileStorage, OpenCreatesMissingFoldersAndRefusesAFile) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  std::string error;
  const std::string nested = scratch.File("one/two/three");
  std::unique_ptr<FileStorage> storage = FileStorage::Open(nested, &error);
  ASSERT_NE(storage, nullptr) << error;
  EXPECT_EQ(storage->Save("k", "v"), 0);
  EXPECT_TRUE(std::filesystem::exists(nested + "/k-k.rec"));

  const std::string file = scratch.File("a-file");
  WriteFile(file, "x");
  EXPECT_EQ(FileStorage::Open(file, &error), nullptr);
#ifdef _WIN32
  EXPECT_EQ(error.rfind(file + ": error 267", 0), 0u) << error;
#else
  EXPECT_EQ(error, file + ": Not a directory");
#endif
  EXPECT_EQ(FileStorage::Open("", &error), nullptr);
  EXPECT_EQ(error, "empty folder path");
  EXPECT_EQ(FileStorage::Open(file + "/below"), nullptr);
}

// A value whose every byte depends on who wrote it in which round, so that
// a mix of two Saves is caught.
std::string Pattern(int writer, int round) {
  const std::string head = "writer " + std::to_string(writer) + " round " + std::to_string(round);
  std::string value = head;
  while (value.size() < 4096 + static_cast<size_t>(writer) * 512) value += head;
  return value;
}

bool IsSomePattern(const std::string& value, int writers, int rounds) {
  int writer = -1;
  int round = -1;
  if (std::sscanf(value.c_str(), "writer %d round %d", &writer, &round) != 2) return false;
  return writer >= 0 && writer < writers && round >= 0 && round < rounds &&
         value == Pattern(writer, round);
}

// Threads of one store and a second store on the same folder, as a second
// process would have, write one shared key and keys of their own.
TEST_F(FileStorageTest, ConcurrentWritersToOneKeyAndToManyKeys) {
  constexpr int kWriters = 8;
#ifdef _WIN32
  // Each Windows rename that meets a reader waits and tries again.
  constexpr int kRounds = 25;
#else
  constexpr int kRounds = 60;
#endif
  std::unique_ptr<FileStorage> second = Reopen();
  ASSERT_NE(second, nullptr);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&, t] {
      FileStorage& mine = t % 2 == 0 ? *storage : *second;
      const std::string key = "writer-" + std::to_string(t);
      for (int round = 0; round < kRounds; ++round) {
        const std::string value = Pattern(t, round);
        if (mine.Save(key.c_str(), value.c_str()) != 0) ++failures;
        if (mine.Save("shared", value.c_str()) != 0) ++failures;
        if (Loaded(mine, key.c_str()) != value) ++failures;
        if (!IsSomePattern(Loaded(mine, "shared"), kWriters, kRounds)) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (int t = 0; t < kWriters; ++t) {
    const std::string key = "writer-" + std::to_string(t);
    EXPECT_EQ(Loaded(*storage, key.c_str()), Pattern(t, kRounds - 1)) << key;
  }
  std::set<std::string> expected{"k-shared.rec"};
  for (int t = 0; t < kWriters; ++t) expected.insert("k-writer-" + std::to_string(t) + ".rec");
  EXPECT_EQ(FilesIn(scratch.path()), expected) << "no temporary file is left behind";
}

}  // namespace
}  // namespace OstrelTest
