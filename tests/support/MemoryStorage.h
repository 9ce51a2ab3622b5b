// An in-memory host store with switches that make single operations fail.
#ifndef OSTREL_TESTS_SUPPORT_MEMORYSTORAGE_H_
#define OSTREL_TESTS_SUPPORT_MEMORYSTORAGE_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ostrel/IOStorage.h"

namespace OstrelTest {

class MemoryStorage : public Ostrel::IOStorage {
 public:
  int Save(const char* key, const char* value) override;
  char* Load(const char* key) override;
  int Remove(const char* key) override;
  int Reserved() override;
  int Clear() override;
  void Free(char* buffer) override;

  // Records exactly as the host would hold them (already framed).
  void PutRaw(const std::string& key, const std::string& record);
  bool Has(const std::string& key) const;
  std::string Raw(const std::string& key) const;
  std::map<std::string, std::string> Records() const;
  // Waits until the record under key equals record (or, with an empty
  // record, until the key is absent).
  bool WaitForRecord(const std::string& key, const std::string& record,
                     std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  // Failure injection.
  std::atomic<bool> failSave{false};
  std::atomic<bool> failLoad{false};   // Load answers null
  std::atomic<bool> failRemove{false};

  // Call counters.
  std::atomic<int> saveCalls{0};
  std::atomic<int> loadCalls{0};
  std::atomic<int> removeCalls{0};
  std::atomic<int> clearCalls{0};
  std::atomic<int> reservedCalls{0};
  // Buffers handed out by Load and not yet given back.
  std::atomic<int> outstandingBuffers{0};

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::map<std::string, std::string> records_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_MEMORYSTORAGE_H_
