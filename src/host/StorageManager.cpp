#include "host/StorageManager.h"

#include "host/LogManager.h"
#include "host/Md5.h"
#include "host/Singleton.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("StorageManager");
constexpr size_t kDigestLength = 32;

}  // namespace

StorageManager* StorageManager::GetInstance() { return Singleton<StorageManager>::Get(); }

void StorageManager::DestroyInstance() { Singleton<StorageManager>::Destroy(); }

std::string StorageManager::FrameRecord(const std::string& value) {
  std::string record;
  record.reserve(kDigestLength + 1 + value.size());
  record += Md5Hex(value);
  record += '\n';
  record += value;
  return record;
}

bool StorageManager::Persist(const std::string& key, const std::string& value) {
  IOStorage* storage = storage_.load(std::memory_order_acquire);
  if (storage == nullptr || key.empty()) return false;
  const std::string record = FrameRecord(value);
  try {
    return storage->Save(key.c_str(), record.c_str()) == 0;
  } catch (...) {
    return false;
  }
}

std::string StorageManager::Restore(const std::string& key) {
  IOStorage* storage = storage_.load(std::memory_order_acquire);
  if (storage == nullptr || key.empty()) return std::string();

  std::string record;
  try {
    char* buffer = storage->Load(key.c_str());
    if (buffer == nullptr) return std::string();
    // Copy before handing the buffer back: the host owns it.
    try {
      record.assign(buffer);
    } catch (...) {
      storage->Free(buffer);
      throw;
    }
    storage->Free(buffer);
  } catch (...) {
    return std::string();
  }

  const size_t lineFeed = record.find('\n');
  if (lineFeed == std::string::npos) {
    LogError("Restore", kTag, "content format error");
    return std::string();
  }
  std::string value = record.substr(lineFeed + 1);
  // Only an exact 32-digit lowercase header can equal Md5Hex's output, so one
  // comparison covers wrong length, wrong case and wrong digest.
  if (record.compare(0, lineFeed, Md5Hex(value)) != 0) {
    LogError("Restore", kTag, "content is broken");
    return std::string();
  }
  return value;
}

bool StorageManager::Remove(const std::string& key) {
  IOStorage* storage = storage_.load(std::memory_order_acquire);
  if (storage == nullptr || key.empty()) return false;
  try {
    return storage->Remove(key.c_str()) == 0;
  } catch (...) {
    return false;
  }
}

bool StorageManager::Clear() {
  IOStorage* storage = storage_.load(std::memory_order_acquire);
  if (storage == nullptr) return false;
  try {
    return storage->Clear() == 0;
  } catch (...) {
    return false;
  }
}

}  // namespace Ostrel
