#include "cache/IndexCache.h"

#include "candidate/MultiAnalyze.h"
#include "host/LogManager.h"
#include "host/Settings.h"
#include "host/StorageManager.h"
#include "model/CandidateDO.h"

namespace Ostrel {
namespace {

const char kTag[] = "Ostrel.IndexCache";
const char kHigh[] = "HIGH";

std::string VersionOrZero(const std::shared_ptr<IndexDO>& index,
                          std::string IndexDO::*field) {
  if (!index || ((*index).*field).empty()) return "0";
  return (*index).*field;
}

}  // namespace

IndexCache::IndexCache() : writes_(PendingWrites::Create()) {}

IndexCache::~IndexCache() { writes_->Flush(); }

void IndexCache::Load() {
  const std::string text = StorageManager::GetInstance()->Restore(kStorageKey);
  std::shared_ptr<IndexDO> index;
  const char* failure = nullptr;
  if (text.empty()) {
    failure = "load index failed";
  } else {
    index = IndexDO::ParseFormJson(text);
    if (!index || !index->CheckValid()) failure = "index invalide";
  }
  if (failure == nullptr) {
    auto attributeKeys = BuildAttributeKeys(*index);
    {
      MutexLock lock(&mutex_);
      index_ = index;
      attributeKeys_ = std::move(attributeKeys);
    }
    PublishIdentity(index);
    return;
  }
  // An index that fails its check is not kept: it may belong to another
  // application or version.
  {
    MutexLock lock(&mutex_);
    index_ = nullptr;
  }
  LogError("Load", kTag, failure);
  // A store that cannot give back what it holds is dropped, so that the next
  // start begins clean.
  StorageManager* storage = StorageManager::GetInstance();
  if (storage->HasStorage()) storage->Clear();
  PublishIdentity(nullptr);
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
  {
    MutexLock lock(&mutex_);
    index_ = index;
  }
  PublishIdentity(index);
  Persist(index);
  return removed;
}

void IndexCache::Persist(const std::shared_ptr<IndexDO>& index) {
  writes_->Schedule(
      kStorageKey,
      [index] { StorageManager::GetInstance()->Persist(kStorageKey, index->ToJson()); },
      "IndexCache::cache");
}

void IndexCache::PublishIdentity(const std::shared_ptr<IndexDO>& index) const {
  EngineSettings::SetIndexVersions(VersionOrZero(index, &IndexDO::appIndexVersion),
                                   VersionOrZero(index, &IndexDO::versionIndexVersion));
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

std::map<std::string, std::set<std::string>> IndexCache::AttributeKeys() const {
  MutexLock lock(&mutex_);
  return attributeKeys_;
}

std::map<std::string, std::set<std::string>> IndexCache::BuildAttributeKeys(
    const IndexDO& index) {
  std::map<std::string, std::set<std::string>> keys;
  for (const auto& ns : index.mergedNamespaces) {
    if (!ns) continue;
    for (const auto& candidate : ns->candidates) {
      if (!candidate) continue;
      for (const auto& key : MultiAnalyze(candidate->match).KeySet()) keys[key].insert(ns->name);
    }
  }
  return keys;
}

}  // namespace Ostrel
