#include "ostrel_host/FileStorage.h"

#include <gtest/gtest.h>
#ifndef _WIN32
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ScratchDir.h"
#include "StoreContract.h"

namespace OstrelTest {
namespace {

using OstrelHost::FileStorage;

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

// A record file holds the value's bytes alone, under a name made of the
// key. The library asks for keys it never saved at every first start: an
// absent key is answered at once, not after the waits that a busy file earns.
TEST_F(FileStorageTest, KeepsTheStoreContractInFilesOfTheirOwn) {
  SaveStoredRecords(*storage);
  ExpectStoredRecords(*storage);
  std::set<std::string> files;
  for (const StoredRecord& r : StoredRecords()) files.insert(r.file);
  EXPECT_EQ(FilesIn(scratch.path()), files);
  storage = Reopen();
  ASSERT_NE(storage, nullptr);
  ExpectStoredRecords(*storage);
  {
    // Closed before Clear: Windows removes no file that is open.
    std::ifstream file(scratch.File("k-binary.rec"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), StoredRecords()[2].value);
  }
  EXPECT_EQ(storage->Clear(), 0);
  WriteFile(scratch.File("notes.txt"), "the host's own file");
  ExpectRemoveClearAndNulls(*storage);
  EXPECT_EQ(FilesIn(scratch.path()), std::set<std::string>{"notes.txt"});
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Loaded(*storage, "absent"), "<null>");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));

  // A second store on the folder stands for a second process.
  std::remove(scratch.File("notes.txt").c_str());
  std::unique_ptr<FileStorage> second = Reopen();
  ASSERT_NE(second, nullptr);
#ifdef _WIN32
  constexpr int kRounds = 25;  // a Windows rename that meets a reader waits and tries again
#else
  constexpr int kRounds = 60;
#endif
  ExpectWritersNeverMix(*storage, *second, kRounds);
  std::set<std::string> expected{"k-shared.rec"};
  for (int t = 0; t < 8; ++t) expected.insert("k-writer-" + std::to_string(t) + ".rec");
  EXPECT_EQ(FilesIn(scratch.path()), expected) << "no temporary file is left behind";
}

// Another process that opens the folder removes the temporary files it
// finds, a live writer's too: that writer finds its file gone at the rename
// and writes again.
TEST_F(FileStorageTest, SavesSurviveAnotherProcessOpeningTheFolder) {
  std::atomic<bool> saving{true};
  std::thread opener([&] {
    // Opens while a temporary file is there, fewer times than a Save has
    // attempts, so that none is starved.
    for (int opens = 0; opens < 50 && saving.load();) {
      const std::set<std::string> files = FilesIn(scratch.path());
      if (std::any_of(files.begin(), files.end(),
                      [](const std::string& name) { return name.rfind("t-", 0) == 0; })) {
        EXPECT_NE(FileStorage::Open(scratch.path()), nullptr);
        ++opens;
      }
    }
  });
  int failures = 0;
  for (int round = 0; round < 200; ++round) {
    failures += storage->Save("k", WriterPattern(0, round).c_str()) != 0 ? 1 : 0;
  }
  saving.store(false);
  opener.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(Loaded(*storage, "k"), WriterPattern(0, 199));
}

TEST_F(FileStorageTest, KeysTooLongForAFileNameAreRefused) {
  const std::string longest(200, 'a');
  EXPECT_EQ(storage->Save(longest.c_str(), "fits"), 0);
  EXPECT_EQ(Loaded(*storage, longest), "fits");
  // 201 characters, plain or once escaped.
  for (const std::string& key : {std::string(201, 'a'), std::string(67, '.')}) {
    EXPECT_NE(storage->Save(key.c_str(), "v"), 0) << key.size();
    EXPECT_EQ(Loaded(*storage, key), "<null>");
    EXPECT_EQ(storage->Remove(key.c_str()), 0) << "no file can hold it, so it is absent";
  }
  EXPECT_EQ(FilesIn(scratch.path()), std::set<std::string>{"k-" + longest + ".rec"});
}

