#include "MemoryStorage.h"

#include <cstdlib>
#include <cstring>

namespace OstrelTest {

int MemoryStorage::Save(const char* key, const char* value) {
  ++saveCalls;
  if (failSave) return 1;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    records_[key] = value;
  }
  changed_.notify_all();
  return 0;
}

char* MemoryStorage::Load(const char* key) {
  ++loadCalls;
  if (failLoad) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = records_.find(key);
  if (it == records_.end()) return nullptr;
  char* buffer = static_cast<char*>(std::malloc(it->second.size() + 1));
  std::memcpy(buffer, it->second.c_str(), it->second.size() + 1);
  ++outstandingBuffers;
  return buffer;
}

int MemoryStorage::Remove(const char* key) {
  ++removeCalls;
  if (failRemove) return 1;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    records_.erase(key);
  }
  changed_.notify_all();
  return 0;
}

int MemoryStorage::Reserved() {
  ++reservedCalls;
  return 0;
}

int MemoryStorage::Clear() {
  ++clearCalls;
  std::lock_guard<std::mutex> lock(mutex_);
  records_.clear();
  return 0;
}

void MemoryStorage::Free(char* buffer) {
  if (buffer != nullptr) --outstandingBuffers;
  std::free(buffer);
}

void MemoryStorage::PutRaw(const std::string& key, const std::string& record) {
  std::lock_guard<std::mutex> lock(mutex_);
  records_[key] = record;
}

bool MemoryStorage::Has(const std::string& key) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_.count(key) != 0;
}

std::string MemoryStorage::Raw(const std::string& key) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = records_.find(key);
  return it == records_.end() ? std::string() : it->second;
}

std::map<std::string, std::string> MemoryStorage::Records() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_;
}

}  // namespace OstrelTest

namespace OstrelTest {

bool MemoryStorage::WaitForRecord(const std::string& key, const std::string& record,
                                  std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    auto it = records_.find(key);
    return record.empty() ? it == records_.end() : it != records_.end() && it->second == record;
  });
}

}  // namespace OstrelTest
