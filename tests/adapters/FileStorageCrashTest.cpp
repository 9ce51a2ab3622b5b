#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "CrashRecord.h"
#include "ScratchDir.h"
#include "ostrel_host/FileStorage.h"

namespace OstrelTest {
namespace {

#ifdef _WIN32
constexpr int kKills = 15;  // starting a process under wine takes a good part of a second
#else
constexpr int kKills = 60;
#endif

int CountTemporaryFiles(const std::string& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    count += name.rfind("t-", 0) == 0 && entry.path().extension() == ".tmp" ? 1 : 0;
  }
  return count;
}

// A writer process saves large records round after round and is killed at a
// random moment; after each kill every record must be a whole record of a
// round no older than the one seen after the previous kill.
TEST(FileStorageCrash, EveryRecordIsWhollyOldOrNewAfterAKill) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::vector<std::string> keys = {"ostrel.index", "ns-a", "NS.b", "con"};
  std::vector<std::string> args = {scratch.path()};
  args.insert(args.end(), keys.begin(), keys.end());
  std::map<std::string, long> lastRound;
  for (const std::string& key : keys) lastRound[key] = -1;
  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> delayMicros(0, 20000);
  int killsDuringAWrite = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill) + ", seed " + std::to_string(seed));
    {
      ChildProcess writer("ostrel_file_storage_writer", args);
      ASSERT_TRUE(writer.started());
      ASSERT_TRUE(writer.WaitForStdout("ready", std::chrono::seconds(30))) << writer.Stderr();
      // The moment of the kill is what this test varies; nothing waits on
      // the writer's progress by time.
      std::this_thread::sleep_for(std::chrono::microseconds(delayMicros(random)));
      writer.Kill();
    }
    killsDuringAWrite += CountTemporaryFiles(scratch.path()) > 0 ? 1 : 0;
    std::string error;
    std::unique_ptr<OstrelHost::FileStorage> storage =
        OstrelHost::FileStorage::Open(scratch.path(), &error);
    ASSERT_NE(storage, nullptr) << error;
    EXPECT_EQ(CountTemporaryFiles(scratch.path()), 0);
    for (const std::string& key : keys) {
      char* text = storage->Load(key.c_str());
      const long round = text != nullptr ? CrashRecordRound(key, text) : -1;
      const bool present = text != nullptr;
      storage->Free(text);
      if (present) {
        ASSERT_NE(round, -1) << key << " is a mix of two records";
      }
      ASSERT_GE(round, lastRound[key]) << key << " went back to an older round";
      lastRound[key] = round;
    }
  }
  EXPECT_GT(lastRound["ostrel.index"], 0) << "the writer never got far";
  EXPECT_GT(killsDuringAWrite, 0) << "no kill landed inside a Save";
}

}  // namespace
}  // namespace OstrelTest
