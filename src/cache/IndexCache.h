// The current index of namespaces, in memory and in host storage.
#ifndef OSTREL_CACHE_INDEXCACHE_H_
#define OSTREL_CACHE_INDEXCACHE_H_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cache/PendingWrites.h"
#include "host/Mutex.h"
#include "model/IndexDO.h"
#include "model/NamespaceDO.h"

namespace Ostrel {

// The index is replaced whole: readers copy the shared reference under a
// mutex held for nothing but that copy, so they never wait for a download, a
// restore or a storage write. The namespaces of a published index are not
// changed afterwards (their changed flags are set before publication).
class IndexCache {
 public:
  // Storage key of the persisted index.
  static constexpr char kStorageKey[] = "ostrel.index";

  IndexCache();
  ~IndexCache();  // writes an index save still waiting for the pool

  IndexCache(const IndexCache&) = delete;
  IndexCache& operator=(const IndexCache&) = delete;

  // Start-up: restores the stored index. A missing or unusable record is
  // logged ("load index failed", "index invalide") and answered by asking the
  // host to clear its store.
  void Load();

  // Makes index current, flags its new and changed namespaces, persists it in
  // the background and returns the names the previous index had and this one
  // has not, in name order. Null changes nothing.
  std::vector<std::string> Cache(std::shared_ptr<IndexDO> index);

  // The first namespace of that name in the current index; null for an empty
  // name or without an index.
  std::shared_ptr<NamespaceDO> GetNamespace(const std::string& name) const;
  std::set<std::shared_ptr<NamespaceDO>> GetAllNamespaces() const;
  std::set<std::shared_ptr<NamespaceDO>> GetChangedHighNamespaces() const;
  // "0" without an index or when the field is empty.
  std::string GetAppIndexVersion() const;
  std::string GetVersionIndexVersion() const;
  std::shared_ptr<IndexDO> GetIndex() const;

  // Attribute key to the names of the namespaces whose candidates name it,
  // as built from the index restored at start-up.
  std::map<std::string, std::set<std::string>> AttributeKeys() const;

 private:
  static std::map<std::string, std::set<std::string>> BuildAttributeKeys(const IndexDO& index);
  void PublishIdentity(const std::shared_ptr<IndexDO>& index) const;
  void Persist(const std::shared_ptr<IndexDO>& index);

  const std::shared_ptr<PendingWrites> writes_;

  mutable Mutex mutex_;
  std::shared_ptr<IndexDO> index_ GUARDED_BY(mutex_);
  std::map<std::string, std::set<std::string>> attributeKeys_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_INDEXCACHE_H_
