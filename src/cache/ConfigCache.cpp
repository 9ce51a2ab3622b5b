#include "cache/ConfigCache.h"

#include "candidate/TextScan.h"
#include "host/LogManager.h"
#include "host/ReadSection.h"
#include "model/CandidateDO.h"
#include "model/CustomConfigDO.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigCache");
const char kStandard[] = "STANDARD";
const char kCustom[] = "CUSTOM";
const char kHigh[] = "HIGH";

}  // namespace

ConfigCache::ConfigCache(StorageManager* storage, Executor* storageExecutor,
                         ConfigCacheHooks hooks)
    : storage_(storage),
      hooks_(std::move(hooks)),
      writes_(PendingWrites::Create(storageExecutor)) {}

ConfigCache::~ConfigCache() { writes_->Flush(); }

void ConfigCache::Cache(std::shared_ptr<ConfigDO> config) {
  if (!config) return;
  {
    MutexLock lock(&writeMutex_);
    auto next = std::make_unique<DocumentMap>(*documents_.Read());
    (*next)[config->name] = config;
    documents_.Publish(std::move(next));
  }
  if (hooks_.notify) hooks_.notify(config->name, config->ReportedVersion(), false);
  Persist(config);
}

void ConfigCache::Persist(const std::shared_ptr<ConfigDO>& config) {
  const std::string name = config->name;
  writes_->Schedule(
      name, [storage = storage_, name, config] { storage->Persist(name, config->ToJson()); },
      "ConfigCache::Cache");
}

void ConfigCache::Remove(const std::string& name) {
  if (name.empty()) return;
  writes_->Schedule(
      name, [storage = storage_, name] { storage->Remove(name); }, "ConfigCache::Remove");
}

std::shared_ptr<ConfigDO> ConfigCache::LoadFromStorage(const NamespaceDO& ns,
                                                       const AppScope& app) {
  const std::string text = storage_->Restore(ns.name);
  if (text.empty()) return nullptr;
  std::shared_ptr<ConfigDO> document;
  if (ns.type == kStandard) document = ConfigDO::ParseFromJson(text);
  if (ns.type == kCustom) document = CustomConfigDO::ParseFromJson(text);
  // A record that names another namespace is as unusable as a broken one:
  // served, it would stand in for that namespace's own document.
  if (!document || document->name != ns.name || !document->CheckValid(app)) return nullptr;
  return document;
}

ConfigCache::NamespaceMap ConfigCache::RestoreFromIndex(const std::shared_ptr<IndexDO>& index,
                                                        const ClientAttributes& attributes,
                                                        const AppScope& app) {
  NamespaceMap toLoad;
  if (!index || index->mergedNamespaces.empty()) return toLoad;

  // Walk in name order; the first namespace of a name wins, as in lookups.
  NamespaceMap byName;
  for (const auto& ns : index->mergedNamespaces) {
    if (ns) byName.emplace(ns->name, ns);
  }

  struct Restored {
    std::shared_ptr<ConfigDO> document;
    std::string reportedVersion;
  };
  std::vector<Restored> restored;
  for (const auto& entry : byName) {
    const std::shared_ptr<NamespaceDO>& ns = entry.second;
    if (IsReservedNamespace(ns->name)) {
      // Its record would be the index's own, or the library's settings.
      LogWarn("RestoreFromIndex", kTag, "restore skip , namespace is occupied by sdk: " + ns->name);
      continue;
    }
    std::shared_ptr<ConfigDO> document = LoadFromStorage(*ns, app);
    if (!document) {
      if (ns->loadLevel == kHigh) toLoad.emplace(ns->name, ns);
      continue;
    }
    document->restored = true;
    // The record does not say which candidate it was downloaded for: it
    // belongs to the candidate whose resource it is.
    document->candidate = ns->CandidateWithResource(document->resourceId);
    restored.push_back({document, document->ReportedVersion()});
    // Client attributes may have changed since the record was written: the
    // stored variant is served until the one that matches now arrives.
    ns->UpdateCandidate(attributes);
    const bool otherVariant = ns->ChosenResourceId() != document->resourceId;
    const bool outdated =
        !document->candidate && ReadInt64(ns->version) > ReadInt64(document->version);
    if (otherVariant || outdated) toLoad.emplace(ns->name, ns);
  }
  if (restored.empty()) return toLoad;

  // One publication for the whole restore; listeners hear about each
  // namespace once every restored value is readable.
  {
    MutexLock lock(&writeMutex_);
    auto next = std::make_unique<DocumentMap>(*documents_.Read());
    for (const Restored& item : restored) (*next)[item.document->name] = item.document;
    documents_.Publish(std::move(next));
  }
  for (const Restored& item : restored) {
    if (hooks_.onServed) hooks_.onServed(item.document->name);
    if (hooks_.notify) hooks_.notify(item.document->name, item.reportedVersion, true);
  }
  return toLoad;
}

std::shared_ptr<ConfigDO> ConfigCache::Get(const std::string& name) const {
  ReadSection section;
  const DocumentMap* documents = documents_.Read();
  auto found = documents->find(name);
  return found == documents->end() ? nullptr : found->second;
}

std::vector<std::string> ConfigCache::Names() const {
  ReadSection section;
  std::vector<std::string> names;
  for (const auto& entry : *documents_.Read()) names.push_back(entry.first);
  return names;
}

}  // namespace Ostrel
