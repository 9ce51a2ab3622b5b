// The engine: start-up, lookups, namespace downloads, index application and
// listeners.
#ifndef OSTREL_CENTER_CONFIGCENTER_H_
#define OSTREL_CENTER_CONFIGCENTER_H_

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "cache/ConfigCache.h"
#include "cache/IndexCache.h"
#include "candidate/ClientAttributes.h"
#include "center/EngineServices.h"
#include "center/ListenerRegistry.h"
#include "center/LoadTracker.h"
#include "host/Mutex.h"
#include "host/Settings.h"
#include "model/NamespaceDO.h"
#include "net/ServiceRequests.h"
#include "ostrel/IOConfigListener.h"
#include "update/IndexUpdateHandler.h"

namespace Ostrel {

// Host threads call the lookups and the listener operations; everything that
// touches the network runs on the engine's executors or in the start-up task.
// Reads never wait: the config cache publishes immutable snapshots, the other
// tables are held by their mutex for a single operation only.
//
// The process has one engine, which src/api builds from the process-wide
// services; everything the engine uses comes from services.
class ConfigCenter final : private IndexUpdateHandler::Target {
 public:
  explicit ConfigCenter(const EngineServices& services);
  ~ConfigCenter();

  ConfigCenter(const ConfigCenter&) = delete;
  ConfigCenter& operator=(const ConfigCenter&) = delete;

  // Checks appKey and appVersion, publishes the settings and posts the
  // start-up task "Init" unless start-up already finished. Never waits.
  bool Init(const Settings& settings);
  // Start-up restore; run by the start-up task.
  void LoadCaches();
  // Asks for an index update check when start-up has finished.
  void ForceCheckUpdate();
  // A gateway response's update notice (key=value text), read on the network
  // executor. False, and nothing done, before start-up has finished.
  bool PostGatewayNotice(std::string notice);
  // A push message, loaded on the network executor. False, and nothing done,
  // before start-up has finished.
  bool PostPushedNamespace(std::string text);
  bool IsInitFinished() const { return initFinished_.load(std::memory_order_acquire); }
  // Teardown has begun: start-up, index application and retries stop before
  // their next request, so teardown waits for one request at most. What they
  // did not reach is simply not loaded. Irreversible for this engine.
  void Stop() { stopping_.store(true, std::memory_order_release); }

  // Lookups. Each refuses an empty or reserved namespace, answers from the
  // config cache and on a miss remembers or starts a load, then answers
  // "nothing" at once.
  // Packed form: pairs as key NUL value NUL ..., malloc'd, freed with free().
  char* GetConfigObj(const std::string& nameSpace, int* count);
  // Whole-text form: a CUSTOM namespace's text, a STANDARD namespace's
  // content as a compact JSON object.
  bool GetConfigObj(const std::string& nameSpace, std::string& out);
  // One value of a STANDARD namespace, for a caller that holds a ReadSection
  // (a host call's gate pass): value points into the cached document and
  // stays valid until the caller leaves the section. Copies nothing and
  // throws nothing. Inline, as it is every host read's whole lookup; so it
  // only answers from the cache, and the caller reports a missing document
  // with OnLookupMiss. A CUSTOM document has no keys, so needs no type test.
  ConfigCache::ValueLookup PeekConfigValue(std::string_view nameSpace, std::string_view key,
                                           std::string_view* value) const {
    return configCache_.PeekValue(nameSpace, key, value);
  }
  // A lookup found no document: logs and refuses the name, or asks for a
  // load.
  void OnLookupMiss(std::string_view nameSpace);

  // Brings one namespace up to date; synchronous, on the calling thread.
  void LoadConfig(std::shared_ptr<NamespaceDO> ns);
  void LoadConfigLazy(const std::string& nameSpace);
  // Loads every waiting namespace again.
  void RetryFailRequests();
  // A push message: one namespace descriptor as JSON text, loaded at once.
  void LoadPushedNamespace(const std::string& text);

  // Applies an accepted index update notice: fetch, cache, drop what the
  // index no longer lists, download what changed. Runs on the calling thread.
  void UpdateIndex(const IndexUpdateHandler::IndexUpdateInfo& info) override;
  bool LoadIndex(const IndexUpdateHandler::IndexUpdateInfo& info);

  void RegisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListeners(const std::string& nameSpace);

 private:
  void RunStartUp();
  // The settings of the latest Init; empty settings before it. Never null.
  std::shared_ptr<const Settings> CurrentSettings() const;
  // The client attributes built at start-up; an empty table before.
  std::shared_ptr<const ClientAttributes> Attributes() const;
  AppScope App() const;
  bool Stopping() const { return stopping_.load(std::memory_order_acquire); }
  // After a load of loaded: the descriptor to load next, or null. markKept
  // says that a reload was asked for during the load (requested, its
  // descriptor) and the loading mark is still held; whatever is answered,
  // the mark is held exactly when the answer is not null.
  std::shared_ptr<NamespaceDO> NextLoad(const std::shared_ptr<NamespaceDO>& loaded, bool markKept,
                                        std::shared_ptr<NamespaceDO> requested);
  // Shared checks of every lookup form; false when the name is refused.
  bool CheckLookupName(std::string_view nameSpace);
  // The cached document for a lookup, inside the caller's read section; on a
  // miss, remembers or starts a load and answers null. Inline, as every host
  // read hits here. The cache answers nothing for an empty or a reserved
  // name, so a hit needs no check: such a name is refused on a miss.
  const ConfigDO* FindDocument(std::string_view nameSpace) {
    const ConfigDO* document = configCache_.Peek(nameSpace);
    if (document == nullptr) OnLookupMiss(nameSpace);
    return document;
  }
  // A lookup or registration found nothing cached: remember the namespace,
  // or post one lazy load under taskName.
  void RequestLoad(const std::string& nameSpace, const char* taskName);
  // LoadConfig's work while the namespace is marked as loading: decides,
  // downloads and checks. The document to cache, or null.
  std::shared_ptr<ConfigDO> DownloadConfig(const std::shared_ptr<NamespaceDO>& ns);
  // A failed download: remember the namespace and count the failure.
  void RecordLoadFailure(const std::string& nameSpace, const char* reason,
                         const std::string& resourceId);

  // Constant after construction.
  IOstrelSign* const signer_;  // not owned
  const EngineExecutors executors_;

  // Parts that synchronise themselves, in construction order: each may be
  // handed the ones before it. The caches and the update handler call back
  // into the engine only through the hooks and the target given to them
  // here.
  ServiceRequests requests_;
  LoadTracker tracker_;
  ListenerRegistry listeners_;
  IndexCache indexCache_;
  ConfigCache configCache_;
  IndexUpdateHandler updateHandler_;

  std::atomic<bool> initFinished_{false};
  std::atomic<bool> stopping_{false};

  // Replaced whole under stateMutex_, read as snapshots.
  mutable Mutex stateMutex_;
  std::shared_ptr<const Settings> settings_ GUARDED_BY(stateMutex_);  // never null
  std::shared_ptr<const ClientAttributes> attributes_ GUARDED_BY(stateMutex_);  // never null
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_CONFIGCENTER_H_
