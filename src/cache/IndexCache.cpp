#include "cache/IndexCache.h"

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.IndexCache");
const char kHigh[] = "HIGH";

std::string VersionOrZero(const std::shared_ptr<IndexDO>& index,
                          std::string IndexDO::*field) {
  if (!index || ((*index).*field).empty()) return "0";
  return (*index).*field;
}

}  // namespace

IndexCache::IndexCache(StorageManager* storage, Executor* storageExecutor,
                       IdentitySink identitySink)
    : storage_(storage),
      identitySink_(std::move(identitySink)),
      writes_(PendingWrites::Create(storageExecutor)) {}

IndexCache::~IndexCache() { writes_->Flush(); }

void IndexCache::Load(const AppScope& app) {
  const std::string text = storage_->Restore(kStorageKey);
  std::shared_ptr<IndexDO> index;
  const char* failure = nullptr;
  if (text.empty()) {
    failure = "load index failed";
  } else {
    index = IndexDO::ParseFormJson(text);
    if (!index || !index->CheckValid(app)) failure = "index invalide";
  }
  if (failure == nullptr) {
    SetCurrent(std::move(index));
    return;
  }
  // An index that fails its check is not kept: it may belong to another
  // application or version.
  SetCurrent(nullptr);
  LogError("Load", kTag, failure);
  // A store that cannot give back what it holds is dropped, so that the next
  // start begins clean.
  if (storage_->HasStorage()) storage_->Clear();
}

std::vector<std::string> IndexCache::Cache(std::shared_ptr<IndexDO> index) {
  std::vector<std::string> removed;
  if (!index) return removed;
  const std::shared_ptr<IndexDO> old = GetIndex();

  std::map<std::string, std::shared_ptr<NamespaceDO>> oldByName, newByName;
  if (old) {
    for (const auto& ns : old->mergedNamespaces) {
      if (ns) oldByName.emplace(ns->name, ns);
    }
  }
  for (const auto& ns : index->mergedNamespaces) {
    if (ns) newByName.emplace(ns->name, ns);
  }
  for (const auto& entry : oldByName) {
    if (newByName.count(entry.first) == 0) removed.push_back(entry.first);
  }
  // The new index is not shared yet, so its flags can be written freely.
  for (const auto& entry : newByName) {
    auto previous = oldByName.find(entry.first);
    entry.second->changed =
        previous == oldByName.end() || !entry.second->Equals(*previous->second);
  }
  SetCurrent(index);
  Persist(index);
  return removed;
}

void IndexCache::Persist(const std::shared_ptr<IndexDO>& index) {
  writes_->Schedule(
      kStorageKey,
      [storage = storage_, index] { storage->Persist(kStorageKey, index->ToJson()); },
      "IndexCache::cache");
}

void IndexCache::SetCurrent(std::shared_ptr<IndexDO> index) {
  const std::string appIndexVersion = VersionOrZero(index, &IndexDO::appIndexVersion);
  const std::string versionIndexVersion = VersionOrZero(index, &IndexDO::versionIndexVersion);
  // The sink is told under the lock, so that the identity requests send is
  // always the current index's, however two replacements interleave. The
  // sink takes no lock that is held while calling into this cache.
  MutexLock lock(&mutex_);
  index_ = std::move(index);
  if (identitySink_) identitySink_(appIndexVersion, versionIndexVersion);
}

std::shared_ptr<NamespaceDO> IndexCache::GetNamespace(const std::string& name) const {
  if (name.empty()) return nullptr;
  const std::shared_ptr<IndexDO> index = GetIndex();
  if (!index) return nullptr;
  for (const auto& ns : index->mergedNamespaces) {
    if (ns && ns->name == name) return ns;
  }
  return nullptr;
}

std::set<std::shared_ptr<NamespaceDO>> IndexCache::GetAllNamespaces() const {
  std::set<std::shared_ptr<NamespaceDO>> all;
  const std::shared_ptr<IndexDO> index = GetIndex();
  if (!index) return all;
  for (const auto& ns : index->mergedNamespaces) {
    if (ns) all.insert(ns);
  }
  return all;
}

std::set<std::shared_ptr<NamespaceDO>> IndexCache::GetChangedHighNamespaces() const {
  std::set<std::shared_ptr<NamespaceDO>> changed;
  const std::shared_ptr<IndexDO> index = GetIndex();
  if (!index) return changed;
  for (const auto& ns : index->mergedNamespaces) {
    if (ns && ns->changed && ns->loadLevel == kHigh) changed.insert(ns);
  }
  return changed;
}

std::string IndexCache::GetAppIndexVersion() const {
  return VersionOrZero(GetIndex(), &IndexDO::appIndexVersion);
}

std::string IndexCache::GetVersionIndexVersion() const {
  return VersionOrZero(GetIndex(), &IndexDO::versionIndexVersion);
}

std::shared_ptr<IndexDO> IndexCache::GetIndex() const {
  MutexLock lock(&mutex_);
  return index_;
}

}  // namespace Ostrel
