// Persists strings through the host's key-value store behind an MD5 line.
#ifndef OSTREL_HOST_STORAGEMANAGER_H_
#define OSTREL_HOST_STORAGEMANAGER_H_

#include <atomic>
#include <string>

#include "ostrel/IOStorage.h"

namespace Ostrel {

// Record format handed to the host: 32 lowercase hex digits of the value's
// MD5, one line feed, then the value byte for byte. Restore checks the digest
// so that a truncated or altered record is treated as absent.
//
// Any thread may call any operation; the host's store must tolerate
// concurrent calls. The manager adds no locking around host calls.
class StorageManager {
 public:
  static StorageManager* GetInstance();
  static void DestroyInstance();

  StorageManager() = default;
  virtual ~StorageManager() = default;

  void SetStorage(IOStorage* storage) { storage_.store(storage, std::memory_order_release); }
  bool HasStorage() const { return storage_.load(std::memory_order_acquire) != nullptr; }

  // True only when the host's Save returned 0. False without a host call when
  // there is no store or the key is empty.
  bool Persist(const std::string& key, const std::string& value);

  // The verified value, or an empty string for an absent key, a missing store
  // or a bad record ("content format error", "content is broken").
  std::string Restore(const std::string& key);

  // Deletes the record under key (host slot 2). False without a store or key.
  bool Remove(const std::string& key);

  // Asks the host to drop every record of the library (host slot 4).
  bool Clear();

  // The exact text that Persist hands to the host for value.
  static std::string FrameRecord(const std::string& value);

 private:
  std::atomic<IOStorage*> storage_{nullptr};  // not owned; the host keeps it alive
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_STORAGEMANAGER_H_
