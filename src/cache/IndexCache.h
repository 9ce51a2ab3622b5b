// The current index of namespaces, in memory and in host storage.
#ifndef OSTREL_CACHE_INDEXCACHE_H_
#define OSTREL_CACHE_INDEXCACHE_H_

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cache/PendingWrites.h"
#include "host/Executor.h"
#include "host/Mutex.h"
#include "host/StorageManager.h"
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

  // Told the two versions of the current index ("0" without one or for an
  // empty field) whenever the current index is set: restored, refused at
  // restore, or replaced. Requests send them in their identity.
  using IdentitySink =
      std::function<void(const std::string& appIndexVersion, const std::string& versionIndexVersion)>;

  // storage and storageExecutor are not owned; both outlive the cache, and
  // the executor takes no more work before the cache is destroyed.
  IndexCache(StorageManager* storage, Executor* storageExecutor, IdentitySink identitySink);
  ~IndexCache();  // writes an index save still waiting for the executor

  IndexCache(const IndexCache&) = delete;
  IndexCache& operator=(const IndexCache&) = delete;

  // Start-up: restores the stored index. A missing record, or one that is
  // unusable or meant for another app, is logged ("load index failed",
  // "index invalide") and answered by asking the host to clear its store.
  void Load(const AppScope& app);

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

 private:
  void SetCurrent(std::shared_ptr<IndexDO> index);
  void Persist(const std::shared_ptr<IndexDO>& index);

  // Constant after construction.
  StorageManager* const storage_;  // not owned
  const IdentitySink identitySink_;
  const std::shared_ptr<PendingWrites> writes_;

  mutable Mutex mutex_;
  std::shared_ptr<IndexDO> index_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_INDEXCACHE_H_
