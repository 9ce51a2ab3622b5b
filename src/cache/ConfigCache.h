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
#include "host/Mutex.h"
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

// Documents are published as an immutable map: host threads read it inside a
// read section (their API gate pass) without any lock, writers on the pool
// build the next map under writeMutex_ and publish it. Storage writes run on
// the pool and are coalesced per namespace; whatever is still waiting when the
// cache is destroyed is written then.
class ConfigCache {
 public:
  using NamespaceMap = std::map<std::string, std::shared_ptr<NamespaceDO>>;

  explicit ConfigCache(ConfigCacheHooks hooks);
  ~ConfigCache();

  ConfigCache(const ConfigCache&) = delete;
  ConfigCache& operator=(const ConfigCache&) = delete;

  // Stores a freshly downloaded document, persists it in the background and
  // notifies listeners (fromCache false). Null is ignored.
  void Cache(std::shared_ptr<ConfigDO> config);

  // Deletes the stored record of a namespace in the background. The document
  // in memory stays readable. An empty name is ignored.
  void Remove(const std::string& name);

  // Start-up: fills the cache from storage for every namespace of index and
  // returns, by name, those that must be downloaded (missing or outdated and
  // "HIGH", or older than the index says).
  NamespaceMap RestoreFromIndex(const std::shared_ptr<IndexDO>& index);

  // The stored document of a namespace, parsed by its type; null when nothing
  // usable is stored.
  std::shared_ptr<ConfigDO> LoadFromStorage(const std::shared_ptr<NamespaceDO>& ns);

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
  // For any thread: a shared reference; null when absent.
  std::shared_ptr<ConfigDO> Get(const std::string& name) const;
  std::vector<std::string> Names() const;

 private:
  using DocumentMap = PublishedDocuments::Map;

  void Persist(const std::shared_ptr<ConfigDO>& config);

  const ConfigCacheHooks hooks_;
  const std::shared_ptr<PendingWrites> writes_;

  // Serialises writers, and readers that are not inside a read section.
  mutable Mutex writeMutex_;
  PublishedDocuments documents_;
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_CONFIGCACHE_H_
