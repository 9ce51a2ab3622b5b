// The loaded configuration of every namespace, in memory and in host storage.
#ifndef OSTREL_CACHE_CONFIGCACHE_H_
#define OSTREL_CACHE_CONFIGCACHE_H_

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cache/PendingWrites.h"
#include "cache/PublishedDocuments.h"
#include "candidate/ClientAttributes.h"
#include "host/Executor.h"
#include "host/Mutex.h"
#include "host/StorageManager.h"
#include "model/ConfigDO.h"
#include "model/IndexDO.h"
#include "model/NamespaceDO.h"

namespace Ostrel {

// What the cache tells the engine. Called without any cache lock held, after
// the change is visible to readers.
struct ConfigCacheHooks {
  // The namespace is served now: it no longer waits.
  std::function<void(const std::string& name)> onServed;
  // Tell the namespace's listeners.
  std::function<void(const std::string& name, const std::string& version, bool fromCache)> notify;
};

// Documents are published as an immutable map. Every read takes no lock: it
// runs inside a read section (a host call's gate pass, or a section of its
// own), and writers build the next map under writeMutex_ and publish it.
// Storage writes run on the storage executor and are coalesced per namespace;
// whatever is still waiting when the cache is destroyed is written then.
class ConfigCache {
 public:
  using NamespaceMap = std::map<std::string, std::shared_ptr<NamespaceDO>>;

  // storage and storageExecutor are not owned; both outlive the cache, and
  // the executor takes no more work before the cache is destroyed.
  ConfigCache(StorageManager* storage, Executor* storageExecutor, ConfigCacheHooks hooks);
  ~ConfigCache();

  ConfigCache(const ConfigCache&) = delete;
  ConfigCache& operator=(const ConfigCache&) = delete;

  // Stores a freshly downloaded document, persists it in the background and
  // notifies listeners (fromCache false). Null is ignored.
  void Cache(std::shared_ptr<ConfigDO> config);

  // Deletes the stored record of a namespace in the background. The document
  // in memory stays readable. An empty name is ignored.
  void Remove(const std::string& name);

  // Start-up: fills the cache from storage for every namespace of index
  // whose record is usable for app, and returns, by name, those that must be
  // downloaded: missing or unusable and "HIGH", older than the index says, or
  // stored for another variant than the one attributes choose now.
  NamespaceMap RestoreFromIndex(const std::shared_ptr<IndexDO>& index,
                                const ClientAttributes& attributes, const AppScope& app);

  // For host threads inside a read section: the document, valid until they
  // leave it; null when absent, and for a name that lookups refuse (empty or
  // reserved), whatever storage held.
  const ConfigDO* Peek(std::string_view name) const { return documents_.Find(name); }
  // For host threads inside a read section: Peek's document, then the value
  // under key in it, in one step; the value is valid until they leave.
  using ValueLookup = PublishedDocuments::ValueLookup;
  ValueLookup PeekValue(std::string_view name, std::string_view key,
                        std::string_view* value) const {
    return documents_.FindValue(name, key, value);
  }
  // For any thread, without a section of its own: a shared reference; null
  // when absent.
  std::shared_ptr<ConfigDO> Get(const std::string& name) const;
  std::vector<std::string> Names() const;

 private:
  using DocumentMap = PublishedDocuments::Map;

  // The stored document of ns, parsed by its type; null when nothing usable
  // for ns is stored.
  std::shared_ptr<ConfigDO> LoadFromStorage(const NamespaceDO& ns, const AppScope& app);
  void Persist(const std::shared_ptr<ConfigDO>& config);

  // Constant after construction.
  StorageManager* const storage_;  // not owned
  const ConfigCacheHooks hooks_;
  const std::shared_ptr<PendingWrites> writes_;

  // Serialises writers; readers never take it.
  Mutex writeMutex_;
  PublishedDocuments documents_;  // published under writeMutex_
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_CONFIGCACHE_H_