// Open creates the folder, removes what a crashed writer left and nothing
// else, and refuses what is no folder.
TEST_F(FileStorageTest, OpenCleansUpAfterACrashAndRefusesAFile) {
  storage.reset();
  for (const char* name : {"t-4242-7.tmp", "t-.tmp", "k-kept.rec", "other.tmp", "t-notes.txt"}) {
    WriteFile(scratch.File(name), "whole");
  }
  storage = Reopen();
  ASSERT_NE(storage, nullptr);
  EXPECT_EQ(FilesIn(scratch.path()),
            (std::set<std::string>{"k-kept.rec", "other.tmp", "t-notes.txt"}));
  EXPECT_EQ(Loaded(*storage, "kept"), "whole");

  std::string error;
  const std::string nested = scratch.File("one/two");
  ASSERT_NE(FileStorage::Open(nested, &error), nullptr) << error;
  EXPECT_TRUE(std::filesystem::is_directory(nested));
  const std::string file = scratch.File("k-kept.rec");
  EXPECT_EQ(FileStorage::Open(file, &error), nullptr);
#ifdef _WIN32
  EXPECT_EQ(error.rfind(file + ": error 267", 0), 0u) << error;
#else
  EXPECT_EQ(error, file + ": Not a directory");
#endif
  EXPECT_EQ(FileStorage::Open("", &error), nullptr);
  EXPECT_EQ(error, "empty folder path");
  EXPECT_EQ(FileStorage::Open(file + "/below", &error), nullptr);
#ifdef _WIN32
  EXPECT_EQ(error.rfind(file + "/below: error 267", 0), 0u) << error;
#else
  EXPECT_EQ(error, file + "/below: Not a directory");
#endif
}

// A tool reads a store a host may hold: every record under its key, files
// of other names (a writer's temporary file, names no key maps to, a
// folder) left out, and nothing in the folder changed or created.
TEST_F(FileStorageTest, ReadRecordsListsTheRecordsAloneAndChangesNothing) {
  SaveStoredRecords(*storage);
  for (const char* name : {"t-12-0.tmp", "k-%61.rec", "k-%2e.rec", "k-%2.rec", "k-%00.rec",
                           "k-A.rec", "k-ui.rec.bak", "notes.txt"}) {
    WriteFile(scratch.File(name), "stray");
  }
  ASSERT_TRUE(std::filesystem::create_directory(scratch.File("k-sub.rec")));
  const std::set<std::string> before = FilesIn(scratch.path());
  std::vector<FileStorage::Record> expected;
  for (const StoredRecord& r : StoredRecords()) expected.emplace_back(r.key, r.value);
  std::sort(expected.begin(), expected.end());

  std::vector<FileStorage::Record> records;
  std::string error;
  ASSERT_TRUE(FileStorage::ReadRecords(scratch.path(), &records, &error)) << error;
  EXPECT_TRUE(records == expected);
  EXPECT_EQ(FilesIn(scratch.path()), before);

  const std::string missing = scratch.File("none");
  EXPECT_FALSE(FileStorage::ReadRecords(missing, &records, &error));
#ifdef _WIN32
  EXPECT_EQ(error.rfind(missing + ": error ", 0), 0u) << error;
#else
  EXPECT_EQ(error, missing + ": No such file or directory");
#endif
  EXPECT_FALSE(std::filesystem::exists(missing));
  EXPECT_FALSE(FileStorage::ReadRecords("", &records, &error));
  EXPECT_EQ(error, "empty folder path");
#ifndef _WIN32
  // A record that is there but cannot be opened is an error, not an absence.
  ASSERT_EQ(0, symlink("k-loop.rec", scratch.File("k-loop.rec").c_str()));
  EXPECT_FALSE(FileStorage::ReadRecords(scratch.path(), &records, &error));
  EXPECT_EQ(error, "k-loop.rec: cannot be read");
#endif
}

#ifndef _WIN32
// A daemon may have closed its standard input: the next file it opens is
// then descriptor 0, which is a file like any other.
TEST_F(FileStorageTest, ReadsAndWritesThroughDescriptorZero) {
  ASSERT_EQ(storage->Save("k", "v"), 0);
  const int input = dup(0);
  close(0);
  EXPECT_EQ(Loaded(*storage, "k"), "v");
  EXPECT_EQ(storage->Save("k", "w"), 0);
  dup2(input, 0);
  close(input);
  EXPECT_EQ(Loaded(*storage, "k"), "w");
}
#endif

}  // namespace
}  // namespace OstrelTest
