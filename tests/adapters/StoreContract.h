// What every store of the host adapters keeps, checked on each of them:
// awkward keys apart, values byte for byte, writers of several handles
// (as of several processes) never mixed.
#ifndef OSTREL_TESTS_ADAPTERS_STORECONTRACT_H_
#define OSTREL_TESTS_ADAPTERS_STORECONTRACT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/IOStorage.h"

namespace OstrelTest {

// What Load returns, as text; "<null>" for a null result.
inline std::string Loaded(Ostrel::IOStorage& store, const std::string& key) {
  char* value = store.Load(key.c_str());
  const std::string text = value != nullptr ? value : "<null>";
  store.Free(value);
  return text;
}

struct StoredRecord {
  std::string key, value;
  std::string file;  // the file store's name for the key
};

// Keys that no file system, device namespace or letter case may confuse,
// with values of every byte but NUL.
inline const std::vector<StoredRecord>& StoredRecords() {
  static const std::vector<StoredRecord> records = [] {
    std::string binary;
    for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
    return std::vector<StoredRecord>{
        {"ostrel.index", "0123456789abcdef\n{\"k\":\"v\"}\r\nnext", "k-ostrel%2Eindex.rec"},
        {"large", std::string(1 << 20, 'z'), "k-large.rec"},
        {"binary", binary, "k-binary.rec"},
        {"empty", "", "k-empty.rec"},
        {"plain-key_1", "p", "k-plain-key_1.rec"},
        {"a/b", "slash", "k-a%2Fb.rec"},
        {"a\\b", "backslash", "k-a%5Cb.rec"},
        {"..", "dots", "k-%2E%2E.rec"},
        {"", "no key", "k-.rec"},
        {"nul.txt", "device", "k-nul%2Etxt.rec"},
        {"CON", "device upper", "k-%43%4F%4E.rec"},
        {"con", "device lower", "k-con.rec"},
        {"com1", "port", "k-com1.rec"},
        {"trailing. ", "trailing", "k-trailing%2E%20.rec"},
        {"c:*?\"<>|", "reserved", "k-c%3A%2A%3F%22%3C%3E%7C.rec"},
        {"%41", "escape", "k-%2541.rec"},
        {"A", "capital", "k-%41.rec"},
        {"tab\t", "control", "k-tab%09.rec"},
        {"\xc3\xa9\xe6\x97\xa5", "\xe6\x97\xa5\xe6\x9c\xac", "k-%C3%A9%E6%97%A5.rec"},
    };
  }();
  return records;
}

inline void SaveStoredRecords(Ostrel::IOStorage& store) {
  for (const StoredRecord& r : StoredRecords())
    EXPECT_EQ(store.Save(r.key.c_str(), r.value.c_str()), 0) << r.key;
}

inline void ExpectStoredRecords(Ostrel::IOStorage& store) {
  for (const StoredRecord& r : StoredRecords()) EXPECT_EQ(Loaded(store, r.key), r.value) << r.key;
  EXPECT_EQ(Loaded(store, "absent"), "<null>");
}

// Remove and Clear drop records, an absent key is already removed, and null
// arguments are refused.
inline void ExpectRemoveClearAndNulls(Ostrel::IOStorage& store) {
  ASSERT_EQ(store.Save("a", "1"), 0);
  ASSERT_EQ(store.Save("b", "2"), 0);
  EXPECT_EQ(store.Remove("a"), 0);
  EXPECT_EQ(Loaded(store, "a"), "<null>");
  EXPECT_EQ(Loaded(store, "b"), "2");
  EXPECT_EQ(store.Remove("a"), 0);
  EXPECT_NE(store.Save(nullptr, "v"), 0);
  EXPECT_NE(store.Save("k", nullptr), 0);
  EXPECT_EQ(store.Load(nullptr), nullptr);
  EXPECT_NE(store.Remove(nullptr), 0);
  store.Free(nullptr);
  EXPECT_EQ(Loaded(store, "k"), "<null>");
  EXPECT_EQ(store.Clear(), 0);
  EXPECT_EQ(Loaded(store, "b"), "<null>");
  EXPECT_EQ(store.Save("b", "again"), 0);
  EXPECT_EQ(Loaded(store, "b"), "again");
  EXPECT_EQ(store.Reserved(), 0);
  EXPECT_EQ(store.Clear(), 0);
}

// A value whose every byte depends on who wrote it in which round, and whose
// length on who wrote it, so that a mix of two Saves is caught.
inline std::string WriterPattern(int writer, int round) {
  const std::string head = "writer " + std::to_string(writer) + " round " + std::to_string(round);
  std::string value = head;
  while (value.size() < 4096 + static_cast<size_t>(writer) * 512) value += head;
  return value;
}

// Threads of two handles on one store write a shared key and keys of their
// own; every read is a whole value.
inline void ExpectWritersNeverMix(Ostrel::IOStorage& first, Ostrel::IOStorage& second, int rounds) {
  constexpr int kWriters = 8;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kWriters; ++t) {
    threads.emplace_back([&, t] {
      Ostrel::IOStorage& mine = t % 2 == 0 ? first : second;
      const std::string key = "writer-" + std::to_string(t);
      for (int round = 0; round < rounds; ++round) {
        const std::string value = WriterPattern(t, round);
        if (mine.Save(key.c_str(), value.c_str()) != 0) ++failures;
        if (mine.Save("shared", value.c_str()) != 0) ++failures;
        if (Loaded(mine, key) != value) ++failures;
        int writer = -1;
        int seen = -1;
        const std::string shared = Loaded(mine, "shared");
        if (std::sscanf(shared.c_str(), "writer %d round %d", &writer, &seen) != 2 ||
            shared != WriterPattern(writer, seen)) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  for (int t = 0; t < kWriters; ++t) {
    EXPECT_EQ(Loaded(first, "writer-" + std::to_string(t)), WriterPattern(t, rounds - 1));
  }
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_STORECONTRACT_H_
