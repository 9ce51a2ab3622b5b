// The writer that FileStorage's crash test kills at random moments:
//   ostrel_file_storage_writer <folder> <key>...
// Opens the store, prints "ready", then saves every key's record of the next
// round, round after round, until it is killed. It starts from the rounds it
// finds, so that each run's records are newer than the last's.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "CrashRecord.h"
#include "ostrel_host/FileStorage.h"

int main(int argc, char** argv) {
  std::string error;
  auto storage = argc > 2 ? OstrelHost::FileStorage::Open(argv[1], &error) : nullptr;
  if (!storage) {
    std::fprintf(stderr, "usage: %s <folder> <key>...: %s\n", argv[0], error.c_str());
    return 2;
  }
  const std::vector<std::string> keys(argv + 2, argv + argc);
  long round = 0;
  for (const std::string& key : keys) {
    char* text = storage->Load(key.c_str());
    if (text != nullptr) round = std::max(round, OstrelTest::CrashRecordRound(key, text) + 1);
    storage->Free(text);
  }
  std::printf("ready\n");
  std::fflush(stdout);
  for (;; ++round) {
    for (const std::string& key : keys) {
      if (storage->Save(key.c_str(), OstrelTest::CrashRecord(key, round).c_str()) != 0) return 1;
    }
  }
}
